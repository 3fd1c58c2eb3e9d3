// How fast the engine's parts are. Each benchmark first checks that it did the same work as always.

#include <benchmark/benchmark.h>

#include <array>
#include <cctype>
#include <cstdlib>
#include <string_view>

#include "board/attack.h"
#include "board/legality.h"
#include "board/make.h"
#include "eval/evaluate.h"
#include "game/game.h"
#include "game/think.h"
#include "search/transposition.h"
#include "state/controller.h"
#include "state/flags.h"
#include "state/settings.h"

namespace torval {

namespace {

constexpr int kWindow = 20000;

/// Men from a8 to h1 as a FEN writes them; White to move, no castling.
constexpr std::array<const char*, 4> kBoards = {
    "r1bq1rk1/ppp2ppp/2np1n2/2b1p3/2B1P3/2NP1N2/PPP2PPP/R1BQ1RK1",
    "2r2rk1/pp1bqpp1/2n1pn1p/3p4/3P4/P1NBPN2/1P1Q1PPP/2R2RK1",
    "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8",
    "r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1",
};

void SetUpBoard(std::string_view men) {
    static const bool initialised = [] {
        SetDefaultSettings();
        InitialiseEngine();
        return true;
    }();
    benchmark::DoNotOptimize(initialised);
    CHSBRD board = {};
    board.castle = 0x77;
    int rank = 7;
    int file = 0;
    for (const char c : men) {
        if (c == '/') {
            --rank;
            file = 0;
        } else if (std::isdigit(c)) {
            file += c - '0';
        } else {
            const auto type = std::string_view(" pnbrqk").find(static_cast<char>(std::tolower(c)));
            board.board[8 * rank + file++] =
                CodeOf(std::isupper(c) ? White : Black, static_cast<int>(type));
        }
    }
    if (SetPosition(board) != StatusOk) std::abort();
}

void Report(benchmark::State& state, const char* unit, std::int64_t work, std::int64_t signature) {
    if (work != signature) state.SkipWithError("signature changed");
    state.counters[unit] = benchmark::Counter(static_cast<double>(work),
                                              benchmark::Counter::kIsIterationInvariantRate);
}

void Generate(benchmark::State& state) {
    SetUpBoard(kBoards[0]);
    std::int64_t moves = 0;
    for (auto _ : state) {
        const MoveList& list = GenerateMoves();
        benchmark::DoNotOptimize(moves = list.count);
        ReleaseMoves(list);
    }
    Report(state, "moves/s", moves, 37);
}
BENCHMARK(Generate);

void GenerateAndFilter(benchmark::State& state) {
    SetUpBoard(kBoards[0]);
    std::int64_t moves = 0;
    for (auto _ : state) {
        const MoveList& list = GenerateLegal();
        benchmark::DoNotOptimize(moves = list.count);
        ReleaseMoves(list);
    }
    Report(state, "moves/s", moves, 37);
}
BENCHMARK(GenerateAndFilter);

void MakeAndUnmake(benchmark::State& state) {
    SetUpBoard(kBoards[2]);
    const MoveList& list = GenerateMoves();
    const HashKey before = position.key;
    std::int64_t moves = 0;
    for (auto _ : state) {
        moves = 0;
        for (const MoveEntry* entry = EntryAt(list.quiet_head); entry; entry = NextEntry(*entry)) {
            MakeMove<White>(entry->move);
            benchmark::DoNotOptimize(position.key);
            UnmakeMove<White>();
            ++moves;
        }
    }
    ReleaseMoves(list);
    if (position.key != before) state.SkipWithError("the position changed");
    Report(state, "moves/s", moves, 15);
}
BENCHMARK(MakeAndUnmake);

void AttackTest(benchmark::State& state) {
    SetUpBoard(kBoards[1]);
    std::int64_t attacked = 0;
    for (auto _ : state) {
        attacked = 0;
        for (int index = 0; index < 64; ++index) attacked += IsAttackedByWhite(SquareAt(index));
        benchmark::DoNotOptimize(attacked);
    }
    if (attacked != 39) state.SkipWithError("signature changed");
    Report(state, "tests/s", 64, 64);
}
BENCHMARK(AttackTest);

void EvaluateFully(benchmark::State& state) {
    std::int64_t score = 0;
    SetUpBoard(kBoards[1]);
    for (auto _ : state) {
        benchmark::DoNotOptimize(score = Evaluate(0, -kWindow, kWindow, 0).score);
    }
    if (score != 17) state.SkipWithError("signature changed");
    Report(state, "evaluations/s", 1, 1);
}
BENCHMARK(EvaluateFully);

void EvaluateLazily(benchmark::State& state) {
    std::int64_t score = 0;
    SetUpBoard(kBoards[1]);
    Evaluate(0, -kWindow, kWindow, 0);
    for (auto _ : state) {
        benchmark::DoNotOptimize(score = Evaluate(-1, -kWindow, kWindow, 1).score);
    }
    if (score != 17) state.SkipWithError("signature changed");
    Report(state, "evaluations/s", 1, 1);
}
BENCHMARK(EvaluateLazily);

void ProbeTable(benchmark::State& state) {
    SetUpBoard(kBoards[1]);
    int alpha = -kWindow;
    int beta = kWindow;
    StoreTT(33, 0x3414, beta, 0, ProbeTT(4, &alpha, &beta, 0));
    std::int64_t score = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(position.key);
        benchmark::DoNotOptimize(score = ProbeTT(4, &alpha, &beta, 0).score);
    }
    if (score != 33) state.SkipWithError("signature changed");
    Report(state, "probes/s", 1, 1);
}
BENCHMARK(ProbeTable);

constexpr std::array<std::int64_t, kBoards.size()> kSearchNodes = {124779, 119285, 12634, 288053};

/// A whole computation to depth 6 from a cleared engine.
void WholeSearch(benchmark::State& state) {
    const auto at = static_cast<std::size_t>(state.range(0));
    std::int64_t nodes = 0;
    for (auto _ : state) {
        SetUpBoard(kBoards[at]);
        settings_block.Level.depth1 = 6;
        MAINVAR line;
        if (ComputeMove(&line) != StatusOk) state.SkipWithError("refused");
        ClearFlags(FlagBusy);
        nodes = think_controller.statistics.analize_cnt.load();
    }
    Report(state, "nodes/s", nodes, kSearchNodes[at]);
    state.counters["nodes"] = static_cast<double>(nodes);
}
BENCHMARK(WholeSearch)
    ->DenseRange(0, static_cast<int>(kBoards.size()) - 1)
    ->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace torval

BENCHMARK_MAIN();

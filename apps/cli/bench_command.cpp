#include <ctime>
#include <iomanip>
#include <memory>
#include <nlohmann/json.hpp>

#include "apps/cli/bench_positions.h"
#include "apps/cli/commands.h"
#include "apps/cli/notation.h"
#include "apps/cli/perft.h"
#include "apps/cli/positions.h"
#include "apps/makers/set_up.h"
#include "apps/text/progress.h"
#include "game/game.h"
#include "game/think.h"
#include "state/controller.h"
#include "state/flags.h"
#include "state/settings.h"

namespace torval {

namespace {

constexpr int kDefaultDepth = 7;
constexpr int kMaxDepth = 30;

struct BenchOptions {
    int depth = kDefaultDepth;
    bool json = false;
    std::string book;
};

/// Work done and the processor time it took.
struct Work {
    std::uint64_t count = 0;
    std::clock_t time = 0;

    std::uint64_t PerSecond() const {
        return static_cast<std::uint64_t>(static_cast<double>(count) * CLOCKS_PER_SEC /
                                          static_cast<double>(std::max<std::clock_t>(time, 1)));
    }
};

void SetUpCleared(const char* fen) {
    NewGame();
    std::string error;
    if (!SetUpFen(fen, &error)) throw std::runtime_error(std::string(fen) + ": " + error);
}

std::uint32_t SearchOne(const char* fen, MAINVAR* line, Work* total) {
    SetUpCleared(fen);
    const std::clock_t start = std::clock();
    const Status status = ComputeMove(line);
    total->time += std::clock() - start;
    ClearFlags(FlagBusy);
    if (status != StatusOk) throw std::runtime_error("the engine refuses to compute");
    const std::uint32_t nodes =
        think_controller.statistics.analize_cnt.load(std::memory_order_relaxed);
    total->count += nodes;
    return nodes;
}

Work CountPerftLeaves() {
    Work total;
    for (const PerftPosition& root : kPerftPositions) {
        SetUpCleared(root.fen);
        const std::clock_t start = std::clock();
        total.count += Perft(root.depth);
        total.time += std::clock() - start;
    }
    return total;
}

void RunBench(const BenchOptions& options, Console& console) {
    StartEngine();
    UseBook(options.book);
    settings_block.Level.depth1 = static_cast<std::int16_t>(options.depth);
    Work search;
    auto nodes_by_position = nlohmann::ordered_json::array();
    ProgressBar bar(console, options.json ? kBenchPositions.size() : 0);
    for (std::size_t i = 0; i < kBenchPositions.size(); ++i) {
        MAINVAR line;
        const std::uint32_t nodes = SearchOne(kBenchPositions[i], &line, &search);
        nodes_by_position.push_back(nodes);
        bar.Step();
        if (options.json) continue;
        const std::string best = line.vlen > 0 ? Algebraic(line.bstvar[0]) : "-";
        console.out << std::right << std::setw(3) << i + 1 << std::setw(12) << nodes << "  "
                    << std::left << std::setw(8) << best << kBenchPositions[i] << std::endl;
    }
    bar.Clear();
    const Work perft = CountPerftLeaves();
    if (options.json) {
        console.out << nlohmann::ordered_json{{"depth", options.depth},
                                              {"positions", nodes_by_position},
                                              {"nodes", search.count},
                                              {"nodes_per_second", search.PerSecond()},
                                              {"perft_leaves", perft.count},
                                              {"perft_leaves_per_second", perft.PerSecond()}}
                           .dump()
                    << '\n';
        return;
    }
    console.out << "\nNodes searched  : " << search.count
                << "\nNodes/second    : " << search.PerSecond()
                << "\nPerft leaves    : " << perft.count
                << "\nPerft leaves/second: " << perft.PerSecond() << '\n';
}

}  // namespace

void AddBenchCommand(Subcommand application, Console& console) {
    const auto options = std::make_shared<BenchOptions>();
    Subcommand command = application.AddCommand(
        "bench",
        "Search fixed positions; the number of nodes is the signature of the search, the rates are "
        "by processor time");
    command
        .AddOption(
            "DEPTH",
            &options->depth,
            "iterations for each position (" + std::to_string(kDefaultDepth) + " if not given)")
        .InRange(1, kMaxDepth)
        .ValueName("");
    AddBookOption(command, &options->book);
    command.AddFlag("--json", &options->json, "answer with one line of JSON");
    command.OnRun([options, &console] { RunBench(*options, console); });
}

}  // namespace torval

#include <chrono>
#include <iomanip>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>

#include "apps/cli/commands.h"
#include "apps/cli/notation.h"
#include "apps/cli/positions.h"
#include "apps/makers/tables/position_values.h"
#include "apps/makers/tables/table_file.h"
#include "apps/text/game_text.h"
#include "apps/text/moves.h"
#include "apps/text/text.h"
#include "board/attack.h"
#include "egtb/nalimov/probe.h"
#include "game/game.h"
#include "game/think.h"
#include "search/transposition.h"
#include "state/controller.h"
#include "state/flags.h"
#include "state/notify.h"
#include "state/settings.h"
#include "torval/codes.h"

namespace torval {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kDefaultDepth = 5;
constexpr int kMaxDepth = 30;
constexpr int kMaxSeconds = 28800;
constexpr int kMaxTableKilobytes =
    static_cast<int>(sizeof(TTEntry) * std::uint64_t{kMaxTableEntries} / 1024);

struct SearchOptions {
    PositionOptions position;
    std::optional<int> depth;
    std::optional<int> seconds;
    std::optional<int> table_kilobytes;
    std::string skip;
    std::string book;
    std::string tablebases;
    bool json = false;
};

/// What one computation found and what it cost.
struct Answer {
    MAINVAR line;
    std::uint32_t nodes;
    std::uint32_t quiescence_nodes;
    std::chrono::milliseconds time;
};

/// Where and since when best lines are reported; the engine's sink has no room for it.
struct Reporter {
    std::ostream* out = nullptr;
    Clock::time_point start;
    bool heading_due = false;
};
Reporter reporter;

std::uint32_t NodesSoFar() {
    return think_controller.statistics.analize_cnt.load(std::memory_order_relaxed);
}

std::string LineText(const MAINVAR& line) {
    return JoinWords(AlgebraicLine({line.bstvar, static_cast<std::size_t>(line.vlen)}));
}

void ReportLine(const MAINVAR& line) {
    if (line.iCommand == LineAlternatives) return;
    const std::uint32_t nodes = NodesSoFar();
    const auto seconds = std::chrono::duration<double>(Clock::now() - reporter.start).count();
    std::ostringstream row;
    if (reporter.heading_due) row << "Depth       Score         Nodes       Nodes/s  Line\n";
    reporter.heading_due = false;
    row << std::setw(5) << line.depth << std::setw(12) << ScoreText(line.score) << std::setw(14)
        << nodes << std::setw(14) << static_cast<std::uint64_t>(nodes / std::max(seconds, 1e-6))
        << "  " << LineText(line) << '\n';
    *reporter.out << row.str() << std::flush;
}

void SetLevel(const SearchOptions& options) {
    LEVEL& level = settings_block.Level;
    level.mode = options.seconds ? LevelMoveTime : LevelDepth;
    level.depth1 =
        static_cast<std::int16_t>(options.seconds ? 0 : options.depth.value_or(kDefaultDepth));
    level.time1 = static_cast<std::uint16_t>(options.seconds.value_or(0));
}

Answer Compute() {
    Answer answer{};
    reporter.start = Clock::now();
    const Status status = ComputeMove(&answer.line);
    const auto end = Clock::now();
    // The computation is over; the rest is the host's job.
    ClearFlags(FlagBusy);
    if (status == StatusRecordFull) {
        throw InputError("--moves: the game is too long to compute another move");
    }
    if (status != StatusOk) throw std::runtime_error("the engine refuses to compute");
    answer.nodes = NodesSoFar();
    answer.quiescence_nodes = think_controller.statistics.Qanalized.load(std::memory_order_relaxed);
    answer.time = std::chrono::duration_cast<std::chrono::milliseconds>(end - reporter.start);
    return answer;
}

std::string JsonText(const Answer& answer) {
    auto evars = nlohmann::ordered_json::array();
    auto line = nlohmann::ordered_json::array();
    for (int i = 0; i < answer.line.vlen; ++i) {
        evars.push_back(EvarHex(answer.line.bstvar[i]));
        line.push_back(CoordinateText(answer.line.bstvar[i]));
    }
    return nlohmann::ordered_json{{"vlen", answer.line.vlen},
                                  {"depth", answer.line.depth},
                                  {"score", answer.line.score},
                                  {"evar", evars},
                                  {"line", line},
                                  {"nodes", answer.nodes},
                                  {"qnodes", answer.quiescence_nodes},
                                  {"time_ms", answer.time.count()}}
        .dump();
}

std::string NoMoveText() {
    if (legal_moves->count > 0) return "No move: every legal move is skipped";
    return InCheck(position.SideToMove) ? "Checkmate" : "Stalemate";
}

/// One line for a position of a file.
std::string ShortText(const Answer& answer) {
    if (answer.line.vlen == 0) return NoMoveText();
    std::ostringstream text;
    text << Algebraic(answer.line.bstvar[0]) << "  " << ScoreText(answer.line.score) << ", depth "
         << answer.line.depth << ", " << answer.nodes << " nodes: " << LineText(answer.line);
    return text.str();
}

/// What the databases say about the position on the board; empty when they do not have it.
std::string DatabaseText() {
    CHSBRD board;
    StorePosition(&board);
    const auto small = SmallBoardOf(board, PassedSquare(board, game_record.top->move));
    if (!small || MayCastle(board)) return {};
    const TablebaseValue value = ValueOf(*small, ReadTablebaseValue);
    return value == kUnknownValue ? std::string() : ValueText(value);
}

void PrintSummary(const Answer& answer, std::string_view exact, std::ostream& out) {
    if (answer.line.vlen == 0) {
        out << NoMoveText() << '\n';
        return;
    }
    if (answer.line.depth == 0) {
        out << "Book move: " << Algebraic(answer.line.bstvar[0]) << '\n';
        return;
    }
    out << "\nBest move: " << Algebraic(answer.line.bstvar[0]) << "\nScore "
        << ScoreText(answer.line.score) << " at depth " << answer.line.depth << ", " << answer.nodes
        << " nodes (" << answer.quiescence_nodes << " of them in the capture search), "
        << answer.time.count() << " ms\n";
    if (!exact.empty()) out << "Endgame database: " << exact << " for the side to move\n";
}

void RunSearch(const SearchOptions& options, Console& console) {
    if (options.table_kilobytes) {
        StartEngine(static_cast<std::uint32_t>(*options.table_kilobytes));
    } else {
        StartEngine();
    }
    UseBook(options.book);
    UseTablebases(options.tablebases, console.err);
    SetLevel(options);
    const bool many = !options.position.epd.empty();
    reporter = {.out = &console.out, .start = {}, .heading_due = true};
    AnswerEach(options.position, console, [&](std::string_view fen) {
        try {
            SkipList = ReadLegalMoves(options.skip);
        } catch (const InputError& error) {
            throw InputError(std::string("--skip: ") + error.what());
        }
        if (!many && !options.json) notification_sink.output_main_var = ReportLine;
        const std::string exact = options.tablebases.empty() ? std::string() : DatabaseText();
        const Answer answer = Compute();
        notification_sink.output_main_var = nullptr;
        if (options.json) {
            console.out << JsonText(answer) << '\n';
        } else if (many) {
            console.out << fen << ": " << ShortText(answer) << '\n';
        } else {
            PrintSummary(answer, exact, console.out);
        }
        console.out << std::flush;
    });
}

}  // namespace

void AddSearchCommand(Subcommand application, Console& console) {
    const auto options = std::make_shared<SearchOptions>();
    Subcommand command =
        application.AddCommand("search", "Compute a move, telling the best lines on the way");
    AddFenOption(command, &options->position);
    AddMovesOption(command, &options->position);
    AddEpdOption(command, &options->position);
    command
        .AddOption("--depth",
                   &options->depth,
                   "iterations, in half-moves (" + std::to_string(kDefaultDepth) +
                       " if no limit is given)")
        .InRange(1, kMaxDepth)
        .ValueName("N");
    command.AddOption("--movetime", &options->seconds, "time to think, in whole seconds")
        .InRange(1, kMaxSeconds)
        .ValueName("SECONDS")
        .Excludes("--depth");
    command.AddOption("--skip", &options->skip, "legal moves to leave out: \"e2e4 d2d4\"")
        .ValueName("MOVES")
        .Excludes("--epd");
    command
        .AddOption("--hash",
                   &options->table_kilobytes,
                   "most kilobytes for the transposition table, 0 for none (1024 if not given)")
        .InRange(0, kMaxTableKilobytes)
        .ValueName("KB");
    AddBookOption(command, &options->book);
    AddTablebaseOption(command, &options->tablebases);
    command.AddFlag("--json", &options->json, "answer with one line of JSON");
    command.OnRun([options, &console] { RunSearch(*options, console); });
}

}  // namespace torval

#include <chrono>
#include <iomanip>
#include <memory>
#include <nlohmann/json.hpp>
#include <numeric>

#include "apps/cli/commands.h"
#include "apps/cli/perft.h"
#include "apps/cli/positions.h"
#include "apps/text/moves.h"

namespace torval {

namespace {

using Clock = std::chrono::steady_clock;

struct PerftOptions {
    PositionOptions position;
    int depth = 0;
    bool divide = false;
    bool json = false;
};

void RunPerft(const PerftOptions& options, Console& console) {
    StartEngine();
    SetUp(options.position);
    const Clock::time_point start = Clock::now();
    std::vector<std::pair<Move, std::uint64_t>> by_move;
    std::uint64_t leaves = 0;
    if (options.divide) {
        by_move = PerftDivide(options.depth);
        for (const auto& [move, count] : by_move) leaves += count;
    } else {
        leaves = Perft(options.depth);
    }
    const auto seconds = std::chrono::duration<double>(Clock::now() - start).count();
    const auto rate =
        static_cast<std::uint64_t>(static_cast<double>(leaves) / std::max(seconds, 1e-6));
    const auto time_ms = static_cast<std::uint64_t>(seconds * 1000);
    if (options.json) {
        nlohmann::ordered_json answer = {{"depth", options.depth}, {"leaves", leaves}};
        if (options.divide) {
            auto& moves = answer["divide"] = nlohmann::ordered_json::object();
            for (const auto& [move, count] : by_move) moves[CoordinateText(move)] = count;
        }
        answer["time_ms"] = time_ms;
        answer["leaves_per_second"] = rate;
        console.out << answer.dump() << '\n';
        return;
    }
    for (const auto& [move, count] : by_move) {
        console.out << std::left << std::setw(6) << CoordinateText(move) << std::right
                    << std::setw(16) << count << '\n';
    }
    console.out << "Leaves       : " << leaves << "\nLeaves/second: " << rate << " (" << time_ms
                << " ms)\n";
}

}  // namespace

void AddPerftCommand(Subcommand application, Console& console) {
    const auto options = std::make_shared<PerftOptions>();
    Subcommand command = application.AddCommand(
        "perft", "Count the sequences of legal moves, each made and taken back");
    command.AddOption("DEPTH", &options->depth, "length of the sequences in half-moves")
        .Required()
        .InRange(0, kMaxPerftDepth)
        .ValueName("");
    AddFenOption(command, &options->position);
    command.AddFlag("--divide", &options->divide, "tell the count of each first move, DEPTH >= 1");
    command.AddFlag("--json", &options->json, "answer with one line of JSON");
    command.OnRun([options, &console] {
        if (options->divide && options->depth == 0) {
            throw UsageError("DEPTH: --divide needs a depth of 1 at least");
        }
        RunPerft(*options, console);
    });
}

}  // namespace torval

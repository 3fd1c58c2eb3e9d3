// Searches every position of the opening table and writes what its moves lose, for
// data/openings-losses.tsv.
//
//     cmake --build build/release --target vet_openings
//     build/release/vet_openings DEPTH > data/openings-losses.tsv
//
// Method   each position once, to the same depth. A move loses the best value that its position has,
//          by its own search or after one of its moves, less the value after the move; each is the
//          value of one position, so the error of the depth is similar in both.
// Output   the moves to a position, the move, and the loss in 1/100 pawn, when it is at least
//          kLeastLoss. A move that allows mate, or misses one, counts as kMateLoss.
#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <vector>

#include "apps/cli/positions.h"
#include "apps/host/openings.h"
#include "apps/makers/books/opening_graph.h"
#include "apps/text/moves.h"
#include "apps/text/opening_lines.h"
#include "game/think.h"
#include "state/flags.h"
#include "state/settings.h"

namespace torval {
namespace {

constexpr int kLeastLoss = 30;
constexpr int kMateLoss = 9999;
constexpr int kLeastMateScore = 9000;

int ValueOf(const OpeningPosition& opening) {
    PositionOptions place;
    place.moves = opening.moves;
    SetUp(place);
    MAINVAR line = {};
    if (ComputeMove(&line) != StatusOk) throw std::runtime_error("cannot search " + opening.moves);
    ClearFlags(FlagBusy);
    // Checkmate is the one position of the table that has no move.
    return line.vlen == 0 ? -2 * kLeastMateScore : line.score;
}

int Hundredths(int value) { return value * 100 / 128; }

int Loss(int best, int value) {
    if (best == value) return 0;
    if (value <= -kLeastMateScore || best >= kLeastMateScore) return kMateLoss;
    return Hundredths(best - value);
}

void Vet(int depth) {
    constexpr std::uint32_t kTableKilobytes = 16384;
    const OpeningGraph graph = OpeningGraph::Read(OpeningLines(), {}, '2');
    const std::span<const OpeningPosition> positions = graph.Positions();
    StartEngine(kTableKilobytes);
    settings_block.Level.mode = 0;
    settings_block.Level.depth1 = static_cast<std::int16_t>(depth);
    std::vector<int> values;
    for (std::size_t i = 0; i < positions.size(); ++i) {
        std::cerr << '\r' << i + 1 << " of " << positions.size() << std::flush;
        values.push_back(ValueOf(positions[i]));
    }
    std::cerr << '\n';
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < positions.size(); ++i) {
        int best = values[i];
        for (const OpeningStep& step : positions[i].steps) best = std::max(best, -values[step.to]);
        for (const OpeningStep& step : positions[i].steps) {
            const int loss = Loss(best, -values[step.to]);
            if (loss < kLeastLoss) continue;
            lines.push_back(positions[i].moves + '\t' + CoordinateText(step.move) + '\t' +
                            std::to_string(loss));
        }
    }
    std::ranges::sort(lines);
    for (const std::string& line : lines) std::cout << line << '\n';
}

}  // namespace
}  // namespace torval

int main(int argc, char** argv) {
    const int depth = argc == 2 ? std::atoi(argv[1]) : 0;
    if (depth < 1) {
        std::cerr << "usage: vet_openings DEPTH\n";
        return EXIT_FAILURE;
    }
    torval::Vet(depth);
}

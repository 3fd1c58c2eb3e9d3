#include "apps/uci/report.h"

#include <algorithm>
#include <iterator>

#include "apps/text/game_text.h"
#include "apps/text/moves.h"

namespace torval {

std::string ScoreReport(int score) {
    if (const std::optional<int> moves = MovesToMate(score))
        return "mate " + std::to_string(*moves);
    return "cp " + std::to_string(score * 100 / kPawnUnits);
}

std::string LineReport(const MAINVAR& line, std::int64_t nodes, std::int64_t elapsed_ms) {
    std::string text = "info depth " + std::to_string(line.depth) + " score " +
                       ScoreReport(line.score) + " nodes " + std::to_string(nodes) + " nps " +
                       std::to_string(nodes * 1000 / std::max<std::int64_t>(elapsed_ms, 1)) +
                       " time " + std::to_string(elapsed_ms);
    const int moves = std::clamp<int>(line.vlen, 0, static_cast<int>(std::size(line.bstvar)));
    if (moves > 0) text += " pv";
    for (int i = 0; i < moves; ++i) text += " " + CoordinateText(line.bstvar[i]);
    return text;
}

}  // namespace torval

#include "apps/text/book_text.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "apps/text/san.h"
#include "torval/codes.h"

namespace torval {

namespace {

/// "120   45% 30% 25%": games, and of these won, drawn, lost by the side to move.
std::string GamesText(const BMOVE2& move, bool white) {
    const auto games = static_cast<std::uint32_t>(move.totalplayed);
    if (games == 0) return {};
    const auto won = static_cast<std::uint32_t>(white ? move.winwhite : move.winblack);
    const auto lost = static_cast<std::uint32_t>(white ? move.winblack : move.winwhite);
    const auto percent = [games](std::uint32_t part) {
        return static_cast<int>(std::lround(std::min(part, games) * 100.0 / games));
    };
    const int percent_won = percent(won);
    const int percent_lost = percent(lost);
    char text[64];
    std::snprintf(text,
                  sizeof text,
                  "%8u %4d%% %4d%% %4d%%",
                  games,
                  percent_won,
                  std::max(0, 100 - percent_won - percent_lost),
                  percent_lost);
    return text;
}

}  // namespace

std::string BookRemark(std::uint8_t flags) {
    std::string remark = flags & BookMoveFromUser ? "user book" : "";
    if (flags & BookMoveExcluded) remark += remark.empty() ? "not played" : ", not played";
    return remark;
}

std::vector<std::string> BookLines(const W_BOOKMOVES2& moves, const CHSBRD& position) {
    if (moves.NmbrOfMoves == 0) return {"The books have no move here."};
    const BMOVE2* const begin = moves.MOVES;
    const bool counted = std::any_of(
        begin, begin + moves.NmbrOfMoves, [](const BMOVE2& move) { return move.totalplayed != 0; });
    std::vector<std::string> lines = {counted ? "Move    Score    Games   Won Drawn  Lost"
                                              : "Move    Score"};
    for (int i = 0; i < moves.NmbrOfMoves; ++i) {
        const BMOVE2& move = moves.MOVES[i];
        char text[128];
        std::snprintf(text,
                      sizeof text,
                      counted ? "%-8s%5d %-26s %s" : "%-8s%5d%s  %s",
                      AlgebraicText(move.move, position).c_str(),
                      move.score,
                      counted ? GamesText(move, position.color == 0).c_str() : "",
                      BookRemark(move.flag).c_str());
        std::string line = text;
        line.erase(line.find_last_not_of(' ') + 1);
        lines.push_back(std::move(line));
    }
    return lines;
}

}  // namespace torval

#include "apps/uci/skip_list.h"

#include <algorithm>

#include "apps/text/moves.h"
#include "apps/text/text.h"
#include "torval/codes.h"

namespace torval {

namespace {

constexpr int kSquares = 64;

std::uint8_t ColourBit(int side) { return side == 0 ? kWhiteBit : kBlackBit; }

std::uint8_t MoveSquare(int index) {
    return static_cast<std::uint8_t>(16 * (index / 8) + index % 8);
}

}  // namespace

std::vector<EVAR> AllMovesBut(const CHSBRD& board, const std::vector<std::string>& kept) {
    std::vector<EVAR> moves;
    if (kept.empty()) return moves;
    std::vector<std::string> spared = kept;
    for (std::string& text : spared) std::ranges::transform(text, text.begin(), Lower);
    const auto add = [&](EVAR move) {
        if (std::ranges::find(spared, CoordinateText(move)) == spared.end()) moves.push_back(move);
    };
    for (int from = 0; from < kSquares; ++from) {
        const std::uint8_t code = board.board[from];
        if (!(code & ColourBit(board.color))) continue;
        const auto type = static_cast<std::uint8_t>(code & kTypeBits);
        for (int to = 0; to < kSquares; ++to) {
            if (to == from) continue;
            EVAR move = {
                .from = MoveSquare(from), .to = MoveSquare(to), .flags = type, .capture = 0};
            if (type != Pawn || (to / 8 != 0 && to / 8 != 7)) {
                add(move);
                continue;
            }
            for (std::uint8_t promoted = Knight; promoted <= Queen; ++promoted) {
                move.flags = static_cast<std::uint8_t>(Pawn | promoted << kPromotionShift);
                add(move);
            }
        }
    }
    return moves;
}

}  // namespace torval

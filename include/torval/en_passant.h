// Whether the last move lets a pawn be taken en passant, judging by the men on the board alone.
//
// Range    whether the capture would leave the capturer's king in check is not tested.
// Thread   pure functions.
#pragma once

#include <cstdint>
#include <optional>

#include "torval/records.h"

namespace torval {

/// The square that the pawn of the last move has passed, when a pawn of the side to move is beside
/// that pawn and could take it. Empty for any other move, and when the side that made the move is
/// to move again: the other side has passed. Squares are 0x88 numbers; `man_at` returns the piece
/// byte on one.
template <typename ManAt>
constexpr std::optional<std::uint8_t> EnPassantSquare(const EVAR& last,
                                                      unsigned side_to_move,
                                                      ManAt man_at) {
    constexpr unsigned kCodeBits = 31;
    constexpr unsigned kWhitePawn = 17;
    constexpr unsigned kBlackPawn = 9;
    constexpr int kDoubleStep = 32;
    const int from = last.from & 0x77;
    const int to = last.to & 0x77;
    const bool by_white = to - from == kDoubleStep;
    if (!by_white && from - to != kDoubleStep) return std::nullopt;
    if (side_to_move != (by_white ? 1U : 0U)) return std::nullopt;
    const auto is_there = [&man_at](int square, unsigned code) {
        return (man_at(static_cast<std::uint8_t>(square)) & kCodeBits) == code;
    };
    if (!is_there(to, by_white ? kWhitePawn : kBlackPawn)) return std::nullopt;
    for (const int beside : {to + 1, to - 1}) {
        if ((beside & 0x88) == 0 && is_there(beside, by_white ? kBlackPawn : kWhitePawn)) {
            return static_cast<std::uint8_t>((from + to) / 2);
        }
    }
    return std::nullopt;
}

/// The same in a record of the position after the move.
constexpr std::optional<std::uint8_t> EnPassantSquare(const EVAR& last, const CHSBRD& board) {
    return EnPassantSquare(last, board.color, [&board](std::uint8_t square) {
        return board.board[8 * (square >> 4) + (square & 7)];
    });
}

}  // namespace torval

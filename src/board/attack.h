// Whether a square of the working board is attacked, and whether a king is in check.
#pragma once

#include "board/position.h"

namespace torval {

/// Whether `By` attacks the square when `occupied` are the men that block lines.
template <Side By>
inline bool IsAttacked(Square square, Bitboard occupied) {
    const auto& men = position.pieces[By];
    const int index = IndexOf(square);
    const auto at = static_cast<unsigned>(index);
    if (PawnAttacks<!By>(Bit(square)) & men[Pawn]) return true;
    if (kKnightAttacks[at] & men[Knight]) return true;
    if (kKingAttacks[at] & men[King]) return true;
    if (BishopAttacks(index, occupied) & (men[Bishop] | men[Queen])) return true;
    return (RookAttacks(index, occupied) & (men[Rook] | men[Queen])) != 0;
}

template <Side By>
inline bool IsAttacked(Square square) {
    return IsAttacked<By>(square, position.Occupied());
}

inline bool IsAttackedByWhite(Square square) { return IsAttacked<White>(square); }
inline bool IsAttackedByBlack(Square square) { return IsAttacked<Black>(square); }

/// Whether the side's king is attacked. Both kings must be on the board.
inline bool InCheck(int side) {
    return side == White ? IsAttacked<Black>(position.KingSquare(White))
                         : IsAttacked<White>(position.KingSquare(Black));
}

}  // namespace torval

// Pseudo-legal moves of the side to move, in the order that fixes how the engine plays.
//
// Order    castling, en passant, then the men of the piece list. Each entry goes to the front of
//          its chain, so a chain reads in the reverse of generation order. Castling is laid down
//          only when it is legal; every other move may leave the mover in check.
// Thread   the thread that works on the position.
#pragma once

#include <compare>

#include "board/move_list.h"
#include "torval/codes.h"

namespace torval {

/// The move without the marks in its squares.
constexpr Move Plain(Move move) {
    move.from &= kSquareBits;
    move.to &= kSquareBits;
    return move;
}

constexpr PieceType PromotionType(Move move) {
    return static_cast<PieceType>((move.flags & kPromotionBits) >> kPromotionShift);
}

/// The destination as tables and books store it: the square, or for a promotion 0x80 + type * 16 +
/// file.
constexpr std::uint8_t StoredDestination(Move move) {
    const int promotion = move.flags & kPromotionBits;
    return static_cast<std::uint8_t>(promotion ? 0x80 + promotion + FileOf(move.to) : move.to);
}

/// The square of the pawn that just made a double step and can be taken en passant by a
/// neighbour, or 0x88. `Us` is the side that could take it.
template <Side Us>
Square DoubleStepSquare() {
    const Move last = Plain(game_record.top->move);
    const int step = Us == White ? last.from - last.to : last.to - last.from;
    return step == 32 && position.Board[last.to] == CodeOf(!Us, Pawn) ? last.to : 0x88;
}

/// The castling moves of the side that are possible now, short and long (attack tests included).
template <Side Us>
bool CanCastleShort();
template <Side Us>
bool CanCastleLong();

/// Generates into the arena's next free place.
MoveList& GenerateMoves();

/// Frees a list and every later one.
void ReleaseMoves(const MoveList& list);

/// Empties the arena; once when the engine starts.
void ClearMoveArena();

/// Sets the notation marks of a knight, rook or queen move that another such man of the list
/// could make too: the file is needed when they stand on different files, else the rank.
void MarkAmbiguity(const MoveList& legal, MoveEntry* entry);

/// Orders by origin, destination and promotion; equal is the same move, whatever its marks.
std::strong_ordering CompareMoves(Move a, Move b);

}  // namespace torval

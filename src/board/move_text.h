// Moves given as text: which legal moves a text can mean.
//
// Accepts  standard algebraic notation, long notation and plain coordinates, with English, Dutch
//          or German piece letters and three spellings of castling. The text is read from its end.
#pragma once

#include "board/generate.h"

namespace torval {

inline constexpr int kUnreadable = -1;

/// How many moves of the legal list fit the text; they then stand at its front. kUnreadable for
/// text that cannot be a move, 0 for an empty list whatever the text. list->count is left at the
/// number last narrowed to.
int ParseMoveText(MoveList* list, const char* text);

enum class Criterion {
    Capture,      ///< captures something
    Promotion,    ///< promotes (to value, when that is not 0)
    Destination,  ///< goes to value
    Origin,       ///< comes from value
    Piece,        ///< moves a piece of type value
    Castling,     ///< castles with the king to file value
    OriginHint,   ///< comes from a square that matches the partial square value
    PieceOrPawn,  ///< moves a piece of `type`, or is a pawn capture whose origin matches value
};

/// Walks the first list->count entries and brings those that fit to the front, in reverse order,
/// the others behind them, in reverse order too. count becomes the number that fit; with a count
/// of 0 nothing happens.
void NarrowMoves(MoveList* list, Criterion criterion, int value, int type = 0);

}  // namespace torval

// The legal moves of a position, and the marks of a move that the game has made.
#pragma once

#include "board/generate.h"

namespace torval {

/// Reduces a freshly generated list to the legal moves: quiet moves first, then captures, at
/// quiet_head; `count` is their number and kCheckMark stands in `to` of those that give check.
/// Makes and takes back every move, which reorders the piece lists as captures do. A move that
/// captures a king is unlinked unmade.
void FilterLegal(MoveList* list);

/// The legal list of the working position, generated and filtered.
MoveList& GenerateLegal();

/// The entry of the list that is the same move, null when there is none.
MoveEntry* FindMove(const MoveList& legal, Move move);

/// Sets kCheckMark and kMateMark in `to` of a move just made. Stalemate is not detected.
void MarkGameMove(MoveEntry* entry);

}  // namespace torval

// The move at the root, taken from the Thompson databases instead of a search.
//
// Method   every root move is looked up, and where the win is not found yet every reply to it. The
//          fastest wins are chosen; without one, the moves that lose most slowly when all of them
//          lose.
// Thread   the thread that computes the engine's own move.
#pragma once

#include "board/move_list.h"

namespace torval {

/// How many moves were chosen, 0 for none. They then stand at the front of the list in random order,
/// and the line of the first one is the current principal variation. The host hears of every move and
/// every better line, at depth 99. Message 20 says which volumes are wanted but not there, message 22
/// that no move was chosen.
int RootDatabaseProbe(MoveList* list);

}  // namespace torval

// Computing the engine's own move.
//
// Thread   the thread that computes. The host's thread may meanwhile set FlagAbort or FlagMoveNow.
#pragma once

#include <span>
#include <vector>

#include "board/position.h"
#include "platform/status.h"
#include "torval/records.h"

namespace torval {

/// Root moves that the next computation leaves out; empty for all but a start with such a list.
extern std::vector<Move> SkipList;

/// Computes a move for the side to move by the level in force and writes the final line to
/// *result: iCommand 4, or all zero when there is no move or the computation was aborted. The
/// move is not made. FlagBusy is left set for the caller to clear.
/// StatusRecordFull, StatusComputerToMove.
Status ComputeMove(MAINVAR* result);

}  // namespace torval

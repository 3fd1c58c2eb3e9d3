// Computing the engine's own move, and analysing on the host's time.
//
// Thread   the thread that computes. The host's thread may meanwhile set FlagAbort or FlagMoveNow.
#pragma once

#include <span>
#include <vector>

#include "board/position.h"
#include "torval/codes.h"
#include "torval/records.h"

namespace torval {

/// Root moves that the next computation leaves out; empty for all but a start with such a list.
extern std::vector<Move>& SkipList;

/// Computes a move for the side to move by the level in force and writes the final line to
/// *result: iCommand 4, or all zero when there is no move or the computation was aborted. The
/// move is not made. FlagBusy is left set for the caller to clear.
/// StatusRecordFull, StatusComputerToMove.
Status ComputeMove(MAINVAR* result);

/// Analyses the position for the side to move until FlagAbort or depth 30; the current line is what
/// it leaves. FlagBusy is left set for the caller to clear. Errors as ComputeMove.
Status Ponder();

/// The reply that the engine expects, once its move has been entered. StatusNegative: none known.
Status ExpectedReply(Move* move);

/// Replaces the last move of the game by the next alternative and tells the host.
/// StatusNoAlternative (the last move then stays taken back when the alternative is not legal),
/// StatusBusy.
Status DoNextBestMove(Move* move);

}  // namespace torval

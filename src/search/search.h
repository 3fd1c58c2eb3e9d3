// The recursive search of a position below the root, with its capture search.
//
// Method   negamax alpha-beta with a principal-variation scheme, null move, check and pawn-push
//          extensions, frontier futility, a transposition table and staged move ordering. At depth
//          0 and below only captures, promotions, (on the first ply) checks and evasions are
//          tried, against the static score.
// Units    1/128 pawn for the side to move; 10000 - n is a mate in n plies from the root.
// Thread   the thread that computes. One search at a time works on the one position.
#pragma once

#include "eval/evaluate.h"

namespace torval {

/// The side to move just answered a null move: not in check, and no null move of its own.
inline constexpr int kNullReply = -1;

/// A node that finds less left of the arena than this answers with its evaluation.
inline constexpr int kArenaReserve = 3000;

/// The node's best score, which may lie outside [alpha, beta], with the flags of the result it
/// came from. check: 1 in check, 0 not, kNullReply. With FlagAbort or FlagMoveNow set: alpha.
template <Side Us>
EvalResult Search(int depth, int alpha, int beta, int check);

/// The same for whichever side is to move.
EvalResult Search(int depth, int alpha, int beta, int check);

}  // namespace torval

// The root of a search: the ordered root moves and one iteration over them.
//
// Owner    root.cpp. The root list lives in the arena for one computation; its chain is in search
//          order, best move first, and each entry's `order` holds its RootResult.
// Thread   the thread that computes.
#pragma once

#include <span>

#include "board/move_list.h"
#include "eval/evaluate.h"

namespace torval {

/// The legal moves less those to skip, each scored by a capture search of the position after it
/// (+300 for the first move of the current line), best first; equal scores keep their order.
MoveList& PrepareRootMoves(std::span<const Move> skip_list);

/// Root moves in the list, as far as a notification counts them: 100.
int CountRootMoves(const MoveList& list);

/// Brings an entry of the list to its front.
void MoveToFront(MoveList* list, MoveEntry* entry);

/// Tells the host of a root move whose turn has come; moves_to_go counts it too.
void NotifyNextMove(int depth, int moves_to_go, Move move);

/// Makes row 0 of the LineTable the current principal variation, and tells the host. The board must
/// hold the root position.
void ReportBestLine(int depth, int score);

/// One iteration. The best entry, now at the front of the list; null when no move was legal.
MoveEntry* RootSearch(int depth, int alpha, int beta, MoveList* list);

}  // namespace torval

// Best lines: one row for each ply of the search, and one for each root move of a computation.
//
// Shape    LineTable: 33 rows of 33 moves; row p holds the best line found so far from the node at
//          distance p, ended by an empty move. Only the first 16 entries of a row are used.
//          RootLineStore: 80 slots of a root move (entry 0) and the line below it (1 to 31).
// Owner    lines.cpp. Rows live as long as the search that wrote them; row 0 is the root line and
//          the slots live for one computation.
// Thread   the thread that searches.
#pragma once

#include <array>

#include "board/position.h"

namespace torval {

inline constexpr int kLineRows = 33;
inline constexpr int kLineMoves = 33;
inline constexpr int kUsedLineMoves = 16;
inline constexpr int kRootLines = 80;
inline constexpr int kRootLineMoves = 32;

using Line = std::array<Move, kLineMoves>;

extern std::array<Line, kLineRows> LineTable;

using RootLine = std::array<Move, kRootLineMoves>;

extern std::array<RootLine, kRootLines> RootLineStore;

inline void EmptyRow(int ply) { LineTable[static_cast<unsigned>(ply)][0] = {}; }

/// Makes row `ply` the move followed by row ply + 1, as far as the row's 16 - ply moves reach.
inline void UpdateLine(int ply, Move move) {
    Line& row = LineTable[static_cast<unsigned>(ply)];
    const Line& next = LineTable[static_cast<unsigned>(ply) + 1];
    row[0] = move;
    const int last = kUsedLineMoves - 1 - ply;
    for (int i = 1; i <= last; ++i) {
        const Move copied = next[static_cast<unsigned>(i) - 1];
        row[static_cast<unsigned>(i)] = copied;
        if (IsEmpty(copied)) break;
    }
}

void ClearLines();
void ClearRootLineStore();

/// Remembers the line below a root move: in its slot, else in the first free one, else nowhere.
/// `line` starts after the root move and ends with an empty move.
void StoreRootLine(Move root_move, const Move* line);

/// Row 0 becomes the stored line that begins with the move; its entry 0 is empty when none is.
void LoadRootLine(Move root_move);

/// Drops the first two moves of each of the first 16 rows.
void ShiftLines();

}  // namespace torval

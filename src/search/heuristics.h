// What cut-offs and best moves teach the move ordering: killer moves and history counters.
//
// Shape    KillerTable: for plies 0 to 31 two table moves, the newest first. HistoryTable: 16384
//          wrapping counters at to * 256 + 64 for Black + from, squares as 0..63.
// Owner    heuristics.cpp. Both live for one computation.
// Thread   the thread that searches.
#pragma once

#include <array>
#include <cstdint>

#include "search/transposition.h"

namespace torval {

inline constexpr int kMaxSearchPly = 31;

struct Killers {
    TableMove newest;
    TableMove older;
};

extern std::array<Killers, kMaxSearchPly + 1> KillerTable;
extern std::array<std::uint32_t, 16384> HistoryTable;

/// By captured type (rows) and moving type (columns).
inline constexpr std::array<std::array<std::int8_t, 7>, 8> MvvLvaTable = {{
    {},
    {0, 5, -4, -5, -15, -35, -4},
    {0, 23, 14, 13, 3, -17, 14},
    {0, 25, 16, 15, 5, -15, 16},
    {0, 45, 36, 35, 25, 5, 36},
    {0, 85, 76, 75, 65, 45, 75},
    {},
    {},
}};

inline int CaptureValue(Move move) { return MvvLvaTable[TypeOf(move.capture)][move.flags & 7U]; }

/// The move's counter for the side that makes it.
template <Side Us>
inline std::uint32_t& HistoryOf(Move move) {
    const int index = IndexOf(move.to) * 256 + (Us == Black ? 64 : 0) + IndexOf(move.from);
    return HistoryTable[static_cast<unsigned>(index)];
}

inline void UpdateKillers(int ply, TableMove move) {
    Killers& killers = KillerTable[static_cast<unsigned>(ply)];
    killers.older = killers.newest;
    killers.newest = move;
}

/// Credits a node's best move, more the deeper the node was searched: 2^(depth + 4), at least 1.
template <Side Us>
inline void CreditHistory(Move move, int depth) {
    // The deepest node that a search reaches is far below the width of a counter.
    constexpr int kLargestShift = 31;
    const int shift = depth > -4 ? (depth + 4 < kLargestShift ? depth + 4 : kLargestShift) : 0;
    HistoryOf<Us>(move) += std::uint32_t{1} << shift;
}

void ClearHeuristics();

}  // namespace torval

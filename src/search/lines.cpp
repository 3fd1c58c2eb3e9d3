#include "search/lines.h"

#include <algorithm>

namespace torval {

std::array<Line, kLineRows> LineTable;
std::array<RootLine, kRootLines> RootLineStore;

void ClearLines() { LineTable = {}; }

void ClearRootLineStore() { RootLineStore = {}; }

void StoreRootLine(Move root_move, const Move* line) {
    const auto has_key = [&](const RootLine& slot) { return slot[0] == root_move; };
    const auto is_free = [](const RootLine& slot) { return IsEmpty(slot[0]); };
    auto slot = std::ranges::find_if(RootLineStore, has_key);
    if (slot == RootLineStore.end()) slot = std::ranges::find_if(RootLineStore, is_free);
    if (slot == RootLineStore.end()) return;
    (*slot)[0] = root_move;
    unsigned i = 1;
    for (; i < kRootLineMoves && !IsEmpty(line[i - 1]); ++i) (*slot)[i] = line[i - 1];
    for (; i < kRootLineMoves; ++i) (*slot)[i] = {};
}

void LoadRootLine(Move root_move) {
    Line& row = LineTable[0];
    row[0] = {};
    const auto slot = std::ranges::find_if(
        RootLineStore, [&](const RootLine& candidate) { return candidate[0] == root_move; });
    if (slot == RootLineStore.end()) return;
    unsigned i = 0;
    for (; i < kRootLineMoves && !IsEmpty((*slot)[i]); ++i) row[i] = (*slot)[i];
    for (; i < kLineMoves; ++i) row[i] = {};
}

void ShiftLines() {
    for (unsigned ply = 0; ply < 16; ++ply) {
        Line& row = LineTable[ply];
        std::copy(row.begin() + 2, row.end(), row.begin());
        row[kLineMoves - 2] = row[kLineMoves - 1] = {};
    }
}

}  // namespace torval

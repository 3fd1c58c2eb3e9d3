#include "search/heuristics.h"

namespace torval {

std::array<Killers, kMaxSearchPly + 1> KillerTable;
std::array<std::uint32_t, 16384> HistoryTable;

void ClearHeuristics() {
    KillerTable = {};
    HistoryTable = {};
}

}  // namespace torval

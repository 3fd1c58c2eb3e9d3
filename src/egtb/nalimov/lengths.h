// How many entries each class file holds.
//
// Rule     a file stops after its last index that belongs to a legal position, one in which the
//          side not to move is not in check. The lengths are facts about chess and the numbering,
//          computed once and kept as a table.
// Thread   constant data and pure functions; any thread, after BuildIndexTables.
#pragma once

#include <array>
#include <cstdint>

#include "egtb/nalimov/index.h"

namespace torval {

/// By class and side to move; both sides of a class with one file.
extern const std::array<std::array<std::uint32_t, 2>, kClasses> kEntryCounts;

/// Whether the side not to move is not in check. Men stand on squares of their own.
bool IsLegal(int class_id, int side, const ClassPosition& position);

/// The rule, applied from the last index down.
std::uint64_t CountEntries(int class_id, int side);

}  // namespace torval

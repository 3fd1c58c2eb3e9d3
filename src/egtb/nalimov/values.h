// The values that database files hold, and what they mean.
//
// Units    TablebaseValue, for the side to move: 32767 - k mates in k moves (k >= 1), -32766 + k is
//          mated in k moves (k >= 0, 0: is mated now), 0 draw, 32767 unknown.
//          An entry of one byte: 127 - k mates in k (1 to 126), -128 in 127; -126 + k is mated in k
//          (0 to 125), -127 in 126; 0 draw; 127 broken. Wide entries hold the value itself.
// Thread   pure functions.
#pragma once

#include <cstdint>

namespace torval {

using TablebaseValue = std::int16_t;

inline constexpr TablebaseValue kUnknownValue = 32767;
inline constexpr TablebaseValue kDrawValue = 0;
inline constexpr std::int8_t kBrokenEntry = 127;

constexpr TablebaseValue MatesIn(int moves) { return static_cast<TablebaseValue>(32767 - moves); }
constexpr TablebaseValue MatedIn(int moves) { return static_cast<TablebaseValue>(-32766 + moves); }

/// The value of a wide entry: kUnknownValue for a mate so far away that no score could tell it. Files
/// with such entries are damaged, and the search relies on scores inside its full window.
constexpr TablebaseValue Checked(TablebaseValue entry) {
    constexpr int kFarthestMate = 4900;  // moves; scores count 10000 plies
    const int moves = entry > 0 ? 32767 - entry : 32766 + entry;
    const bool good = entry == kDrawValue || (moves >= 0 && moves <= kFarthestMate);
    return good ? entry : kUnknownValue;
}

/// The value of an entry of one byte.
constexpr TablebaseValue WidenEntry(std::int8_t entry) {
    constexpr int kOffset = 32640;
    switch (entry) {
        case 0: return kDrawValue;
        case kBrokenEntry: return kUnknownValue;
        case -127: return MatedIn(126);
        case -128: return MatesIn(127);
        default: return static_cast<TablebaseValue>(entry > 0 ? entry + kOffset : entry - kOffset);
    }
}

/// The entry for a value; kBrokenEntry for one that a byte cannot hold.
constexpr std::int8_t NarrowValue(TablebaseValue value) {
    if (value == kDrawValue) return 0;
    const int moves = value > 0 ? 32767 - value : 32766 + value;
    if (value == kUnknownValue || moves > (value > 0 ? 127 : 126)) return kBrokenEntry;
    if (value > 0) return static_cast<std::int8_t>(moves == 127 ? -128 : 127 - moves);
    return static_cast<std::int8_t>(moves == 126 ? -127 : moves - 126);
}

static_assert(WidenEntry(126) == MatesIn(1) && WidenEntry(1) == MatesIn(126));
static_assert(WidenEntry(-126) == MatedIn(0) && WidenEntry(-1) == MatedIn(125));
static_assert(NarrowValue(MatesIn(127)) == -128 && NarrowValue(MatedIn(126)) == -127);

}  // namespace torval

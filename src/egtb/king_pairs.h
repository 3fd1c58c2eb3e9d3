// The pairs of kings that databases tell apart, and their numbers.
//
// Method   the board's symmetries bring the king that leads onto files a to d; without pawns into the
//          triangle a1-d1-d4, and when it then stands on the diagonal a1-h8, the other one on or
//          below it. Such pairs, the kings not adjacent, are numbered by the leading king, then by
//          the other.
// Units    squares are 0 to 63, a1 first.
// Thread   constant data; any thread.
#pragma once

#include <array>
#include <cstdint>

namespace torval {

inline constexpr int kPawnlessKingPairs = 462;
inline constexpr std::uint16_t kNoKingPair = 4000;

constexpr bool KingsTouch(unsigned a, unsigned b) {
    const auto near = [](unsigned x, unsigned y) { return (x > y ? x - y : y - x) <= 1; };
    return near(a % 8, b % 8) && near(a / 8, b / 8);
}

using KingPairNumbers = std::array<std::array<std::uint16_t, 64>, 64>;

/// The number of each pair of a leading and another king, kNoKingPair for one that never occurs.
constexpr KingPairNumbers NumberKingPairs(bool pawns) {
    KingPairNumbers numbers = {};
    std::uint16_t next = 0;
    for (unsigned a = 0; a < 64; ++a) {
        const unsigned file = a % 8;
        const unsigned rank = a / 8;
        for (unsigned b = 0; b < 64; ++b) {
            const bool reduced = pawns || (rank <= file && (rank < file || b / 8 <= b % 8));
            const bool counted = file <= 3 && reduced && !KingsTouch(a, b);
            numbers[a][b] = counted ? next++ : kNoKingPair;
        }
    }
    return numbers;
}

}  // namespace torval

// The material classes that an endgame database has files for.
//
// Shape    243 classes of 3 to 6 men, named by both sides' men: "k", the first side's men, "k", the
//          second side's, each in the order q, r, b, n, p. A class's number is its place in the
//          table; number 0 is the empty class "kk", which has no files.
// Side     0: the first side is to move, 1: the second. A class file holds one of the two; a class
//          with equal men on both sides has a file for side 0 alone, used for both.
// Thread   constant data; any thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "board/piece.h"

namespace torval {

inline constexpr int kClasses = 244;
inline constexpr int kFirstFourMen = 6;
inline constexpr int kFirstFiveMen = 36;
inline constexpr int kFirstSixMen = 146;

/// Men of one side besides the king, at the index of their PieceType.
using MenCounts = std::array<std::uint8_t, 6>;

struct TablebaseClass {
    enum Flag : std::uint8_t { Symmetric = 1, WideEntries = 2 };

    std::array<char, 8> letters = {};
    std::array<MenCounts, 2> men = {};  ///< by side of the class
    std::uint8_t flags = 0;

    constexpr std::string_view Name() const { return letters.data(); }
    constexpr bool IsSymmetric() const { return (flags & Symmetric) != 0; }
    constexpr bool HasWideEntries() const { return (flags & WideEntries) != 0; }
    constexpr bool HasPawns() const { return men[0][Pawn] + men[1][Pawn] > 0; }
};

extern const std::array<TablebaseClass, kClasses> kTablebaseClasses;

/// Sides to move that have a file of their own: 1 where both sides have the same men.
inline int SidesOf(int class_id) {
    return kTablebaseClasses[static_cast<std::size_t>(class_id)].IsSymmetric() ? 1 : 2;
}

/// The side whose file answers for a side to move.
inline int FileSideOf(int class_id, int side) { return SidesOf(class_id) == 1 ? 0 : side; }

/// Men of one side besides the king.
constexpr int CountOf(const MenCounts& men) {
    return men[Pawn] + men[Knight] + men[Bishop] + men[Rook] + men[Queen];
}

/// The number of a class by name; 0 for none.
int FindClass(std::string_view name);

/// The class for these men of White and Black: its number when the first side is White, the negative
/// number when it is Black, 0 for none. Equal men on both sides are taken as named.
int ClassFor(const MenCounts& white, const MenCounts& black);

}  // namespace torval

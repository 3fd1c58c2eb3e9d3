// The number of a position in a Thompson database, and back.
//
// Shape    a database numbers the placements of five men, two of them the kings, with one side to
//          move. Its first place is the king of the side that is not to move; a man that the
//          position lacks stands on that king's square.
// Units    squares are 0 to 63, a1 first, in the picture in which the side to move plays up the board.
// Thread   constant data; any thread.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

namespace torval {

/// The two kinds of database, by the number that the list of materials has for them.
enum class ThompsonType : std::uint8_t { WithoutPawns = 2, WithPawn = 4 };

inline constexpr int kThompsonMen = 5;

/// The squares of the king of the side not to move, of the other king, and of the three men.
using ThompsonSquares = std::array<std::uint8_t, kThompsonMen>;

/// How many numbers a database of a type has.
constexpr std::uint32_t ThompsonPositions(ThompsonType type) {
    return type == ThompsonType::WithPawn ? 24U << 24 : 462U << 18;
}

/// None where the kings touch (without pawns), or the pawn, the first of the three men, stands on an
/// outer rank. Without its pawn, that is with the pawn on the first king, a position has number 0.
std::optional<std::uint32_t> ThompsonIndex(ThompsonType type, const ThompsonSquares& squares);

/// Squares that have a number: the placement in which no symmetry is left to apply.
ThompsonSquares ThompsonSquaresAt(ThompsonType type, std::uint32_t index);

}  // namespace torval

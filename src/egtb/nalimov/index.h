// The number of a position's entry in the database file of its material class, and back.
//
// Shape    a file holds one entry for each placement of its class's men with one side to move. The
//          side to move is the attacker, the other the defender. Squares are 0 to 63, a1 first.
// Method   the kings are reduced by the board's symmetries to the number of a king pair; the
//          attacker's men are counted over the squares from which they do not attack the defending
//          king at contact (for an attacker without men the defender's pawns over all squares);
//          the defender's men follow as digits over the squares that are left. Identical men are
//          numbered as combinations. Positions in which a pawn can be taken en passant form a
//          range of their own after all others.
// Owner    numbering.cpp. BuildIndexTables fills the tables once; they are constant afterwards.
// Thread   any thread, after BuildIndexTables.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "egtb/nalimov/classes.h"

namespace torval {

inline constexpr int kMostMen = 4;  ///< besides the kings
inline constexpr int kNoEnPassant = -1;

/// A position of a class as its sides see it: side 0 the first side, whose pawns move towards rank 8.
struct ClassPosition {
    std::array<std::uint8_t, 2> king = {};
    /// Each side's men in the order of the class name; those of one kind in any order.
    std::array<std::array<std::uint8_t, kMostMen>, 2> men = {};
    int en_passant = kNoEnPassant;  ///< the square that a pawn has just passed, if it can be taken

    bool operator==(const ClassPosition&) const = default;
};

/// One side's men as a board lists them.
struct SideMen {
    std::uint8_t king = 0;
    std::uint8_t count = 0;
    std::array<std::uint8_t, kMostMen> type = {};
    std::array<std::uint8_t, kMostMen> square = {};
};

/// The position with White's men at `sides[0]` as its class sees it. `exchanged`: Black is the
/// first side of the class. Men of one kind keep their order.
ClassPosition SeenByClass(const std::array<SideMen, 2>& sides, int en_passant, bool exchanged);

/// Fills the tables; later calls do nothing.
void BuildIndexTables();

/// How many indices the functions of a class and side to move can give: en passant included.
std::uint64_t IndexCount(int class_id, int side);

/// The index of a position with `side` of the class to move. None: two men on one square, a pawn
/// on an outer rank, the kings adjacent, the attacker at contact with the defending king, or an en
/// passant square without the pawns that go with it.
std::optional<std::uint64_t> IndexOf(int class_id, int side, const ClassPosition& position);

/// A position with this index; none where the digits put two men on one square.
std::optional<ClassPosition> PositionAt(int class_id, int side, std::uint64_t index);

}  // namespace torval

// A second opinion on the evaluation: plain loops over a 128-square board, nothing kept, nothing
// packed. It reads the board, the order of the piece lists, the rights and the turn of the working
// position, and of the engine's evaluation only the source tables.
//
// Shape    every term is written for White. Black's men are seen with the ranks mirrored, and
//          tables are indexed that way too.
// Units    1/128 pawn.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "board/position.h"

namespace torval {

/// The board as one side sees it: its own first rank at the bottom.
struct SideView {
    std::array<int, 128> man{};  ///< type, negative for the enemy's
    std::vector<int> men;        ///< own squares in list order, the king first
    int enemy_king = 0;
    std::uint32_t own_word = 0;  ///< packed value and counts
    std::uint32_t enemy_word = 0;
    unsigned rights_lost = 0;  ///< 1 short rook, 2 king, 4 long rook, 8 castled
    bool to_move = false;
};

struct SideTables {
    std::array<std::array<int, 128>, 7> squares{};
    std::array<std::array<int, 128>, 7> mobility{};
};

class SlowEvaluation {
public:
    /// Prepares for the working position; old_phase is the phase before.
    void SetUp(int game_ply, int old_phase);

    struct Score {
        int material;    ///< White's view, unstoppable pawns included
        int positional;  ///< White's view, limited to the margin
        int score;       ///< for the side to move
    };
    /// Scores the working position with what SetUp prepared.
    Score Evaluate() const;

    /// Sum of a side's piece-square values.
    int SquareSum(Side side) const;

    int phase = 0;
    int margin = 0;
    std::array<SideTables, 2> tables;  ///< by side, each indexed as its owner sees the board
};

}  // namespace torval

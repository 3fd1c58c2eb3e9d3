// The rules of chess a second time, as plainly as they can be written, to compare the engine with.
//
// Shape    an 8 x 8 array of FEN letters; every pair of squares is tried as a move.
// Thread   no shared state; any thread.
// Exception to the rules, shared with the engine: a rook taken at home leaves its castling right,
//          which has no effect unless another rook of its side moves there.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace torval::slow {

inline constexpr char kEmpty = '.';

struct Spot {
    int rank;
    int file;
    auto operator<=>(const Spot&) const = default;
};

struct Move {
    Spot from;
    Spot to;
    char promotion;  ///< lower case, kEmpty for none
    char taken;      ///< FEN letter of the man taken, kEmpty for none
    bool en_passant;
    bool castling;
    bool check;  ///< gives check
    auto operator<=>(const Move&) const = default;
};

/// "e2e4", "e7e8q".
std::string TextOf(const Move& move);

struct Chess {
    std::array<std::array<char, 8>, 8> men;  ///< [rank][file], rank 0 is White's first
    bool white_to_move;
    std::string castling;  ///< the letters of KQkq that are left
    Spot en_passant;       ///< where a capture would land, rank -1 for nowhere

    explicit Chess(std::string_view fen);

    char At(Spot spot) const { return men[unsigned(spot.rank)][unsigned(spot.file)]; }
    bool IsAttacked(Spot spot, bool by_white) const;
    bool InCheck(bool white) const;
    /// Every legal move of the side to move, sorted.
    std::vector<Move> LegalMoves() const;
    void Play(const Move& move);
    std::uint64_t Perft(int depth) const;

private:
    char& Man(Spot spot) { return men[unsigned(spot.rank)][unsigned(spot.file)]; }
    bool PathIsClear(Spot from, Spot to) const;
    bool Attacks(Spot from, Spot to) const;
    bool PawnMayMove(Spot from, Spot to) const;
    bool MayCastle(Spot from, Spot to) const;
};

}  // namespace torval::slow

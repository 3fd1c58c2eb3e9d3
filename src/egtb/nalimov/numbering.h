// How the classes are numbered: the tables and schemes behind index.h.
//
// Owner    numbering.cpp. BuildIndexTables fills them; constant afterwards.
// Range    squares 0 to 63, a1 first. Places are counted from 0.
// Thread   any thread, after BuildIndexTables.
#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <span>
#include <vector>

#include "egtb/king_pairs.h"
#include "egtb/nalimov/classes.h"

namespace torval::numbering {

/// What a man of the enumerated group is counted as.
enum Kind : std::uint8_t {
    DefendingPawn,
    AttackingPawn,
    KnightKind,
    BishopKind,
    RookKind,
    QueenKind
};
inline constexpr unsigned kKinds = 6;

inline constexpr std::uint8_t kNotAllowed = 255;
inline constexpr unsigned kEnPassantCodes = 14;
inline constexpr unsigned kMirrorFiles = 7;
inline constexpr unsigned kMirrorRanks = 56;

constexpr int File(unsigned square) { return static_cast<int>(square & 7); }
constexpr int Rank(unsigned square) { return static_cast<int>(square >> 3); }
constexpr std::uint64_t BitOf(unsigned square) { return std::uint64_t{1} << square; }
constexpr bool CanHoldPawn(unsigned square) { return square >= 8 && square < 56; }

/// How many of the squares lie below this one.
inline unsigned Below(std::uint64_t squares, unsigned square) {
    return static_cast<unsigned>(std::popcount(squares & (BitOf(square) - 1)));
}

/// Ways to choose m of n, m up to 3.
constexpr std::uint32_t Choose(std::uint32_t n, unsigned m) {
    switch (m) {
        case 0: return 1;
        case 1: return n;
        case 2: return n * (n - 1) / 2;
        default: return n * (n - 1) / 2 * (n - 2) / 3;
    }
}

/// Men of one kind: how many, and where their squares begin in the side's list.
struct Run {
    std::uint8_t type;
    std::uint8_t count;
    std::uint8_t first;
};

/// A side's men as runs, in the order of the class name.
struct Runs {
    std::array<Run, 5> list = {};
    unsigned count = 0;

    std::span<const Run> All() const { return {list.data(), count}; }
};

/// How one class is numbered with one side to move.
struct Scheme {
    unsigned attacker = 0;
    bool pawns = false;
    /// Squares of the enumerated group are turned so that the attacker's pawns move towards rank 8.
    std::uint8_t turn = 0;
    unsigned group_side = 0;
    Runs group;
    Runs defenders;                                       ///< men of the defender outside the group
    const std::vector<std::uint32_t>* offsets = nullptr;  ///< by king pair, and the total behind
    std::uint64_t digits = 1;                             ///< product of the defenders' bases
    std::uint32_t pairs = 0;
    unsigned en_passant_rest = 0;  ///< placements of the man that has no part in it, 0: no range

    std::uint64_t MainCount() const { return offsets->back() * digits; }
};

struct Pair {
    std::uint8_t attacker;
    std::uint8_t defender;
};

struct Tables {
    std::array<KingPairNumbers, 2> king_pair;  ///< [pawns]
    std::array<std::vector<Pair>, 2> pairs;
    std::array<std::array<std::array<std::uint8_t, 64>, 64>, kKinds> ordinal;
    std::array<std::array<std::array<std::uint8_t, 64>, 64>, kKinds> square_at;
    std::array<std::array<std::uint8_t, 64>, kKinds> allowed;
    std::map<std::vector<unsigned>, std::vector<std::uint32_t>> offsets;
    std::array<std::array<Scheme, 2>, kClasses> schemes;
};

extern Tables& tables;

/// Fills the tables; later calls do nothing.
void BuildTables();

inline Kind KindOf(const Scheme& scheme, unsigned type) {
    if (type != Pawn) return static_cast<Kind>(type);
    return scheme.group_side == scheme.attacker ? AttackingPawn : DefendingPawn;
}
static_assert(Knight == int{KnightKind} && Queen == int{QueenKind});

/// Squares that a man of the kind may stand on, the attacking king's left out.
inline unsigned PlacesFor(Kind kind, Pair kings) {
    const bool blocked = tables.ordinal[kind][kings.defender][kings.attacker] != kNotAllowed;
    return tables.allowed[kind][kings.defender] - (blocked ? 1U : 0U);
}

/// The number of squares or pawn squares that each run of the defender's men is placed on.
template <typename Visit>
void ForEachDefenderBase(const Scheme& scheme, unsigned all_pawns, Visit visit) {
    unsigned pieces = 0;
    unsigned pawns = 0;
    for (const Run& run : scheme.group.All()) (run.type == Pawn ? pawns : pieces) += run.count;
    for (const Run& run : scheme.defenders.All()) {
        visit(run, run.type == Pawn ? 48 - pawns : 64 - 2 - all_pawns - pieces);
        (run.type == Pawn ? pawns : pieces) += run.count;
    }
}

/// The men of an en passant capture. A capturing pawn on `pawn` goes to `target`.
struct EnPassant {
    unsigned pawn;
    unsigned target;
    unsigned stepped;  ///< where the pawn to be taken stands
    unsigned from;     ///< where it came from

    unsigned Code() const {
        const auto file = static_cast<unsigned>(File(pawn));
        return File(target) < File(pawn) ? file - 1 : file + 7;
    }
};

inline EnPassant EnPassantAt(const Scheme& scheme, unsigned pawn, unsigned target) {
    // The first side's pawns go up the board, and take what has come down behind the target.
    const bool up = scheme.attacker == 0;
    return {.pawn = pawn,
            .target = target,
            .stepped = up ? target - 8 : target + 8,
            .from = up ? target + 8 : target - 8};
}

inline std::uint64_t ExcludedSquares(const EnPassant& capture,
                                     unsigned attacker,
                                     unsigned defender) {
    return BitOf(capture.pawn) | BitOf(capture.stepped) | BitOf(capture.target) |
           BitOf(capture.from) | BitOf(attacker) | BitOf(defender);
}

inline const Scheme& SchemeOf(int class_id, int side) {
    return tables.schemes[static_cast<std::size_t>(class_id)][static_cast<std::size_t>(side)];
}

}  // namespace torval::numbering

// Sets of squares as 64-bit words, and the squares a piece attacks from a square.
//
// Shape    bit IndexOf(square), a1 = bit 0, h8 = bit 63.
// Thread   constant data; any thread.
// Source   sliders by the o^(o-2r) subtraction trick ("hyperbola quintessence", Gerd Isenberg),
//          ranks by a table of the six inner squares: small tables that stay in the first cache.
#pragma once

#include <array>
#include <bit>
#include <cstdint>

#include "board/piece.h"
#include "board/square.h"

namespace torval {

using Bitboard = std::uint64_t;

inline constexpr Bitboard kFileA = 0x0101010101010101;
inline constexpr Bitboard kFileH = kFileA << 7;
inline constexpr Bitboard kRank1 = 0xFF;

constexpr Bitboard FileMask(int file) { return kFileA << file; }
constexpr Bitboard RankMask(int rank) { return kRank1 << (8 * rank); }
constexpr Bitboard Bit(Square square) { return Bitboard{1} << IndexOf(square); }
constexpr int Count(Bitboard set) { return std::popcount(set); }

/// Takes the lowest square out of a set that is not empty.
inline Square PopSquare(Bitboard& set) {
    const int index = std::countr_zero(set);
    set &= set - 1;
    return SquareAt(index);
}

constexpr Bitboard East(Bitboard set) { return (set & ~kFileH) << 1; }
constexpr Bitboard West(Bitboard set) { return (set & ~kFileA) >> 1; }

/// One rank towards the opponent of `Us`.
template <Side Us>
constexpr Bitboard Forward(Bitboard set) {
    return Us == White ? set << 8 : set >> 8;
}

template <Side Us>
constexpr Bitboard PawnAttacks(Bitboard pawns) {
    return Forward<Us>(East(pawns)) | Forward<Us>(West(pawns));
}

/// Every square in front of the set, on its files.
template <Side Us>
constexpr Bitboard FrontSpan(Bitboard set) {
    set = Forward<Us>(set);
    set |= Us == White ? set << 8 : set >> 8;
    set |= Us == White ? set << 16 : set >> 16;
    return set | (Us == White ? set << 32 : set >> 32);
}

/// All squares of the files that the set stands on.
constexpr Bitboard FileFill(Bitboard set) {
    set |= set >> 8;
    set |= set >> 16;
    set |= set >> 32;
    return (set & kRank1) * kFileA;
}

namespace bitboard_tables {

consteval std::array<Bitboard, 64> Leaper(PieceType type) {
    std::array<Bitboard, 64> table{};
    for (int index = 0; index < 64; ++index) {
        for (const int step : DirectionTable[type]) {
            const int to = SquareAt(index) + step;
            if (step != 0 && OnBoard(to)) {
                table[static_cast<unsigned>(index)] |= Bit(static_cast<Square>(to));
            }
        }
    }
    return table;
}

/// The squares beyond `from` in one direction, to the edge.
constexpr Bitboard Ray(Square from, int step) {
    Bitboard ray = 0;
    for (int to = from + step; OnBoard(to); to += step) ray |= Bit(static_cast<Square>(to));
    return ray;
}

struct Lines {
    Bitboard bit, swapped_bit, file, diagonal, anti_diagonal;
};

}  // namespace bitboard_tables

inline constexpr auto kKnightAttacks = bitboard_tables::Leaper(Knight);
inline constexpr auto kKingAttacks = bitboard_tables::Leaper(King);

inline constexpr auto kSquareLines = [] {
    using bitboard_tables::Ray;
    std::array<bitboard_tables::Lines, 64> table{};
    for (int index = 0; index < 64; ++index) {
        const Square square = SquareAt(index);
        table[static_cast<unsigned>(index)] = {
            .bit = Bit(square),
            .swapped_bit = __builtin_bswap64(Bit(square)),
            .file = Ray(square, 16) | Ray(square, -16),
            .diagonal = Ray(square, 17) | Ray(square, -17),
            .anti_diagonal = Ray(square, 15) | Ray(square, -15),
        };
    }
    return table;
}();

/// Attacks along a rank, by file and by the occupancy of its six inner squares.
inline constexpr auto kRankAttacks = [] {
    std::array<std::array<std::uint8_t, 64>, 8> table{};
    for (unsigned file = 0; file < 8; ++file) {
        for (unsigned inner = 0; inner < 64; ++inner) {
            unsigned attacks = 0;
            for (const int step : {-1, 1}) {
                for (int to = static_cast<int>(file) + step; to >= 0 && to < 8; to += step) {
                    attacks |= 1U << to;
                    if ((inner << 1) & (1U << to)) break;
                }
            }
            table[file][inner] = static_cast<std::uint8_t>(attacks);
        }
    }
    return table;
}();

inline Bitboard LineAttacks(const bitboard_tables::Lines& lines, Bitboard line, Bitboard occupied) {
    Bitboard forward = occupied & line;
    const Bitboard backward = __builtin_bswap64(forward) - lines.swapped_bit;
    forward -= lines.bit;
    return (forward ^ __builtin_bswap64(backward)) & line;
}

inline Bitboard BishopAttacks(int index, Bitboard occupied) {
    const auto& lines = kSquareLines[static_cast<unsigned>(index)];
    return LineAttacks(lines, lines.diagonal, occupied) |
           LineAttacks(lines, lines.anti_diagonal, occupied);
}

inline Bitboard RookAttacks(int index, Bitboard occupied) {
    const auto& lines = kSquareLines[static_cast<unsigned>(index)];
    const int rank_shift = index & 0x38;
    const auto inner = static_cast<unsigned>(occupied >> (rank_shift + 1)) & 63;
    const Bitboard rank = Bitboard{kRankAttacks[static_cast<unsigned>(index & 7)][inner]}
                          << rank_shift;
    return LineAttacks(lines, lines.file, occupied) | rank;
}

/// The squares strictly between two squares of one line, none for others; by both indices.
inline constexpr auto kBetween = [] {
    std::array<std::array<Bitboard, 64>, 64> table{};
    for (int from = 0; from < 64; ++from) {
        for (const int step : DirectionTable[Queen]) {
            if (step == 0) break;
            Bitboard between = 0;
            for (int to = SquareAt(from) + step; OnBoard(to); to += step) {
                const auto square = static_cast<Square>(to);
                table[static_cast<unsigned>(from)][static_cast<unsigned>(IndexOf(square))] =
                    between;
                between |= Bit(square);
            }
        }
    }
    return table;
}();

inline Bitboard Between(Square a, Square b) {
    return kBetween[static_cast<unsigned>(IndexOf(a))][static_cast<unsigned>(IndexOf(b))];
}

/// Whether three squares lie on one line, `a` and `b` being on a line with each other.
constexpr bool OnOneLine(Square a, Square b, Square c) {
    const auto step = [](int from, int to) {
        const int ranks = (to >> 4) - (from >> 4);
        const int files = (to & 7) - (from & 7);
        const int length = Distance(static_cast<Square>(from), static_cast<Square>(to));
        return length == 0 || ranks % length != 0 || files % length != 0
                   ? 0
                   : 16 * (ranks / length) + files / length;
    };
    const int to_b = step(a, b);
    const int to_c = step(a, c);
    return to_c != 0 && (to_c == to_b || to_c == -to_b);
}

}  // namespace torval

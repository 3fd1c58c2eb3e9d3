// Squares of the 0x88 board, and what the difference of two of them says about the pieces.
//
// Shape    a Square is one byte, rank in the high nibble, file in the low one: a1 = 0x00,
//          h1 = 0x07, h8 = 0x77. Bits 0x88 are clear on the board and only there; they are free
//          for marks in a move's squares, so squares of moves are compared after & 0x77.
// Units    a step is to - from: +16 one rank towards Black, +1 one file towards the h-file.
// Thread   constant data; any thread.
#pragma once

#include <array>
#include <cstdint>
#include <cstdlib>

namespace torval {

using Square = std::uint8_t;

enum Side : std::uint8_t { White = 0, Black = 1 };
constexpr Side operator!(Side side) { return side == White ? Black : White; }

constexpr bool OnBoard(int square) { return (square & 0x88) == 0; }
constexpr int RankOf(Square square) { return square >> 4; }
constexpr int FileOf(Square square) { return square & 7; }

/// 0..63, a1 first: the numbering of CHSBRD.board and of bitboards.
constexpr int IndexOf(Square square) { return (square + (square & 7)) >> 1; }
constexpr Square SquareAt(int index) { return static_cast<Square>(index + (index & 0x38)); }
static_assert(IndexOf(0x77) == 63 && SquareAt(63) == 0x77 && SquareAt(IndexOf(0x34)) == 0x34);

/// Steps by piece type, ended by 0; types 0 and 1 have none. The order fixes the move order.
inline constexpr std::array<std::array<std::int8_t, 9>, 8> DirectionTable = {{
    {},
    {},
    {-18, -33, -31, -14, 18, 33, 31, 14, 0},
    {-17, -15, 17, 15, 0},
    {-1, -16, 1, 16, 0},
    {-1, -17, -16, -15, 1, 17, 16, 15, 0},
    {-1, -17, -16, -15, 1, 17, 16, 15, 0},
    {},
}};

/// Bits of AttackVectorTable. A queen moves along both kinds of line, so a line carries 0x10.
enum : std::uint8_t {
    VectorPawn = 0x01,
    VectorKnight = 0x02,
    VectorBishop = 0x04,
    VectorRook = 0x08,
    VectorLine = 0x10,
};

/// The table index of a difference of squares.
constexpr std::uint8_t VectorIndex(int a, int b) { return static_cast<std::uint8_t>(a - b); }

/// Which pieces could step or slide over a difference of squares, at VectorIndex(a, b).
inline constexpr auto AttackVectorTable = [] {
    std::array<std::uint8_t, 256> table{};
    const auto set = [&table](int step, std::uint8_t bits) {
        table[VectorIndex(step, 0)] = table[VectorIndex(0, step)] = bits;
    };
    for (int k = 1; k <= 7; ++k) {
        for (int step : {1, 16}) set(k * step, VectorLine | VectorRook);
        for (int step : {15, 17}) set(k * step, VectorLine | VectorBishop);
    }
    for (int step : {14, 18, 31, 33}) set(step, VectorKnight);
    for (int step : {15, 17}) set(step, VectorLine | VectorBishop | VectorPawn);
    return table;
}();
static_assert(AttackVectorTable[0x70] == 0x18 && AttackVectorTable[17] == 0x15);
static_assert(AttackVectorTable[VectorIndex(0, 33)] == 0x02 && AttackVectorTable[0] == 0);

/// Moves a king needs between two squares, at VectorIndex(a, b); 0 where no two squares differ so.
inline constexpr auto DistanceTable = [] {
    std::array<std::uint8_t, 256> table{};
    for (int ranks = -7; ranks <= 7; ++ranks) {
        for (int files = -7; files <= 7; ++files) {
            const int high = ranks < 0 ? -ranks : ranks;
            const int wide = files < 0 ? -files : files;
            table[VectorIndex(16 * ranks + files, 0)] =
                static_cast<std::uint8_t>(high > wide ? high : wide);
        }
    }
    return table;
}();
constexpr int Distance(Square a, Square b) { return DistanceTable[VectorIndex(a, b)]; }
static_assert(Distance(0x00, 0x77) == 7 && Distance(0x34, 0x36) == 2);

}  // namespace torval

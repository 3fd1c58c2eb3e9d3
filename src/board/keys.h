// The keys that positions are recognised by.
//
// Shape    a HashKey is one 64-bit word: PrimaryKey in bits 0-31 (bit 31 set when Black is to
//          move), SecondaryKey in bits 32-47 (always below 2^15), the rest 0.
//          A piece's entry is square * 8 + 64 for Black + type; bit 0x08 of a square is clear, so
//          every square, side and type has an entry of its own.
// Thread   constant data; any thread.
// Source   splitmix64 (Steele, Lea, Flood: "Fast splittable pseudorandom number generators").
//          The seeds are part of the book file format: a book stores keys made from these tables.
#pragma once

#include <array>
#include <cstdint>

#include "board/piece.h"

namespace torval {

using HashKey = std::uint64_t;

constexpr std::uint32_t PrimaryKey(HashKey key) { return static_cast<std::uint32_t>(key); }
constexpr std::uint16_t SecondaryKey(HashKey key) { return static_cast<std::uint16_t>(key >> 32); }

/// Toggled by every change of the side to move: the complement of the primary key.
inline constexpr HashKey kSideKey = 0xFFFFFFFF;

namespace key_tables {

struct SplitMix {
    std::uint64_t state;
    constexpr std::uint64_t Next() {
        state += 0x9E3779B97F4A7C15;
        std::uint64_t z = state;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
        return z ^ (z >> 31);
    }
    /// The top `bits` bits of the next number that is not 0 in them.
    constexpr std::uint32_t NextNonZero(int bits) {
        for (;;) {
            const auto key = static_cast<std::uint32_t>(Next() >> (64 - bits));
            if (key != 0) return key;
        }
    }
};

}  // namespace key_tables

inline constexpr auto PieceKeyTable = [] {
    std::array<std::uint32_t, 1024> table{};
    key_tables::SplitMix random{0x544F5256414C0001};
    for (unsigned i = 0; i < table.size(); ++i) {
        const bool piece = (i & 7) != 0 && (i & 7) != 7;
        if (piece) table[i] = random.NextNonZero(31);
    }
    return table;
}();

/// By CastleState. 0 once both kings have moved or castled, whatever the rooks have done.
inline constexpr auto CastleKeyTable = [] {
    std::array<std::uint32_t, 256> table{};
    key_tables::SplitMix random{0x544F5256414C0002};
    for (unsigned i = 0; i < table.size(); ++i) {
        const bool all_gone = (i & 0x0A) != 0 && (i & 0xA0) != 0;
        if (!all_gone) table[i] = random.NextNonZero(31);
    }
    return table;
}();

inline constexpr auto CheckKeyTable = [] {
    std::array<std::uint16_t, 1024> table{};
    key_tables::SplitMix random{0x544F5256414C0003};
    for (auto& key : table) key = static_cast<std::uint16_t>(random.NextNonZero(15));
    return table;
}();

/// Both tables in one, so that a piece is toggled by one load.
inline constexpr auto kPieceKeys = [] {
    std::array<HashKey, 1024> table{};
    for (unsigned i = 0; i < table.size(); ++i) {
        table[i] = PieceKeyTable[i] | (HashKey{CheckKeyTable[i]} << 32);
    }
    return table;
}();

constexpr HashKey PieceKey(Side side, unsigned type, Square square) {
    return kPieceKeys[square * 8U + (side == Black ? 64U : 0U) + type];
}

}  // namespace torval

// Canonical prefix codes: how the bits of a block become symbols.
//
// Shape    a code is given by the length of each symbol's code word, 0 (never occurs) to 31. Words
//          are numbered by length, then by symbol, and read from their most significant bit.
// Method   the next few bits look up a direct table: words no longer than that are answered at
//          once, longer ones go on bit by bit in a tree.
// Errors   a code that is not complete is refused, so decoding always ends in a symbol. The two
//          degenerate codes, with no symbol and with one, take no bits at all.
// Source   RFC 1951, 3.2.2, for the numbering.
// Thread   a built table is constant data; any thread.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "egtb/nalimov/bit_reader.h"

namespace torval {

inline constexpr int kLongestCode = 31;

template <int kDirectBits, int kSymbols>
struct DecodeTable {
    static constexpr int kTreeMark = 15;
    static_assert(kDirectBits < kTreeMark && kSymbols <= 1 << 11);

    /// Symbol times 16, plus the bits its word takes; or tree node times 16, plus kTreeMark.
    std::array<std::uint16_t, 1 << kDirectBits> direct;
    /// Two children for each node: a symbol, or kSymbols plus the number of another node.
    std::array<std::uint16_t, 2 * kSymbols> tree;

    /// Takes a symbol, up to 31 bits, from a reader in which they are ready.
    int TakeSymbol(BitReader& reader) const {
        const int entry = direct[reader.Peek(kDirectBits)];
        const int bits = entry % 16;
        if (bits != kTreeMark) [[likely]] {
            reader.Skip(bits);
            return entry / 16;
        }
        reader.Skip(kDirectBits);
        int node = entry / 16;
        for (;;) {
            const int child = tree[static_cast<std::size_t>(2 * node) + reader.TakeReady(1)];
            if (child < kSymbols) return child;
            node = child - kSymbols;
        }
    }
};

inline constexpr int kBlockSymbols = 1024;
inline constexpr int kBlockDirectBits = 13;
using BlockTable = DecodeTable<kBlockDirectBits, kBlockSymbols>;

/// The two alphabets in which the code lengths of the block alphabet are written.
inline constexpr int kLengthSymbols = 64;
inline constexpr int kLengthDirectBits = 8;
using LengthTable = DecodeTable<kLengthDirectBits, kLengthSymbols>;

/// False when the lengths are no complete code; the table is then not to be used.
bool BuildDecodeTable(std::span<const std::uint8_t, kBlockSymbols> lengths, BlockTable* table);
bool BuildDecodeTable(std::span<const std::uint8_t, kLengthSymbols> lengths, LengthTable* table);

enum class LengthsAnswer { Good, BadTables, BadLengths };

/// Reads the code lengths of the block alphabet. BadTables: the codes of the lengths themselves are
/// wrong. BadLengths: they run past the last symbol or past the input.
LengthsAnswer ReadCodeLengths(BitReader& reader, std::span<std::uint8_t, kBlockSymbols> lengths);

}  // namespace torval

// Which matches describe a block in the fewest bits: the distances for a whole file, and the
// division of one block into literals and matches.
//
// Units    prices are whole bits.
// Thread   no shared state; any thread.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "egtb/nalimov/container.h"

namespace torval {

using Distances = std::array<std::uint32_t, kDistances>;
using SymbolCounts = std::array<std::uint64_t, kBlockSymbols>;
using Prices = std::array<std::uint16_t, kBlockSymbols>;

struct Token {
    std::uint32_t further : 17;  ///< the bits after the symbol of a long match
    std::uint32_t further_bits : 5;
    std::uint32_t symbol : 10;
};

/// 24 different distances, ascending, that cover as much of these blocks as possible.
Distances ChooseDistances(std::span<const std::span<const std::uint8_t>> sample);

/// Prices to begin with: literals by how often they occur, matches all alike.
Prices FirstPrices(std::span<const std::span<const std::uint8_t>> sample);

/// What symbols with these code lengths cost. One that does not occur gets a price, too, so that it
/// may be chosen later.
Prices PricesOf(std::span<const std::uint8_t> lengths);

/// The block, at most 8192 bytes, as the cheapest sequence of tokens.
std::vector<Token> DivideBlock(std::span<const std::uint8_t> block,
                               const Distances& distances,
                               const Prices& prices);

void CountSymbols(std::span<const Token> tokens, SymbolCounts* counts);

}  // namespace torval

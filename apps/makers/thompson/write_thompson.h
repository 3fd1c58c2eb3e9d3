// Files of Thompson databases from the writer's side: the bytes for values by number.
//
// Errors   std::length_error when a block would start beyond 2^32 bits, the largest start the
//          header can hold.
// Memory   the values, one byte each, and the file.
// Thread   any thread; no shared state.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "egtb/thompson/thompson_index.h"

namespace torval {

/// How values become symbols. (common_values + 1)^values_per_leaf is at most 2^23.
struct ThompsonShape {
    std::uint32_t values_per_leaf = 4;  ///< K, at least 1
    std::uint32_t common_values = 1;    ///< m; fewer when fewer values occur
    std::uint32_t positions_per_block = 1U << 14;
};

/// Of the usual shapes the one that takes the fewest bytes, estimated from a sample of the values.
ThompsonShape ChooseThompsonShape(std::span<const std::uint8_t> values);

/// A file with the values of the first positions; it has no blocks for the others.
std::vector<std::uint8_t> WriteThompson(std::span<const std::uint8_t> values,
                                        const ThompsonShape& shape);

/// What `value_of` says about the squares of each of the first `count` positions; 0 for a number
/// that no position has. Two threads call it; one of them calls `tell` with the progress, 0 to 1.
std::vector<std::uint8_t> ThompsonValuesBy(
    ThompsonType type,
    std::uint32_t count,
    const std::function<std::uint8_t(const ThompsonSquares&)>& value_of,
    const std::function<void(double)>& tell = [](double) {});

}  // namespace torval

// A Thompson database file in memory, part by part, sound or not.
#pragma once

#include <cstdint>
#include <vector>

#include "egtb/thompson/thompson_file.h"

namespace torval {

/// By default the example of docs/formats/thompson.md.
struct ThompsonParts {
    using Bytes = std::vector<std::uint8_t>;
    using Numbers = std::vector<std::uint32_t>;

    std::uint32_t values_per_leaf = 2;
    Numbers common_values = {0, 20};
    Numbers value_tree = {kThompsonLeaf | 6, 2, kThompsonLeaf | 0, kThompsonLeaf | 3};
    Numbers rare_tree = {kThompsonLeaf | 12, kThompsonLeaf | 25};
    std::uint32_t positions_per_block = 3;
    Numbers block_starts = {0, 4};
    Bytes data = {0xB1};

    std::size_t HeaderBytes() const {
        return 4 * (6 + common_values.size() + value_tree.size() + rare_tree.size() +
                    block_starts.size());
    }

    Bytes Join() const {
        Bytes bytes;
        const auto put = [&bytes](std::size_t number) {
            for (int shift = 24; shift >= 0; shift -= 8) {
                bytes.push_back(static_cast<std::uint8_t>(number >> shift));
            }
        };
        const auto put_all = [&](const Numbers& numbers) {
            put(numbers.size());
            for (const std::uint32_t number : numbers) put(number);
        };
        put(values_per_leaf);
        put_all(common_values);
        put_all(value_tree);
        put_all(rare_tree);
        put(positions_per_block);
        put_all(block_starts);
        bytes.insert(bytes.end(), data.begin(), data.end());
        return bytes;
    }
};

}  // namespace torval

#include "apps/makers/thompson/write_thompson.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <functional>
#include <limits>
#include <stdexcept>
#include <thread>

#include "apps/makers/tables/prefix_lengths.h"
#include "egtb/thompson/thompson_file.h"

namespace torval {

namespace {

constexpr int kLongestWritten = 32;  // bits of a code word
static_assert(kLongestWritten <= kLongestThompsonCode);

constexpr std::size_t kByteValues = 256;

using ValueCounts = std::array<std::uint64_t, kByteValues>;

/// The symbols of both trees for values in a shape.
class Symbols {
public:
    Symbols(const ValueCounts& counts, const ThompsonShape& shape)
        : values_per_leaf_(shape.values_per_leaf) {
        for (std::uint32_t value = 0; value < kByteValues; ++value) {
            if (counts[value] != 0) common_.push_back(value);
        }
        std::ranges::stable_sort(
            common_, std::greater{}, [&](std::uint32_t value) { return counts[value]; });
        common_.resize(std::min<std::size_t>(common_.size(), shape.common_values));
        digits_.fill(Rare());
        for (std::uint32_t i = 0; i < Rare(); ++i) digits_[common_[i]] = i;
        std::uint64_t leaves = 1;
        for (std::uint32_t i = 0; i < values_per_leaf_; ++i) {
            leaves *= Rare() + 1;
            if (leaves > kThompsonLeaf) throw std::invalid_argument("leaves have too many digits");
        }
        leaves_ = static_cast<std::uint32_t>(leaves);
    }

    const std::vector<std::uint32_t>& Common() const { return common_; }
    std::uint32_t Leaves() const { return leaves_; }

    /// Calls leaf(symbol) for each leaf of a block, then rare(value) for each of its values that is
    /// not a common one.
    template <typename Leaf, typename RareValue>
    void ForEach(std::span<const std::uint8_t> block, Leaf leaf, RareValue rare) const {
        while (!block.empty()) {
            const auto values = block.first(std::min<std::size_t>(block.size(), values_per_leaf_));
            block = block.subspan(values.size());
            std::uint32_t symbol = 0;
            for (std::uint32_t i = 0; i < values_per_leaf_; ++i) {
                // Anything after the end is never read.
                const std::uint32_t digit = i < values.size() ? digits_[values[i]] : 0;
                symbol = symbol * (Rare() + 1) + digit;
            }
            leaf(symbol);
            for (const std::uint8_t value : values) {
                if (digits_[value] == Rare()) rare(value);
            }
        }
    }

private:
    /// The digit of the values that are not common.
    std::uint32_t Rare() const { return static_cast<std::uint32_t>(common_.size()); }

    std::uint32_t values_per_leaf_;
    std::vector<std::uint32_t> common_;  // the most frequent first
    std::array<std::uint32_t, kByteValues> digits_;
    std::uint32_t leaves_ = 1;
};

/// A decoding tree, and the path to each of its leaves.
struct Code {
    std::vector<std::uint32_t> tree;
    std::vector<CodeWord> words;  ///< by symbol
};

void Plant(std::uint32_t symbol, const CodeWord& word, std::vector<std::uint32_t>* tree) {
    std::uint32_t node = 0;
    for (int left = word.length - 1;; --left) {
        const std::uint32_t at = node + (word.bits >> left & 1);
        if (left == 0) {
            (*tree)[at] = kThompsonLeaf | symbol;
            return;
        }
        if ((*tree)[at] == 0) {
            (*tree)[at] = static_cast<std::uint32_t>(tree->size());
            tree->resize(tree->size() + 2);
        }
        node = (*tree)[at];
    }
}

Code CodeFor(std::span<const std::uint64_t> counts) {
    const std::vector<std::uint8_t> lengths = CodeLengthsFor(counts, kLongestWritten);
    std::vector<std::uint32_t> symbols;
    for (std::uint32_t symbol = 0; symbol < lengths.size(); ++symbol) {
        if (lengths[symbol] != 0) symbols.push_back(symbol);
    }
    std::ranges::stable_sort(
        symbols, std::less{}, [&](std::uint32_t symbol) { return lengths[symbol]; });
    Code code;
    code.words.resize(counts.size());
    if (symbols.empty()) return code;
    if (symbols.size() == 1) {
        // A reader always takes at least one bit.
        code.words[symbols[0]] = {.bits = 0, .length = 1};
        code.tree.assign(2, kThompsonLeaf | symbols[0]);
        return code;
    }
    code.tree.resize(2);
    std::uint64_t next = 0;
    int length = 0;
    for (const std::uint32_t symbol : symbols) {
        next <<= lengths[symbol] - length;
        length = lengths[symbol];
        code.words[symbol] = {.bits = static_cast<std::uint32_t>(next++), .length = length};
        Plant(symbol, code.words[symbol], &code.tree);
    }
    return code;
}

class Encoder {
public:
    Encoder(std::span<const std::span<const std::uint8_t>> blocks, const ThompsonShape& shape)
        : symbols_(CountValues(blocks), shape) {
        std::vector<std::uint64_t> leaf_counts(symbols_.Leaves());
        ValueCounts rare_counts = {};
        for (const auto& block : blocks) {
            symbols_.ForEach(
                block,
                [&](std::uint32_t leaf) { ++leaf_counts[leaf]; },
                [&](std::uint8_t value) { ++rare_counts[value]; });
        }
        leaves_ = CodeFor(leaf_counts);
        rare_ = CodeFor(rare_counts);
        for (std::size_t i = 0; i < leaf_counts.size(); ++i) {
            data_bits_ += leaf_counts[i] * static_cast<std::uint64_t>(leaves_.words[i].length);
        }
        for (std::size_t i = 0; i < rare_counts.size(); ++i) {
            data_bits_ += rare_counts[i] * static_cast<std::uint64_t>(rare_.words[i].length);
        }
    }

    const std::vector<std::uint32_t>& Common() const { return symbols_.Common(); }
    const std::vector<std::uint32_t>& LeafTree() const { return leaves_.tree; }
    const std::vector<std::uint32_t>& RareTree() const { return rare_.tree; }
    std::uint64_t DataBits() const { return data_bits_; }

    /// Appends a block; returns how many bits it took.
    std::uint64_t Put(std::span<const std::uint8_t> block, BitWriter* out) const {
        std::uint64_t bits = 0;
        const auto put = [&](const CodeWord& word) {
            out->Put(word.bits, word.length);
            bits += static_cast<std::uint64_t>(word.length);
        };
        symbols_.ForEach(
            block,
            [&](std::uint32_t leaf) { put(leaves_.words[leaf]); },
            [&](std::uint8_t value) { put(rare_.words[value]); });
        return bits;
    }

private:
    static ValueCounts CountValues(std::span<const std::span<const std::uint8_t>> blocks) {
        ValueCounts counts = {};
        for (const auto& block : blocks) {
            for (const std::uint8_t value : block) ++counts[value];
        }
        return counts;
    }

    Symbols symbols_;
    Code leaves_;
    Code rare_;
    std::uint64_t data_bits_ = 0;
};

using Blocks = std::vector<std::span<const std::uint8_t>>;

Blocks BlocksOf(std::span<const std::uint8_t> values, std::size_t size) {
    Blocks blocks;
    while (!values.empty()) {
        blocks.push_back(values.first(std::min(values.size(), size)));
        values = values.subspan(blocks.back().size());
    }
    return blocks;
}

class HeaderWriter {
public:
    explicit HeaderWriter(BitWriter* out) : out_(*out) {}

    void Put(std::size_t number) {
        constexpr int kBits = 32;
        out_.Put(static_cast<std::uint32_t>(number), kBits);
    }
    void PutAll(const std::vector<std::uint32_t>& numbers) {
        Put(numbers.size());
        for (const std::uint32_t number : numbers) Put(number);
    }

private:
    BitWriter& out_;
};

}  // namespace

ThompsonShape ChooseThompsonShape(std::span<const std::uint8_t> values) {
    constexpr std::size_t kSampleBlocks = 128;
    constexpr std::uint64_t kMostLeaves = 1U << 20;
    ThompsonShape best;
    const Blocks blocks = BlocksOf(values, best.positions_per_block);
    const std::size_t step = blocks.size() / kSampleBlocks + 1;
    Blocks sample;
    for (std::size_t i = 0; i < blocks.size(); i += step) sample.push_back(blocks[i]);
    std::uint64_t least = std::numeric_limits<std::uint64_t>::max();
    for (const std::uint32_t per_leaf : {4U, 5U, 6U, 8U, 12U, 16U}) {
        for (const std::uint32_t common : {1U, 2U, 3U, 5U, 8U, 12U}) {
            std::uint64_t leaves = 1;
            for (std::uint32_t i = 0; i < per_leaf; ++i) leaves *= common + 1;
            if (leaves > kMostLeaves) break;
            ThompsonShape shape = best;
            shape.values_per_leaf = per_leaf;
            shape.common_values = common;
            const Encoder encoder(sample, shape);
            constexpr std::uint64_t kEntryBits = 32;
            const std::uint64_t bits =
                encoder.DataBits() * step +
                kEntryBits * (encoder.LeafTree().size() + encoder.RareTree().size());
            if (bits >= least) continue;
            least = bits;
            best = shape;
        }
    }
    return best;
}

std::vector<std::uint8_t> WriteThompson(std::span<const std::uint8_t> values,
                                        const ThompsonShape& shape) {
    const Blocks blocks = BlocksOf(values, shape.positions_per_block);
    const Encoder encoder(blocks, shape);
    if (encoder.DataBits() > std::numeric_limits<std::uint32_t>::max()) {
        throw std::length_error("the blocks would have more than 2^32 bits");
    }
    BitWriter out;
    HeaderWriter header(&out);
    header.Put(shape.values_per_leaf);
    header.PutAll(encoder.Common());
    header.PutAll(encoder.LeafTree());
    header.PutAll(encoder.RareTree());
    header.Put(shape.positions_per_block);
    std::vector<std::uint32_t> starts;
    starts.reserve(blocks.size());
    BitWriter data;
    std::uint64_t start = 0;
    for (const auto& block : blocks) {
        starts.push_back(static_cast<std::uint32_t>(start));
        start += encoder.Put(block, &data);
    }
    header.PutAll(starts);
    std::vector<std::uint8_t> file = out.TakeBytes();
    const std::vector<std::uint8_t> bytes = data.TakeBytes();
    file.insert(file.end(), bytes.begin(), bytes.end());
    return file;
}

std::vector<std::uint8_t> ThompsonValuesBy(
    ThompsonType type,
    std::uint32_t count,
    const std::function<std::uint8_t(const ThompsonSquares&)>& value_of,
    const std::function<void(double)>& tell) {
    constexpr std::uint32_t kPiece = 1U << 18;
    std::vector<std::uint8_t> values(count);
    std::atomic<std::uint32_t> next_piece = 0;
    const auto share = [&](bool tells) {
        for (std::uint64_t begin; (begin = std::uint64_t{kPiece} * next_piece++) < count;) {
            const auto end = std::min<std::uint64_t>(begin + kPiece, count);
            for (auto i = static_cast<std::uint32_t>(begin); i < end; ++i) {
                const ThompsonSquares squares = ThompsonSquaresAt(type, i);
                const std::uint8_t value = value_of(squares);
                if (value != 0 && ThompsonIndex(type, squares) == i) values[i] = value;
            }
            if (tells) tell(static_cast<double>(end) / count);
        }
    };
    std::jthread other(share, false);
    share(true);
    return values;
}

}  // namespace torval

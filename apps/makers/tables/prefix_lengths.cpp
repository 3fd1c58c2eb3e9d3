#include "apps/makers/tables/prefix_lengths.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cassert>
#include <optional>
#include <utility>

#include "egtb/nalimov/prefix_code.h"

namespace torval {

void BitWriter::Put(std::uint32_t value, int bits) {
    assert(bits == 32 || value >> bits == 0);
    buffer_ = buffer_ << bits | value;
    count_ += bits;
    while (count_ >= 8) {
        count_ -= 8;
        bytes_.push_back(static_cast<std::uint8_t>(buffer_ >> count_));
    }
}

std::vector<std::uint8_t> BitWriter::TakeBytes() {
    if (count_ > 0) Put(0, 8 - count_);
    return std::exchange(bytes_, {});
}

namespace {

struct Node {
    std::uint64_t count;
    int parent;
};

/// Code lengths without a limit, for the counts of the symbols in `order`, which ascend.
std::vector<int> DepthsOf(std::span<const std::uint64_t> ascending) {
    const std::size_t leaves = ascending.size();
    std::vector<Node> nodes;
    nodes.reserve(2 * leaves);
    for (const std::uint64_t count : ascending) nodes.push_back({count, 0});
    // Leaves ascend, and so do the inner nodes as they arise: the two rarest nodes are always found
    // at the front of one of the two.
    std::size_t leaf = 0;
    std::size_t inner = leaves;
    const auto take_rarest = [&] {
        const bool take_leaf =
            leaf < leaves && (inner == nodes.size() || nodes[leaf].count <= nodes[inner].count);
        return take_leaf ? leaf++ : inner++;
    };
    while (nodes.size() < 2 * leaves - 1) {
        const std::size_t first = take_rarest();
        const std::size_t second = take_rarest();
        const int parent = static_cast<int>(nodes.size());
        nodes[first].parent = parent;
        nodes[second].parent = parent;
        nodes.push_back({nodes[first].count + nodes[second].count, 0});
    }
    std::vector<int> depths(nodes.size(), 0);
    for (std::size_t at = nodes.size() - 1; at-- > 0;) {
        depths[at] = depths[static_cast<std::size_t>(nodes[at].parent)] + 1;
    }
    depths.resize(leaves);
    return depths;
}

}  // namespace

std::vector<std::uint8_t> CodeLengthsFor(std::span<const std::uint64_t> counts, int longest) {
    std::vector<std::uint8_t> lengths(counts.size(), 0);
    std::vector<std::pair<std::uint64_t, std::size_t>> order;
    for (std::size_t symbol = 0; symbol < counts.size(); ++symbol) {
        if (counts[symbol] != 0) order.emplace_back(counts[symbol], symbol);
    }
    if (order.size() == 1) lengths[order[0].second] = 1;
    if (order.size() < 2) return lengths;

    std::vector<std::uint64_t> ascending(order.size());
    for (;;) {
        std::ranges::sort(order);
        for (std::size_t at = 0; at < order.size(); ++at) ascending[at] = order[at].first;
        const std::vector<int> depths = DepthsOf(ascending);
        if (std::ranges::max(depths) <= longest) {
            for (std::size_t at = 0; at < order.size(); ++at) {
                lengths[order[at].second] = static_cast<std::uint8_t>(depths[at]);
            }
            return lengths;
        }
        // Less extreme counts make a flatter tree; in the end all are 1.
        for (auto& [count, symbol] : order) count = (count + 1) / 2;
    }
}

std::vector<CodeWord> CodeWordsOf(std::span<const std::uint8_t> lengths) {
    std::vector<CodeWord> words(lengths.size());
    if (std::ranges::count_if(lengths, [](std::uint8_t length) { return length != 0; }) < 2) {
        return words;
    }
    std::uint32_t next = 0;
    for (int length = 1; length <= kLongestCode; ++length) {
        next *= 2;
        for (std::size_t symbol = 0; symbol < lengths.size(); ++symbol) {
            if (lengths[symbol] == length) words[symbol] = {next++, length};
        }
    }
    return words;
}

namespace {

constexpr int kLengthRunSymbols = 32;
constexpr std::size_t kShortestLongRun = 34;
constexpr int kMostZeros = 15;

/// A length, once or as a run.
struct LengthRun {
    std::uint8_t length;
    std::size_t run;
};

/// How many times a length must stand in a row to be written as a run.
std::vector<LengthRun> RunsOf(std::span<const std::uint8_t> lengths, std::size_t shortest) {
    std::vector<LengthRun> runs;
    for (std::size_t at = 0; at < lengths.size();) {
        std::size_t run = 1;
        while (at + run < lengths.size() && lengths[at + run] == lengths[at]) ++run;
        if (run >= shortest) {
            runs.push_back({lengths[at], run});
        } else {
            runs.insert(runs.end(), run, {lengths[at], 1});
        }
        at += run;
    }
    return runs;
}

struct RunCode {
    std::uint32_t symbol;
    std::uint32_t further;
    int further_bits;
};

RunCode RunCodeOf(std::size_t run) {
    if (run < kShortestLongRun) return {static_cast<std::uint32_t>(run - 2), 0, 0};
    const auto rest = static_cast<std::uint32_t>(run - kShortestLongRun + 1);
    const int bits = std::bit_width(rest) - 1;
    return {static_cast<std::uint32_t>(kLengthRunSymbols + bits), rest - (1U << bits), bits};
}

void PutSimply(BitWriter& writer, std::span<const std::uint8_t> lengths) {
    const int width = std::bit_width(static_cast<unsigned>(std::ranges::max(lengths)));
    writer.Put(0, 1);
    writer.Put(static_cast<std::uint32_t>(width), 5);
    for (std::size_t at = 0; at < lengths.size(); ++at) {
        writer.Put(lengths[at], width);
        if (lengths[at] != 0) continue;
        std::uint32_t zeros = 0;
        while (zeros < kMostZeros && at + 1 < lengths.size() && lengths[at + 1] == 0) {
            ++zeros;
            ++at;
        }
        writer.Put(zeros, 4);
    }
}

std::vector<std::uint8_t> WriteRuns(std::span<const LengthRun> runs, int longest) {
    std::array<std::uint64_t, 2 * kLengthSymbols> counts{};
    const auto symbol_of = [](const LengthRun& run) {
        const int symbol = run.length + (run.run > 1 ? kLengthRunSymbols : 0);
        return static_cast<std::size_t>(symbol);
    };
    for (const LengthRun& run : runs) {
        ++counts[symbol_of(run)];
        if (run.run > 1) ++counts[kLengthSymbols + RunCodeOf(run.run).symbol];
    }
    const std::span<const std::uint64_t> both = counts;
    std::vector<std::uint8_t> lengths = CodeLengthsFor(both.first(kLengthSymbols), longest);
    const std::vector<std::uint8_t> run_lengths =
        CodeLengthsFor(both.last(kLengthSymbols), longest);
    const std::vector<CodeWord> words = CodeWordsOf(lengths);
    const std::vector<CodeWord> run_words = CodeWordsOf(run_lengths);
    lengths.insert(lengths.end(), run_lengths.begin(), run_lengths.end());

    BitWriter writer;
    writer.Put(0, 1);
    PutSimply(writer, lengths);
    for (const LengthRun& run : runs) {
        const CodeWord& word = words[symbol_of(run)];
        writer.Put(word.bits, word.length);
        if (run.run == 1) continue;
        const RunCode code = RunCodeOf(run.run);
        writer.Put(run_words[code.symbol].bits, run_words[code.symbol].length);
        writer.Put(code.further, code.further_bits);
    }
    return writer.TakeBytes();
}

}  // namespace

void WriteCodeLengths(BitWriter& writer, std::span<const std::uint8_t> lengths) {
    assert(lengths.size() == kBlockSymbols);
    if (std::ranges::max(lengths) == 0) {
        writer.Put(1, 1);
        return;
    }
    std::optional<std::vector<std::uint8_t>> best;
    for (const std::size_t shortest_run : {2, 3, 4, 5}) {
        for (const int longest : {7, 15}) {
            std::vector<std::uint8_t> bytes = WriteRuns(RunsOf(lengths, shortest_run), longest);
            if (!best || bytes.size() < best->size()) best = std::move(bytes);
        }
    }
    for (const std::uint8_t byte : *best) writer.Put(byte, 8);
}

}  // namespace torval

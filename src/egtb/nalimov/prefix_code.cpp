#include "egtb/nalimov/prefix_code.h"

#include <algorithm>

namespace torval {

namespace {

/// Up to this many lengths are written one by one, more of them by a code of their own.
constexpr int kSimpleLengths = 2 * kLengthSymbols;
constexpr int kRunSymbols = 32;  // symbols below are single lengths, or short runs
constexpr int kShortestRun = 2;
constexpr int kLongRunBase = 33;

using LengthCounts = std::array<std::uint32_t, kLongestCode + 1>;

bool IsComplete(const LengthCounts& counts) {
    std::uint32_t carry = 0;
    for (int length = kLongestCode; length >= 1; --length) {
        const std::uint32_t sum = carry + counts[static_cast<std::size_t>(length)];
        if (sum % 2 != 0) return false;
        carry = sum / 2;
    }
    return carry == 1;
}

template <int kDirectBits, int kSymbols>
class TableBuilder {
public:
    explicit TableBuilder(DecodeTable<kDirectBits, kSymbols>* table) : table_(*table) {}

    bool Build(std::span<const std::uint8_t, kSymbols> lengths) {
        LengthCounts counts{};
        int used = 0;
        int last_used = 0;
        for (int symbol = 0; symbol < kSymbols; ++symbol) {
            const int length = lengths[static_cast<std::size_t>(symbol)];
            if (length > kLongestCode) return false;
            if (length == 0) continue;
            ++counts[static_cast<std::size_t>(length)];
            ++used;
            last_used = symbol;
        }
        if (used < 2) {
            if (used == 1 && lengths[static_cast<std::size_t>(last_used)] != 1) return false;
            table_.direct.fill(static_cast<std::uint16_t>(last_used * 16));
            table_.tree.fill(0);
            return true;
        }
        if (!IsComplete(counts)) return false;

        table_.direct.fill(0);
        table_.tree.fill(0);
        LengthCounts next{};
        for (std::size_t length = 2; length < next.size(); ++length) {
            next[length] = (next[length - 1] + counts[length - 1]) * 2;
        }
        for (int symbol = 0; symbol < kSymbols; ++symbol) {
            const int length = lengths[static_cast<std::size_t>(symbol)];
            if (length != 0) Enter(symbol, length, next[static_cast<std::size_t>(length)]++);
        }
        return true;
    }

private:
    void Enter(int symbol, int length, std::uint32_t code) {
        if (length <= kDirectBits) {
            const int spare = kDirectBits - length;
            std::fill_n(table_.direct.begin() + (code << spare),
                        1 << spare,
                        static_cast<std::uint16_t>(symbol * 16 + length));
            return;
        }
        int below = length - kDirectBits;
        std::uint16_t& entry = table_.direct[code >> below];
        if (entry == 0) {
            entry = static_cast<std::uint16_t>(nodes_++ * 16 + table_.kTreeMark);
        }
        int node = entry / 16;
        while (--below > 0) {
            std::uint16_t& child = Child(node, code >> below);
            if (child == 0) child = static_cast<std::uint16_t>(kSymbols + nodes_++);
            node = child - kSymbols;
        }
        Child(node, code) = static_cast<std::uint16_t>(symbol);
    }

    std::uint16_t& Child(int node, std::uint32_t code) {
        return table_.tree[static_cast<std::size_t>(2 * node) + code % 2];
    }

    DecodeTable<kDirectBits, kSymbols>& table_;
    int nodes_ = 0;
};

/// One length after the other, each of the same number of bits; every zero tells how many follow.
bool ReadSimply(BitReader& reader, std::span<std::uint8_t, kSimpleLengths> lengths) {
    std::fill(lengths.begin(), lengths.end(), std::uint8_t{0});
    if (reader.Take(1) == 1) return true;
    const auto width = static_cast<int>(reader.Take(5));
    for (std::size_t at = 0; at < lengths.size(); ++at) {
        const std::uint32_t length = reader.Take(width);
        if (length > kLongestCode) return false;
        lengths[at] = static_cast<std::uint8_t>(length);
        if (length != 0) continue;
        const std::uint32_t zeros = reader.Take(4);
        if (zeros >= lengths.size() - at) return false;
        at += zeros;
    }
    return true;
}

}  // namespace

bool BuildDecodeTable(std::span<const std::uint8_t, kBlockSymbols> lengths, BlockTable* table) {
    return TableBuilder(table).Build(lengths);
}

bool BuildDecodeTable(std::span<const std::uint8_t, kLengthSymbols> lengths, LengthTable* table) {
    return TableBuilder(table).Build(lengths);
}

LengthsAnswer ReadCodeLengths(BitReader& reader, std::span<std::uint8_t, kBlockSymbols> lengths) {
    std::fill(lengths.begin(), lengths.end(), std::uint8_t{0});
    if (reader.Take(1) == 1) {
        return reader.Overran() ? LengthsAnswer::BadLengths : LengthsAnswer::Good;
    }

    std::array<std::uint8_t, kSimpleLengths> simple;
    const std::span<std::uint8_t, kSimpleLengths> both = simple;
    LengthTable values;
    LengthTable runs;
    if (!ReadSimply(reader, both) || reader.Overran() ||
        !BuildDecodeTable(both.first<kLengthSymbols>(), &values) ||
        !BuildDecodeTable(both.last<kLengthSymbols>(), &runs)) {
        return LengthsAnswer::BadTables;
    }

    for (std::size_t at = 0; at < lengths.size();) {
        reader.Refill();
        const int symbol = values.TakeSymbol(reader);
        if (symbol < kRunSymbols) {
            lengths[at++] = static_cast<std::uint8_t>(symbol);
            continue;
        }
        reader.Refill();
        const int run_symbol = runs.TakeSymbol(reader);
        std::uint64_t run = static_cast<std::uint64_t>(run_symbol) + kShortestRun;
        if (run_symbol >= kRunSymbols) {
            const int bits = run_symbol - kRunSymbols;
            run = (std::uint64_t{1} << bits) + reader.Take(bits) + kLongRunBase;
        }
        if (run > lengths.size() - at) return LengthsAnswer::BadLengths;
        std::fill_n(lengths.begin() + static_cast<std::ptrdiff_t>(at),
                    run,
                    static_cast<std::uint8_t>(symbol - kRunSymbols));
        at += run;
    }
    return reader.Overran() ? LengthsAnswer::BadLengths : LengthsAnswer::Good;
}

}  // namespace torval

#include "egtb/thompson/thompson_file.h"

#include <algorithm>
#include <new>

namespace torval {

namespace {

constexpr std::size_t kChunk = 16384;  // bytes read at once, at most
constexpr std::size_t kDataBytes = 1024;
constexpr std::size_t kNumberBytes = 4;

std::uint32_t NumberAt(const std::uint8_t* at) {
    return std::uint32_t{at[0]} << 24 | std::uint32_t{at[1]} << 16 | std::uint32_t{at[2]} << 8 |
           std::uint32_t{at[3]};
}

/// The numbers of a header, none of them past the end of the file.
class NumberReader {
public:
    explicit NumberReader(DiskFile* file) : file_(*file), left_(file->Size()) {}

    bool Read(std::uint32_t* number) { return ReadAll(std::span(number, 1)); }

    /// Reads as many numbers as its first one says.
    bool ReadCounted(std::vector<std::uint32_t>* numbers) {
        std::uint32_t count = 0;
        return Read(&count) && ReadTable(count, numbers);
    }

    bool ReadTable(std::uint32_t count, std::vector<std::uint32_t>* numbers) {
        if (count > left_ / kNumberBytes) return false;
        numbers->resize(count);
        return ReadAll(*numbers);
    }

    /// Bytes of the file that have not been read.
    std::uint64_t Left() const { return left_; }

private:
    bool ReadAll(std::span<std::uint32_t> numbers) {
        if (numbers.size() > left_ / kNumberBytes) return false;
        left_ -= numbers.size() * kNumberBytes;
        while (!numbers.empty()) {
            const std::size_t count = std::min(numbers.size(), kChunk / kNumberBytes);
            const std::span<std::uint8_t> bytes = std::span(chunk_).first(count * kNumberBytes);
            if (file_.Read(bytes) != bytes.size()) return false;
            for (std::size_t i = 0; i < count; ++i) numbers[i] = NumberAt(&bytes[i * kNumberBytes]);
            numbers = numbers.subspan(count);
        }
        return true;
    }

    DiskFile& file_;
    std::uint64_t left_;
    std::array<std::uint8_t, kChunk> chunk_;
};

/// The bits of the file from a place on.
class BitStream {
public:
    BitStream(DiskFile* file, std::uint64_t bit)
        : file_(*file), good_(file->Seek(bit / 8)), next_(static_cast<std::size_t>(bit % 8)) {
        if (good_) Fill();
    }

    /// 0 or 1, or -1 past the end of the file.
    int Take() {
        if (next_ == end_) {
            next_ = 0;
            Fill();
        }
        if (next_ >= end_) return -1;
        const int bit = bytes_[next_ / 8] >> (7 - next_ % 8) & 1;
        ++next_;
        return bit;
    }

private:
    void Fill() { end_ = good_ ? file_.Read(bytes_) * 8 : 0; }

    DiskFile& file_;
    bool good_;
    std::size_t next_;  // in bits
    std::size_t end_ = 0;
    std::array<std::uint8_t, kDataBytes> bytes_;
};

std::optional<std::uint32_t> Decode(std::span<const std::uint32_t> tree, BitStream* bits) {
    std::uint64_t node = 0;
    for (int length = 0; length < kLongestThompsonCode; ++length) {
        const int bit = bits->Take();
        const std::uint64_t at = node + static_cast<unsigned>(bit);
        if (bit < 0 || at >= tree.size()) return std::nullopt;
        const std::uint32_t entry = tree[at];
        if (entry & kThompsonLeaf) return entry & ~kThompsonLeaf;
        node = entry;
    }
    return std::nullopt;
}

/// The values of a block one after the other.
class BlockReader {
public:
    BlockReader(DiskFile* file, const ThompsonHeader& header, std::size_t block)
        : header_(header), bits_(file, header.block_starts[block]) {}

    std::optional<std::uint8_t> Next() {
        const auto common = static_cast<std::uint32_t>(header_.common_values.size());
        if (left_ == 0) {
            const auto leaf = Decode(header_.value_tree, &bits_);
            if (!leaf) return std::nullopt;
            left_ = header_.values_per_leaf;
            std::uint32_t rest = *leaf;
            for (std::uint32_t i = 0; i < left_; ++i) {
                digits_[i] = rest % (common + 1);
                rest /= common + 1;
            }
        }
        const std::uint32_t digit = digits_[--left_];
        if (digit < common) return static_cast<std::uint8_t>(header_.common_values[digit]);
        const auto rare = Decode(header_.rare_tree, &bits_);
        if (!rare) return std::nullopt;
        return static_cast<std::uint8_t>(*rare);
    }

private:
    const ThompsonHeader& header_;
    BitStream bits_;
    std::array<std::uint32_t, kMostThompsonDigits> digits_ = {};
    std::uint32_t left_ = 0;  // digits of the leaf that have not been taken
};

}  // namespace

bool ThompsonFile::Open(const std::string& name) {
    Forget();
    if (!file_.Open(name, DiskAccess::ReadOnly)) return false;
    name_ = name;
    try {
        if (ReadHeader()) return true;
    } catch (const std::bad_alloc&) {
        // Counts as a file that is not there.
    }
    Forget();
    return false;
}

void ThompsonFile::Forget() {
    file_.Close();
    name_.clear();
    header_ = {};
}

bool ThompsonFile::ReadHeader() {
    NumberReader reader(&file_);
    ThompsonHeader& h = header_;
    std::vector<std::uint32_t> starts;
    const bool whole = reader.Read(&h.values_per_leaf) && reader.ReadCounted(&h.common_values) &&
                       reader.ReadCounted(&h.value_tree) && reader.ReadCounted(&h.rare_tree) &&
                       reader.Read(&h.positions_per_block) && reader.ReadCounted(&starts);
    if (!whole || h.values_per_leaf == 0 || h.values_per_leaf > kMostThompsonDigits ||
        h.positions_per_block == 0) {
        return false;
    }
    const std::uint64_t header_bits = (file_.Size() - reader.Left()) * 8;
    h.block_starts.reserve(starts.size());
    for (const std::uint32_t start : starts) h.block_starts.push_back(header_bits + start);
    return true;
}

bool ThompsonFile::MayRead(std::size_t block) {
    if (block >= header_.block_starts.size()) return false;
    return file_.IsOpen() || file_.Open(name_, DiskAccess::ReadOnly);
}

std::optional<std::uint8_t> ThompsonFile::ReadValue(std::uint32_t position) {
    if (header_.block_starts.empty()) return std::nullopt;
    const std::size_t block = position / header_.positions_per_block;
    if (!MayRead(block)) return std::nullopt;
    BlockReader reader(&file_, header_, block);
    std::uint32_t before = position % header_.positions_per_block;
    for (;; --before) {
        const auto value = reader.Next();
        if (!value || before == 0) return value;
    }
}

std::size_t ThompsonFile::ReadBlock(std::size_t block, std::span<std::uint8_t> values) {
    if (!MayRead(block)) return 0;
    BlockReader reader(&file_, header_, block);
    std::size_t read = 0;
    for (; read < values.size(); ++read) {
        const auto value = reader.Next();
        if (!value) break;
        values[read] = *value;
    }
    return read;
}

}  // namespace torval

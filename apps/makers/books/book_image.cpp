#include "apps/makers/books/book_image.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "book/new_book.h"

namespace torval {

namespace {

constexpr std::uint32_t kFewestSlots = 16;
constexpr std::uint32_t kMostSlots = 0x8000;

[[noreturn]] void ThrowTooLarge(std::size_t positions) {
    throw BookTooLarge("the book would pass the limit of " + std::to_string(kMostBlocks) +
                       " blocks with " + std::to_string(positions) + " positions");
}

/// Appends the blocks of chains to the file.
class ChainWriter {
public:
    ChainWriter(std::vector<std::uint8_t>* file, std::size_t block_size)
        : file_(*file), block_size_(block_size) {}

    /// Begins the chain of the next slot.
    void StartChain() { chain_.clear(); }
    std::uint32_t FirstBlock() const { return chain_.empty() ? 0 : chain_.front().number; }

    /// False: the file would have too many blocks.
    bool Put(std::span<const std::uint8_t> record) {
        auto block = std::ranges::find_if(
            chain_, [&](const Block& one) { return one.used + record.size() <= block_size_; });
        if (block == chain_.end()) {
            if (!AddBlock()) return false;
            block = chain_.end() - 1;
        }
        std::ranges::copy(record, Bytes(*block) + static_cast<std::ptrdiff_t>(block->used));
        block->used += record.size();
        return true;
    }

private:
    struct Block {
        std::uint32_t number;
        std::size_t used;
    };

    std::vector<std::uint8_t>::iterator Bytes(const Block& block) {
        return file_.begin() + static_cast<std::ptrdiff_t>(block.number * block_size_);
    }
    bool AddBlock() {
        const std::size_t number = file_.size() / block_size_;
        if (number >= kMostBlocks) return false;
        file_.resize(file_.size() + block_size_);
        const Block added = {static_cast<std::uint32_t>(number), kBlockLinks};
        if (!chain_.empty()) {
            Store16(&*Bytes(chain_.back()), added.number);
            Store16(&*Bytes(added) + 2, chain_.back().number);
        }
        chain_.push_back(added);
        return true;
    }

    std::vector<std::uint8_t>& file_;
    const std::size_t block_size_;
    std::vector<Block> chain_;
};

}  // namespace

// Reserving the largest book costs only address space until it is filled; growing would copy.
BookImage::BookImage(BookShape shape) : shape_(std::move(shape)) {
    records_.reserve(std::size_t{kMostBlocks} * shape_.BlockSize());
}

void BookImage::Add(HashKey key, std::span<const BookEntry> entries) {
    if (entries.empty()) return;
    std::vector<BookEntry> kept(entries.begin(), entries.end());
    if (kept.size() > kMostEntries) {
        std::ranges::stable_sort(kept, std::ranges::greater(), &BookEntry::games);
        kept.resize(kMostEntries);
    }
    const std::size_t entry_size = shape_.has_statistics ? kStatisticsEntrySize : kPlainEntrySize;
    const std::size_t start = records_.size();
    const std::size_t size = kRecordKeys + kept.size() * entry_size;
    if (start + size > std::size_t{kMostBlocks} * shape_.BlockSize()) ThrowTooLarge(Positions());
    records_.resize(start + size);
    std::uint8_t* at = &records_[start];
    Store16(at, SecondaryKey(key));
    Store32(at + 2, PrimaryKey(key));
    at += kRecordKeys;
    for (BookEntry& entry : kept) {
        entry.flags &= static_cast<std::uint8_t>(~kLastEntry);
        if (&entry == &kept.back()) entry.flags |= kLastEntry;
        StoreEntry(at, entry, shape_.has_statistics);
        at += entry_size;
    }
    starts_.push_back(static_cast<std::uint32_t>(start));
    entries_ += kept.size();
}

std::span<const std::uint8_t> BookImage::Record(std::size_t number) const {
    const std::size_t end = number + 1 < starts_.size() ? starts_[number + 1] : records_.size();
    return std::span(records_).subspan(starts_[number], end - starts_[number]);
}

std::uint32_t BookImage::SlotsFor() const {
    const std::size_t wanted = (shape_.BlockSize() - kBlockLinks) * 3 / 4;
    const std::size_t slots = std::bit_ceil((records_.size() + wanted - 1) / wanted);
    return static_cast<std::uint32_t>(std::clamp<std::size_t>(slots, kFewestSlots, kMostSlots));
}

std::vector<std::uint8_t> BookImage::Build() const {
    const std::uint32_t slots = SlotsFor();
    std::vector<std::uint8_t> file = EmptyBook({.has_statistics = shape_.has_statistics,
                                                .version_major = shape_.version_major,
                                                .version_minor = shape_.version_minor,
                                                .block_size = shape_.BlockSize(),
                                                .slots = static_cast<std::uint16_t>(slots),
                                                .comment = shape_.comment});
    BookHeader header;
    std::copy_n(file.begin(), header.bytes.size(), header.bytes.begin());

    // Positions by slot, those of one slot in the order in which they came.
    const auto slot_of = [&](std::size_t i) { return Load32(&Record(i)[2]) & (slots - 1); };
    std::vector<std::uint32_t> slot_ends(slots + 1);
    for (std::size_t i = 0; i < starts_.size(); ++i) ++slot_ends[slot_of(i) + 1];
    for (std::size_t slot = 0; slot < slots; ++slot) slot_ends[slot + 1] += slot_ends[slot];
    std::vector<std::uint32_t> ordered(starts_.size());
    {
        std::vector<std::uint32_t> next(slot_ends.begin(), slot_ends.end() - 1);
        for (std::size_t i = 0; i < starts_.size(); ++i) {
            ordered[next[slot_of(i)]++] = static_cast<std::uint32_t>(i);
        }
    }

    file.reserve(std::size_t{kMostBlocks} * header.BlockSize());
    const std::size_t index = std::size_t{header.IndexBlock()} * header.BlockSize();
    ChainWriter chains(&file, header.BlockSize());
    for (std::size_t slot = 0; slot < slots; ++slot) {
        chains.StartChain();
        for (std::size_t i = slot_ends[slot]; i < slot_ends[slot + 1]; ++i) {
            if (!chains.Put(Record(ordered[i]))) ThrowTooLarge(Positions());
        }
        Store16(&file[index + 2 * slot], chains.FirstBlock());
    }
    header.SetBlocks(static_cast<std::uint32_t>(file.size() / header.BlockSize()));
    header.SetPositions(static_cast<std::uint32_t>(Positions()));
    header.SetEntries(static_cast<std::uint32_t>(Entries()));
    std::ranges::copy(header.bytes, file.begin());
    return file;
}

}  // namespace torval

#include "book/book_edit.h"

#include <algorithm>
#include <utility>

namespace torval {

namespace {

constexpr int kLowestValue = -20000;

/// How a value is stored, and what best values are compared in.
struct StoredValue {
    std::int8_t score;
    std::uint8_t flags;
    int base;      ///< added to the best value that is returned
    int adjusted;  ///< the value less the base
};

StoredValue EncodeValue(int value) {
    constexpr int kPlainLimit = 130;
    const auto byte = [](int v) { return static_cast<std::int8_t>(v); };
    if (value > kPlainLimit) {
        const int score = value - kExcludedPenalty;
        return {byte(score), kLastEntry, kExcludedPenalty, score};
    }
    if (value >= -kPlainLimit) return {byte(value), kLastEntry, 0, value};
    return {byte(value + kExcludedPenalty), kLastEntry | kExcluded, 0, value};
}

void CountGame(BookEntry* entry, GameResult result) {
    if (result == GameResult::White) ++entry->white;
    if (result == GameResult::Black) ++entry->black;
    ++entry->games;
}

/// Takes bytes out of the buffered block; those after them move down and zeros follow.
void CloseGap(BookFile* book, std::size_t offset, std::size_t count) {
    const auto block = book->Block();
    const auto rest = std::copy(block.begin() + static_cast<std::ptrdiff_t>(offset + count),
                                block.end(),
                                block.begin() + static_cast<std::ptrdiff_t>(offset));
    std::fill(rest, block.end(), std::uint8_t{0});
}

/// Makes room in the buffered block, whose last `count` bytes are free.
void OpenGap(BookFile* book, std::size_t offset, std::size_t count) {
    const auto block = book->Block();
    std::copy_backward(block.begin() + static_cast<std::ptrdiff_t>(offset),
                       block.end() - static_cast<std::ptrdiff_t>(count),
                       block.end());
}

/// Writes a record after the last one of the buffered block, and zeros after it.
void AppendRecord(BookFile* book, std::span<const std::uint8_t> record) {
    const auto block = book->Block();
    const auto end = std::copy(
        record.begin(), record.end(), block.end() - static_cast<std::ptrdiff_t>(book->FreeSpace()));
    std::fill(end, block.end(), std::uint8_t{0});
}

/// A new block for a record, at the end of a chain whose last block is `last`; 0 starts the chain.
BookErrorCode PlaceInNewBlock(BookFile* book,
                              std::span<const std::uint8_t> record,
                              HashKey key,
                              std::uint16_t last) {
    const auto block = book->StartBlock();
    if (block.HasFailed()) return block.error;
    Store16(&book->Block()[2], last);
    AppendRecord(book, record);
    // The header counts the block before a link leads to it: after a crash in between it is only
    // unused.
    if (const auto error = book->WriteBlock(block.value); Failed(error)) return error;
    if (const auto error = book->WriteHeader(); Failed(error)) return error;
    if (last == 0) {
        book->SetFirstBlock(key, block.value);
        return book->WriteIndex();
    }
    if (const auto error = book->ReadBlock(last); Failed(error)) return error;
    Store16(book->Block().data(), block.value);
    return book->WriteBlock(last);
}

/// Stores a record in the first block of its chain with room. NoRoom also for a chain that loops.
BookErrorCode PlaceRecord(BookFile* book, std::span<const std::uint8_t> record, HashKey key) {
    if (!book->HasSlot(key)) return BookErrorCode::NoRoom;
    const unsigned most_links = book->Header().Blocks();
    std::uint16_t last = 0;
    std::uint16_t block = book->FirstBlock(key);
    for (unsigned links = 0; block != 0; ++links) {
        if (links == most_links) return BookErrorCode::NoRoom;
        if (const auto error = book->ReadBlock(block); Failed(error)) return error;
        if (book->FreeSpace() >= record.size()) {
            AppendRecord(book, record);
            return book->WriteBlock(block);
        }
        last = std::exchange(block, book->NextLink());
    }
    return PlaceInNewBlock(book, record, key, last);
}

bool FitsInBlock(const BookFile& book, std::size_t record_size) {
    return record_size + kBlockLinks <= book.Header().BlockSize();
}

BookErrorCode AddPosition(BookFile* book, const BookEntry& entry) {
    const HashKey key = book->Key();
    std::array<std::uint8_t, kRecordKeys + kStatisticsEntrySize> bytes;
    const std::span record(bytes.data(), kRecordKeys + book->EntrySize());
    if (!FitsInBlock(*book, record.size())) return BookErrorCode::None;
    Store16(bytes.data(), SecondaryKey(key));
    Store32(bytes.data() + 2, PrimaryKey(key));
    StoreEntry(bytes.data() + kRecordKeys, entry, book->HasStatistics());
    if (const auto error = PlaceRecord(book, record, key); Failed(error)) return error;
    book->CountPositions(1);
    book->CountEntries(1);
    return BookErrorCode::None;
}

/// Adds an entry after the last one of a record of the buffered block.
BookErrorCode AddEntry(BookFile* book, const RecordPlace& place, const BookEntry& entry) {
    constexpr std::size_t kLongestRecord = kRecordKeys + kMostEntries * kStatisticsEntrySize;
    const std::size_t entry_size = book->EntrySize();
    const std::uint16_t block = book->BufferedBlock();
    if (book->FreeSpace() >= entry_size) {
        book->Block()[place.end - entry_size + 3] &= static_cast<std::uint8_t>(~kLastEntry);
        OpenGap(book, place.end, entry_size);
        StoreEntry(&book->Block()[place.end], entry, book->HasStatistics());
        if (const auto error = book->WriteBlock(block); Failed(error)) return error;
        book->CountEntries(1);
        return BookErrorCode::None;
    }
    std::array<std::uint8_t, kLongestRecord> copy;
    const std::span grown(copy.data(), place.Size() + entry_size);
    if (!FitsInBlock(*book, grown.size())) return BookErrorCode::None;
    const auto record = book->Block().subspan(place.begin, place.Size());
    std::copy(record.begin(), record.end(), grown.begin());
    grown[record.size() - entry_size + 3] &= static_cast<std::uint8_t>(~kLastEntry);
    StoreEntry(&grown[record.size()], entry, book->HasStatistics());
    const HashKey key = book->Key();
    if (const auto error = PlaceRecord(book, grown, key); Failed(error)) return error;
    if (const auto error = book->ReadBlock(block); Failed(error)) return error;
    CloseGap(book, place.begin, place.Size());
    if (const auto error = book->WriteBlock(block); Failed(error)) return error;
    book->CountEntries(1);
    return BookErrorCode::None;
}

}  // namespace

BookResult<int> UpdateEntry(BookFile* book, BookMove move, int value, GameResult result) {
    using Result = BookResult<int>;
    const StoredValue stored = EncodeValue(value);
    int best = stored.adjusted;
    const auto found = book->Lookup();
    if (found.HasFailed()) return Result::Failure(found.error);
    BookEntry added = {.move = move,
                       .score = stored.score,
                       .flags = static_cast<std::uint8_t>(stored.flags | kLastEntry),
                       .white = 0,
                       .black = 0,
                       .games = 0};
    CountGame(&added, result);
    BookErrorCode error = BookErrorCode::None;
    if (const auto& place = found.value) {
        int count = 0;
        bool updated = false;
        for (std::size_t at = place->Entries(); at < place->end; at += book->EntrySize()) {
            BookEntry entry = book->EntryAt(at);
            if (entry.move == move) {
                entry.score = stored.score;
                entry.flags = static_cast<std::uint8_t>((entry.flags & kLastEntry) |
                                                        (stored.flags & ~kLastEntry));
                CountGame(&entry, result);
                StoreEntry(&book->Block()[at], entry, book->HasStatistics());
                updated = true;
            }
            best = std::max(best, entry.EffectiveScore());
            ++count;
        }
        if (updated) {
            error = book->WriteBlock(book->BufferedBlock());
        } else if (count < kMostEntries) {
            error = AddEntry(book, *place, added);
        }
    } else {
        error = AddPosition(book, added);
    }
    return {.error = error, .value = stored.base + best};
}

BookResult<RemovedEntry> RemoveEntry(BookFile* book, BookMove move) {
    using Result = BookResult<RemovedEntry>;
    const auto found = book->Lookup();
    if (found.HasFailed()) return Result::Failure(found.error);
    const auto& place = found.value;
    if (!place) return {};
    const std::size_t step = book->EntrySize();
    std::size_t removed = 0;
    int old_best = kLowestValue;
    for (std::size_t at = place->Entries(); at < place->end; at += step) {
        const BookEntry entry = book->EntryAt(at);
        if (entry.move == move) removed = at;
        old_best = std::max(old_best, entry.EffectiveScore());
    }
    if (removed == 0) return {};

    const bool only = place->Size() == kRecordKeys + step;
    int new_best = kLowestValue;
    if (only) {
        CloseGap(book, place->begin, place->Size());
    } else {
        CloseGap(book, removed, step);
        const std::size_t end = place->end - step;
        book->Block()[end - step + 3] |= kLastEntry;
        for (std::size_t at = place->Entries(); at < end; at += step) {
            new_best = std::max(new_best, book->EntryAt(at).EffectiveScore());
        }
    }
    const BookErrorCode error = book->WriteBlock(book->BufferedBlock());
    if (Failed(error)) return Result::Failure(error);
    book->CountEntries(-1);
    if (only) {
        book->CountPositions(-1);
        return {.error = error, .value = {.removal = Removal::LastMove, .best = 0}};
    }
    if (new_best == old_best) return {};
    return {.error = error, .value = {.removal = Removal::NewBest, .best = new_best}};
}

}  // namespace torval

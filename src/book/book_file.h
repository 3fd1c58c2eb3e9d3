// One opening book file: opening, blocks, and finding the record of a position.
//
// Shape    the header, the index and one block are held in memory; the buffered block is known by
//          its number, so looking up one position again reads nothing.
// Owner    whoever holds the object; books.h holds the engine's two.
// Errors   a BookErrorCode that the caller hands on. After a failure the buffer is empty and the
//          file can be used again.
// Thread   one at a time.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "book/book_format.h"
#include "platform/disk_file.h"
#include "torval/codes.h"

namespace torval {

enum class [[nodiscard]] BookErrorCode : int{
    None = 0,
    NoRoom = 1,  ///< the file cannot grow
    SeekFailed = 0x101,
    ShortRead = 0x102,
    ShortWrite = 0x103,
};

constexpr bool Failed(BookErrorCode error) { return error != BookErrorCode::None; }

/// A value, or the error that ended the operation.
template <typename T>
struct [[nodiscard]] BookResult {
    BookErrorCode error = BookErrorCode::None;
    T value = {};

    static BookResult Failure(BookErrorCode error) { return {.error = error, .value = {}}; }
    bool HasFailed() const { return Failed(error); }
};

/// Where a record lies in the buffered block: from its keys up to `end`, after its last entry.
struct RecordPlace {
    std::size_t begin;
    std::size_t end;

    std::size_t Entries() const { return begin + kRecordKeys; }
    std::size_t Size() const { return end - begin; }
};

/// The moves of one position as a book holds them.
struct BookEntries {
    std::array<BookEntry, kMostEntries> list = {};
    std::size_t count = 0;
};

class BookFile {
public:
    /// BookOpened, also for an empty path, which only closes; BookNoMemory, BookNotOpened,
    /// BookNotABook: the book is closed then. An index that the file does not hold in full is
    /// filled up with empty slots.
    int Open(const std::string& path, DiskAccess access = DiskAccess::ReadAndWrite);
    void Close();
    bool IsOpen() const { return file_.IsOpen(); }

    const BookHeader& Header() const { return header_; }
    bool HasStatistics() const { return header_.HasStatistics(); }
    std::size_t EntrySize() const {
        return HasStatistics() ? kStatisticsEntrySize : kPlainEntrySize;
    }

    /// The key of the position on the board in this file.
    HashKey Key() const { return BookKey(header_.VersionMajor()); }
    /// False: the file is damaged, its index has no place for the key.
    bool HasSlot(HashKey key) const { return SlotOf(key) < header_.Slots(); }
    /// The first block of a key's chain, 0 when there is none.
    std::uint16_t FirstBlock(HashKey key) const;

    /// Searches the chain of a key and leaves the block of its record in the buffer. A chain with
    /// more links than the file has blocks holds nothing, and is counted.
    BookResult<std::optional<RecordPlace>> Find(HashKey key);
    /// Searches for the position on the board.
    BookResult<std::optional<RecordPlace>> Lookup() { return Find(Key()); }
    /// The endless chains that were searched since the last call.
    int TakeEndlessChains() { return std::exchange(endless_chains_, 0); }

    /// The moves of the position on the board, scores as stored, without counts.
    BookResult<BookEntries> GetEntries4();
    /// The same with counts; where there are some they give the score, see StatisticsScore.
    BookResult<BookEntries> GetEntries16(std::uint32_t confidence);

    /// Puts a block into the buffer, unless it is there.
    BookErrorCode ReadBlock(std::uint16_t block);
    /// The buffered block; a change is kept by WriteBlock.
    std::span<std::uint8_t> Block() { return buffer_; }
    std::uint16_t BufferedBlock() const { return static_cast<std::uint16_t>(buffered_); }
    std::uint16_t NextLink() const { return Load16(buffer_.data()); }

    /// The record of the buffered block that starts at an offset; none at the end of the records.
    /// A record without a last entry reaches as far as whole entries do.
    std::optional<RecordPlace> RecordAt(std::size_t offset) const;
    /// Bytes after the last record of the buffered block.
    std::size_t FreeSpace() const;
    BookEntry EntryAt(std::size_t offset) const {
        return LoadEntry(&buffer_[offset], HasStatistics());
    }

    // For editing.

    /// Writes the buffer as the given block, which it then is; at the end of the file a new one.
    BookErrorCode WriteBlock(std::uint16_t block);
    BookErrorCode WriteIndex();
    BookErrorCode WriteHeader();

    /// False: the file is damaged, it ends before a block that its header or its index takes for
    /// granted.
    bool HoldsItsBlocks() const;

    /// Makes the buffer an empty block, to be written as the one whose number is given: the next
    /// behind the file. NoRoom: the file has kMostBlocks, blocks without room for anything, or not
    /// all of its blocks.
    BookResult<std::uint16_t> StartBlock();
    /// For a key that has a slot.
    void SetFirstBlock(HashKey key, std::uint16_t block);
    void CountPositions(int change);
    void CountEntries(int change);

private:
    static constexpr int kNoBlock = -1;

    /// The moves of the position on the board as they are in the file.
    BookResult<BookEntries> ReadEntries();
    std::size_t SlotOf(HashKey key) const { return PrimaryKey(key) & header_.Mask(); }
    BookErrorCode SeekBlock(std::uint16_t block);
    std::uint64_t BlocksInFile() const;

    DiskFile file_;
    BookHeader header_;
    std::vector<std::uint8_t> buffer_;
    std::vector<std::uint8_t> index_;
    int buffered_ = kNoBlock;
    int endless_chains_ = 0;
};

}  // namespace torval

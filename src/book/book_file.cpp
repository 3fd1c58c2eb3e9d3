#include "book/book_file.h"

#include <algorithm>
#include <new>

namespace torval {

namespace {

/// A count of a damaged header stays what it is rather than wrap.
std::uint32_t Changed(std::uint32_t count, int change) {
    const std::int64_t sum = std::int64_t{count} + change;
    return sum < 0 || sum > UINT32_MAX ? count : static_cast<std::uint32_t>(sum);
}

/// Black's short castling right has no bit: files of version 3 are keyed so.
unsigned CastleRights4() {
    const unsigned state = position.CastleState;
    const bool white_long = (state & (CastleE1Moved | CastleA1Moved)) == 0;
    const bool white_short = (state & (CastleE1Moved | CastleH1Moved)) == 0;
    const bool black_long = (state & (CastleE8Moved | CastleA8Moved)) == 0;
    return (white_long ? 0x09U : 0U) | (white_short ? 0x02U : 0U) | (black_long ? 0x04U : 0U);
}

HashKey WithNonZeroSecondary(HashKey key) {
    return SecondaryKey(key) == 0 ? key | HashKey{1} << 32 : key;
}

}  // namespace

HashKey BookKey(std::uint8_t version_major) {
    if (version_major < kVersion3) return WithNonZeroSecondary(position.GamePositionKey);
    HashKey key = CastleKeyTable[CastleRights4()];
    for (const Side side : {White, Black}) {
        const PieceList& list = position.PieceList[side];
        for (unsigned i = 0; i <= static_cast<unsigned>(list.count); ++i) {
            const Square square = list.squares[i];
            key ^= PieceKey(side, TypeOf(position.Board[square]), square);
        }
    }
    if (position.SideToMove == Black) key ^= kSideKey;
    return WithNonZeroSecondary(key);
}

int BookFile::Open(const std::string& path, DiskAccess access) {
    Close();
    if (path.empty()) return BookOpened;
    if (!file_.Open(path, access)) return BookNotOpened;
    BookHeader header;
    if (file_.Read(header.bytes) != header.bytes.size() || !header.MagicIsValid()) {
        Close();
        return BookNotABook;
    }
    try {
        buffer_.assign(header.BlockSize(), 0);
        index_.assign(std::size_t{2} * header.Slots(), 0);
    } catch (const std::bad_alloc&) {
        Close();
        return BookNoMemory;
    }
    header_ = header;
    if (file_.Seek(std::uint64_t{header.IndexBlock()} * header.BlockSize())) {
        // Half a slot at the end of a cut file names no block.
        const std::size_t read = file_.Read(index_);
        std::fill(index_.begin() + static_cast<std::ptrdiff_t>(read & ~std::size_t{1}),
                  index_.end(),
                  std::uint8_t{0});
    }
    return BookOpened;
}

void BookFile::Close() {
    file_.Close();
    header_ = {};
    buffer_.clear();
    index_.clear();
    buffered_ = kNoBlock;
}

std::uint16_t BookFile::FirstBlock(HashKey key) const {
    return HasSlot(key) ? Load16(&index_[2 * SlotOf(key)]) : std::uint16_t{0};
}

BookResult<std::optional<RecordPlace>> BookFile::Find(HashKey key) {
    BookResult<std::optional<RecordPlace>> result;
    if (!IsOpen()) return result;
    std::uint16_t block = FirstBlock(key);
    for (unsigned links = 0; block != 0; ++links) {
        if (links == header_.Blocks()) {
            ++endless_chains_;
            return result;
        }
        result.error = ReadBlock(block);
        if (result.HasFailed()) return result;
        auto record = RecordAt(kBlockLinks);
        while (record && (Load16(&buffer_[record->begin]) != SecondaryKey(key) ||
                          Load32(&buffer_[record->begin + 2]) != PrimaryKey(key))) {
            record = RecordAt(record->end);
        }
        if (record) {
            result.value = record;
            return result;
        }
        block = NextLink();
    }
    return result;
}

BookResult<BookEntries> BookFile::ReadEntries() {
    BookResult<BookEntries> result;
    const auto found = Lookup();
    result.error = found.error;
    if (found.HasFailed() || !found.value) return result;
    BookEntries& entries = result.value;
    for (std::size_t at = found.value->Entries(); at < found.value->end; at += EntrySize()) {
        if (entries.count == entries.list.size()) break;
        entries.list[entries.count++] = EntryAt(at);
    }
    return result;
}

BookResult<BookEntries> BookFile::GetEntries4() {
    BookResult<BookEntries> result = ReadEntries();
    for (BookEntry& entry : result.value.list) entry.white = entry.black = entry.games = 0;
    return result;
}

BookResult<BookEntries> BookFile::GetEntries16(std::uint32_t confidence) {
    BookResult<BookEntries> result = ReadEntries();
    const Side side = position.SideToMove == White ? White : Black;
    for (BookEntry& entry : result.value.list) {
        entry.score = StatisticsScore(entry, confidence, side);
    }
    return result;
}

BookErrorCode BookFile::SeekBlock(std::uint16_t block) {
    const bool sought = file_.Seek(std::uint64_t{block} * header_.BlockSize());
    return sought ? BookErrorCode::None : BookErrorCode::SeekFailed;
}

BookErrorCode BookFile::ReadBlock(std::uint16_t block) {
    if (buffered_ == block) return BookErrorCode::None;
    buffered_ = kNoBlock;
    if (const BookErrorCode error = SeekBlock(block); Failed(error)) return error;
    // Without room for its links a block has nothing to say.
    const bool whole = buffer_.size() >= kBlockLinks && file_.Read(buffer_) == buffer_.size();
    if (!whole) return BookErrorCode::ShortRead;
    buffered_ = block;
    return BookErrorCode::None;
}

std::optional<RecordPlace> BookFile::RecordAt(std::size_t offset) const {
    const std::size_t step = EntrySize();
    std::size_t end = offset + kRecordKeys + step;
    if (end > buffer_.size() || Load16(&buffer_[offset]) == 0) return std::nullopt;
    while (!(buffer_[end - step + 3] & kLastEntry) && end + step <= buffer_.size()) end += step;
    return RecordPlace{.begin = offset, .end = end};
}

std::size_t BookFile::FreeSpace() const {
    std::size_t offset = kBlockLinks;
    while (const auto record = RecordAt(offset)) offset = record->end;
    return buffer_.size() - offset;
}

BookErrorCode BookFile::WriteBlock(std::uint16_t block) {
    buffered_ = kNoBlock;
    if (const BookErrorCode error = SeekBlock(block); Failed(error)) {
        return BookErrorCode::ShortWrite;
    }
    if (!file_.Write(buffer_)) return BookErrorCode::ShortWrite;
    buffered_ = block;
    if (block >= header_.Blocks()) header_.SetBlocks(block + 1U);
    return BookErrorCode::None;
}

BookErrorCode BookFile::WriteIndex() {
    if (Failed(SeekBlock(header_.IndexBlock())) || !file_.Write(index_)) {
        return BookErrorCode::ShortWrite;
    }
    return BookErrorCode::None;
}

BookErrorCode BookFile::WriteHeader() {
    const bool written = file_.Seek(0) && file_.Write(header_.bytes) && file_.Flush();
    return written ? BookErrorCode::None : BookErrorCode::ShortWrite;
}

std::uint64_t BookFile::BlocksInFile() const {
    const std::uint64_t size = header_.BlockSize();
    return size == 0 ? 0 : (file_.Size() + size - 1) / size;
}

bool BookFile::HoldsItsBlocks() const {
    const std::uint64_t size = header_.BlockSize();
    if (size == 0) return false;
    const std::uint64_t behind_index = header_.IndexBlock() + (index_.size() + size - 1) / size;
    return std::max(std::uint64_t{header_.Blocks()}, behind_index) <= BlocksInFile();
}

BookResult<std::uint16_t> BookFile::StartBlock() {
    using Result = BookResult<std::uint16_t>;
    if (header_.BlockSize() < kBlockLinks) return Result::Failure(BookErrorCode::NoRoom);
    // A block after a gap would make a file as long as a damaged header says.
    if (!HoldsItsBlocks()) return Result::Failure(BookErrorCode::NoRoom);
    // A header that an interrupted edit has left may count fewer blocks than there are.
    const std::uint64_t number = BlocksInFile();
    if (number >= kMostBlocks) return Result::Failure(BookErrorCode::NoRoom);
    std::fill(buffer_.begin(), buffer_.end(), std::uint8_t{0});
    buffered_ = kNoBlock;
    return {.error = BookErrorCode::None, .value = static_cast<std::uint16_t>(number)};
}

void BookFile::SetFirstBlock(HashKey key, std::uint16_t block) {
    Store16(&index_[2 * SlotOf(key)], block);
}

void BookFile::CountPositions(int change) {
    header_.SetPositions(Changed(header_.Positions(), change));
}

void BookFile::CountEntries(int change) { header_.SetEntries(Changed(header_.Entries(), change)); }

}  // namespace torval

#include "apps/makers/books/book_check.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "apps/text/console.h"
#include "apps/text/text.h"
#include "platform/disk_file.h"

namespace torval {

namespace {

std::string Number(std::uint64_t number) { return std::to_string(number); }
std::string Block(std::uint64_t number) { return "block " + Number(number); }

class Checker {
public:
    Checker(DiskFile* file, const RecordVisitor& visit) : file_(*file), visit_(visit) {}

    BookReport Check() {
        report_.file_size = file_.Size();
        file_.Seek(0);
        file_.Read(report_.header.bytes);
        if (CheckHeader()) {
            ReadComment();
            ReadIndex();
            CheckChains();
            CheckKeys();
            CheckBlocks();
            CheckCounters();
        }
        return std::move(report_);
    }

private:
    const BookHeader& Header() const { return report_.header; }

    void Fault(const std::string& what) {
        if (++report_.fault_count <= kMostFaults) report_.faults.push_back(what);
    }

    /// False: by what the header says the rest cannot be read.
    bool CheckHeader() {
        const BookHeader& header = Header();
        for (const int at : {2, 3}) {
            const std::uint8_t digit = header.bytes[static_cast<unsigned>(at)];
            if (digit < '0' || digit > '9') {
                Fault("header: byte " + Number(static_cast<unsigned>(at)) + " of the version is " +
                      Number(digit) + ", no digit");
            }
        }
        entry_size_ = header.HasStatistics() ? kStatisticsEntrySize : kPlainEntrySize;
        const std::size_t least =
            std::max(kBookHeaderSize, kBlockLinks + kRecordKeys + entry_size_);
        if (header.BlockSize() < least) {
            Fault("header: a block size of " + Number(header.BlockSize()) + ", less than " +
                  Number(least));
            return false;
        }
        if (!std::has_single_bit(header.Slots())) {
            Fault("header: " + Number(header.Slots()) + " index slots, no power of two");
        }
        if (header.Mask() + 1 != header.Slots()) {
            Fault("header: index mask " + Number(header.Mask()) + " with " +
                  Number(header.Slots()) + " slots");
        }
        const std::uint64_t size = std::uint64_t{header.Blocks()} * header.BlockSize();
        if (report_.file_size != size) {
            Fault("file: " + Number(report_.file_size) + " bytes, but " + Number(header.Blocks()) +
                  " blocks of " + Number(header.BlockSize()) + " are " + Number(size));
        }
        const std::size_t index_blocks =
            (std::size_t{2} * header.Slots() + header.BlockSize() - 1) / header.BlockSize();
        first_data_block_ = header.IndexBlock() + index_blocks;
        if (header.IndexBlock() == 0 || first_data_block_ > header.Blocks()) {
            Fault("header: an index from " + Block(header.IndexBlock()) + " to " +
                  Number(first_data_block_ - 1) + " in " + Number(header.Blocks()) + " blocks");
            return false;
        }
        owners_.assign(header.Blocks(), kNoOwner);
        block_.resize(header.BlockSize());
        return true;
    }

    /// Chains mostly continue in the next block, so several are read at a time.
    bool Read(std::uint64_t at, std::span<std::uint8_t> bytes) {
        if (at < window_begin_ || at + bytes.size() > window_begin_ + window_size_) {
            constexpr std::size_t kWindow = 8192;
            window_.resize(std::max(kWindow, bytes.size()));
            window_begin_ = at;
            window_size_ = file_.Seek(at) ? file_.Read(window_) : 0;
            if (window_size_ < bytes.size()) return false;
        }
        std::copy_n(window_.begin() + static_cast<std::ptrdiff_t>(at - window_begin_),
                    bytes.size(),
                    bytes.begin());
        return true;
    }

    void ReadComment() {
        if (Header().IndexBlock() < 2 || !Read(Header().BlockSize(), block_)) return;
        for (std::size_t i = kBlockLinks; i < block_.size() && block_[i] != 0; ++i) {
            const auto c = static_cast<char>(block_[i]);
            report_.comment += block_[i] < ' ' || block_[i] == 0x7F ? ' ' : c;
        }
    }

    void ReadIndex() {
        index_.resize(std::size_t{2} * Header().Slots());
        if (!Read(std::uint64_t{Header().IndexBlock()} * Header().BlockSize(), index_)) {
            Fault("index: it cannot be read whole");
            index_.clear();
        }
    }

    void CheckChains() {
        for (std::size_t slot = 0; 2 * slot < index_.size(); ++slot) {
            const std::size_t length = CheckChain(slot);
            if (length > 0) ++report_.chains;
            report_.longest_chain = std::max(report_.longest_chain, length);
        }
    }

    /// The blocks of the chain.
    std::size_t CheckChain(std::size_t slot) {
        const std::string name = "slot " + Number(slot);
        std::size_t length = 0;
        std::size_t last = 0;
        std::size_t block = Load16(&index_[2 * slot]);
        for (; block != 0; ++length) {
            const std::string from = last == 0 ? name : name + ", " + Block(last);
            if (block >= Header().Blocks()) {
                Fault(from + ": leads to " + Block(block) + ", the file has " +
                      Number(Header().Blocks()));
                return length;
            }
            if (block < first_data_block_) {
                Fault(from + ": leads to " + Block(block) + ", which is no data block");
                return length;
            }
            if (owners_[block] != kNoOwner) {
                Fault(from + ": leads to " + Block(block) +
                      (owners_[block] == slot
                           ? ", back into its own chain"
                           : ", of the chain of slot " + Number(owners_[block])));
                return length;
            }
            owners_[block] = static_cast<std::uint32_t>(slot);
            if (!Read(std::uint64_t{block} * Header().BlockSize(), block_)) {
                Fault(from + ": " + Block(block) + " cannot be read whole");
                return length;
            }
            if (Load16(&block_[2]) != last) {
                Fault(name + ", " + Block(block) + ": its previous block is " +
                      Number(Load16(&block_[2])) + " instead of " + Number(last));
            }
            CheckRecords(slot, block);
            last = std::exchange(block, Load16(block_.data()));
        }
        return length;
    }

    void CheckRecords(std::size_t slot, std::size_t block) {
        ++report_.data_blocks;
        std::size_t at = kBlockLinks;
        while (at + kRecordKeys + entry_size_ <= block_.size() && Load16(&block_[at]) != 0) {
            const std::string place =
                "slot " + Number(slot) + ", " + Block(block) + ", byte " + Number(at);
            const HashKey key = HashKey{Load16(&block_[at])} << 32 | Load32(&block_[at + 2]);
            if ((PrimaryKey(key) & Header().Mask()) != slot) {
                Fault(place + ": a position of slot " + Number(PrimaryKey(key) & Header().Mask()));
            }
            const std::size_t end = ReadEntries(at + kRecordKeys, place);
            keys_.push_back(key);
            ++report_.positions;
            report_.entries += entries_.size();
            report_.most_entries = std::max(report_.most_entries, entries_.size());
            if (visit_) visit_(key, entries_);
            at = end;
        }
        report_.data_bytes += at - kBlockLinks;
        const auto behind = block_.begin() + static_cast<std::ptrdiff_t>(at);
        if (std::any_of(behind, block_.end(), [](std::uint8_t byte) { return byte != 0; })) {
            Fault("slot " + Number(slot) + ", " + Block(block) + ": from byte " + Number(at) +
                  " on there are other bytes than 0 behind the records");
        }
    }

    /// Where the record ends.
    std::size_t ReadEntries(std::size_t at, const std::string& place) {
        entries_.clear();
        for (; at + entry_size_ <= block_.size(); at += entry_size_) {
            const BookEntry entry = LoadEntry(&block_[at], Header().HasStatistics());
            CheckEntry(entry, place);
            entries_.push_back(entry);
            if (!(entry.flags & kLastEntry)) continue;
            if (entries_.size() > kMostEntries) {
                Fault(place + ": " + Number(entries_.size()) + " moves, of which only " +
                      Number(kMostEntries) + " are read");
            }
            return at + entry_size_;
        }
        Fault(place + ": no last move up to the end of the block");
        return at;
    }

    void CheckEntry(const BookEntry& entry, const std::string& place) {
        const Move move = DecodeBookMove(entry.move);
        const PieceType type = PromotionType(move);
        const bool promotes = (entry.move.to & 0x80) != 0;
        const bool valid =
            OnBoard(move.from) && OnBoard(move.to) && move.from != move.to &&
            (!promotes || ((entry.move.to & 8) == 0 && type >= Knight && type <= Queen));
        if (!valid) {
            Fault(place + ": move " + Number(entries_.size() + 1) + " has no squares of a move (" +
                  Number(entry.move.from) + ", " + Number(entry.move.to) + ")");
        }
        const auto same = [&](const BookEntry& other) { return other.move == entry.move; };
        if (std::ranges::any_of(entries_, same)) {
            Fault(place + ": move " + Number(entries_.size() + 1) + " is there twice");
        }
        if (std::uint64_t{entry.white} + entry.black > entry.games) {
            Fault(place + ": move " + Number(entries_.size() + 1) + " has more games won than " +
                  "played");
        }
    }

    void CheckKeys() {
        std::ranges::sort(keys_);
        for (std::size_t i = 1; i < keys_.size(); ++i) {
            if (keys_[i] != keys_[i - 1]) continue;
            Fault("slot " + Number(PrimaryKey(keys_[i]) & Header().Mask()) +
                  ": two records of the same key (" + Number(SecondaryKey(keys_[i])) + ", " +
                  Number(PrimaryKey(keys_[i])) + ")");
        }
    }

    void CheckBlocks() {
        for (std::size_t block = first_data_block_; block < owners_.size(); ++block) {
            if (owners_[block] == kNoOwner) Fault(Block(block) + ": no chain leads to it");
        }
    }

    void CheckCounters() {
        if (Header().Positions() != report_.positions) {
            Fault("header: " + Number(Header().Positions()) + " positions, the chains have " +
                  Number(report_.positions));
        }
        if (Header().Entries() != report_.entries) {
            Fault("header: " + Number(Header().Entries()) + " moves, the chains have " +
                  Number(report_.entries));
        }
    }

    static constexpr std::uint32_t kNoOwner = UINT32_MAX;

    DiskFile& file_;
    const RecordVisitor& visit_;
    BookReport report_;
    std::size_t entry_size_ = 0;
    std::size_t first_data_block_ = 0;
    std::vector<std::uint8_t> window_;  ///< of the file
    std::uint64_t window_begin_ = 0;
    std::size_t window_size_ = 0;
    std::vector<std::uint8_t> index_;
    std::vector<std::uint8_t> block_;
    std::vector<std::uint32_t> owners_;  ///< of the blocks: the slot whose chain has it
    std::vector<HashKey> keys_;
    std::vector<BookEntry> entries_;
};

}  // namespace

BookReport CheckBook(const std::string& path, const RecordVisitor& visit) {
    DiskFile file;
    if (!file.Open(path, DiskAccess::ReadOnly)) throw InputError("cannot read " + QuoteName(path));
    BookHeader header;
    if (file.Read(header.bytes) != header.bytes.size() || !header.MagicIsValid()) {
        throw InputError(QuoteName(path) + " is no opening book");
    }
    return Checker(&file, visit).Check();
}

}  // namespace torval

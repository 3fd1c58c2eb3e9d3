// Damaged books and failing disks: nothing crashes, nothing runs endlessly, and the damage is
// reported.

#include <algorithm>
#include <set>

#include "apps/makers/books/book_check.h"
#include "apps/text/console.h"
#include "book/book_fixture.h"
#include "book/learn.h"
#include "book/select.h"
#include "support/run_command.h"

namespace torval {

namespace {

constexpr const char* kLines[] = {"e2e4 e7e5 g1f3 b8c6 f1b5",
                                  "e2e4 c7c5 g1f3",
                                  "d2d4 d7d5 c2c4",
                                  "e2e4 e7e5 f1c4",
                                  "g1f3 g8f6 g2g3"};

class BookDamageTest : public BookTest {
protected:
    void TearDown() override {
        disk_step_fails = nullptr;
        BookTest::TearDown();
    }

    void PlayLine(const std::string& moves) {
        SetUpPosition(kStartFen);
        Play(moves);
    }

    /// A small book with chains of several blocks.
    Bytes SmallBook(bool statistics, char version = '2') {
        const std::string path = Path("small");
        WriteBytes(path,
                   EmptyBook({.has_statistics = statistics,
                              .version_major = version,
                              .block_size = 64,
                              .slots = 4,
                              .comment = "small"}));
        EXPECT_EQ(Open(path), BookOpened);
        int score = 10;
        for (const char* line : kLines) {
            PlayLine(line);
            EXPECT_EQ(AddBookMoves(MainBook, kAllPlies, score++, 1 << 8), StatusOk);
        }
        CloseBooks();
        EXPECT_TRUE(CheckBook(path).IsWhole());
        EXPECT_TRUE(text_messages.empty());
        return ReadBytes(path);
    }

    /// Looks up, selects, edits and verifies, with the game on the board. Whether the check found fault with the fresh file.
    bool Use(const Bytes& bytes) {
        const std::string path = Path("damaged");
        WriteBytes(path, bytes);
        bool faulty = false;
        try {
            faulty = !CheckBook(path).IsWhole();
        } catch (const InputError&) {
            faulty = true;
        }
        if (Open(path) != BookOpened) return faulty;
        const HashKey key = position.GamePositionKey;
        EXPECT_LE(Moves().size(), 20U);
        (void)Main().GetEntries16(50);
        EXPECT_EQ(AddBookMoves(MainBook, kAllPlies, 5, 0), StatusOk);
        if (!Main().HasStatistics()) {
            EXPECT_EQ(DelBookMoves(MainBook, 3), StatusOk);
        }
        SelectBookMoves(legal_moves);
        RebuildLegalMoves();
        EXPECT_EQ(position.GamePositionKey, key);
        EXPECT_TRUE(PositionIsSound());
        CloseBooks();
        try {
            (void)CheckBook(path);
        } catch (const InputError&) {
        }
        text_messages.clear();
        return faulty;
    }
};

/// The bits that may have any value in a sound book: scores, flags, counts, what keys have beside
/// their slot, comment and reserved fields.
std::vector<std::uint8_t> FreeBits(const Bytes& book) {
    std::vector<std::uint8_t> free(book.size());
    BookHeader header;
    std::copy_n(book.begin(), header.bytes.size(), header.bytes.begin());
    const std::size_t size = header.BlockSize();
    const std::size_t entry = header.HasStatistics() ? kStatisticsEntrySize : kPlainEntrySize;
    const auto fill = [&](std::size_t at, std::size_t count) {
        std::fill_n(free.begin() + static_cast<std::ptrdiff_t>(at), count, std::uint8_t{0xFF});
    };
    free[2] = free[3] = 0x0F;  // another digit
    fill(8, 6);
    fill(18, 4);
    fill(kBookHeaderSize, 2 * size - kBookHeaderSize);  // the rest of block 0, and the comment
    const std::size_t first = header.IndexBlock() + (2U * header.Slots() + size - 1) / size;
    fill(header.IndexBlock() * size + 2U * header.Slots(),
         (first - header.IndexBlock()) * size - 2U * header.Slots());
    for (std::size_t block = first; block < header.Blocks(); ++block) {
        std::size_t at = block * size + kBlockLinks;
        const std::size_t end = (block + 1) * size;
        while (at + kRecordKeys + entry <= end && Load16(&book[at]) != 0) {
            fill(at, kRecordKeys);
            free[at + 2] = static_cast<std::uint8_t>(~header.Mask());
            for (at += kRecordKeys;; at += entry) {
                fill(at, entry);
                free[at + 3] = 0x7F;
                if (book[at + 3] & kLastEntry) break;
            }
            at += entry;
        }
    }
    return free;
}

TEST_F(BookDamageTest, FlippedBitsEndInNoFaultAndStructureIsTold) {
    for (const bool statistics : {false, true}) {
        const Bytes good = SmallBook(statistics);
        const auto free = FreeBits(good);
        PlayLine(kLines[0]);
        // The slow test below takes every value of every byte.
        const std::size_t step = kSanitized ? 37 : 3;
        for (std::size_t bit = 0; bit < 8 * good.size(); bit += step) {
            const auto mask = static_cast<std::uint8_t>(1 << bit % 8);
            SCOPED_TRACE("byte " + std::to_string(bit / 8) + " ^ " + std::to_string(mask));
            Bytes damaged = good;
            damaged[bit / 8] ^= mask;
            const bool told = Use(damaged);
            EXPECT_TRUE(told || (free[bit / 8] & mask));
            if (HasFailure()) return;
        }
    }
}

TEST_F(BookDamageTest, SlowEveryValueOfEveryByte) {
    const Bytes good = SmallBook(false, '3');
    PlayLine(kLines[0]);
    for (std::size_t at = 0; at < good.size() && !HasFailure(); ++at) {
        for (unsigned value = 0; value < 256; ++value) {
            SCOPED_TRACE("byte " + std::to_string(at) + " = " + std::to_string(value));
            Bytes damaged = good;
            damaged[at] = static_cast<std::uint8_t>(value);
            Use(damaged);
        }
    }
}

TEST_F(BookDamageTest, EveryTruncationIsTold) {
    const Bytes good = SmallBook(false);
    PlayLine(kLines[0]);
    for (std::size_t size = 0; size < good.size() && !HasFailure(); ++size) {
        SCOPED_TRACE(size);
        EXPECT_TRUE(Use(Bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size))));
    }
}

TEST_F(BookDamageTest, ALoopOfBlocksIsCutAndReported) {
    Bytes book = SmallBook(false);
    const std::size_t index = 2 * 64;
    for (std::size_t slot = 0; slot < 4; ++slot) {
        const std::size_t block = Load16(&book[index + 2 * slot]);
        Store16(&book[64 * block], static_cast<std::uint32_t>(block));
    }
    WriteBytes(Path("loop"), book);
    ASSERT_EQ(Open(Path("loop")), BookOpened);
    PlayLine("a2a3");
    EXPECT_TRUE(Moves().empty());
    ASSERT_EQ(text_messages.size(), 1U);
    EXPECT_EQ(text_messages[0].id, 18);
}

TEST_F(BookDamageTest, AFullFileKeepsWhatItHas) {
    Bytes book = SmallBook(false);
    Store16(&book[6], kMostBlocks);
    WriteBytes(Path("full"), book);
    ASSERT_EQ(Open(Path("full")), BookOpened);
    std::set<std::string> before;
    for (const char* line : kLines) {
        PlayLine(line);
        for (const std::string& move : Moves()) before.insert(line + (" " + move.substr(0, 5)));
    }
    for (const char* line :
         {"h2h3", "h2h4", "g2g4", "f2f3", "f2f4", "e2e3", "d2d3", "c2c4", "b2b3", "b2b4", "a2a3"}) {
        PlayLine(line + std::string(" a7a6 b1c3 b8c6"));
        EXPECT_EQ(AddBookMoves(MainBook, 3, 0, 0), StatusOk);
    }
    ASSERT_FALSE(text_messages.empty());
    EXPECT_EQ(text_messages.back(), (TextMessage{16, settings_block.UserBookName}));
    for (const char* line : kLines) {
        PlayLine(line);
        for (const std::string& move : Moves()) before.erase(line + (" " + move.substr(0, 5)));
    }
    EXPECT_TRUE(before.empty()) << testing::PrintToString(before);
}

TEST_F(BookDamageTest, AHeaderThatCountsTooMuchMakesNoLongFile) {
    struct Damage {
        const char* name;
        std::size_t offset;  ///< of the header's field
        std::uint32_t value;
    };
    const Bytes good = SmallBook(false);
    std::vector<Bytes> damaged;
    for (const Damage& damage : {Damage{"blocks", 6, 0x8000},
                                 Damage{"one block", 6, Load16(&good[6]) + 1U},
                                 Damage{"index block", 14, 0x7000},
                                 Damage{"slots", 16, 0xFFFF}}) {
        SCOPED_TRACE(damage.name);
        Bytes book = good;
        Store16(&book[damage.offset], damage.value);
        damaged.push_back(book);
        WriteBytes(Path("long"), book);
        ASSERT_EQ(Open(Path("long")), BookOpened);
        PlayLine("h2h4 h7h5 g2g4 a7a5 a2a3 b7b6 c2c3 c7c6 d2d3 d7d6 e2e3 e7e6 f2f3 f7f6");
        text_messages.clear();
        EXPECT_EQ(AddBookMoves(MainBook, kAllPlies, 0, 0), StatusOk);
        ASSERT_EQ(text_messages.size(), 1U);
        EXPECT_EQ(text_messages[0], (TextMessage{16, settings_block.UserBookName}));
        CloseBooks();
        EXPECT_EQ(ReadBytes(Path("long")).size(), book.size());
    }
    for (const Bytes& book : damaged) {
        WriteBytes(Path("long"), book);
        const Ran ran = Torval({"book", "add", Path("long"), "--moves", "h4 h5"});
        EXPECT_EQ(ran.code, 1);
        EXPECT_EQ(ran.err,
                  "torval: '" + Path("long") + "' is damaged (torval book verify tells)\n");
        EXPECT_EQ(ReadBytes(Path("long")), book);
    }
}

int steps_left = 0;
DiskStep failed_step = DiskStep::Seek;

/// The moves of all records, a position that is in two blocks counting once.
std::set<std::pair<HashKey, std::pair<int, int>>> MovesIn(const std::string& path) {
    std::set<std::pair<HashKey, std::pair<int, int>>> moves;
    (void)CheckBook(path, [&](HashKey key, auto entries) {
        for (const BookEntry& entry : entries) {
            moves.insert({key, {entry.move.from, entry.move.to}});
        }
    });
    return moves;
}

TEST_F(BookDamageTest, AStepOfTheDiskThatFailsLosesNothing) {
    struct Edit {
        const char* moves;
        bool adds;
        int count;
    };
    // New positions and chains, moves into records that have to grow, removals with rescoring.
    constexpr Edit kEdits[] = {{"e2e4 e7e5 d2d4 e5d4 d1d4 b8c6", true, -1},
                               {"b1c3 d7d5 e2e4", true, 2},
                               {"e2e4 e7e5 g1f3 b8c6 f1b5", false, -1},
                               {"e2e4 e7e5 f1c4", false, 2}};
    for (const bool statistics : {false, true}) {
        const Bytes good = SmallBook(statistics);
        for (const Edit& edit : kEdits) {
            if (statistics && !edit.adds) continue;
            const std::string path = Path("failing");
            int k = 0;
            for (bool failed = true; failed; ++k) {
                SCOPED_TRACE(std::string(edit.moves) + ", step " + std::to_string(k));
                WriteBytes(path, good);
                const auto before = MovesIn(path);
                ASSERT_EQ(Open(path), BookOpened);
                PlayLine(edit.moves);
                const Position played = position;
                const GameRecord record = game_record;
                text_messages.clear();
                steps_left = k;
                disk_step_fails = [](DiskStep step) {
                    if (steps_left-- != 0) return false;
                    failed_step = step;
                    return true;
                };
                const std::int32_t result = edit.adds ? AddBookMoves(MainBook, edit.count, 7, 0)
                                                      : DelBookMoves(MainBook, edit.count);
                disk_step_fails = nullptr;
                failed = steps_left < 0;
                EXPECT_EQ(result, StatusOk);
                EXPECT_EQ(text_messages.size(), failed ? 1U : 0U);
                if (failed && text_messages.size() == 1) {
                    const int id = text_messages[0].id;
                    EXPECT_EQ(text_messages[0].text, path);
                    const bool read = failed_step == DiskStep::Read;
                    const bool sought = failed_step == DiskStep::Seek;
                    EXPECT_TRUE(id == (read ? 16 : 17) || (sought && id == 16)) << id;
                }
                EXPECT_EQ(position.Board, played.Board);
                EXPECT_EQ(position.key, played.key);
                EXPECT_EQ(position.GamePositionKey, played.GamePositionKey);
                EXPECT_EQ(std::memcmp(&game_record, &record, sizeof record), 0);
                // The same book again, without a failure, has no message and finds every move.
                const auto after = MovesIn(path);
                if (edit.adds) {
                    EXPECT_TRUE(std::ranges::includes(after, before));
                } else {
                    EXPECT_TRUE(std::ranges::includes(before, after));
                }
                text_messages.clear();
                PlayLine(kLines[1]);
                (void)Moves();
                EXPECT_EQ(AddBookMoves(MainBook, kAllPlies, 7, 0), StatusOk);
                EXPECT_TRUE(text_messages.empty());
                CloseBooks();
                if (HasFailure()) return;
            }
            EXPECT_GT(k, 5);
        }
    }
}

}  // namespace

}  // namespace torval

#include "egtb/nalimov/block_cache.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <list>
#include <map>
#include <random>
#include <tuple>
#include <vector>

#include "apps/makers/tables/compress.h"
#include "egtb/nalimov/tablebase_files.h"

namespace torval {

namespace {

namespace fs = std::filesystem;

using Bytes = std::vector<std::uint8_t>;

std::map<DiskStep, int> steps_taken;
std::map<DiskStep, int> steps_to_fail;  // how many of the next ones

bool CountStep(DiskStep step) {
    ++steps_taken[step];
    return steps_to_fail[step] > 0 && steps_to_fail[step]-- > 0;
}

constexpr std::uint32_t kBlocks = 4;
constexpr std::uint32_t kManyBlocks = 70;  // some share a bucket: 32 and 64 apart
constexpr std::uint32_t kLastBytes = 100;

/// Entries that differ by file and block, and compress well.
std::uint8_t EntryOf(int id, int side, std::uint64_t at) {
    return static_cast<std::uint8_t>(at / kBlockBytes * 3 + at % 7 +
                                     static_cast<unsigned>(id * 50 + side * 90));
}

int ByteOf(int id, int side, std::uint32_t block, std::uint32_t offset) {
    return static_cast<std::int8_t>(EntryOf(id, side, std::uint64_t{block} * kBlockBytes + offset));
}

Bytes EntriesOf(int id, int side, std::uint32_t blocks) {
    Bytes bytes(std::size_t{blocks - 1} * kBlockBytes + kLastBytes);
    for (std::size_t at = 0; at < bytes.size(); ++at) bytes[at] = EntryOf(id, side, at);
    return bytes;
}

class BlockCacheTest : public testing::Test {
protected:
    BlockCacheTest() {
        fs::create_directories(folder_);
        steps_taken.clear();
        steps_to_fail.clear();
        disk_step_fails = CountStep;
        EXPECT_EQ(AllocateDecodeState(kBlockBytes), ErrorNone);
    }

    ~BlockCacheTest() override {
        disk_step_fails = nullptr;
        InitBlockCache(nullptr, 0);
        for (auto& sides : tablebase_files) {
            for (TablebaseFiles& files : sides) files = {};
        }
        decode_state.reset();
        fs::remove_all(folder_);
    }

    void GiveSlots(std::size_t slots) {
        area_.resize(slots);
        ASSERT_TRUE(
            InitBlockCache(reinterpret_cast<std::byte*>(area_.data()), slots * sizeof(CacheSlot)));
        ASSERT_EQ(block_cache.slots, slots);
    }

    TablebaseFiles& Register(int id, int side, bool compressed, const Bytes& entries) {
        TablebaseFiles& files =
            tablebase_files[static_cast<std::size_t>(id)][static_cast<std::size_t>(side)];
        files = {};
        files.name =
            (folder_ / (std::to_string(2 * id + side) + (compressed ? ".emd" : ".nbw"))).string();
        files.buckets = std::make_unique<BucketHeads>();
        const Bytes bytes = compressed ? CompressTablebase(entries) : entries;
        std::ofstream(files.name, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
        if (compressed) {
            EXPECT_EQ(ParseCompressedHeader(bytes, BlockSums::Skip, &files.compressed), ErrorNone);
        }
        return files;
    }
    TablebaseFiles& Register(int id, int side, bool compressed, std::uint32_t blocks = kBlocks) {
        return Register(id, side, compressed, EntriesOf(id, side, blocks));
    }

    std::vector<CacheSlot> area_;
    fs::path folder_ = fs::path(testing::TempDir()) / ("torval_cache_" + std::to_string(getpid()));
};

TEST_F(BlockCacheTest, FourMegabytesAreFiveHundredAndSevenSlots) {
    std::vector<CacheSlot> area(508);
    std::byte* const start = reinterpret_cast<std::byte*>(area.data());
    ASSERT_TRUE(InitBlockCache(start, 4U << 20));
    EXPECT_EQ(block_cache.slots, 507U);
    Register(1, 0, false);
    EXPECT_EQ(ReadTablebaseByte(1, 0, 2, 5), ByteOf(1, 0, 2, 5));

    EXPECT_TRUE(InitBlockCache(start, 32));
    EXPECT_EQ(block_cache.slots, 0U);
    EXPECT_EQ(ReadTablebaseByte(1, 0, 2, 5), kUnknownValue);
    EXPECT_FALSE(InitBlockCache(start, 31));
    EXPECT_EQ(ReadTablebaseByte(1, 0, 2, 5), kUnknownValue);
}

/// Checks the contents of the cache against a plain list of blocks, the last used first.
TEST_F(BlockCacheTest, KeepsTheBlocksThatWereUsedLast) {
    constexpr std::size_t kSlots = 12;
    GiveSlots(kSlots);
    Register(1, 0, true, kManyBlocks);
    Register(1, 1, false, kManyBlocks);
    Register(2, 0, true, kManyBlocks);
    using Block = std::tuple<int, int, std::uint32_t>;
    std::list<Block> model;
    std::mt19937 random(5);
    int hits = 0;
    for (int i = 0; i < 4000; ++i) {
        const std::array<std::pair<int, int>, 3> sides = {{{1, 0}, {1, 1}, {2, 0}}};
        const auto [id, side] = sides[random() % 3];
        // Few numbers, half of them in one chain.
        const auto block =
            static_cast<std::uint32_t>(random() % 2 == 0 ? random() % 3 * 32 + 5 : random() % 6);
        const Block key = {id, side, block};
        const auto found = std::ranges::find(model, key);
        const bool hit = found != model.end();
        if (hit) {
            model.erase(found);
            ++hits;
        } else if (model.size() == kSlots) {
            model.pop_back();
        }
        model.push_front(key);

        const int reads = steps_taken[DiskStep::Read];
        const auto offset = static_cast<std::uint32_t>(
            random() % (block == kManyBlocks - 1 ? kLastBytes : kBlockBytes));
        ASSERT_EQ(ReadTablebaseByte(id, side, block, offset), ByteOf(id, side, block, offset)) << i;
        ASSERT_EQ(steps_taken[DiskStep::Read] - reads, hit ? 0 : 1) << i;
        ASSERT_TRUE(BlockCacheIsSound()) << i;
    }
    EXPECT_GT(hits, 1000);
    EXPECT_LT(hits, 3000);

    ResetBlockCache();
    EXPECT_TRUE(BlockCacheIsSound());
    EXPECT_EQ(block_cache.newest, 0U);
    const int reads = steps_taken[DiskStep::Read];
    const auto [id, side, block] = model.front();
    EXPECT_EQ(ReadTablebaseByte(id, side, block, 0), ByteOf(id, side, block, 0));
    EXPECT_EQ(steps_taken[DiskStep::Read], reads + 1);
}

TEST_F(BlockCacheTest, HitsNeedNoFile) {
    GiveSlots(4);
    const TablebaseFiles& files = Register(3, 1, true);
    EXPECT_EQ(ReadTablebaseByte(3, 1, 1, 9), ByteOf(3, 1, 1, 9));
    EXPECT_TRUE(files.file.IsOpen());
    CloseTablebaseFiles();
    EXPECT_FALSE(files.file.IsOpen());
    const auto before = steps_taken;
    EXPECT_EQ(ReadTablebaseByte(3, 1, 1, 8191), ByteOf(3, 1, 1, 8191));
    EXPECT_EQ(steps_taken, before);
    EXPECT_FALSE(files.file.IsOpen());
    EXPECT_EQ(ReadTablebaseByte(3, 1, 2, 0), ByteOf(3, 1, 2, 0)) << "opened again";
}

TEST_F(BlockCacheTest, WhatLiesBehindTheLastEntryIsUnknown) {
    GiveSlots(2);
    for (const bool compressed : {false, true}) {
        const TablebaseFiles& files = Register(4, 0, compressed);
        ResetBlockCache();
        const std::uint32_t last = kBlocks - 1;
        EXPECT_EQ(ReadTablebaseByte(4, 0, last, kLastBytes - 1),
                  ByteOf(4, 0, last, kLastBytes - 1));
        EXPECT_EQ(ReadTablebaseByte(4, 0, last, kLastBytes), kUnknownValue);
        EXPECT_FALSE(files.name.empty());
    }
    EXPECT_EQ(ReadTablebaseByte(5, 0, 0, 0), kUnknownValue) << "never registered";
}

TEST_F(BlockCacheTest, ReachesEntriesBehindTwoGigabytes) {
    GiveSlots(2);
    const TablebaseFiles& files = Register(6, 0, false, Bytes(10));
    constexpr std::uint32_t kBlock = 600000;
    fs::resize_file(files.name, std::uint64_t{kBlock} * kBlockBytes);  // takes no room on the disk
    std::ofstream(files.name, std::ios::binary | std::ios::app) << "abc";
    EXPECT_EQ(ReadTablebaseByte(6, 0, kBlock, 1), 'b');
    EXPECT_EQ(ReadTablebaseByte(6, 0, kBlock, 3), kUnknownValue);
}

TEST_F(BlockCacheTest, ClosesTheOtherFilesWhenTooManyAreOpen) {
    GiveSlots(4);
    const TablebaseFiles& other = Register(1, 0, false);
    const TablebaseFiles& files = Register(2, 1, true);
    EXPECT_EQ(ReadTablebaseByte(1, 0, 0, 0), ByteOf(1, 0, 0, 0));
    ASSERT_TRUE(other.file.IsOpen());
    steps_to_fail[DiskStep::Open] = 1;
    EXPECT_EQ(ReadTablebaseByte(2, 1, 0, 0), ByteOf(2, 1, 0, 0));
    EXPECT_FALSE(other.file.IsOpen());
    EXPECT_TRUE(files.file.IsOpen());
}

TEST_F(BlockCacheTest, FilesThatCannotBeReadAreForgotten) {
    struct Case {
        const char* why;
        bool compressed;
        void (*damage)(const TablebaseFiles& files);
    };
    for (const Case& c : {
             Case{"gone", false, [](const TablebaseFiles& files) { fs::remove(files.name); }},
             Case{"gone", true, [](const TablebaseFiles& files) { fs::remove(files.name); }},
             Case{"seek", false, [](const TablebaseFiles&) { steps_to_fail[DiskStep::Seek] = 1; }},
             Case{"seek", true, [](const TablebaseFiles&) { steps_to_fail[DiskStep::Seek] = 1; }},
             Case{"read", false, [](const TablebaseFiles&) { steps_to_fail[DiskStep::Read] = 1; }},
             Case{"read", true, [](const TablebaseFiles&) { steps_to_fail[DiskStep::Read] = 1; }},
             Case{"cut",
                  true,
                  [](const TablebaseFiles& files) {
                      fs::resize_file(files.name, files.compressed->offsets[2]);
                  }},
             Case{"fewer blocks",
                  true,
                  [](const TablebaseFiles& files) { files.compressed->blocks = 1; }},
             Case{"broken block",
                  true,
                  [](const TablebaseFiles& files) { files.compressed->distances.fill(9000); }},
             Case{"no decoder", true, [](const TablebaseFiles&) { decode_state.reset(); }},
         }) {
        SCOPED_TRACE(c.why);
        GiveSlots(2);
        ASSERT_EQ(AllocateDecodeState(kBlockBytes), ErrorNone);
        TablebaseFiles& files = Register(7, 0, c.compressed);
        EXPECT_EQ(ReadTablebaseByte(7, 0, 1, 3), ByteOf(7, 0, 1, 3));
        CloseTablebaseFiles();
        c.damage(files);
        EXPECT_EQ(ReadTablebaseByte(7, 0, 2, 3), kUnknownValue);
        EXPECT_TRUE(files.name.empty());
        EXPECT_FALSE(files.file.IsOpen());
        EXPECT_NE(block_cache.free, 0U) << "its slot is free again";
        EXPECT_TRUE(BlockCacheIsSound());

        const auto before = steps_taken;
        EXPECT_EQ(ReadTablebaseByte(7, 0, 2, 3), kUnknownValue) << "and stays unknown";
        EXPECT_EQ(ReadTablebaseByte(7, 0, 1, 3), ByteOf(7, 0, 1, 3)) << "what was read stays known";
        EXPECT_EQ(steps_taken, before) << "nobody asks for the file again";
    }
}

}  // namespace

}  // namespace torval

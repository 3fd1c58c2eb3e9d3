#include "egtb/thompson/thompson_file.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>

#include "apps/makers/thompson/write_thompson.h"
#include "support/allocations.h"
#include "support/thompson_parts.h"

namespace torval {

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;
using Parts = ThompsonParts;

const Bytes kExampleValues = {0, 0, 20, 12, 0, 25};

class ThompsonFileTest : public testing::Test {
protected:
    ~ThompsonFileTest() override {
        disk_step_fails = nullptr;
        fs::remove(name_);
    }

    void Write(const Bytes& bytes) const {
        std::ofstream out(name_, std::ios::binary);
        out.write(reinterpret_cast<const char*>(bytes.data()),
                  static_cast<std::streamsize>(bytes.size()));
    }
    bool Open(const Bytes& bytes) {
        Write(bytes);
        return file_.Open(name_);
    }

    std::string name_ = testing::TempDir() + "torval_thompson_" + std::to_string(getpid());
    ThompsonFile file_;
};

Bytes RandomValues(std::size_t count, const std::vector<double>& weights) {
    std::mt19937 random(1);
    std::discrete_distribution<int> value(weights.begin(), weights.end());
    Bytes values(count);
    for (std::uint8_t& byte : values) byte = static_cast<std::uint8_t>(value(random));
    return values;
}

TEST_F(ThompsonFileTest, ReadsWhatWasWritten) {
    struct Case {
        const char* name;
        ThompsonShape shape;
        std::vector<double> weights;  ///< how often each value occurs
        std::size_t count;
    };
    std::vector<double> falling(256);
    for (std::size_t i = 0; i < falling.size(); ++i) falling[i] = 1.0 / static_cast<double>(i + 1);
    const std::vector<double> even(256, 1);
    const std::vector<double> steep = {1e9, 1e6, 1e3, 1};
    for (const Case& c : {
             Case{"many rare values, and reads of several chunks", {4, 3, 9000}, falling, 40000},
             Case{"every value but one common", {1, 255, 3999}, even, 20000},
             Case{"every value common", {1, 256, 3999}, even, 20000},
             Case{"no common value", {3, 0, 500}, falling, 5000},
             Case{"a block ends within a leaf", {5, 2, 7}, {9, 3, 1, 1}, 3000},
             Case{"a block is one position", {6, 5, 1}, falling, 300},
             Case{"one value alone", {8, 4, 100}, {1}, 1000},
             Case{"most digits that can be", {23, 1, 5000}, {40, 1}, 30000},
             Case{"hardly any other value", {12, 1, 4096}, steep, 200000},
         }) {
        const Bytes values = RandomValues(c.count, c.weights);
        const std::uint32_t per_block = c.shape.positions_per_block;
        ASSERT_TRUE(Open(WriteThompson(values, c.shape))) << c.name;
        EXPECT_EQ(file_.Header().positions_per_block, per_block);
        EXPECT_EQ(file_.Header().values_per_leaf, c.shape.values_per_leaf);
        Bytes read(values.size());
        for (std::size_t at = 0; at < values.size(); at += per_block) {
            const std::size_t size = std::min<std::size_t>(per_block, read.size() - at);
            const auto block = std::span(read).subspan(at, size);
            ASSERT_EQ(file_.ReadBlock(at / per_block, block), size) << c.name;
        }
        EXPECT_EQ(read, values) << c.name;
        std::mt19937 random(2);
        for (int i = 0; i < 200; ++i) {
            const auto at = static_cast<std::uint32_t>(random() % values.size());
            ASSERT_EQ(file_.ReadValue(at), values[at]) << c.name << ' ' << at;
        }
    }
}

TEST_F(ThompsonFileTest, WritesTheSmallestOfTheUsualShapes) {
    const Bytes values = RandomValues(100000, {1000, 30, 10, 3, 1, 1});
    const Bytes chosen = WriteThompson(values, ChooseThompsonShape(values));
    for (const ThompsonShape& other : {ThompsonShape{4, 1}, {6, 5}, {16, 1}, {8, 2}}) {
        EXPECT_LE(chosen.size(), WriteThompson(values, other).size());
    }
    EXPECT_THROW(WriteThompson(values, {24, 1}), std::invalid_argument);
}

TEST_F(ThompsonFileTest, ReadsAFileWrittenByHand) {
    ASSERT_TRUE(Open(Parts().Join()));
    for (std::uint32_t i = 0; i < kExampleValues.size(); ++i) {
        EXPECT_EQ(file_.ReadValue(i), kExampleValues[i]) << i;
    }
    EXPECT_FALSE(file_.ReadValue(6)) << "there is no third block";
    Bytes block(4);
    EXPECT_EQ(file_.ReadBlock(1, block), 4U) << "the leaf has a digit more";
    EXPECT_EQ(file_.ReadBlock(2, block), 0U);

    file_.Close();
    EXPECT_FALSE(file_.IsOpen());
    EXPECT_EQ(file_.ReadValue(5), 25) << "opened again by its name";
    EXPECT_TRUE(file_.IsOpen());
    file_.Close();
    fs::remove(name_);
    EXPECT_FALSE(file_.ReadValue(5)) << "it has vanished";
    file_.Forget();
    EXPECT_EQ(file_.Name(), "");
    EXPECT_FALSE(file_.ReadValue(0));
    EXPECT_FALSE(file_.Open(name_));
}

TEST_F(ThompsonFileTest, RefusesWhatIsCutShort) {
    const Bytes whole = Parts().Join();
    const std::size_t header = Parts().HeaderBytes();
    ASSERT_EQ(header, 64U);
    for (std::size_t size = 0; size < header; ++size) {
        EXPECT_FALSE(Open(Bytes(whole.begin(), whole.begin() + static_cast<int>(size)))) << size;
        EXPECT_FALSE(file_.IsOpen());
        EXPECT_FALSE(file_.ReadValue(0)) << size;
    }
    ASSERT_TRUE(Open(Bytes(whole.begin(), whole.begin() + static_cast<int>(header))));
    EXPECT_FALSE(file_.ReadValue(0));
}

TEST_F(ThompsonFileTest, RefusesHeadersThatMakeNoSense) {
    struct Case {
        const char* name;
        std::size_t at;  ///< of the number
        std::uint32_t number;
    };
    for (const Case& c : {
             Case{"no digits", 0, 0},
             Case{"more digits than a leaf can have", 0, kMostThompsonDigits + 1},
             Case{"too many common values", 4, 16},
             Case{"common values for ever", 4, 0xFFFFFFFF},
             Case{"tree B too large", 16, 13},
             Case{"tree B for ever", 16, 0x40000000},
             Case{"tree C too large", 36, 8},
             Case{"blocks without positions", 48, 0},
             Case{"too many blocks", 52, 3},
             Case{"blocks for ever", 52, 0xFFFFFFFF},
         }) {
        Bytes bytes = Parts().Join();
        for (std::size_t i = 0; i < 4; ++i) {
            bytes[c.at + i] = static_cast<std::uint8_t>(c.number >> (24 - 8 * i));
        }
        EXPECT_FALSE(Open(bytes)) << c.name;
        EXPECT_FALSE(file_.IsOpen()) << c.name;
    }
}

TEST_F(ThompsonFileTest, CountsAsMissingWithoutMemoryForItsTables) {
    constexpr std::size_t kBlocks = 300;
    const Bytes values(kBlocks, 20);
    Write(WriteThompson(values, {4, 1, 1}));
    for (const std::size_t bytes :
         {kBlocks * sizeof(std::uint32_t), kBlocks * sizeof(std::uint64_t)}) {
        const FailingAllocation no_memory(bytes, Refusal::Throws);
        EXPECT_FALSE(file_.Open(name_)) << bytes << " bytes";
        EXPECT_FALSE(file_.IsOpen());
    }
    ASSERT_TRUE(file_.Open(name_));
    EXPECT_EQ(file_.ReadValue(kBlocks - 1), 20);
}

TEST_F(ThompsonFileTest, GivesNoValueFromDamagedTables) {
    struct Case {
        const char* name;
        void (*damage)(Parts&);
    };
    for (const Case& c : {
             Case{"a tree that loops",
                  [](Parts& parts) {
                      parts.value_tree[1] = 0;
                      parts.data.assign(100, 0xFF);
                  }},
             Case{"a tree that leaves its array", [](Parts& p) { p.value_tree[1] = 4; }},
             Case{"a node of which half is there", [](Parts& p) { p.value_tree[1] = 3; }},
             Case{"a node far away", [](Parts& p) { p.value_tree[1] = 0x7FFFFF; }},
             Case{"no tree", [](Parts& p) { p.value_tree.clear(); }},
             Case{"a block behind the end", [](Parts& p) { p.block_starts[0] = 0xFFFFFFFF; }},
             Case{"a block at the very end", [](Parts& p) { p.block_starts[0] = 8; }},
         }) {
        Parts parts;
        parts.data = {0xFF};
        c.damage(parts);
        ASSERT_TRUE(Open(parts.Join())) << c.name;
        EXPECT_FALSE(file_.ReadValue(0)) << c.name;
    }
    Parts parts;
    parts.rare_tree.clear();
    ASSERT_TRUE(Open(parts.Join()));
    EXPECT_FALSE(file_.ReadValue(3)) << "no tree C";
    EXPECT_EQ(file_.ReadValue(2), 20);
}

TEST_F(ThompsonFileTest, DecodesCodesUpToTheirLimit) {
    for (const std::size_t bits : {63, 64, 65}) {
        Parts parts;
        parts.values_per_leaf = 1;
        parts.value_tree.clear();
        for (std::size_t i = 0; i < bits; ++i) {
            parts.value_tree.push_back(kThompsonLeaf | 0);
            parts.value_tree.push_back(static_cast<std::uint32_t>(2 * i + 2));
        }
        parts.value_tree.back() = kThompsonLeaf | 1;
        parts.data.assign(9, 0xFF);
        ASSERT_TRUE(Open(parts.Join()));
        using Value = std::optional<std::uint8_t>;
        EXPECT_EQ(file_.ReadValue(0), bits <= 64 ? Value(20) : std::nullopt) << bits;
    }
}

TEST_F(ThompsonFileTest, SurvivesChangedBits) {
    const Bytes whole = Parts().Join();
    int values = 0;
    for (std::size_t bit = 0; bit < whole.size() * 8; bit += 3) {
        Bytes bytes = whole;
        bytes[bit / 8] ^= static_cast<std::uint8_t>(0x80 >> bit % 8);
        if (!Open(bytes)) continue;
        const std::uint32_t per_block = file_.Header().positions_per_block;
        Bytes block(3);
        for (std::uint32_t at = 0; at < 2; ++at) {
            const std::size_t read = file_.ReadBlock(at, block);
            for (std::uint32_t i = 0; i < block.size() && i < per_block; ++i) {
                using Value = std::optional<std::uint8_t>;
                const Value value = file_.ReadValue(at * per_block + i);
                ASSERT_EQ(value, i < read ? Value(block[i]) : std::nullopt) << bit;
                values += value.has_value();
            }
        }
    }
    EXPECT_GT(values, 150) << "most changes leave some values";
}

TEST_F(ThompsonFileTest, PassesOnEveryFailureOfTheDisk) {
    static int left;
    Write(Parts().Join());
    int fail_at = 0;
    for (;; ++fail_at) {
        left = fail_at;
        disk_step_fails = [](DiskStep) { return left-- == 0; };
        const bool opened = file_.Open(name_);
        const auto value = opened ? file_.ReadValue(5) : std::nullopt;
        disk_step_fails = nullptr;
        if (left >= 0) {
            EXPECT_EQ(value, 25);
            break;
        }
        EXPECT_FALSE(value) << fail_at;
        EXPECT_EQ(file_.IsOpen(), opened) << fail_at;
        if (!opened) continue;
        EXPECT_EQ(file_.ReadValue(5), 25) << "the next read begins afresh";
    }
    EXPECT_GT(fail_at, 8) << "header tables, the block's place and its bytes";
}

}  // namespace

}  // namespace torval

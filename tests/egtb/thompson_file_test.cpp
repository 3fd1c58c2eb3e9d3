#include "egtb/thompson_file.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "apps/thompson/write_thompson.h"

namespace torval {

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

class ThompsonFileTest : public testing::Test {
protected:
    ~ThompsonFileTest() override { fs::remove(name_); }

    void Write(const Bytes& bytes) const {
        std::ofstream out(name_, std::ios::binary);
        out.write(reinterpret_cast<const char*>(bytes.data()),
                  static_cast<std::streamsize>(bytes.size()));
    }

    std::string name_ = testing::TempDir() + "torval_thompson_" + std::to_string(getpid());
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
    for (const Case& c : {
             Case{"many rare values", {4, 3, 1000}, falling, 40000},
             Case{"one value a leaf", {1, 255, 999}, even, 20000},
             Case{"every value common", {1, 256, 999}, even, 20000},
             Case{"no common value", {3, 0, 500}, falling, 5000},
             Case{"a block ends within a leaf", {5, 2, 7}, {9, 3, 1, 1}, 3000},
             Case{"a block is one position", {6, 5, 1}, falling, 300},
             Case{"one value alone", {8, 4, 100}, {1}, 1000},
             Case{"most digits that can be", {23, 1, 5000}, {40, 1}, 30000},
         }) {
        const Bytes values = RandomValues(c.count, c.weights);
        Write(WriteThompson(values, c.shape));
        ThompsonFile file;
        ASSERT_TRUE(file.Open(name_)) << c.name;
        const std::uint32_t per_block = c.shape.positions_per_block;
        EXPECT_EQ(file.Header().positions_per_block, per_block);
        EXPECT_EQ(file.Header().values_per_leaf, c.shape.values_per_leaf);
        Bytes read(values.size());
        for (std::size_t at = 0; at < values.size(); at += per_block) {
            const auto block = std::span(read).subspan(at).first(
                std::min<std::size_t>(per_block, read.size() - at));
            ASSERT_EQ(file.ReadBlock(at / per_block, block), block.size()) << c.name;
        }
        EXPECT_EQ(read, values) << c.name;
        std::mt19937 random(2);
        for (int i = 0; i < 300; ++i) {
            const auto at = static_cast<std::uint32_t>(random() % values.size());
            ASSERT_EQ(file.ReadValue(at), values[at]) << c.name << ' ' << at;
        }
    }
}

}  // namespace

}  // namespace torval

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "engine/settings_stream.h"
#include "state/settings.h"
#include "torval/engine.h"
#include "torval/library.h"

namespace torval {
namespace {

using Bytes = std::vector<std::uint8_t>;

class ApplyParametersTest : public testing::Test {
protected:
    void SetUp() override { Fill(0); }
    void TearDown() override {
        Fill(0);
        SetDefaultSettings();
    }

    static void Fill(int byte) {
        std::memset(static_cast<void*>(&settings_block), byte, sizeof settings_block);
        std::memset(ThompsonPath, 0, sizeof ThompsonPath);
    }
    static bool Same(const SettingsBlock& expected) {
        return std::memcmp(&settings_block, &expected, sizeof expected) == 0;
    }
};

struct BitRow {
    std::uint8_t identifier;
    char word;  ///< T TranspFlags, B BookUse, R BrainFlags
    std::uint16_t bit;
    bool on;
};

constexpr BitRow kBits[] = {
    {1, 'R', 1, true},
    {2, 'R', 1, false},
    {3, 'T', 1, true},
    {4, 'T', 1, false},
    {5, 'B', 1, true},
    {6, 'B', 1, false},
    {14, 'B', 2, true},
    {15, 'B', 2, false},
    {16, 'R', 2, false},
    {17, 'R', 2, true},
    {18, 'B', 128, false},
    {19, 'B', 128, true},
    {20, 'B', 4, true},
    {21, 'B', 4, false},
    {22, 'R', 4, false},
    {23, 'R', 4, true},
};

/// What an entry without data does to a block.
void Expect(std::uint8_t identifier, SettingsBlock* s) {
    for (const BitRow& row : kBits) {
        if (row.identifier != identifier) continue;
        const auto change = [&](auto* word) {
            using Word = std::remove_pointer_t<decltype(word)>;
            *word = static_cast<Word>(row.on ? *word | row.bit : *word & ~row.bit);
        };
        if (row.word == 'T') change(&s->TranspFlags);
        if (row.word == 'B') change(&s->BookUse);
        if (row.word == 'R') change(&s->BrainFlags);
    }
}

TEST_F(ApplyParametersTest, ChangesOneBitOrNothingForEveryIdentifierWithoutData) {
    for (const int fill : {0x00, 0x7F}) {
        for (int identifier = 0; identifier < 256; ++identifier) {
            for (const bool initialised : {false, true}) {
                Fill(fill);
                settings_block.TranspKB = 1;
                SettingsBlock expected = settings_block;
                Expect(static_cast<std::uint8_t>(identifier), &expected);
                const Bytes block = {2, static_cast<std::uint8_t>(identifier)};
                EXPECT_TRUE(ApplyParameters(block, initialised));
                EXPECT_TRUE(Same(expected)) << identifier;
            }
        }
    }
}

TEST_F(ApplyParametersTest, PutsTheTableInUseOnlyWhenItHasASize) {
    struct Row {
        std::uint32_t kilobytes;
        std::uint32_t flags;
    };
    for (const auto& [kilobytes, flags] : {Row{0, 4}, Row{1, 5}, Row{0xFFFFFFFF, 4}}) {
        settings_block.TranspKB = kilobytes;
        settings_block.TranspFlags = 4;
        EXPECT_TRUE(ApplyParameters(Bytes{2, 3}, false));
        EXPECT_EQ(settings_block.TranspFlags, flags) << kilobytes;
    }
}

TEST_F(ApplyParametersTest, TakesNumbersUntilTheEngineIsInitialised) {
    struct Row {
        const char* name;
        Bytes block;
        bool initialised;
        std::uint32_t table;
        std::uint16_t interval;
    };
    constexpr std::uint32_t kTable = 77;
    constexpr std::uint16_t kInterval = 66;
    const Row rows[] = {
        {"table size", {4, 10, 0x34, 0x12}, false, 0x1234, kInterval},
        {"table size is signed", {4, 10, 0xFF, 0xFF}, false, 0xFFFFFFFF, kInterval},
        {"table size with more behind it", {5, 10, 1, 0, 9}, false, 1, kInterval},
        {"table size too short", {3, 10, 1}, false, kTable, kInterval},
        {"table size at the end, too short", {2, 10}, false, kTable, kInterval},
        {"too short, before others", {3, 10, 1, 2, 5}, false, kTable, kInterval},
        {"table size too late", {4, 10, 0x34, 0x12}, true, kTable, kInterval},
        {"interval", {4, 26, 0x34, 0x12}, false, kTable, 0x1234},
        {"interval is unsigned", {4, 26, 0xFF, 0xFF}, false, kTable, 0xFFFF},
        {"interval too short", {3, 26, 1}, false, kTable, kInterval},
        {"interval too late", {4, 26, 0x34, 0x12}, true, kTable, kInterval},
    };
    for (const Row& row : rows) {
        Fill(0);
        settings_block.TranspKB = kTable;
        settings_block.ClockInterval = kInterval;
        SettingsBlock expected = settings_block;
        expected.TranspKB = row.table;
        expected.ClockInterval = row.interval;
        if (row.block.back() == 5) expected.BookUse = BookUseMain;
        EXPECT_TRUE(ApplyParameters(row.block, row.initialised)) << row.name;
        EXPECT_TRUE(Same(expected)) << row.name;
    }
}

TEST_F(ApplyParametersTest, TakesTheThompsonPath) {
    struct Row {
        const char* name;
        std::string text;
        std::string path;
    };
    const Row rows[] = {
        {"plain", "/tb", "/tb"},
        {"with its zero", std::string("/tb\0", 4), "/tb"},
        {"nothing behind a zero", std::string("/tb\0cd", 6), "/tb"},
        {"empty", "", ""},
        {"19 characters", std::string(19, 'a'), std::string(19, 'a')},
        {"20 characters", std::string(20, 'b'), std::string(19, 'b')},
        {"253 characters", std::string(253, 'c'), std::string(19, 'c')},
    };
    for (const Row& row : rows) {
        std::strcpy(ThompsonPath, "/an/earlier/path");
        Bytes block = {static_cast<std::uint8_t>(row.text.size() + 2), 27};
        block.insert(block.end(), row.text.begin(), row.text.end());
        EXPECT_TRUE(ApplyParameters(block, true)) << row.name;
        EXPECT_EQ(std::string(ThompsonPath, sizeof ThompsonPath),
                  row.path + std::string(20 - row.path.size(), '\0'))
            << row.name;
    }
}

TEST_F(ApplyParametersTest, AppliesAllOrNothing) {
    struct Row {
        const char* name;
        Bytes block;
        bool applied;
        std::uint16_t book;
    };
    const Row rows[] = {
        {"empty", {}, true, 0},
        {"both books", {2, 5, 2, 14}, true, 3},
        {"in order", {2, 5, 2, 6, 2, 14}, true, 2},
        {"longer than needed", {4, 5, 9, 9, 2, 14}, true, 3},
        {"unknown ones passed over", {2, 99, 2, 5, 3, 0, 0}, true, 1},
        {"letters too short", {9, 12, 0, 0, 1, 2, 3, 4, 5, 2, 5}, true, 1},
        {"letters", {10, 12, 0, 0, 1, 2, 3, 4, 5, 6, 2, 5}, true, 1},
        {"longer than the block", {3, 5}, false, 0},
        {"a length alone", {2}, false, 0},
        {"length 1", {1, 5}, false, 0},
        {"length 0", {0, 5}, false, 0},
        {"the second one broken", {2, 5, 3, 14}, false, 0},
        {"a byte left over", {2, 5, 2}, false, 0},
        {"length 255 of 254", Bytes(254, 255), false, 0},
    };
    for (const Row& row : rows) {
        Fill(0);
        SettingsBlock expected = settings_block;
        expected.BookUse = row.book;
        // A copy of exactly its size: the address sanitizer detects reading beyond it.
        const Bytes exact(row.block);
        EXPECT_EQ(ApplyParameters(exact, false), row.applied) << row.name;
        EXPECT_TRUE(Same(expected)) << row.name;
    }
}

TEST_F(ApplyParametersTest, IsReachedThroughTheEngine) {
    Ref<IChessEngine> engine;
    ASSERT_EQ(CreateInstance("TORVAL.Engine", IID_IChessEngine, engine.ReceiveVoid()), S_OK);
    const std::uint8_t block[] = {2, 5, 2, 14};
    EXPECT_EQ(engine->SetParameters(block, sizeof block), S_OK);
    EXPECT_EQ(settings_block.BookUse, 3);
    EXPECT_EQ(engine->SetParameters(block, 3), 7);
    EXPECT_EQ(engine->SetParameters(block, -1), 7);
    EXPECT_EQ(engine->SetParameters(nullptr, 2), E_POINTER);
    EXPECT_EQ(engine->SetParameters(nullptr, 0), S_OK);
}

}  // namespace
}  // namespace torval

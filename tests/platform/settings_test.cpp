#include "state/settings.h"

#include <gtest/gtest.h>

#include <cstring>
#include <ostream>

namespace torval {
namespace {

TEST(SetDefaultSettings, WritesTheWholeBlock) {
    std::memset(static_cast<void*>(&settings_block), 0xAA, sizeof settings_block);
    SetDefaultSettings();
    const LEVEL level = {0, 5, -13, 0, 0, 0, 0, 0, 0, 0, {}};
    EXPECT_EQ(std::memcmp(&settings_block.Level, &level, sizeof level), 0);
    // The words from 24 on; that at 28 holds two fields.
    const std::uint32_t words[] = {5, 0x10001, 1024, 40, 1, 7, 0, 3, 7, 800};
    EXPECT_EQ(std::memcmp(&settings_block.TranspFlags, words, sizeof words), 0);
    const std::uint32_t search_words[] = {3, 0, 1, 8, 4, 2, 2000};
    EXPECT_EQ(std::memcmp(&settings_block.NullMoveReduction, search_words, sizeof search_words), 0);
    EXPECT_EQ(settings_block.ScoreConfidence, 50U);
    EXPECT_EQ(settings_block.BookMode, 3U);
    EXPECT_EQ(settings_block.LateMarginMs, 30);
    EXPECT_EQ(settings_block.ClockInterval, 1000);
    EXPECT_STREQ(settings_block.MainBookName, "TORVAL.BK1");
    EXPECT_STREQ(settings_block.UserBookName, "USERBOOK.BK");
}

TEST(LevelIsValid, HoldsEveryModeToItsRanges) {
    struct Level {
        std::uint16_t mode;
        std::int16_t depth1, depth2;
        std::uint16_t time1, moves1, time2, moves2;
    };
    struct Row {
        const char* name;
        Level level;
        bool valid;
    };
    const Row rows[] = {
        {"depth 30", {0, 30, 0, 0, 0, 0, 0}, true},
        {"depth 31", {0, 31, 0, 0, 0, 0, 0}, false},
        {"depth below 0", {0, -1, 0, 0, 0, 0, 0}, true},
        {"mode 3 depth 30", {3, 30, 0, 0, 0, 0, 0}, true},
        {"mode 3 depth 31", {3, 31, 0, 0, 0, 0, 0}, false},
        {"infinite takes anything", {6, 31, 0, 0, 0, 0, 0}, true},
        {"no mode 7", {7, 1, 0, 0, 0, 0, 0}, false},
        {"whole game 60s", {1, 0, 0, 60, 0, 0, 0}, true},
        {"whole game 59s", {1, 0, 0, 59, 0, 0, 0}, false},
        {"period", {1, 0, 0, 300, 40, 60, 20}, true},
        {"second period 59s", {1, 0, 0, 300, 40, 59, 20}, false},
        {"whole game needs no second period", {1, 0, 0, 300, 0, 59, 20}, true},
        {"moves 200", {1, 0, 0, 300, 200, 60, 200}, true},
        {"first moves 201", {1, 0, 0, 300, 201, 60, 20}, false},
        {"second moves 201", {1, 0, 0, 300, 40, 60, 201}, false},
        {"per move 0s", {2, 0, 0, 0, 0, 0, 0}, false},
        {"per move 1s", {2, 0, 0, 1, 0, 0, 0}, true},
        {"per move 28800s", {2, 0, 0, 28800, 0, 0, 0}, true},
        {"per move 28801s", {2, 0, 0, 28801, 0, 0, 0}, false},
        {"average 0s", {4, 0, 0, 0, 0, 0, 0}, false},
        {"average 28800s", {4, 0, 0, 28800, 0, 0, 0}, true},
        {"average 28801s", {4, 0, 0, 28801, 0, 0, 0}, false},
        {"base 9s", {5, 0, 0, 9, 0, 0, 0}, false},
        {"base 10s", {5, 0, 0, 10, 0, 0, 0}, true},
        {"base 28801s", {5, 0, 0, 28801, 0, 0, 0}, false},
        {"increment 3600s", {5, 0, 0, 60, 0, 3600, 0}, true},
        {"increment 3601s", {5, 0, 0, 60, 0, 3601, 0}, false},
    };
    for (const auto& [name, l, valid] : rows) {
        const LEVEL level = {
            l.mode, l.depth1, l.depth2, l.time1, l.moves1, l.time2, l.moves2, 0, 0, 0, {}};
        EXPECT_EQ(LevelIsValid(level), valid) << name;
    }
}

}  // namespace
}  // namespace torval

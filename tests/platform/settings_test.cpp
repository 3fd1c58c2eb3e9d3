#include "platform/settings.h"

#include <gtest/gtest.h>

#include <cstring>
#include <ostream>

namespace torval {
namespace {

TEST(SetDefaultSettings, WritesTheWholeBlock) {
    std::memset(static_cast<void*>(&settings_block), 0xAA, sizeof settings_block);
    SetDefaultSettings();
    const SettingsBlock& s = settings_block;
    struct Row {
        const char* name;
        long long value, expected;
    };
    const Row rows[] = {
        {"mode", s.Level.mode, 0},
        {"depth1", s.Level.depth1, 5},
        {"depth2", s.Level.depth2, -13},
        {"time1", s.Level.time1, 0},
        {"spare", s.Level.spare[5], 0},
        {"TranspFlags", s.TranspFlags, 5},
        {"BookUse", s.BookUse, 1},
        {"BrainFlags", s.BrainFlags, 1},
        {"TranspKB", s.TranspKB, 1024},
        {"RandMargin", s.RandMargin, 40},
        {"BookPlyLimit", s.BookPlyLimit, 1},
        {"ClockFlags", s.ClockFlags, 7},
        {"ThreadMargin", s.ThreadMargin, 0},
        {"at 52", s.stored_52, 3},
        {"at 56", s.stored_56, 7},
        {"LateThreadMargin", s.LateThreadMargin, 800},
        {"LateMarginMs", s.LateMarginMs, 30},
        {"NullMoveReduction", s.NullMoveReduction, 3},
        {"CheckExtensionPly", s.CheckExtensionPly, 0},
        {"QuiescenceCheckPlies", s.QuiescenceCheckPlies, 1},
        {"RootSwitchMargin", s.RootSwitchMargin, 8},
        {"RootSwitchDepth", s.RootSwitchDepth, 4},
        {"PawnPushDepth", s.PawnPushDepth, 2},
        {"at 92", s.stored_92, 2000},
        {"ClockInterval", s.ClockInterval, 1000},
        {"ScoreConfidence", s.ScoreConfidence, 50},
        {"BookMode", s.BookMode, 3},
    };
    for (const Row& row : rows) EXPECT_EQ(row.value, row.expected) << row.name;
    EXPECT_STREQ(s.MainBookName, "TORVAL.BK1");
    EXPECT_STREQ(s.UserBookName, "USERBOOK.BK");
}

struct LevelCase {
    const char* name;
    LEVEL level;
    bool valid;
};
void PrintTo(const LevelCase& c, std::ostream* out) { *out << c.name; }

LEVEL Depth(int mode, int depth) {
    LEVEL level{};
    level.mode = static_cast<std::uint16_t>(mode);
    level.depth1 = static_cast<std::int16_t>(depth);
    return level;
}

LEVEL Times(int mode, int time1, int moves1 = 0, int time2 = 0, int moves2 = 0) {
    LEVEL level{};
    level.mode = static_cast<std::uint16_t>(mode);
    level.time1 = static_cast<std::uint16_t>(time1);
    level.moves1 = static_cast<std::uint16_t>(moves1);
    level.time2 = static_cast<std::uint16_t>(time2);
    level.moves2 = static_cast<std::uint16_t>(moves2);
    return level;
}

class LevelIsValidTest : public testing::TestWithParam<LevelCase> {};

TEST_P(LevelIsValidTest, HoldsEveryModeToItsRanges) {
    EXPECT_EQ(LevelIsValid(GetParam().level), GetParam().valid);
}

INSTANTIATE_TEST_SUITE_P(
    Platform,
    LevelIsValidTest,
    testing::Values(LevelCase{"Depth30", Depth(0, 30), true},
                    LevelCase{"Depth31", Depth(0, 31), false},
                    LevelCase{"DepthBelow0", Depth(0, -1), true},
                    LevelCase{"Mode3Depth30", Depth(3, 30), true},
                    LevelCase{"Mode3Depth31", Depth(3, 31), false},
                    LevelCase{"InfiniteTakesAnything", Depth(6, 31), true},
                    LevelCase{"NoMode7", Depth(7, 1), false},
                    LevelCase{"WholeGame60s", Times(1, 60), true},
                    LevelCase{"WholeGame59s", Times(1, 59), false},
                    LevelCase{"Period", Times(1, 300, 40, 60, 20), true},
                    LevelCase{"SecondPeriod59s", Times(1, 300, 40, 59, 20), false},
                    LevelCase{"WholeGameNeedsNoSecondPeriod", Times(1, 300, 0, 59, 20), true},
                    LevelCase{"Moves200", Times(1, 300, 200, 60, 200), true},
                    LevelCase{"FirstMoves201", Times(1, 300, 201, 60, 20), false},
                    LevelCase{"SecondMoves201", Times(1, 300, 40, 60, 201), false},
                    LevelCase{"PerMove0s", Times(2, 0), false},
                    LevelCase{"PerMove1s", Times(2, 1), true},
                    LevelCase{"PerMove28800s", Times(2, 28800), true},
                    LevelCase{"PerMove28801s", Times(2, 28801), false},
                    LevelCase{"Average0s", Times(4, 0), false},
                    LevelCase{"Average28800s", Times(4, 28800), true},
                    LevelCase{"Average28801s", Times(4, 28801), false},
                    LevelCase{"Base9s", Times(5, 9), false},
                    LevelCase{"Base10s", Times(5, 10), true},
                    LevelCase{"Base28801s", Times(5, 28801), false},
                    LevelCase{"Increment3600s", Times(5, 60, 0, 3600), true},
                    LevelCase{"Increment3601s", Times(5, 60, 0, 3601), false}),
    [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace torval

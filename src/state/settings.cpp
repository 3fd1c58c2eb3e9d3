#include "state/settings.h"

#include <cstring>

#include "torval/codes.h"

namespace torval {

SettingsBlock settings_block;
char ThompsonPath[kThompsonPathSize];
char NalimovPath[kNalimovPathSize];
std::uint32_t CacheSizeMB = 4;

void SetDefaultSettings() {
    SettingsBlock& s = settings_block;
    s = {};
    s.Level.depth1 = 5;
    s.Level.depth2 = -13;
    s.TranspFlags = 5;
    s.BookUse = BookUseMain;
    s.BrainFlags = 1;
    s.TranspKB = 1024;
    s.RandMargin = 40;
    s.BookPlyLimit = 1;
    s.ClockFlags = 7;
    s.ThreadMargin = 0;
    s.stored_52 = 3;
    s.stored_56 = 7;
    s.LateThreadMargin = 800;
    s.LateMarginMs = 30;
    s.NullMoveReduction = 3;
    s.CheckExtensionPly = 0;
    s.QuiescenceCheckPlies = 1;
    s.RootSwitchMargin = 8;
    s.RootSwitchDepth = 4;
    s.PawnPushDepth = 2;
    s.stored_92 = 2000;
    s.ClockInterval = 1000;
    std::strcpy(s.MainBookName, "TORVAL.BK1");
    std::strcpy(s.UserBookName, "USERBOOK.BK");
    s.ScoreConfidence = 50;
    s.BookMode = ChooseEvenly;
    WriteSettingText(ThompsonPath, {});
}

std::string ReadSettingText(std::span<const char> field) {
    std::string text;
    for (const char& place : field) {
        const char character = ReadSetting(place);
        if (character == 0) break;
        text += character;
    }
    return text;
}

void WriteSettingText(std::span<char> field, std::string_view text) {
    // The last byte is zero before, meanwhile and after.
    for (std::size_t i = 0; i + 1 < field.size(); ++i) {
        WriteSetting(&field[i], i < text.size() ? text[i] : '\0');
    }
}

bool LevelIsValid(const LEVEL& level) {
    constexpr int kMaxDepth = 30;
    constexpr int kMaxMoves = 200;
    constexpr int kMinPeriod = 60;
    constexpr int kMinBase = 10;
    constexpr int kMaxSeconds = 28800;
    constexpr int kMaxIncrement = 3600;
    switch (level.mode) {
        case LevelDepth:
        case LevelPlies: return level.depth1 <= kMaxDepth;
        case LevelTournament:
            return level.moves1 <= kMaxMoves && level.moves2 <= kMaxMoves &&
                   level.time1 >= kMinPeriod && (level.moves1 == 0 || level.time2 >= kMinPeriod);
        case LevelMoveTime:
        case LevelAverage: return level.time1 >= 1 && level.time1 <= kMaxSeconds;
        case LevelIncrement:
            return level.time1 >= kMinBase && level.time1 <= kMaxSeconds &&
                   level.time2 <= kMaxIncrement;
        case LevelInfinite: return true;
        default: return false;
    }
}

}  // namespace torval

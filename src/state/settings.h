// The engine-wide settings, in the layout in which they persist with the host's document.
//
// Shape    SettingsBlock is 620 bytes, little-endian; every offset is asserted below.
// Owner    settings.cpp. One block for the whole engine.
// Writers  the host's thread: the level and the search fields between computations, option words,
//          margins and the rest at any time, by WriteSetting; the engine's set-up clears TranspInUse
//          and rounds TranspKB to what was allocated.
// Thread   a field that may change during a computation is read by ReadSetting.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "torval/records.h"

namespace torval {

/// Bits of SettingsBlock::TranspFlags.
enum : std::uint32_t { TranspInUse = 1 };

/// Bits of SettingsBlock::BookUse.
enum : std::uint16_t {
    BookUseMain = 1,
    BookUseUser = 2,
    BookUseDatabases = 4,  ///< probing and the root probe of the endgame databases
    BookUseBoth = 128,     ///< take the moves of both books, not of the first that has some
};

/// Bits of SettingsBlock::BrainFlags.
enum : std::uint16_t {
    BrainReportPonderMoves = 2,  ///< OutputNextMove also while pondering
    BrainNoFiftyMoves = 4,       ///< do not report the fifty-move draw
    BrainLowPriority = 8,        ///< compute at low thread priority
};

/// Bits of SettingsBlock::ClockFlags.
enum : std::uint32_t { ClockReportForfeit = 4 };

struct SettingsBlock {
    LEVEL Level;
    std::uint32_t TranspFlags;
    std::uint16_t BookUse;
    std::uint16_t BrainFlags;
    std::uint32_t TranspKB;      ///< table size in kilobytes, taken at engine initialisation
    std::uint32_t RandMargin;    ///< book margin
    std::uint32_t BookPlyLimit;  ///< above 1: no book once GamePly exceeds it
    std::uint32_t ClockFlags;
    std::uint32_t ThreadMargin;  ///< threat margin in score units, 0 off
    std::uint32_t stored_52;
    std::uint32_t stored_56;
    std::uint32_t LateThreadMargin;  ///< margin near the target time
    std::uint16_t LateMarginMs;      ///< from how near on, in ms
    std::uint16_t padding_66;
    std::uint32_t NullMoveReduction;
    std::uint32_t CheckExtensionPly;
    std::uint32_t QuiescenceCheckPlies;
    std::uint32_t RootSwitchMargin;
    std::uint32_t RootSwitchDepth;
    std::uint32_t PawnPushDepth;
    std::uint32_t stored_92;
    std::uint16_t ClockInterval;  ///< seconds between clock notifications, 0 none
    char MainBookName[256];
    char UserBookName[256];
    std::uint16_t padding_610;
    std::uint32_t ScoreConfidence;
    std::uint32_t BookMode;  ///< 0 best, 1 as the book plays, 2 by score, 3 even
};
static_assert(sizeof(SettingsBlock) == 620);
static_assert(offsetof(SettingsBlock, TranspFlags) == 24 && offsetof(SettingsBlock, BookUse) == 28);
static_assert(offsetof(SettingsBlock, BrainFlags) == 30 && offsetof(SettingsBlock, TranspKB) == 32);
static_assert(offsetof(SettingsBlock, RandMargin) == 36);
static_assert(offsetof(SettingsBlock, BookPlyLimit) == 40);
static_assert(offsetof(SettingsBlock, ClockFlags) == 44);
static_assert(offsetof(SettingsBlock, ThreadMargin) == 48);
static_assert(offsetof(SettingsBlock, LateThreadMargin) == 60);
static_assert(offsetof(SettingsBlock, LateMarginMs) == 64);
static_assert(offsetof(SettingsBlock, NullMoveReduction) == 68);
static_assert(offsetof(SettingsBlock, CheckExtensionPly) == 72);
static_assert(offsetof(SettingsBlock, QuiescenceCheckPlies) == 76);
static_assert(offsetof(SettingsBlock, RootSwitchMargin) == 80);
static_assert(offsetof(SettingsBlock, RootSwitchDepth) == 84);
static_assert(offsetof(SettingsBlock, PawnPushDepth) == 88);
static_assert(offsetof(SettingsBlock, stored_92) == 92);
static_assert(offsetof(SettingsBlock, ClockInterval) == 96);
static_assert(offsetof(SettingsBlock, MainBookName) == 98);
static_assert(offsetof(SettingsBlock, UserBookName) == 354);
static_assert(offsetof(SettingsBlock, ScoreConfidence) == 612);
static_assert(offsetof(SettingsBlock, BookMode) == 616);

extern SettingsBlock settings_block;

/// One field, read and written whole while the other thread may do the same.
template <typename T>
T ReadSetting(const T& field) {
    return std::atomic_ref<T>(const_cast<T&>(field)).load(std::memory_order_relaxed);
}
template <typename T>
void WriteSetting(T* field, T value) {
    std::atomic_ref<T>(*field).store(value, std::memory_order_relaxed);
}

/// A depth, ply or margin of the search. A stream or a page may hold any 32 bits; the search takes
/// them as a signed number within this range, so that no sum with scores and depths overflows.
/// Every score and every depth lies far inside it, so what is cut off makes no difference.
inline constexpr std::int32_t kSearchSettingLimit = 1'000'000;

inline std::int32_t SearchSetting(const std::uint32_t& field) {
    return std::clamp(
        static_cast<std::int32_t>(ReadSetting(field)), -kSearchSettingLimit, kSearchSettingLimit);
}

/// The same for what is taken off a depth and never negative: a depth that grew would not end.
inline std::int32_t SearchReduction(const std::uint32_t& field) {
    return static_cast<std::int32_t>(
        std::min(ReadSetting(field), static_cast<std::uint32_t>(kSearchSettingLimit)));
}

/// A zero-terminated text, read and written while the other thread may do the same: a reader finds a
/// text that ends within the field, perhaps of new and old characters. A longer one is cut.
std::string ReadSettingText(std::span<const char> field);
void WriteSettingText(std::span<char> field, std::string_view text);

/// What is kept beside the block: endgame database paths, zero-terminated, and cache size.
inline constexpr std::size_t kThompsonPathSize = 20;
inline constexpr std::size_t kNalimovPathSize = 1024;
extern char ThompsonPath[kThompsonPathSize];
extern char NalimovPath[kNalimovPathSize];
extern std::uint32_t CacheSizeMB;

/// Writes the defaults into settings_block: depth 5, a table of 1024 KB, the main book. The Thompson
/// path becomes empty; the cache size and the Nalimov path stay.
void SetDefaultSettings();

/// Whether a host may put this level: every mode has its own ranges.
bool LevelIsValid(const LEVEL& level);

}  // namespace torval

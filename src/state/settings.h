// The engine-wide settings: the block in which they persist, and what is kept beside it.
//
// Owner    settings.cpp. One block for the whole engine.
// Writers  the host's thread: the level and the search fields between computations, option words,
//          margins and the rest at any time, by WriteSetting; the engine's set-up clears TranspInUse
//          and rounds TranspKB to what was allocated.
// Thread   a field that may change during a computation is read by ReadSetting.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "torval/settings.h"

namespace torval {

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
/// Every score and every depth is far inside it, so the clamping makes no difference.
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
/// text that ends within the field, perhaps a mix of new and old characters. A longer one is cut.
std::string ReadSettingText(std::span<const char> field);
void WriteSettingText(std::span<char> field, std::string_view text);

/// What is kept beside the block: endgame database paths, zero-terminated, and cache size.
extern char ThompsonPath[kThompsonPathSize];
extern char NalimovPath[kNalimovPathSize];
extern std::uint32_t CacheSizeMB;

/// Writes the defaults into settings_block: depth 5, a table of 1024 KB, the main book. The Thompson
/// path becomes empty; the cache size and the Nalimov path stay.
void SetDefaultSettings();

/// Whether a host may put this level: every mode has its own ranges.
bool LevelIsValid(const LEVEL& level);

}  // namespace torval

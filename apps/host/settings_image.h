// The engine's settings as a host sees them: the bytes of a settings stream, read and written by
// name.
//
// Shape    "QVRT", version (UI4), the settings block, the Thompson path, the cache size (UI4), the
//          length of the Nalimov path with its zero (UI2), that path. Little-endian. Offsets below
//          count from the start of the stream.
// Thread   plain data. Defaults() and Of() belong to the apartment that asks the engine.
// Errors   SessionError where the engine refuses to save, or saves something else.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "apps/host/session_error.h"
#include "torval/engine.h"

namespace torval {

/// A number in the image; one of four bytes is signed where the engine reads it so.
struct NumberSetting {
    const char* name;
    std::uint16_t offset;
    std::uint8_t bytes;
};

/// A zero-terminated text in the image.
struct TextSetting {
    const char* name;
    std::uint16_t offset;
    std::uint16_t capacity;  ///< with the zero
};

namespace settings {

inline constexpr std::uint16_t kBlock = 8;         ///< where the settings block begins
inline constexpr std::uint16_t kBlockBytes = 620;  ///< and how long it is
inline constexpr std::uint16_t kLevel = kBlock;    ///< a LEVEL

inline constexpr NumberSetting kTranspFlags = {"TranspFlags", kBlock + 24, 4};
inline constexpr NumberSetting kBookUse = {"BookUse", kBlock + 28, 2};
inline constexpr NumberSetting kBrainFlags = {"BrainFlags", kBlock + 30, 2};
inline constexpr NumberSetting kTranspKB = {"TranspKB", kBlock + 32, 4};
inline constexpr NumberSetting kRandMargin = {"RandMargin", kBlock + 36, 4};
inline constexpr NumberSetting kBookPlyLimit = {"BookPlyLimit", kBlock + 40, 4};
inline constexpr NumberSetting kClockFlags = {"ClockFlags", kBlock + 44, 4};
inline constexpr NumberSetting kThreadMargin = {"ThreadMargin", kBlock + 48, 4};
inline constexpr NumberSetting kLateThreadMargin = {"LateThreadMargin", kBlock + 60, 4};
inline constexpr NumberSetting kLateMarginMs = {"LateMarginMs", kBlock + 64, 2};
inline constexpr NumberSetting kNullMoveReduction = {"NullMoveReduction", kBlock + 68, 4};
inline constexpr NumberSetting kCheckExtensionPly = {"CheckExtensionPly", kBlock + 72, 4};
inline constexpr NumberSetting kQuiescenceCheckPlies = {"QuiescenceCheckPlies", kBlock + 76, 4};
inline constexpr NumberSetting kRootSwitchMargin = {"RootSwitchMargin", kBlock + 80, 4};
inline constexpr NumberSetting kRootSwitchDepth = {"RootSwitchDepth", kBlock + 84, 4};
inline constexpr NumberSetting kPawnPushDepth = {"PawnPushDepth", kBlock + 88, 4};
inline constexpr NumberSetting kClockInterval = {"ClockInterval", kBlock + 96, 2};
inline constexpr NumberSetting kScoreConfidence = {"ScoreConfidence", kBlock + 612, 4};
inline constexpr NumberSetting kBookMode = {"BookMode", kBlock + 616, 4};
inline constexpr NumberSetting kCacheSizeMB = {"CacheSizeMB", kBlock + kBlockBytes + 20, 4};

inline constexpr TextSetting kMainBookName = {"MainBookName", kBlock + 98, 256};
inline constexpr TextSetting kUserBookName = {"UserBookName", kBlock + 354, 256};
inline constexpr TextSetting kThompsonPath = {"ThompsonPath", kBlock + kBlockBytes, 20};

/// Bits of TranspFlags and BrainFlags that a host offers.
inline constexpr std::uint32_t kTableInUse = 1;
inline constexpr std::uint32_t kLowPriority = 8;

}  // namespace settings

class SettingsImage {
public:
    /// What a new engine starts from. Sets the engine's settings to their defaults on the way, so
    /// it is asked for before settings are loaded.
    static SettingsImage Defaults();
    /// What an engine would save now.
    static SettingsImage Of(IUnknown* engine);

    std::uint32_t Get(const NumberSetting& setting) const;
    /// Bytes of the value that the setting has no room for are lost.
    void Set(const NumberSetting& setting, std::uint32_t value);

    std::string Get(const TextSetting& setting) const;
    /// False, and nothing changed, when the text is too long or has a zero in it.
    bool Set(const TextSetting& setting, std::string_view text);

    LEVEL Level() const;
    void SetLevel(const LEVEL& level);

    std::string NalimovPath() const;
    bool SetNalimovPath(std::string_view path);

    /// The whole stream, to be loaded.
    const std::vector<std::uint8_t>& bytes() const { return bytes_; }

    /// A stream that holds the image, at its start.
    Ref<IStream> Stream() const;

private:
    explicit SettingsImage(std::vector<std::uint8_t> bytes) : bytes_(std::move(bytes)) {}

    std::vector<std::uint8_t> bytes_;
};

}  // namespace torval

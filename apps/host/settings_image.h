// The engine's settings as a host sees them: the bytes of a settings stream, read and written by
// name.
//
// Shape    as torval/settings.h has it. Offsets below count from the start of the stream.
// Thread   plain data. Defaults() and Of() belong to the apartment that asks the engine.
// Errors   SessionError where the engine refuses to save, or saves something else.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "apps/host/session_error.h"
#include "torval/engine.h"
#include "torval/settings.h"

namespace torval {

/// A number in the image; one of four bytes is signed where the engine reads it so.
struct NumberSetting {
    std::size_t offset;
    std::size_t bytes;
};

/// A zero-terminated text in the image.
struct TextSetting {
    std::size_t offset;
    std::size_t capacity;  ///< with the zero
};

namespace settings {

inline constexpr std::size_t kBlock = offsetof(SettingsStreamHead, Block);
inline constexpr std::size_t kLevel = kBlock + offsetof(SettingsBlock, Level);

#define TORVAL_SETTING(field) \
    { kBlock + offsetof(SettingsBlock, field), sizeof(SettingsBlock::field) }
inline constexpr NumberSetting kTranspFlags = TORVAL_SETTING(TranspFlags);
inline constexpr NumberSetting kBookUse = TORVAL_SETTING(BookUse);
inline constexpr NumberSetting kBrainFlags = TORVAL_SETTING(BrainFlags);
inline constexpr NumberSetting kTranspKB = TORVAL_SETTING(TranspKB);
inline constexpr NumberSetting kRandMargin = TORVAL_SETTING(RandMargin);
inline constexpr NumberSetting kBookPlyLimit = TORVAL_SETTING(BookPlyLimit);
inline constexpr NumberSetting kClockFlags = TORVAL_SETTING(ClockFlags);
inline constexpr NumberSetting kThreadMargin = TORVAL_SETTING(ThreadMargin);
inline constexpr NumberSetting kLateThreadMargin = TORVAL_SETTING(LateThreadMargin);
inline constexpr NumberSetting kLateMarginMs = TORVAL_SETTING(LateMarginMs);
inline constexpr NumberSetting kNullMoveReduction = TORVAL_SETTING(NullMoveReduction);
inline constexpr NumberSetting kCheckExtensionPly = TORVAL_SETTING(CheckExtensionPly);
inline constexpr NumberSetting kQuiescenceCheckPlies = TORVAL_SETTING(QuiescenceCheckPlies);
inline constexpr NumberSetting kRootSwitchMargin = TORVAL_SETTING(RootSwitchMargin);
inline constexpr NumberSetting kRootSwitchDepth = TORVAL_SETTING(RootSwitchDepth);
inline constexpr NumberSetting kPawnPushDepth = TORVAL_SETTING(PawnPushDepth);
inline constexpr NumberSetting kClockInterval = TORVAL_SETTING(ClockInterval);
inline constexpr NumberSetting kScoreConfidence = TORVAL_SETTING(ScoreConfidence);
inline constexpr NumberSetting kBookMode = TORVAL_SETTING(BookMode);
inline constexpr TextSetting kMainBookName = TORVAL_SETTING(MainBookName);
inline constexpr TextSetting kUserBookName = TORVAL_SETTING(UserBookName);
#undef TORVAL_SETTING

inline constexpr NumberSetting kCacheSizeMB = {offsetof(SettingsStreamHead, CacheSizeMB),
                                               sizeof(SettingsStreamHead::CacheSizeMB)};
inline constexpr TextSetting kThompsonPath = {offsetof(SettingsStreamHead, ThompsonPath),
                                              sizeof(SettingsStreamHead::ThompsonPath)};

}  // namespace settings

class SettingsImage {
public:
    /// What a new engine starts from. Sets the engine's settings to their defaults on the way, so
    /// it is asked for before settings are loaded.
    static SettingsImage Defaults();
    /// What an engine would save now.
    static SettingsImage Of(IUnknown* engine);

    std::uint32_t Get(const NumberSetting& setting) const;
    /// The value is truncated to the size of the setting.
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

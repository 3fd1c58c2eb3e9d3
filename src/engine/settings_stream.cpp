#include "engine/settings_stream.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "state/settings.h"

namespace torval {

namespace {

struct Header {
    char magic[4];
    std::uint32_t version;
};
static_assert(sizeof(Header) == 8);

constexpr char kMagic[4] = {'Q', 'V', 'R', 'T'};
constexpr std::uint32_t kOldestVersion = 256;
constexpr std::uint32_t kVersion = 258;

/// S_OK only when every byte has arrived.
HRESULT ReadAll(IStream* stream, void* bytes, std::size_t count) {
    std::uint32_t done = 0;
    const HRESULT result = stream->Read(bytes, static_cast<std::uint32_t>(count), &done);
    if (Failed(result)) return result;
    return done == count ? S_OK : E_UNEXPECTED;
}

HRESULT WriteAll(IStream* stream, const void* bytes, std::size_t count) {
    std::uint32_t done = 0;
    const HRESULT result = stream->Write(bytes, static_cast<std::uint32_t>(count), &done);
    return Failed(result) || done == count ? result : STG_E_WRITEFAULT;
}

/// The databases' settings at the end of a stream of the newest version.
HRESULT LoadDatabaseSettings(IStream* stream) {
    std::uint32_t cache = 0;
    std::uint16_t length = 0;
    if (ReadAll(stream, &cache, sizeof cache) != S_OK) return E_UNEXPECTED;
    WriteSetting(&CacheSizeMB, cache);
    if (ReadAll(stream, &length, sizeof length) != S_OK) return E_UNEXPECTED;
    if (length == 0 || length >= kNalimovPathSize) return S_OK;
    std::array<char, kNalimovPathSize> path{};
    if (ReadAll(stream, path.data(), length) != S_OK) return E_UNEXPECTED;
    WriteSettingText(NalimovPath, path.data());
    return S_OK;
}

/// Sets or clears a bit of an option word.
template <typename Word>
void SetBit(Word* word, Word bit, bool on) {
    const Word old = ReadSetting(*word);
    WriteSetting(word, static_cast<Word>(on ? old | bit : old & ~bit));
}

/// A parameter that stands for a bit of an option word.
struct BitParameter {
    std::uint8_t identifier;
    std::uint16_t SettingsBlock::*word;
    std::uint16_t bit;
    bool on;
};

constexpr std::uint16_t kBrainUnused = 1;

constexpr BitParameter kBitParameters[] = {
    {1, &SettingsBlock::BrainFlags, kBrainUnused, true},
    {2, &SettingsBlock::BrainFlags, kBrainUnused, false},
    {5, &SettingsBlock::BookUse, BookUseMain, true},
    {6, &SettingsBlock::BookUse, BookUseMain, false},
    {14, &SettingsBlock::BookUse, BookUseUser, true},
    {15, &SettingsBlock::BookUse, BookUseUser, false},
    {16, &SettingsBlock::BrainFlags, BrainReportPonderMoves, false},
    {17, &SettingsBlock::BrainFlags, BrainReportPonderMoves, true},
    {18, &SettingsBlock::BookUse, BookUseBoth, false},
    {19, &SettingsBlock::BookUse, BookUseBoth, true},
    {20, &SettingsBlock::BookUse, BookUseDatabases, true},
    {21, &SettingsBlock::BookUse, BookUseDatabases, false},
    {22, &SettingsBlock::BrainFlags, BrainNoFiftyMoves, false},
    {23, &SettingsBlock::BrainFlags, BrainNoFiftyMoves, true},
};

enum : std::uint8_t {
    kTableOn = 3,
    kTableOff = 4,
    kTableSize = 10,
    kPieceLetters = 12,
    kClockInterval = 26,
    kThompsonPath = 27,
};

std::uint16_t WordAt(std::span<const std::uint8_t> entry, std::size_t offset) {
    return static_cast<std::uint16_t>(entry[offset] | entry[offset + 1] << 8);
}

void SetThompsonPath(std::span<const std::uint8_t> text) {
    const auto* const first = reinterpret_cast<const char*>(text.data());
    const std::string_view path(first, text.size());
    WriteSettingText(ThompsonPath, path.substr(0, path.find('\0')));
}

/// Six letters that a host would like in its move texts; the engine writes none.
std::array<std::uint8_t, 6> piece_letters;

void Apply(std::span<const std::uint8_t> entry, bool initialised) {
    constexpr std::size_t kWordEntry = 4;
    constexpr std::size_t kLettersAt = 4;
    SettingsBlock& s = settings_block;
    const std::uint8_t identifier = entry[1];
    for (const BitParameter& parameter : kBitParameters) {
        if (parameter.identifier != identifier) continue;
        SetBit(&(s.*parameter.word), parameter.bit, parameter.on);
        return;
    }
    switch (identifier) {
        case kTableOn:
            if (static_cast<std::int32_t>(ReadSetting(s.TranspKB)) >= 1) {
                SetBit(&s.TranspFlags, std::uint32_t{TranspInUse}, true);
            }
            break;
        case kTableOff: SetBit(&s.TranspFlags, std::uint32_t{TranspInUse}, false); break;
        case kTableSize:
            if (!initialised && entry.size() >= kWordEntry) {
                const auto kilobytes = static_cast<std::int16_t>(WordAt(entry, 2));
                WriteSetting(&s.TranspKB, static_cast<std::uint32_t>(kilobytes));
            }
            break;
        case kPieceLetters:
            if (entry.size() >= kLettersAt + piece_letters.size()) {
                std::copy_n(
                    entry.begin() + kLettersAt, piece_letters.size(), piece_letters.begin());
            }
            break;
        case kClockInterval:
            if (!initialised && entry.size() >= kWordEntry) {
                WriteSetting(&s.ClockInterval, WordAt(entry, 2));
            }
            break;
        case kThompsonPath: SetThompsonPath(entry.subspan(2)); break;
        default: break;
    }
}

}  // namespace

std::uint64_t LongestSettingsStream() {
    return sizeof(Header) + sizeof(SettingsBlock) + kThompsonPathSize + sizeof CacheSizeMB +
           sizeof(std::uint16_t) + kNalimovPathSize;
}

HRESULT LoadSettings(IStream* stream) {
    Header header{};
    if (ReadAll(stream, &header, sizeof header) != S_OK) return E_UNEXPECTED;
    if (std::memcmp(header.magic, kMagic, sizeof kMagic) != 0 || header.version < kOldestVersion ||
        header.version > kVersion) {
        return E_UNEXPECTED;
    }
    SettingsBlock block{};
    if (ReadAll(stream, &block, sizeof block) != S_OK) return E_UNEXPECTED;
    std::memcpy(&settings_block, &block, sizeof block);
    settings_block.MainBookName[sizeof settings_block.MainBookName - 1] = 0;
    settings_block.UserBookName[sizeof settings_block.UserBookName - 1] = 0;
    std::array<std::uint8_t, kThompsonPathSize> path{};
    // Older streams may end before the path, which is then empty.
    const bool has_path = ReadAll(stream, path.data(), path.size()) == S_OK;
    SetThompsonPath(has_path ? path : std::array<std::uint8_t, kThompsonPathSize>{});
    return header.version == kVersion ? LoadDatabaseSettings(stream) : S_OK;
}

HRESULT SaveSettings(IStream* stream) {
    Header header = {.magic = {}, .version = kVersion};
    std::memcpy(header.magic, kMagic, sizeof kMagic);
    const auto length = static_cast<std::uint16_t>(std::strlen(NalimovPath) + 1);
    const struct {
        const void* bytes;
        std::size_t count;
    } parts[] = {
        {&header, sizeof header},
        {&settings_block, sizeof settings_block},
        {ThompsonPath, sizeof ThompsonPath},
        {&CacheSizeMB, sizeof CacheSizeMB},
        {&length, sizeof length},
        {NalimovPath, length},
    };
    HRESULT result = S_OK;
    for (const auto& part : parts) {
        result = WriteAll(stream, part.bytes, part.count);
        if (Failed(result)) break;
    }
    return result;
}

bool ApplyParameters(std::span<const std::uint8_t> block, bool initialised) {
    constexpr std::uint8_t kShortest = 2;
    for (auto rest = block; !rest.empty(); rest = rest.subspan(rest[0])) {
        if (rest[0] < kShortest || rest[0] > rest.size()) return false;
    }
    for (auto rest = block; !rest.empty(); rest = rest.subspan(rest[0])) {
        Apply(rest.first(rest[0]), initialised);
    }
    return true;
}

}  // namespace torval

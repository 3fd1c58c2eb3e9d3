#include "engine/settings_stream.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "state/settings.h"

namespace torval {

namespace {

struct Header {
    char magic[4];
    std::uint32_t version;
};
static_assert(sizeof(Header) == offsetof(SettingsStreamHead, Block));

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

constexpr BitParameter kBitParameters[] = {
    {ParameterUnusedOn, &SettingsBlock::BrainFlags, BrainUnused, true},
    {ParameterUnusedOff, &SettingsBlock::BrainFlags, BrainUnused, false},
    {ParameterMainBookOn, &SettingsBlock::BookUse, BookUseMain, true},
    {ParameterMainBookOff, &SettingsBlock::BookUse, BookUseMain, false},
    {ParameterUserBookOn, &SettingsBlock::BookUse, BookUseUser, true},
    {ParameterUserBookOff, &SettingsBlock::BookUse, BookUseUser, false},
    {ParameterPonderMovesOff, &SettingsBlock::BrainFlags, BrainReportPonderMoves, false},
    {ParameterPonderMovesOn, &SettingsBlock::BrainFlags, BrainReportPonderMoves, true},
    {ParameterBothBooksOff, &SettingsBlock::BookUse, BookUseBoth, false},
    {ParameterBothBooksOn, &SettingsBlock::BookUse, BookUseBoth, true},
    {ParameterDatabasesOn, &SettingsBlock::BookUse, BookUseDatabases, true},
    {ParameterDatabasesOff, &SettingsBlock::BookUse, BookUseDatabases, false},
    {ParameterFiftyMovesOn, &SettingsBlock::BrainFlags, BrainNoFiftyMoves, false},
    {ParameterFiftyMovesOff, &SettingsBlock::BrainFlags, BrainNoFiftyMoves, true},
};

std::uint16_t WordAt(std::span<const std::uint8_t> entry, std::size_t offset) {
    return static_cast<std::uint16_t>(entry[offset] | entry[offset + 1] << 8);
}

void SetThompsonPath(std::span<const std::uint8_t> text) {
    const auto* const first = reinterpret_cast<const char*>(text.data());
    const std::string_view path(first, text.size());
    WriteSettingText(ThompsonPath, path.substr(0, path.find('\0')));
}

/// Six letters that a host would like in its move texts; the engine writes no such texts.
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
        case ParameterTableOn:
            if (static_cast<std::int32_t>(ReadSetting(s.TranspKB)) >= 1) {
                SetBit(&s.TranspFlags, std::uint32_t{TranspInUse}, true);
            }
            break;
        case ParameterTableOff: SetBit(&s.TranspFlags, std::uint32_t{TranspInUse}, false); break;
        case ParameterTableSize:
            if (!initialised && entry.size() >= kWordEntry) {
                const auto kilobytes = static_cast<std::int16_t>(WordAt(entry, 2));
                WriteSetting(&s.TranspKB, static_cast<std::uint32_t>(kilobytes));
            }
            break;
        case ParameterPieceLetters:
            if (entry.size() >= kLettersAt + piece_letters.size()) {
                std::copy_n(
                    entry.begin() + kLettersAt, piece_letters.size(), piece_letters.begin());
            }
            break;
        case ParameterClockInterval:
            if (!initialised && entry.size() >= kWordEntry) {
                WriteSetting(&s.ClockInterval, WordAt(entry, 2));
            }
            break;
        case ParameterThompsonPath: SetThompsonPath(entry.subspan(2)); break;
        default: break;
    }
}

}  // namespace

std::uint64_t LongestSettingsStream() { return kNalimovPathAt + kNalimovPathSize; }

HRESULT LoadSettings(IStream* stream) {
    Header header{};
    if (ReadAll(stream, &header, sizeof header) != S_OK) return E_UNEXPECTED;
    if (std::memcmp(header.magic, kSettingsMagic, sizeof kSettingsMagic) != 0 ||
        header.version < kOldestSettingsVersion || header.version > kSettingsVersion) {
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
    return header.version == kSettingsVersion ? LoadDatabaseSettings(stream) : S_OK;
}

HRESULT SaveSettings(IStream* stream) {
    Header header = {.magic = {}, .version = kSettingsVersion};
    std::memcpy(header.magic, kSettingsMagic, sizeof kSettingsMagic);
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

// Whatever bytes arrive as a settings stream or a parameter block, the settings stay readable.
//
// Input    the first byte chooses: the rest is a stream, a stream without its head, or a parameter
//          block before or after the engine was initialised.

#include <cstdlib>
#include <cstring>
#include <vector>

#include "engine/settings_stream.h"
#include "state/settings.h"

namespace {

using namespace torval;

void Require(bool holds) {
    if (!holds) std::abort();
}

bool Ends(const char* text, std::size_t size) { return std::memchr(text, 0, size) != nullptr; }

void RequireSoundTexts() {
    const SettingsBlock& s = settings_block;
    Require(Ends(s.MainBookName, sizeof s.MainBookName));
    Require(Ends(s.UserBookName, sizeof s.UserBookName));
    Require(Ends(ThompsonPath, sizeof ThompsonPath));
    Require(Ends(NalimovPath, sizeof NalimovPath));
}

Ref<IStream> StreamOf(const std::vector<std::uint8_t>& bytes) {
    Ref<IStream> stream;
    Require(CreateMemoryStream(stream.Receive()) == S_OK);
    const auto count = static_cast<std::uint32_t>(bytes.size());
    Require(stream->Write(bytes.data(), count, nullptr) == S_OK);
    Require(stream->Seek(0, SeekFrom::Start, nullptr) == S_OK);
    return stream;
}

std::vector<std::uint8_t> Saved() {
    Ref<IStream> stream;
    Require(CreateMemoryStream(stream.Receive()) == S_OK);
    Require(SaveSettings(stream.Get()) == S_OK);
    std::uint64_t size = 0;
    Require(stream->Seek(0, SeekFrom::Current, &size) == S_OK);
    Require(size <= LongestSettingsStream());
    std::vector<std::uint8_t> bytes(size);
    Require(stream->Seek(0, SeekFrom::Start, nullptr) == S_OK);
    Require(stream->Read(bytes.data(), static_cast<std::uint32_t>(size), nullptr) == S_OK);
    return bytes;
}

void Forget() {
    std::memset(static_cast<void*>(&settings_block), 0, sizeof settings_block);
    std::memset(ThompsonPath, 0, sizeof ThompsonPath);
    std::memset(NalimovPath, 0, sizeof NalimovPath);
    CacheSizeMB = 4;
    SetDefaultSettings();
}

/// What was loaded is saved, and comes back as it was.
void LoadAndReturn(const std::vector<std::uint8_t>& bytes) {
    const HRESULT answer = LoadSettings(StreamOf(bytes).Get());
    Require(answer == S_OK || answer == E_UNEXPECTED);
    RequireSoundTexts();
    const std::vector<std::uint8_t> saved = Saved();
    // The longest path is written but not read back.
    if (saved.size() == LongestSettingsStream()) return;
    Forget();
    Require(LoadSettings(StreamOf(saved).Get()) == S_OK);
    Require(Saved() == saved);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    constexpr std::uint8_t kHead[] = {'Q', 'V', 'R', 'T', 2, 1, 0, 0};
    Forget();
    const int kind = data[0] % 4;
    // A copy of exactly its size, so that reading beyond it is detected.
    std::vector<std::uint8_t> rest(data + 1, data + size);
    if (kind < 2) {
        if (kind == 1) rest.insert(rest.begin(), std::begin(kHead), std::end(kHead));
        LoadAndReturn(rest);
        return 0;
    }
    const std::vector<std::uint8_t> before = Saved();
    if (!ApplyParameters(rest, kind == 3)) Require(Saved() == before);
    RequireSoundTexts();
    return 0;
}

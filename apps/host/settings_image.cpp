#include "apps/host/settings_image.h"

#include <algorithm>
#include <cstring>

#include "torval/library.h"

namespace torval {

namespace {

constexpr std::size_t kPathLengthAt = offsetof(SettingsStreamHead, NalimovPathLength);

/// Everything a stream holds, from its start.
std::vector<std::uint8_t> ReadAll(IStream* stream) {
    constexpr std::uint32_t kPiece = 4096;
    std::vector<std::uint8_t> bytes;
    HRESULT result = stream->Seek(0, SeekFrom::Start, nullptr);
    for (std::uint32_t done = kPiece; Succeeded(result) && done == kPiece;) {
        const std::size_t before = bytes.size();
        bytes.resize(before + kPiece);
        done = 0;
        result = stream->Read(bytes.data() + before, kPiece, &done);
        bytes.resize(before + done);
    }
    if (Failed(result)) throw SessionError("read its settings back", result);
    return bytes;
}

}  // namespace

SettingsImage SettingsImage::Of(IUnknown* engine) {
    Ref<IPersistStreamInit> persist;
    Ref<IStream> stream;
    HRESULT result = engine->QueryInterface(IID_IPersistStreamInit, persist.ReceiveVoid());
    if (Succeeded(result)) result = CreateMemoryStream(stream.Receive());
    if (Succeeded(result)) result = persist->Save(stream.Get(), false);
    if (Failed(result)) throw SessionError("save its settings", result);
    std::vector<std::uint8_t> bytes = ReadAll(stream.Get());
    if (bytes.size() < kNalimovPathAt) throw SessionError("save its settings whole", E_UNEXPECTED);
    return SettingsImage(std::move(bytes));
}

SettingsImage SettingsImage::Defaults() {
    Ref<IPersistStreamInit> scratch;
    HRESULT result = CreateInstance("TORVAL.Engine", IID_IPersistStreamInit, scratch.ReceiveVoid());
    if (Succeeded(result)) result = scratch->InitNew();
    if (Failed(result)) throw SessionError("tell its default settings", result);
    return Of(scratch.Get());
}

std::uint32_t SettingsImage::Get(const NumberSetting& setting) const {
    std::uint32_t value = 0;
    for (std::size_t i = setting.bytes; i-- > 0;) value = value << 8 | bytes_[setting.offset + i];
    return value;
}

void SettingsImage::Set(const NumberSetting& setting, std::uint32_t value) {
    for (std::size_t i = 0; i < setting.bytes; ++i) {
        bytes_[setting.offset + i] = static_cast<std::uint8_t>(value >> 8 * i);
    }
}

std::string SettingsImage::Get(const TextSetting& setting) const {
    const auto begin = bytes_.begin() + setting.offset;
    return {begin, std::find(begin, begin + setting.capacity, 0)};
}

bool SettingsImage::Set(const TextSetting& setting, std::string_view text) {
    if (text.size() >= setting.capacity || text.find('\0') != text.npos) return false;
    const auto begin = bytes_.begin() + setting.offset;
    std::fill(std::copy(text.begin(), text.end(), begin), begin + setting.capacity, 0);
    return true;
}

LEVEL SettingsImage::Level() const {
    LEVEL level;
    std::memcpy(&level, bytes_.data() + settings::kLevel, sizeof level);
    return level;
}

void SettingsImage::SetLevel(const LEVEL& level) {
    std::memcpy(bytes_.data() + settings::kLevel, &level, sizeof level);
}

std::string SettingsImage::NalimovPath() const {
    const auto begin = bytes_.begin() + kNalimovPathAt;
    return {begin, std::find(begin, bytes_.end(), 0)};
}

bool SettingsImage::SetNalimovPath(std::string_view path) {
    // The engine takes paths whose length with the zero stays below its buffer.
    const std::size_t length = path.size() + 1;
    if (length >= kNalimovPathSize || path.find('\0') != path.npos) return false;
    bytes_[kPathLengthAt] = static_cast<std::uint8_t>(length);
    bytes_[kPathLengthAt + 1] = static_cast<std::uint8_t>(length >> 8);
    bytes_.resize(kNalimovPathAt);
    bytes_.insert(bytes_.end(), path.begin(), path.end());
    bytes_.push_back(0);
    return true;
}

Ref<IStream> SettingsImage::Stream() const {
    Ref<IStream> stream;
    HRESULT result = CreateMemoryStream(stream.Receive());
    std::uint32_t done = 0;
    const auto size = static_cast<std::uint32_t>(bytes_.size());
    if (Succeeded(result)) result = stream->Write(bytes_.data(), size, &done);
    if (Succeeded(result)) result = stream->Seek(0, SeekFrom::Start, nullptr);
    if (Failed(result) || done != size) throw SessionError("offer a stream for settings", result);
    return stream;
}

}  // namespace torval

#include "torval/stream.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "torval/object.h"

namespace torval {

namespace {

HRESULT NewPosition(std::int64_t distance, std::uint64_t base, std::uint64_t* position) {
    std::int64_t target = 0;
    if (__builtin_add_overflow(static_cast<std::int64_t>(base), distance, &target) || target < 0) {
        return STG_E_INVALIDFUNCTION;
    }
    *position = static_cast<std::uint64_t>(target);
    return S_OK;
}

template <typename Derived>
class StreamObject : public Object<Derived, IStream> {
public:
    void* FindInterface(const GUID& iid) {
        return iid == IID_IUnknown || iid == IID_IStream ? static_cast<IStream*>(this) : nullptr;
    }
};

class MemoryStream final : public StreamObject<MemoryStream> {
public:
    HRESULT Read(void* bytes, std::uint32_t count, std::uint32_t* done) override {
        if (!bytes && count != 0) return E_POINTER;
        const std::uint64_t left = position_ < bytes_.size() ? bytes_.size() - position_ : 0;
        const auto read = static_cast<std::uint32_t>(count < left ? count : left);
        if (read != 0) std::memcpy(bytes, bytes_.data() + position_, read);
        position_ += read;
        if (done) *done = read;
        return S_OK;
    }
    HRESULT Write(const void* bytes, std::uint32_t count, std::uint32_t* done) override {
        if (!bytes && count != 0) return E_POINTER;
        if (done) *done = 0;
        if (count == 0) return S_OK;
        try {
            if (position_ + count > bytes_.size()) bytes_.resize(position_ + count);
        } catch (const std::exception&) {
            return STG_E_MEDIUMFULL;
        }
        std::memcpy(bytes_.data() + position_, bytes, count);
        position_ += count;
        if (done) *done = count;
        return S_OK;
    }
    HRESULT Seek(std::int64_t distance, SeekFrom from, std::uint64_t* position) override {
        const std::uint64_t base = from == SeekFrom::Start     ? 0
                                   : from == SeekFrom::Current ? position_
                                                               : bytes_.size();
        const HRESULT result = NewPosition(distance, base, &position_);
        if (position) *position = position_;
        return result;
    }

private:
    std::string bytes_;
    std::uint64_t position_ = 0;
};

class FileStream final : public StreamObject<FileStream> {
public:
    explicit FileStream(std::FILE* file) : file_(file) {}
    ~FileStream() override { std::fclose(file_); }

    HRESULT Read(void* bytes, std::uint32_t count, std::uint32_t* done) override {
        if (!bytes && count != 0) return E_POINTER;
        const std::size_t read = std::fread(bytes, 1, count, file_);
        if (done) *done = static_cast<std::uint32_t>(read);
        const bool failed = std::ferror(file_) != 0;
        std::clearerr(file_);
        return failed ? STG_E_READFAULT : S_OK;
    }
    HRESULT Write(const void* bytes, std::uint32_t count, std::uint32_t* done) override {
        if (!bytes && count != 0) return E_POINTER;
        errno = 0;
        const std::size_t written = std::fwrite(bytes, 1, count, file_);
        // A full disk is noticed when the bytes leave the buffer.
        const bool failed = written != count || std::fflush(file_) != 0;
        if (done) *done = failed ? 0 : count;
        if (!failed) return S_OK;
        return errno == ENOSPC ? STG_E_MEDIUMFULL : STG_E_WRITEFAULT;
    }
    HRESULT Seek(std::int64_t distance, SeekFrom from, std::uint64_t* position) override {
        const int origin = from == SeekFrom::Start     ? SEEK_SET
                           : from == SeekFrom::Current ? SEEK_CUR
                                                       : SEEK_END;
        const bool failed = std::fseek(file_, static_cast<long>(distance), origin) != 0;
        if (position) *position = static_cast<std::uint64_t>(std::ftell(file_));
        return failed ? STG_E_INVALIDFUNCTION : S_OK;
    }

private:
    std::FILE* file_;
};

}  // namespace

HRESULT CreateMemoryStream(IStream** stream) {
    if (!stream) return E_POINTER;
    *stream = MakeObject<MemoryStream>();
    return *stream ? S_OK : E_OUTOFMEMORY;
}

HRESULT CreateFileStream(const char* path, FileMode mode, IStream** stream) {
    if (!stream || !path) return E_POINTER;
    *stream = nullptr;
    std::FILE* const file = std::fopen(path, mode == FileMode::Read ? "rb" : "wb");
    if (!file) return E_INVALIDARG;
    *stream = MakeObject<FileStream>(file);
    if (*stream) return S_OK;
    std::fclose(file);
    return E_OUTOFMEMORY;
}

}  // namespace torval

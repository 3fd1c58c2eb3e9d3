// A file that is read, or read and written in place, each step returning whether it worked.
//
// Buffering  none: what Write has accepted has reached the operating system.
// Thread     one at a time.
// Errors     false, or a short count; the file stays open and the next step starts afresh.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>

namespace torval {

enum class DiskStep { Open, Seek, Read, Write, Flush };

/// Tests make a step fail by returning true; null otherwise.
extern bool (*disk_step_fails)(DiskStep step);

enum class DiskAccess { ReadAndWrite, ReadOnly };

class DiskFile {
public:
    /// Opens an existing regular file.
    bool Open(const std::string& name, DiskAccess access = DiskAccess::ReadAndWrite);
    void Close() { file_.reset(); }
    bool IsOpen() const { return file_ != nullptr; }

    /// Bytes in the file; 0 when unknown.
    std::uint64_t Size() const;

    bool Seek(std::uint64_t position);
    /// How many bytes were read; fewer than asked for at the end of the file.
    std::size_t Read(std::span<std::uint8_t> bytes);
    /// Whether the last Read was short for a reason other than the end of the file.
    bool ReadFailed() const { return read_failed_; }
    bool Write(std::span<const std::uint8_t> bytes);
    bool Flush();

private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::unique_ptr<std::FILE, Closer> file_;
    bool read_failed_ = false;
};

}  // namespace torval

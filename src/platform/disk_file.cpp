#include "platform/disk_file.h"

#include <sys/stat.h>

namespace torval {

bool (*disk_step_fails)(DiskStep step) = nullptr;

namespace {

bool IsMadeToFail(DiskStep step) { return disk_step_fails && disk_step_fails(step); }

}  // namespace

bool DiskFile::Open(const std::string& name, DiskAccess access) {
    Close();
    if (IsMadeToFail(DiskStep::Open)) return false;
    // Opening a pipe or a device could wait endlessly.
    struct stat status;
    if (stat(name.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
    file_.reset(std::fopen(name.c_str(), access == DiskAccess::ReadOnly ? "rbe" : "r+be"));
    if (!file_) return false;
    std::setvbuf(file_.get(), nullptr, _IONBF, 0);
    return true;
}

std::uint64_t DiskFile::Size() const {
    struct stat status;
    if (!file_ || fstat(fileno(file_.get()), &status) != 0) return 0;
    return static_cast<std::uint64_t>(status.st_size);
}

bool DiskFile::Seek(std::uint64_t position) {
    if (!file_ || IsMadeToFail(DiskStep::Seek)) return false;
    return fseeko(file_.get(), static_cast<off_t>(position), SEEK_SET) == 0;
}

std::size_t DiskFile::Read(std::span<std::uint8_t> bytes) {
    read_failed_ = !file_ || IsMadeToFail(DiskStep::Read);
    if (read_failed_) return 0;
    std::clearerr(file_.get());
    const std::size_t read = std::fread(bytes.data(), 1, bytes.size(), file_.get());
    read_failed_ = std::ferror(file_.get()) != 0;
    return read;
}

bool DiskFile::Write(std::span<const std::uint8_t> bytes) {
    if (!file_ || IsMadeToFail(DiskStep::Write)) return false;
    return std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) == bytes.size();
}

bool DiskFile::Flush() {
    if (!file_ || IsMadeToFail(DiskStep::Flush)) return false;
    return std::fflush(file_.get()) == 0;
}

}  // namespace torval

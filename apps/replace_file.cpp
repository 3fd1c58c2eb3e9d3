#include "apps/replace_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "apps/text.h"

namespace torval {

namespace {

bool WriteAll(int file, std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t written = write(file, bytes.data(), bytes.size());
        if (written <= 0) return false;
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return fsync(file) == 0;
}

/// Puts the new name itself on the disk. Some file systems cannot; the file is whole either way.
void SyncDirectory(const std::string& path) {
    const auto parent = std::filesystem::path(path).parent_path();
    const int directory = open(parent.empty() ? "." : parent.c_str(), O_RDONLY | O_CLOEXEC);
    if (directory < 0) return;
    (void)fsync(directory);
    close(directory);
}

}  // namespace

void ReplaceFile(const std::string& path, std::span<const std::uint8_t> bytes) {
    std::string beside = path + ".XXXXXX";
    const int file = mkostemp(beside.data(), O_CLOEXEC);
    if (file < 0) throw std::runtime_error("cannot write beside " + Quote(path));
    const mode_t mask = umask(0);
    umask(mask);
    constexpr mode_t kReadAndWrite = 0666;
    bool written = fchmod(file, kReadAndWrite & ~mask) == 0 && WriteAll(file, bytes);
    written = close(file) == 0 && written;
    if (written && std::rename(beside.c_str(), path.c_str()) == 0) {
        SyncDirectory(path);
        return;
    }
    unlink(beside.c_str());
    throw std::runtime_error("cannot write " + Quote(path));
}

}  // namespace torval

#include "apps/text/replace_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <stdexcept>

#include "apps/text/text.h"

namespace torval {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void Fail(const std::string& path, const std::string& why) {
    throw std::runtime_error(QuoteName(path) + " cannot be written: " + why);
}

/// For the error in errno.
[[noreturn]] void Fail(const std::string& path) { Fail(path, std::strerror(errno)); }

const char* KindOf(mode_t mode) {
    if (S_ISDIR(mode)) return "a folder";
    if (S_ISFIFO(mode)) return "a pipe";
    if (S_ISSOCK(mode)) return "a socket";
    return "a device";
}

/// Where the bytes for a name are to be written, and what is there now.
struct Target {
    std::string path;  ///< not a symbolic link
    std::optional<struct stat> old;
};

Target FindTarget(const std::string& name) {
    constexpr int kMostLinks = 40;
    fs::path path = name;
    for (int links = 0;; ++links) {
        struct stat status;
        if (lstat(path.c_str(), &status) != 0) {
            if (errno != ENOENT) Fail(name);
            return {.path = path.string(), .old = std::nullopt};
        }
        if (S_ISLNK(status.st_mode)) {
            if (links == kMostLinks) Fail(name, "its links lead round in a circle");
            std::error_code error;
            const fs::path next = fs::read_symlink(path, error);
            if (error) Fail(name, error.message());
            path = path.parent_path() / next;
            continue;
        }
        if (!S_ISREG(status.st_mode)) {
            Fail(name, std::string("it is ") + KindOf(status.st_mode) + ", not a file");
        }
        if (access(path.c_str(), W_OK) != 0) Fail(name);
        return {.path = path.string(), .old = status};
    }
}

bool WriteAll(int file, std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t written = write(file, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return fsync(file) == 0;
}

bool SetMode(int file, const std::optional<struct stat>& old) {
    constexpr mode_t kPermissions = 07777;
    constexpr mode_t kReadAndWrite = 0666;
    if (old) {
        // Only root may change a file's owner; done before the mode, since a change of owner clears
        // some mode bits.
        (void)!fchown(file, old->st_uid, old->st_gid);
        return fchmod(file, old->st_mode & kPermissions) == 0;
    }
    const mode_t mask = umask(0);
    umask(mask);
    return fchmod(file, kReadAndWrite & ~mask) == 0;
}

/// Flushes the new name itself to disk. Some file systems cannot; the file is whole either way.
void SyncDirectory(const std::string& path) {
    const auto parent = fs::path(path).parent_path();
    const int directory = open(parent.empty() ? "." : parent.c_str(), O_RDONLY | O_CLOEXEC);
    if (directory < 0) return;
    (void)fsync(directory);
    close(directory);
}

/// Not derived from the target's name, which may already have the maximum length.
std::string NameBeside(const std::string& path) {
    return (fs::path(path).parent_path() / ".torval-XXXXXX").string();
}

/// A temporary file beside the target. It is removed unless it has been renamed to the target.
class FileBeside {
public:
    FileBeside(const std::string& name, const Target& target, std::span<const std::uint8_t> bytes)
        : name_(name), target_(target), path_(NameBeside(target.path)) {
        const int file = mkostemp(path_.data(), O_CLOEXEC);
        if (file < 0) Fail(name);
        bool written = SetMode(file, target.old) && WriteAll(file, bytes);
        int error = errno;
        if (close(file) != 0 && written) {
            written = false;
            error = errno;
        }
        if (written) return;
        unlink(path_.c_str());
        Fail(name, std::strerror(error));
    }
    ~FileBeside() { unlink(path_.c_str()); }
    FileBeside(const FileBeside&) = delete;
    FileBeside& operator=(const FileBeside&) = delete;

    void TakeName() const {
        if (std::rename(path_.c_str(), target_.path.c_str()) != 0) Fail(name_);
        SyncDirectory(target_.path);
    }
    /// False when the name already exists.
    bool TakeFreeName() const {
        if (link(path_.c_str(), target_.path.c_str()) != 0) {
            if (errno == EEXIST) return false;
            Fail(name_);
        }
        SyncDirectory(target_.path);
        return true;
    }

private:
    const std::string& name_;
    const Target& target_;
    std::string path_;
};

bool Confirms(const std::string& path, Console& console) {
    console.out << std::flush;
    console.err << QuoteName(path) << " is there already. Replace it? (y/n) " << std::flush;
    std::string answer;
    std::getline(console.in, answer);
    return IsYes(answer);
}

}  // namespace

void ReplaceFile(const std::string& path, std::span<const std::uint8_t> bytes) {
    const Target target = FindTarget(path);
    FileBeside(path, target, bytes).TakeName();
}

void ReplaceFile(const std::string& path, std::string_view text) {
    ReplaceFile(path, std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}

bool CreateFile(const std::string& path, std::span<const std::uint8_t> bytes) {
    const Target target = FindTarget(path);
    return !target.old && FileBeside(path, target, bytes).TakeFreeName();
}

bool WouldReplace(const std::string& path) { return FindTarget(path).old.has_value(); }

void AllowNewOutput(const std::string& path, bool force, Console& console) {
    if (!WouldReplace(path) || force) return;
    if (!console.in_is_terminal) {
        throw std::runtime_error(QuoteName(path) + " is there already; --force replaces it");
    }
    if (!Confirms(path, console)) {
        throw std::runtime_error(QuoteName(path) + " stays as it is");
    }
}

}  // namespace torval

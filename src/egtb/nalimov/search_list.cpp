#include "egtb/nalimov/search_list.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <memory>

#include "platform/files.h"

namespace torval {

std::atomic<bool> own_directory_is_searched = true;

namespace {

std::string InSmallLetters(std::string_view text) {
    std::string small(text);
    for (char& letter : small) {
        if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
    }
    return small;
}

/// The name to open a directory by.
std::string OpenName(const std::string& directory) {
    return directory.empty() ? "." : NativeName(directory);
}

/// All names of class files begin with a king and hold the side to move.
bool MayBeClassFile(std::string_view name) {
    return name.front() == 'k' && name.find("nb") != std::string_view::npos;
}

struct DirectoryCloser {
    void operator()(DIR* directory) const { closedir(directory); }
};

}  // namespace

bool IsBlankPath(std::string_view path) {
    return path.empty() || static_cast<signed char>(path[0]) <= ' ';
}

std::vector<std::string> TablebaseDirectories(const std::string& path) {
    const std::string component = ComponentFileName();
    const bool blank = IsBlankPath(path);
    if (!own_directory_is_searched) {
        return blank ? std::vector<std::string>() : SplitDirectories(path);
    }
    std::string list(DirectoryOf(component));
    if (list.empty()) {
        list = path;
    } else {
        if (list.size() > 1) list.pop_back();
        if (!blank) list.append(";").append(path);
    }
    return SplitDirectories(list);
}

DirectoryNames::DirectoryNames(const std::string& directory, const std::function<bool()>& stop) {
    const std::unique_ptr<DIR, DirectoryCloser> opened(opendir(OpenName(directory).c_str()));
    // One that may be entered and not be listed can still hold files.
    if (!opened && errno == EACCES) return;
    names_.emplace();
    if (!opened) return;
    while (const dirent* const entry = readdir(opened.get())) {
        if (stop()) {
            names_->clear();
            return;
        }
        std::string name = InSmallLetters(entry->d_name);
        if (MayBeClassFile(name)) names_->push_back(std::move(name));
    }
    std::ranges::sort(*names_);
}

bool DirectoryNames::MayHold(std::string_view name) const {
    return !names_ || std::ranges::binary_search(*names_, InSmallLetters(name));
}

bool SeenDirectories::IsNew(const std::string& directory) {
    struct stat status;
    if (stat(OpenName(directory).c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) return false;
    const Identity identity = {.device = status.st_dev, .file = status.st_ino};
    const auto place = std::ranges::lower_bound(seen_, identity);
    if (place != seen_.end() && *place == identity) return false;
    seen_.insert(place, identity);
    return true;
}

}  // namespace torval

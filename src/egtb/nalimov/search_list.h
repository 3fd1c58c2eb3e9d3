// The directories in which database files are looked for, and the names in them.
//
// Bound    a path of 1022 characters can name hundreds of directories, and a class file has five names
//          in each: 2430 files to try. So each directory is listed once, and only what may be a
//          class file is tried by name. The cost is that of reading the directories.
// Thread   any.
// Errors   std::bad_alloc. A directory that is not there holds nothing.
#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace torval {

/// Whether the component's own directory is searched. A host that has found a damaged file there, for
/// which the registration would end the process, turns this off before the files are looked for.
/// Thread: any.
extern std::atomic<bool> own_directory_is_searched;

/// Whether a path names no directory: an empty one, or one that begins with a blank or a byte above
/// 127.
bool IsBlankPath(std::string_view path);

/// The directories that are searched for a path, in this order: the component's own, then those of
/// the path. Empty when its own is turned off and the path is blank.
std::vector<std::string> TablebaseDirectories(const std::string& path);

/// Which files a directory may hold, by their names without regard to capitals.
class DirectoryNames {
public:
    /// Lists a directory; the empty name is the current one. `stop` is asked at every name; once it
    /// answers true, the list is that of an empty directory.
    DirectoryNames(const std::string& directory, const std::function<bool()>& stop);

    /// False: there is no file of this name. A directory that may not be listed may hold any.
    bool MayHold(std::string_view name) const;
    bool IsEmpty() const { return names_ && names_->empty(); }

private:
    std::optional<std::vector<std::string>> names_;  ///< sorted, in small letters
};

/// Tells directories that were seen before, whatever their names, from new ones.
class SeenDirectories {
public:
    /// True when it is there and new. The empty name is the current directory.
    bool IsNew(const std::string& directory);

private:
    struct Identity {
        unsigned long device;
        unsigned long file;
        auto operator<=>(const Identity&) const = default;
    };
    std::vector<Identity> seen_;
};

}  // namespace torval

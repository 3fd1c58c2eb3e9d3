// Where the component and its host are on disk, and how file names are put together.
//
// Separators  A directory ends at a slash or a backslash: hosts pass names with either, and
//             NativeName leaves slashes only before a file is looked for. A file or directory whose
//             own name holds a backslash can therefore not be reached.
// Drives      This platform has no drive letters: every directory is reached by its path. DriveMask
//             is 0, which callers read as "not known, try it".
// Thread      any.
// Errors      an empty name or list where nothing was found. Running out of memory throws.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace torval {

/// The file that this code was loaded from: the shared library, or the program that it is part of.
std::string ComponentFileName();

/// The program of this process.
std::string HostFileName();

/// One bit for each drive letter there is, a first.
constexpr std::uint32_t DriveMask() { return 0; }

/// The name with slashes only.
std::string NativeName(std::string_view name);

bool HasSeparator(std::string_view name);

/// Up to and including the last separator; empty when there is none.
std::string_view DirectoryOf(std::string_view name);

/// The directories of a list, divided at every comma and semicolon. An empty one is the current
/// directory; a list without separators is one directory.
std::vector<std::string> SplitDirectories(std::string_view list);

/// The name within the directory; the name alone in the current one, which is the empty name.
std::string JoinName(std::string_view directory, std::string_view name);

/// The full name of the file in the first directory that holds a readable one of this name.
std::optional<std::string> FindFile(std::span<const std::string> directories,
                                    std::string_view name);

}  // namespace torval

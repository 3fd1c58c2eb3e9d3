// The directories in which the engine looks for endgame databases, and what is wrong with them.
//
// Lists    directories are separated by `;` and `,` in a Nalimov path, by `;` in a Thompson path.
// Thread   any.
#pragma once

#include <string>
#include <vector>

namespace torval {

/// The program's own directory, as the engine finds it: a list, since it may be divided like a path.
std::string OwnDirectory();

/// Whether the engine searches it. It does by default; a change takes effect when it next looks for
/// files, so the files must not have changed since they were examined.
void SearchOwnDirectory(bool search);

/// Whether the engine ignores such a path: an empty one, or one that begins with a blank or a byte
/// above 127.
bool IsPassedOver(const std::string& paths);

/// The directories that the engine searches when its path is `paths`: the program's own first, unless
/// it is left out.
std::vector<std::string> SearchedDirectories(const std::string& paths);

/// Whether there is any database file where the engine searches when its path is `paths`.
bool HoldsTablebases(const std::string& paths);

/// What is wrong with the files in a list of directories as the engine searches it, all that is
/// found on the way; empty when the engine can use them.
std::vector<std::string> TablebaseProblems(const std::string& paths);

/// The separators between the directories of each path.
inline constexpr const char* kNalimovSeparators = ",;";
inline constexpr const char* kThompsonSeparators = ";";

/// The first directory of a Nalimov path that does not exist, as a clause; empty when all do. The
/// engine skips such a directory: this is for a path that a user types.
std::string MissingFolder(const std::string& paths);

}  // namespace torval

// Endgame databases as a host uses them: directories that the engine can have, and what it tells of
// them in words.
//
// Why      the engine ends the process for a database file that it cannot use, so a host examines
//          the files before it hands their directories over.
// Lists    directories are divided by `;` in both paths, in the Nalimov path also by `,`.
// Thread   the session's.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "apps/host/settings_image.h"
#include "torval/engine.h"

namespace torval {

inline constexpr std::size_t kLongestNalimovPath = 1022;  ///< longer ones would not be loaded again
inline constexpr std::size_t kLongestThompsonPath = 19;
inline constexpr int kLargestCacheMB = 1024;

/// BookUse bit of the databases.
inline constexpr std::uint32_t kUseDatabases = 4;

/// Numbers of the controls on the engine's settings page.
inline constexpr std::uint32_t kThompsonPathControl = 212;
inline constexpr std::uint32_t kNalimovPathControl = 214;
inline constexpr std::uint32_t kCacheSizeControl = 215;
constexpr bool IsDatabaseControl(std::uint32_t number) {
    return number == kThompsonPathControl || number == kNalimovPathControl ||
           number == kCacheSizeControl;
}

/// Why the engine must not have this path, a clause that names the file; empty when it may.
std::string NalimovPathProblem(const std::string& paths);
std::string ThompsonPathProblem(std::string_view paths);

/// The engine also searches the program's own directory, whatever the path. This examines it, has the
/// engine leave it out while a file there is damaged, and answers a clause that names the file then.
/// To be called each time before the engine looks for files: before its first start, and before
/// RegisterNalimovPath or an Apply of the settings page.
std::string LeaveOutDamagedOwnDirectory();

/// Has the engine search the directories anew, with so much memory for blocks. The engine is started
/// and computes nothing; the directories have been examined. False when the engine refuses.
bool RegisterNalimovPath(IUnknown* engine, const std::string& paths, std::uint32_t cache_mb);

/// Message 20 in a sentence: `volumes` is its text, `paths` where the engine looked.
std::string MissingVolumesSentence(std::string_view volumes, std::string_view paths);

/// Message 22.
inline constexpr const char* kNoDatabaseMoveSentence =
    "The Thompson databases know no move for this position.";

/// Depth of a line that comes from the Thompson databases and not from a search.
inline constexpr int kDatabaseDepth = 99;

}  // namespace torval

// Endgame databases as a host uses them: directories that the engine can use, and its messages
// about them in words.
//
// Why      the engine ends the process for a database file that it cannot use, so a host examines
//          the files before it hands their directories over.
// Lists    directories are separated by `;` in both paths, in the Nalimov path also by `,`.
// Thread   the session's.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "apps/host/settings_image.h"
#include "torval/engine.h"

namespace torval {

/// A longer one, with its zero, would not be loaded again.
inline constexpr std::size_t kLongestNalimovPath = kNalimovPathSize - 2;
inline constexpr std::size_t kLongestThompsonPath = kThompsonPathSize - 1;
inline constexpr int kLargestCacheMB = 1024;

/// Controls on the engine's settings page that are about databases.
constexpr bool IsDatabaseControl(std::uint32_t number) {
    return number == kThompsonPathEdit || number == kNalimovPathEdit || number == kCacheSizeEdit;
}

/// Why the engine must not get this path, a clause that names the file; empty when it may.
std::string NalimovPathProblem(const std::string& paths);
std::string ThompsonPathProblem(std::string_view paths);

/// The engine also searches the program's own directory, whatever the path. This examines it, makes
/// the engine leave it out while a file there is damaged, and then returns a clause that names the
/// file. To be called each time before the engine looks for files: before its first start, and
/// before RegisterNalimovPath or an Apply of the settings page.
std::string LeaveOutDamagedOwnDirectory();

/// Makes the engine search the directories again, with this much memory for blocks. The engine must
/// be started and idle; the directories have been examined. False when the engine refuses.
bool RegisterNalimovPath(IUnknown* engine, const std::string& paths, std::uint32_t cache_mb);

/// MsgVolumesWanted in a sentence: `volumes` is its text, `paths` where the engine looked.
std::string MissingVolumesSentence(std::string_view volumes, std::string_view paths);

/// MsgNoDatabaseMove.
inline constexpr const char* kNoDatabaseMoveSentence =
    "The Thompson databases know no move for this position.";

}  // namespace torval

// The commands typed in earlier sessions, kept in a file of the user's own.
//
// Format   one command a line, oldest first, at most kMostHistoryLines.
// Thread   the one that reads the terminal; the editor's list is one for the process.
// Errors   none: where the file cannot be had, nothing is remembered.
// Source   the XDG base directory specification 0.8, for where such a file belongs.
#pragma once

#include <string>

namespace torval {

inline constexpr int kMostHistoryLines = 500;

/// Where the file belongs, given $XDG_STATE_HOME and $HOME, each of which may be null. A relative
/// $XDG_STATE_HOME counts for nothing. Empty when there is no such place.
std::string HistoryFile(const char* state_home, const char* home);

/// Puts what the file holds into the editor's list.
void ReadHistory(const std::string& file);

/// Adds a line that was typed to the list, unless it repeats the last one.
void Remember(const char* line);

/// Adds what this session typed to the file, behind what other sessions have written meanwhile.
void WriteHistory(const std::string& file);

}  // namespace torval

// The one way in which the program writes a user's file: a name leads to the old bytes or to the new
// ones, never to a part of them.
//
// Name     a symbolic link stands for the file behind it, which need not exist yet.
// Refused  what is there and no regular file (a device, a pipe, a socket, a folder), and a file that
//          the user may not write.
// Mode     an existing file keeps its mode, and its owner where the system allows that; a new one gets
//          what the umask leaves.
// Errors   std::runtime_error with a sentence that names the file; what was there is unchanged then.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "apps/text/console.h"

namespace torval {

/// Writes the bytes to a file beside `path`, makes the disk hold them, gives them the name and makes
/// the disk hold that too.
void ReplaceFile(const std::string& path, std::span<const std::uint8_t> bytes);
void ReplaceFile(const std::string& path, std::string_view text);

/// The same for a name that must be free. False, and nothing written, when something has it already.
bool CreateFile(const std::string& path, std::span<const std::uint8_t> bytes);

/// Whether there is a file that ReplaceFile would replace. Throws for what it would refuse.
bool WouldReplace(const std::string& path);

/// For a file that the user named as new output, before the work begins: one that is there is asked
/// about at a terminal, and refused elsewhere unless `force` is set. The hint "--force replaces it"
/// goes with the refusal.
void AllowNewOutput(const std::string& path, bool force, Console& console);

}  // namespace torval

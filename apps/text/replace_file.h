// Replaces a user's file atomically: a reader sees the old content or the new, never a part.
//
// Name     a symbolic link stands for the file it points to, which need not exist yet.
// Refused  anything that is not a regular file (a device, a pipe, a socket, a folder), and a file
//          that the user may not write.
// Mode     an existing file keeps its mode, and its owner where the system allows it; a new one
//          gets the mode that the umask allows.
// Errors   std::runtime_error with a sentence that names the file; the old content is unchanged
//          then.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "apps/text/console.h"

namespace torval {

/// Writes the bytes to a file beside `path`, flushes it to disk, renames it and flushes the
/// directory too.
void ReplaceFile(const std::string& path, std::span<const std::uint8_t> bytes);
void ReplaceFile(const std::string& path, std::string_view text);

/// The same for a name that must not exist yet. False, and nothing written, when it does.
bool CreateFile(const std::string& path, std::span<const std::uint8_t> bytes);

/// Whether there is a file that ReplaceFile would replace. Throws for what it would refuse.
bool WouldReplace(const std::string& path);

/// For a file that the user named as new output, before the work begins: if it exists, asks at a
/// terminal and refuses elsewhere, unless `force` is set. The hint "--force replaces it" goes with
/// the refusal.
void AllowNewOutput(const std::string& path, bool force, Console& console);

}  // namespace torval

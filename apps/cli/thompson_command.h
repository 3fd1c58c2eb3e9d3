// What the subcommands of `torval thompson` do.
//
// Errors   InputError for a file that cannot be read, or a wrong name or position; std::runtime_error
//          when a file is found faulty or cannot be written.
// Thread   the calling one; making uses one more.
#pragma once

#include <string>
#include <vector>

#include "apps/text/console.h"

namespace torval {

/// Shows what the header of a file says, and which positions it covers.
void ShowThompsonFile(const std::string& file, Console& console);

/// The value of a position, and of what each of its moves leads to. Semicolons separate the
/// directories of `paths`.
void ProbeThompsonPosition(const std::string& fen, const std::string& paths, Console& console);

/// Follows every path through the trees and reads every value. Names the first fault.
void VerifyThompsonFile(const std::string& file, Console& console);

struct MakeThompsonOptions {
    std::vector<std::string> names;  ///< of files in the list of materials
    std::string from;                ///< directories of tablebases
    std::string out = ".";
    bool force = false;  ///< replace existing files
};

/// Writes files with the values of all positions that the tablebases know.
void MakeThompsonFiles(const MakeThompsonOptions& options, Console& console);

}  // namespace torval

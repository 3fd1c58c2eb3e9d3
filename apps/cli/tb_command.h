// What the subcommands of `torval tb` do.
//
// Errors   InputError for a file that cannot be read, or a wrong name or position; std::runtime_error
//          when a file is found faulty or cannot be written.
// Thread   the calling one; making and verifying use one more.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "apps/text/console.h"

namespace torval {

struct MakeTablesOptions {
    std::vector<std::string> classes;
    int men = 0;  ///< all classes of three to so many men, 0 for none
    std::string out = ".";
    bool compress = false;
    std::uint64_t memory_mb = 0;  ///< what may be used, 0 for what the machine has to spare
};

/// Makes classes and all that they need. What is there already and sound is read instead, what is
/// damaged is replaced.
void MakeTables(const MakeTablesOptions& options, Console& console);

/// Writes the other form of a file beside it. `force` replaces one that is there.
void PackTable(const std::string& file, bool force, Console& console);
void UnpackTable(const std::string& file, bool force, Console& console);

struct VerifyTablesOptions {
    std::vector<std::string> files;
    std::size_t every = 1;  ///< which entries: each one, or each so manieth
};

/// Compares values with those that their moves lead to.
void VerifyTables(const VerifyTablesOptions& options, Console& console);

/// The value of a position and of what each of its moves leads to.
void ProbePosition(const std::string& fen, const std::string& paths, Console& console);

/// The files that the engine would use.
void ListTables(const std::string& paths, Console& console);

/// What is there, missing and damaged in each directory.
void CheckTables(const std::vector<std::string>& directories, Console& console);

/// Wins, draws and losses, and the longest mates.
void ShowTableStats(const std::string& subject, const std::string& paths, Console& console);

}  // namespace torval

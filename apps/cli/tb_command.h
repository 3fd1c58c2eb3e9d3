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
    int men = 0;  ///< all classes of three up to this many men, 0 for none
    std::string out = ".";
    bool compress = false;
    std::uint64_t memory_mb = 0;  ///< what may be used, 0 for what the machine can spare
};

/// Makes classes and all that they need. Existing sound files are read instead, damaged ones are
/// replaced.
void MakeTables(const MakeTablesOptions& options, Console& console);

/// Writes the other form of a file beside it. `force` replaces an existing one.
void PackTable(const std::string& file, bool force, Console& console);
void UnpackTable(const std::string& file, bool force, Console& console);

struct VerifyTablesOptions {
    std::vector<std::string> files;
    std::size_t every = 1;  ///< check every Nth entry; 1 checks all
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

// Endgame databases made for tests, as files in a folder of their own or in memory.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "apps/makers/tables/generator.h"

namespace torval {

class MadeTables {
public:
    /// Makes these classes and all that they need; without a name all of three men.
    explicit MadeTables(const std::vector<std::string>& classes = {});
    /// Removes the folder.
    ~MadeTables();
    MadeTables(const MadeTables&) = delete;
    MadeTables& operator=(const MadeTables&) = delete;

    std::string Folder() const { return folder_.string(); }
    std::string File(const char* name) const { return (folder_ / name).string(); }

private:
    std::filesystem::path folder_;
};

/// A position and its value for the side to move, as a second implementation made for this project
/// has it.
struct ListedValue {
    std::string fen;
    TablebaseValue value;
};
std::vector<ListedValue> ListedValues();

/// The classes before `end`, made in the order in which they need each other.
TableSet MakeClassesBefore(int end);

/// The name of a class's file in a folder.
std::string MadeFile(const std::string& folder, int class_id, std::size_t side);

/// Writes the uncompressed files of a class.
void WriteMadeFiles(const TableSet& tables, int class_id, const std::string& folder);

}  // namespace torval

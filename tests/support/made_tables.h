// Endgame databases made for a test in a folder of its own.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

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

}  // namespace torval

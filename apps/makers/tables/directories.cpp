#include "apps/makers/tables/directories.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "apps/makers/tables/table_file.h"
#include "apps/text/text.h"
#include "egtb/nalimov/registry.h"
#include "egtb/nalimov/search_list.h"
#include "platform/files.h"

namespace torval {

std::string OwnDirectory() { return std::string(DirectoryOf(ComponentFileName())); }

void SearchOwnDirectory(bool search) { own_directory_is_searched = search; }

bool IsPassedOver(const std::string& paths) { return IsBlankPath(paths); }

std::vector<std::string> SearchedDirectories(const std::string& paths) {
    return TablebaseDirectories(paths);
}

bool HoldsTablebases(const std::string& paths) {
    const std::vector<std::string> directories = SearchedDirectories(paths);
    for (int id = 1; id < kClasses; ++id) {
        for (int side = 0; side < SidesOf(id); ++side) {
            if (FindTableFile(directories, id, side)) return true;
        }
    }
    return false;
}

std::vector<std::string> TablebaseProblems(const std::string& paths) {
    std::vector<std::string> problems;
    for (const std::string& directory : SplitDirectories(paths)) {
        for (int id = 1; id < kClasses; ++id) {
            for (int side = 0; side < SidesOf(id); ++side) {
                std::string problem = FindTablebaseFile(directory, id, side).problem;
                if (problem.empty()) continue;
                problem.pop_back();
                problems.push_back(std::move(problem));
            }
        }
    }
    return problems;
}

std::string MissingFolder(const std::string& paths) {
    for (const std::string& directory : SplitDirectories(paths)) {
        std::error_code error;
        if (directory.empty() || std::filesystem::is_directory(NativeName(directory), error)) {
            continue;
        }
        return "there is no folder " + QuoteName(directory);
    }
    return {};
}

}  // namespace torval

#include "apps/play/history.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

#include <readline/history.h>

namespace torval {

namespace {

/// Lines of this session.
int typed = 0;

}  // namespace

std::string HistoryFile(const char* state_home, const char* home) {
    std::string folder;
    if (state_home && state_home[0] == '/') {
        folder = state_home;
    } else if (home && home[0] != '\0') {
        folder = std::string(home) + "/.local/state";
    } else {
        return {};
    }
    return folder + "/torval/history";
}

void ReadHistory(const std::string& file) {
    clear_history();
    stifle_history(kMostHistoryLines);
    typed = 0;
    using_history();
    if (!file.empty()) (void)read_history(file.c_str());
}

void Remember(const char* line) {
    const HIST_ENTRY* const last = history_get(history_base + history_length - 1);
    if (line[0] == '\0' || (last && std::strcmp(last->line, line) == 0)) return;
    add_history(line);
    ++typed;
}

void WriteHistory(const std::string& file) {
    typed = std::min(typed, history_length);
    if (file.empty() || typed == 0) return;
    const std::filesystem::path path(file);
    std::error_code failed;
    if (std::filesystem::create_directories(path.parent_path(), failed)) {
        std::filesystem::permissions(path.parent_path(), std::filesystem::perms::owner_all, failed);
    }
    // Appending asks for a file that is there, and one of the user's alone.
    const mode_t others = umask(S_IRWXG | S_IRWXO);
    const bool there = std::ofstream(path, std::ios::app).good();
    umask(others);
    if (!there || append_history(typed, file.c_str()) != 0) return;
    typed = 0;
    (void)history_truncate_file(file.c_str(), kMostHistoryLines);
}

}  // namespace torval

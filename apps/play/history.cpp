#include "apps/play/history.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <histedit.h>

#include "apps/text/replace_file.h"

namespace torval {

namespace {

namespace fs = std::filesystem;

/// The newest lines of the file, which need not exist.
std::vector<std::string> LinesOf(const std::string& file) {
    std::vector<std::string> lines;
    std::error_code error;
    // Opening a pipe could block endlessly.
    if (!fs::is_regular_file(file, error)) return lines;
    std::ifstream in(file, std::ios::binary);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

void KeepNewest(std::vector<std::string>* lines) {
    if (lines->size() <= kMostHistoryLines) return;
    lines->erase(lines->begin(), lines->end() - kMostHistoryLines);
}

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

TypedLines::TypedLines(std::string file) : file_(std::move(file)), list_(history_init()) {
    HistEvent event;
    if (list_) history(list_, &event, H_SETSIZE, static_cast<int>(kMostHistoryLines));
    std::vector<std::string> lines = LinesOf(file_);
    KeepNewest(&lines);
    for (const std::string& line : lines) Enter(line);
}

TypedLines::~TypedLines() {
    if (list_) history_end(list_);
}

void TypedLines::Enter(const std::string& line) {
    HistEvent event;
    if (list_) history(list_, &event, H_ENTER, line.c_str());
    last_ = line;
}

void TypedLines::Remember(std::string_view line) {
    if (line.empty() || line == last_) return;
    typed_.emplace_back(line);
    Enter(typed_.back());
}

void TypedLines::Write() const {
    if (file_.empty() || typed_.empty()) return;
    const fs::path folder = fs::path(file_).parent_path();
    std::error_code failed;
    if (fs::create_directories(folder, failed)) {
        fs::permissions(folder, fs::perms::owner_all, failed);
    }
    std::vector<std::string> lines = LinesOf(file_);
    lines.insert(lines.end(), typed_.begin(), typed_.end());
    KeepNewest(&lines);
    std::string text;
    for (const std::string& line : lines) text += line + '\n';
    // A new file is the user's alone.
    const mode_t others = umask(S_IRWXG | S_IRWXO);
    try {
        ReplaceFile(file_, text);
    } catch (const std::runtime_error&) {
        // Nothing is remembered.
    }
    umask(others);
}

}  // namespace torval

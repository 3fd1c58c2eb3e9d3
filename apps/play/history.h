// The commands typed in earlier sessions, kept in a file of the user's own.
//
// Format   one command a line, oldest first, at most kMostHistoryLines.
// Thread   the one that reads the terminal.
// Errors   none: where the file cannot be used, nothing is remembered.
// Source   the XDG base directory specification 0.8, for where such a file belongs.
#pragma once

#include <string>
#include <string_view>
#include <vector>

struct history;  // of the line editor, which has a function of that name too

namespace torval {

inline constexpr std::size_t kMostHistoryLines = 500;

/// Where the file belongs, given $XDG_STATE_HOME and $HOME, each of which may be null. A relative
/// $XDG_STATE_HOME is ignored. Empty when there is no such place.
std::string HistoryFile(const char* state_home, const char* home);

/// The line editor's list: the contents of the file, followed by what this session typed.
class TypedLines {
public:
    explicit TypedLines(std::string file);
    ~TypedLines();
    TypedLines(const TypedLines&) = delete;
    TypedLines& operator=(const TypedLines&) = delete;

    struct ::history* List() const {
        return list_;
    }

    /// Adds a line that was typed, unless it repeats the last one.
    void Remember(std::string_view line);

    /// Adds what this session typed to the file, after what other sessions have written meanwhile.
    void Write() const;

private:
    void Enter(const std::string& line);

    std::string file_;
    struct ::history* list_;
    std::string last_;
    std::vector<std::string> typed_;
};

}  // namespace torval

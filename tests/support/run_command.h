// The program called as from a shell, without a process of its own.
#pragma once

#include <string>
#include <vector>

namespace torval {

/// The result of a call: the exit status, standard output and standard error.
struct Ran {
    int code;
    std::string out;
    std::string err;
};

/// Runs `torval WORDS...` with this standard input; it and standard error may be taken for a terminal.
Ran Torval(const std::vector<std::string>& words,
           const std::string& input = "",
           bool terminal = false);

}  // namespace torval

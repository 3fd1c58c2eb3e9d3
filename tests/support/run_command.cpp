#include "support/run_command.h"

#include <sstream>

#include "apps/cli/command_line.h"

namespace torval {

Ran Torval(const std::vector<std::string>& words, const std::string& input, bool terminal) {
    std::vector<const char*> arguments = {"torval"};
    for (const std::string& word : words) arguments.push_back(word.c_str());
    std::istringstream in(input);
    std::ostringstream out;
    std::ostringstream err;
    Console console{in, out, err, terminal, terminal};
    const int code = RunCommandLine(static_cast<int>(arguments.size()), arguments.data(), console);
    return {code, out.str(), err.str()};
}

}  // namespace torval

// The streams a command uses, and how it refuses input.
//
// Errors   a command throws InputError for input it cannot use; the command line turns that into
//          one line on `err` and exit code 2. Output already printed is kept.
#pragma once

#include <istream>
#include <ostream>
#include <stdexcept>

namespace torval {

struct Console {
    std::istream& in;
    std::ostream& out;
    std::ostream& err;
    bool err_is_terminal;         ///< progress is drawn there and nowhere else
    bool in_is_terminal = false;  ///< a user is there to answer a question asked on `err`
};

/// One line that says what is wrong with the input and where.
class InputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

enum ExitCode : int {
    ExitOk = 0,
    ExitFailure = 1,   ///< the result could not be computed or written
    ExitBadInput = 2,  ///< bad usage or bad input
};

}  // namespace torval

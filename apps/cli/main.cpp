// The program `torval`.

#include <fcntl.h>
#include <unistd.h>

#include <iostream>

#include "apps/cli/command_line.h"

namespace {

/// A standard descriptor that is closed would become that of the next file opened, and the engine's own
/// messages would be taken for input.
void OpenStandardDescriptors() {
    int opened = 0;
    while (opened >= 0 && opened <= STDERR_FILENO) opened = open("/dev/null", O_RDWR);
    if (opened > STDERR_FILENO) close(opened);
}

}  // namespace

int main(int count, char** arguments) {
    OpenStandardDescriptors();
    std::ios::sync_with_stdio(false);
    torval::Console console{std::cin, std::cout, std::cerr, isatty(STDERR_FILENO) != 0};
    console.in_is_terminal = console.err_is_terminal && isatty(STDIN_FILENO) != 0;
    return torval::RunCommandLine(count, arguments, console);
}

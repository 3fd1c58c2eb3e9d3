// The program `torval`.

#include <unistd.h>

#include <iostream>

#include "apps/command_line.h"

int main(int count, char** arguments) {
    std::ios::sync_with_stdio(false);
    torval::Console console{std::cin, std::cout, std::cerr, isatty(STDERR_FILENO) != 0};
    console.in_is_terminal = console.err_is_terminal && isatty(STDIN_FILENO) != 0;
    return torval::RunCommandLine(count, arguments, console);
}

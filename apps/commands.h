// The subcommands of the command line, each in a file of its own.
//
// Shape    each function adds its subcommand with options and help to the application, to run when
//          the parsed command line names it.
// Lifetime the console must outlive the application.
#pragma once

#include <CLI/CLI.hpp>

#include "apps/console.h"

namespace torval {

void AddPlayCommand(CLI::App* application, Console& console);
void AddSearchCommand(CLI::App* application, Console& console);
void AddEvalCommand(CLI::App* application, Console& console);
void AddMovesCommand(CLI::App* application, Console& console);
void AddPerftCommand(CLI::App* application, Console& console);
void AddStateCommand(CLI::App* application, Console& console);
void AddParseCommand(CLI::App* application, Console& console);
void AddBenchCommand(CLI::App* application, Console& console);
void AddBookCommand(CLI::App* application, Console& console);
void AddUciCommand(CLI::App* application, Console& console);

}  // namespace torval

// The subcommands of the command line, each in a file of its own.
//
// Shape    each function adds its subcommand with options and help to the application, to run when
//          the parsed command line names it.
// Lifetime the console must outlive the application.
#pragma once

#include "apps/cli/options.h"
#include "apps/text/console.h"

namespace torval {

void AddPlayCommand(Subcommand application, Console& console);
void AddSearchCommand(Subcommand application, Console& console);
void AddEvalCommand(Subcommand application, Console& console);
void AddMovesCommand(Subcommand application, Console& console);
void AddPerftCommand(Subcommand application, Console& console);
void AddStateCommand(Subcommand application, Console& console);
void AddParseCommand(Subcommand application, Console& console);
void AddBenchCommand(Subcommand application, Console& console);
void AddBookCommand(Subcommand application, Console& console);
void AddTablebaseCommand(Subcommand application, Console& console);
void AddThompsonCommand(Subcommand application, Console& console);
void AddUciCommand(Subcommand application, Console& console);

}  // namespace torval

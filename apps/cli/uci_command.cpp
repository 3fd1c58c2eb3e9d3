#include <unistd.h>

#include "apps/cli/commands.h"
#include "apps/uci/uci_loop.h"

namespace torval {

void AddUciCommand(Subcommand application, Console& console) {
    Subcommand command =
        application.AddCommand("uci", "Speak the UCI protocol with a chess program");
    command.OnRun([&console] {
        console.out << std::flush;
        RunUci(STDIN_FILENO, STDOUT_FILENO);
    });
}

}  // namespace torval

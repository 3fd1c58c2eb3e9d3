#include <unistd.h>

#include "apps/commands.h"
#include "apps/uci/uci_loop.h"

namespace torval {

void AddUciCommand(CLI::App* application, Console& console) {
    CLI::App* const command =
        application->add_subcommand("uci", "Speak the UCI protocol with a chess program");
    command->callback([&console] {
        console.out << std::flush;
        RunUci(STDIN_FILENO, STDOUT_FILENO);
    });
}

}  // namespace torval

#include <CLI/CLI.hpp>
#include <memory>

#include "apps/cli/commands.h"
#include "apps/cli/positions.h"
#include "apps/cli/thompson_command.h"
#include "apps/makers/tables/directories.h"

namespace torval {

namespace {

using FileFunction = void (*)(const std::string& file, Console& console);

void AddFile(CLI::App* thompson,
             Console& console,
             const char* name,
             const char* what,
             FileFunction function) {
    const auto file = std::make_shared<std::string>();
    CLI::App* const command = thompson->add_subcommand(name, what);
    TakesNames(command->add_option("FILE", *file, "the database file"))->required()->type_name("");
    command->callback([file, function, &console] { function(*file, console); });
}

void AddProbe(CLI::App* thompson, Console& console) {
    struct Options {
        std::string fen;
        std::string paths;
    };
    const auto options = std::make_shared<Options>();
    CLI::App* const command = thompson->add_subcommand(
        "probe", "Tell the value of a position and of what each of its moves leads to");
    command->add_option("FEN", options->fen)->required()->type_name("");
    TakesNames(command->add_option(
                   "--path", options->paths, "the directories with the files, \"one;two\""),
               kThompsonSeparators)
        ->required()
        ->type_name("DIRS");
    command->callback(
        [options, &console] { ProbeThompsonPosition(options->fen, options->paths, console); });
}

void AddMake(CLI::App* thompson, Console& console) {
    const auto options = std::make_shared<MakeThompsonOptions>();
    CLI::App* const command = thompson->add_subcommand(
        "make", "Make files for the positions that the files of \"torval tb\" know");
    command->add_option("NAME", options->names, "names such as RR_R.G")->required()->type_name("");
    TakesNames(
        command->add_option("--from", options->from, "the directories of those files, \"one;two\""),
        kNalimovSeparators)
        ->required()
        ->type_name("DIRS");
    TakesNames(command->add_option("--out", options->out, "where to write"))
        ->type_name("DIR")
        ->capture_default_str();
    AddForceFlag(Subcommand(command), &options->force);
    command->callback([options, &console] { MakeThompsonFiles(*options, console); });
}

}  // namespace

void AddThompsonCommand(Subcommand application, Console& console) {
    CLI::App* const thompson =
        application.AddCommand("thompson", "Make, check and ask Thompson databases").App();
    thompson->require_subcommand(1);
    AddFile(
        thompson, console, "info", "Tell what a file holds, and in which shape", ShowThompsonFile);
    AddProbe(thompson, console);
    AddFile(thompson, console, "verify", "Read every value of a file", VerifyThompsonFile);
    AddMake(thompson, console);
}

}  // namespace torval

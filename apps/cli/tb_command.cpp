#include <CLI/CLI.hpp>
#include <memory>

#include "apps/cli/commands.h"
#include "apps/cli/positions.h"
#include "apps/cli/tb_command.h"

namespace torval {

namespace {

void AddMake(CLI::App* tb, Console& console) {
    const auto options = std::make_shared<MakeTablesOptions>();
    CLI::App* const command =
        tb->add_subcommand("make", "Make classes, and those that they lead to, by the rules");
    command->add_option("CLASS", options->classes, "names such as krk, kqkr, kppk")->type_name("");
    command->add_option("--men", options->men, "all classes of up to so many men")
        ->check(CLI::IsMember({3, 4}))
        ->type_name("N");
    TakesNames(
        command->add_option("--out", options->out, "where to write; what is there already is read"))
        ->type_name("DIR")
        ->capture_default_str();
    command->add_flag("--compress", options->compress, "write the compressed form, NAME.emd");
    command->add_option("--memory", options->memory_mb, "how much to use at most, in megabytes")
        ->check(CLI::Range(1, 1 << 20))
        ->type_name("MB");
    command->callback([options, &console] { MakeTables(*options, console); });
}

void AddVerify(CLI::App* tb, Console& console) {
    const auto options = std::make_shared<VerifyTablesOptions>();
    CLI::App* const command =
        tb->add_subcommand("verify", "Compare every value with those that its moves lead to");
    TakesNames(command->add_option("FILE", options->files, "one or more"))
        ->required()
        ->type_name("");
    command->add_option("--every", options->every, "only one entry in so many, for large classes")
        ->check(CLI::Range(1, 1 << 30))
        ->type_name("N");
    command->callback([options, &console] { VerifyTables(*options, console); });
}

using ConvertFunction = void (*)(const std::string& file, bool force, Console& console);

void AddConversion(
    CLI::App* tb, Console& console, const char* name, const char* what, ConvertFunction function) {
    struct Options {
        std::string file;
        bool force = false;
    };
    const auto options = std::make_shared<Options>();
    CLI::App* const command = tb->add_subcommand(name, what);
    TakesNames(command->add_option("FILE", options->file, "the database file"))
        ->required()
        ->type_name("");
    AddForceFlag(Subcommand(command), &options->force);
    command->callback(
        [options, function, &console] { function(options->file, options->force, console); });
}

using ListFunction = void (*)(const std::vector<std::string>& names, Console& console);

void AddFiles(CLI::App* tb,
              Console& console,
              const char* name,
              const char* what,
              const char* argument,
              ListFunction function) {
    const auto names = std::make_shared<std::vector<std::string>>();
    CLI::App* const command = tb->add_subcommand(name, what);
    TakesNames(command->add_option(argument, *names, "one or more"))->required()->type_name("");
    command->callback([names, function, &console] { function(*names, console); });
}

using PathFunction = void (*)(const std::string& subject,
                              const std::string& paths,
                              Console& console);

/// A command with an argument and --tb.
void AddWithPaths(CLI::App* tb,
                  Console& console,
                  const char* name,
                  const char* what,
                  const char* argument,
                  PathFunction function) {
    struct Options {
        std::string subject;
        std::string paths;
    };
    const auto options = std::make_shared<Options>();
    CLI::App* const command = tb->add_subcommand(name, what);
    TakesNames(command->add_option(argument, options->subject))->required()->type_name("");
    AddTablebaseOption(Subcommand(command), &options->paths);
    command->callback(
        [options, function, &console] { function(options->subject, options->paths, console); });
}

void AddList(CLI::App* tb, Console& console) {
    const auto paths = std::make_shared<std::string>();
    CLI::App* const command = tb->add_subcommand("list", "Show the files that the engine uses");
    AddTablebaseOption(Subcommand(command), paths.get());
    command->get_option("--tb")->required();
    command->callback([paths, &console] { ListTables(*paths, console); });
}

}  // namespace

void AddTablebaseCommand(Subcommand application, Console& console) {
    CLI::App* const tb =
        application.AddCommand("tb", "Make, check and ask endgame databases").App();
    tb->require_subcommand(1);
    AddMake(tb, console);
    AddConversion(tb, console, "pack", "Write the compressed form beside a file", PackTable);
    AddConversion(tb, console, "unpack", "Write the uncompressed form beside a file", UnpackTable);
    AddVerify(tb, console);
    AddFiles(tb,
             console,
             "check",
             "Tell what is there, missing and damaged in directories",
             "DIR",
             CheckTables);
    AddWithPaths(tb,
                 console,
                 "probe",
                 "Tell the value of a position and of each of its moves",
                 "FEN",
                 ProbePosition);
    AddWithPaths(tb,
                 console,
                 "stats",
                 "Count wins, draws and losses of a class or file, with the longest mates",
                 "SUBJECT",
                 ShowTableStats);
    AddList(tb, console);
}

}  // namespace torval

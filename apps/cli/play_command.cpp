#include <unistd.h>

#include <iostream>
#include <memory>
#include <stdexcept>

#include "apps/cli/commands.h"
#include "apps/makers/tables/directories.h"
#include "apps/play/front_ends.h"
#include "torval/codes.h"

namespace torval {

namespace {

constexpr const char* kNoBook = "none";

struct PlayArguments {
    PlayOptions options;
    std::optional<int> cache_mb;
    std::string book;  ///< kNoBook; a file used as the main book; empty: the usual books
};

void RunPlay(PlayArguments arguments, Console& console) {
    PlayOptions& options = arguments.options;
    if (arguments.book != kNoBook) {
        if (!arguments.book.empty() && access(arguments.book.c_str(), R_OK | W_OK) != 0) {
            throw InputError("--book: " + BookProblem(arguments.book, BookNotOpened));
        }
        options.books = PrepareBooks(arguments.book);
    }
    DatabaseSettings& databases = options.databases;
    if (const std::string problem = NalimovPathProblem(databases.nalimov); !problem.empty()) {
        throw InputError("--tb: " + problem);
    }
    if (const std::string problem = MissingFolder(databases.nalimov); !problem.empty()) {
        throw InputError("--tb: " + problem);
    }
    if (const std::string problem = ThompsonPathProblem(databases.thompson); !problem.empty()) {
        throw InputError("--thompson: " + problem);
    }
    if (arguments.cache_mb) databases.cache_mb = static_cast<std::uint32_t>(*arguments.cache_mb);
    const int input = &console.in == &std::cin ? STDIN_FILENO : -1;
    if (input >= 0 && isatty(input) != 0 && isatty(STDOUT_FILENO) != 0) {
        if (!TerminalHasPieces()) options.style.ascii = true;
        options.asks = true;
        Player player(options);
        PlayTerminal(player);
        return;
    }
    Player player(options);
    const int refused = PlayScript(player, console, input);
    if (refused == 0) return;
    throw std::runtime_error(refused == 1 ? "a command was refused"
                                          : std::to_string(refused) + " commands were refused");
}

}  // namespace

void AddPlayCommand(Subcommand application, Console& console) {
    const auto arguments = std::make_shared<PlayArguments>();
    PlayOptions* const options = &arguments->options;
    Subcommand command = application.AddCommand(
        "play", "Play a game; commands come from the terminal, or one a line from elsewhere");
    command.AddFlag("--ascii", &options->style.ascii, "draw the board with letters");
    command.AddFlag("--flip", &options->style.flipped, "Black at the bottom of the board");
    command
        .AddChoice<Language>("--language",
                             &options->language,
                             {{"en", Language::English}, {"nl", Language::Dutch}},
                             "of the settings: en or nl")
        .ValueName("LANGUAGE");
    command.AddOption("--book", &arguments->book, "the main opening book, or none to play without")
        .TakesNames()
        .ValueName("FILE|none");
    DatabaseSettings* const databases = &options->databases;
    command
        .AddOption("--tb",
                   &databases->nalimov,
                   "use the endgame databases in these directories, \"one;two\"")
        .TakesNames(kNalimovSeparators)
        .ValueName("PATHS");
    command.AddOption("--tb-cache", &arguments->cache_mb, "memory for their blocks, in MB (4)")
        .InRange(0, kLargestCacheMB)
        .ValueName("MB");
    command
        .AddOption("--thompson",
                   &databases->thompson,
                   "take moves from the Thompson databases there; at most 19 characters")
        .TakesNames(kThompsonSeparators)
        .ValueName("PATHS");
    command.Footer(
        "Type 'help' there to see the commands. In a script, a refused command is\n"
        "reported with its line, the rest is carried out, and the exit code is 1.");
    command.OnRun([arguments, &console] { RunPlay(*arguments, console); });
}

}  // namespace torval

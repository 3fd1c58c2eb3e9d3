#include <CLI/CLI.hpp>
#include <memory>

#include "apps/cli/book_command.h"
#include "apps/cli/commands.h"
#include "apps/makers/books/book_builder.h"
#include "torval/codes.h"

namespace torval {

namespace {

void AddFile(CLI::App* command, std::string* file, const char* what) {
    TakesNames(command->add_option("FILE", *file, what))->required()->type_name("");
}

void AddMake(CLI::App* book, Console& console) {
    const auto options = std::make_shared<MakeBookOptions>();
    CLI::App* const command =
        book->add_subcommand("make", "Make a book from games; without games an empty one");
    TakesNames(command->add_option("OUT", options->out, "the book to write"))
        ->required()
        ->type_name("");
    TakesNames(
        command->add_option("--pgn", options->pgn, "collections of games, - reads standard input"))
        ->type_name("FILE");
    TakesNames(
        command->add_option("--lines", options->lines, "texts with one line of moves in each line"))
        ->type_name("FILE");
    CLI::Option* const openings = command->add_flag(
        "--openings", options->openings, "the opening lines that are built in, in place of games");
    command->add_option("--variant", options->variant, "bk: scores, bx: games and results as well")
        ->check(CLI::IsMember({"bk", "bx"}))
        ->capture_default_str();
    command->add_option("--version", options->version, "two digits; from 30 on version 3 keys")
        ->capture_default_str();
    command->add_option("--plies", options->plies, "how many moves of each game, in half-moves")
        ->check(CLI::Range(1, kMostBookPlies))
        ->capture_default_str();
    command->add_option("--min-games", options->min_games, "leave out moves played less often")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    command
        ->add_option(
            "--min-elo", options->min_elo, "leave out games unless both players have this rating")
        ->check(CLI::NonNegativeNumber);
    command->add_option("--comment", options->comment, "text that the book carries");
    for (const char* other :
         {"--pgn", "--lines", "--variant", "--plies", "--min-games", "--min-elo"}) {
        openings->excludes(command->get_option(other));
    }
    AddForceFlag(Subcommand(command), &options->force);
    command->callback([options, &console] { MakeBook(*options, console); });
}

void AddMerge(CLI::App* book, Console& console) {
    struct Options {
        std::string out;
        std::vector<std::string> files;
        bool force = false;
    };
    const auto options = std::make_shared<Options>();
    CLI::App* const command = book->add_subcommand(
        "merge", "Make one book of several: games are added up, scores are the first book's");
    TakesNames(command->add_option("OUT", options->out, "the book to write"))
        ->required()
        ->type_name("");
    TakesNames(command->add_option("FILE", options->files, "books of one variant and version"))
        ->required()
        ->type_name("");
    AddForceFlag(Subcommand(command), &options->force);
    command->callback(
        [options, &console] { MergeBooks(options->out, options->files, options->force, console); });
}

using ShowFunction = void (*)(const std::string& file, Console& console);

void AddShow(
    CLI::App* book, Console& console, const char* name, const char* what, ShowFunction show) {
    const auto file = std::make_shared<std::string>();
    CLI::App* const command = book->add_subcommand(name, what);
    AddFile(command, file.get(), "the book");
    command->callback([file, show, &console] { show(*file, console); });
}

void AddMoves(CLI::App* book, Console& console) {
    struct Options {
        std::string file;
        PositionOptions position;
    };
    const auto options = std::make_shared<Options>();
    CLI::App* const command = book->add_subcommand("moves", "Show the moves of a position");
    AddFile(command, &options->file, "the book");
    AddFenOption(Subcommand(command), &options->position);
    AddMovesOption(Subcommand(command), &options->position);
    command->callback(
        [options, &console] { ShowBookMoves(options->file, options->position, console); });
}

void AddExport(CLI::App* book, Console& console) {
    struct Options {
        std::string file;
        bool pgn = false;
        bool lines = false;
        bool tree = false;
        int plies = kMostBookPlies;
    };
    const auto options = std::make_shared<Options>();
    CLI::App* const command = book->add_subcommand(
        "export", "Print the lines from the start position, each position once");
    AddFile(command, &options->file, "the book");
    CLI::Option* const pgn = command->add_flag(
        "--pgn", options->pgn, "as games of PGN, without the moves that are excluded");
    CLI::Option* const lines =
        command->add_flag("--lines", options->lines, "as lines for make, likewise");
    command->add_flag("--tree", options->tree, "as a tree of lines (this is the default)")
        ->excludes(pgn)
        ->excludes(lines);
    pgn->excludes(lines);
    command->add_option("--plies", options->plies, "how far, in half-moves")
        ->check(CLI::Range(1, kMostBookPlies));
    command->callback([options, &console] {
        const ExportForm form = options->pgn     ? ExportForm::Pgn
                                : options->lines ? ExportForm::Lines
                                                 : ExportForm::Tree;
        ExportBook(options->file, form, options->plies, console);
    });
}

using EditFunction = void (*)(const EditBookOptions& options, Console& console);

/// A command that changes a book in place; the caller adds its other options.
CLI::App* AddEdit(CLI::App* book,
                  Console& console,
                  const char* name,
                  const char* what,
                  const std::shared_ptr<EditBookOptions>& options,
                  EditFunction edit) {
    CLI::App* const command = book->add_subcommand(name, what);
    AddFile(command, &options->file, "the book, changed in place");
    AddFenOption(Subcommand(command), &options->position);
    AddMovesOption(Subcommand(command), &options->position);
    command->get_option("--moves")->required();
    command->callback([options, edit, &console] { edit(*options, console); });
    return command;
}

void AddCount(CLI::App* command, EditBookOptions* options, const char* what) {
    command->add_option("--count", options->count, what)->check(CLI::PositiveNumber);
}

void AddAdd(CLI::App* book, Console& console) {
    const auto options = std::make_shared<EditBookOptions>();
    CLI::App* const command =
        AddEdit(book, console, "add", "Add a line of moves", options, AddToBook);
    command->add_option("--score", options->score, "White's view of the line's end")
        ->check(CLI::Range(-kHighestBookScore, kHighestBookScore))
        ->capture_default_str();
    AddCount(command, options.get(), "only the last N moves");
    command->add_option("--result", options->result, "of the game, for a book that counts games")
        ->check(CLI::IsMember({"1-0", "0-1", "1/2-1/2"}));
    CLI::Option* const exclude =
        command->add_flag("--exclude", options->exclude, "the last move is not to be played");
    command
        ->add_flag("--prefer",
                   options->prefer,
                   "the last move wins: moves of the line that allow it are excluded")
        ->excludes(exclude);
}

void AddDelete(CLI::App* book, Console& console) {
    const auto options = std::make_shared<EditBookOptions>();
    options->count = 1;
    CLI::App* const command =
        AddEdit(book, console, "delete", "Remove the last move of a line", options, DeleteFromBook);
    AddCount(command,
             options.get(),
             "as long as positions lose their only move so, the move before too, up to N in all");
}

void AddExclude(CLI::App* book, Console& console) {
    AddEdit(book,
            console,
            "exclude",
            "Keep the last move of a line from being played",
            std::make_shared<EditBookOptions>(),
            ExcludeFromBook);
}

}  // namespace

void AddBookCommand(Subcommand application, Console& console) {
    CLI::App* const book =
        application.AddCommand("book", "Make, show and change opening books").App();
    book->require_subcommand(1);
    AddMake(book, console);
    AddMerge(book, console);
    AddShow(book, console, "list", "Show the start position's moves", ListBook);
    AddMoves(book, console);
    AddShow(book, console, "info", "Tell what kind of book it is, and how full", ShowBookInfo);
    AddShow(book, console, "verify", "Check every block, link, record and counter", VerifyBook);
    AddExport(book, console);
    AddAdd(book, console);
    AddDelete(book, console);
    AddExclude(book, console);
}

}  // namespace torval

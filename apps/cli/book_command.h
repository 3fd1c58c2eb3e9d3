// What the subcommands of `torval book` do.
//
// Errors   InputError for a file that cannot be read, is no book, or a wrong position or move;
//          std::runtime_error when a book is refused, found faulty or cannot be written.
// Thread   the thread that works on the position.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/cli/positions.h"
#include "apps/text/console.h"

namespace torval {

struct MakeBookOptions {
    std::string out;
    std::vector<std::string> pgn;    ///< files of games, "-" for standard input
    std::vector<std::string> lines;  ///< files with a line of moves in each text line
    bool openings = false;           ///< the built-in opening table, in place of games
    std::string variant = "bk";
    std::string version = "20";
    std::string comment;
    int plies = 30;
    int min_games = 1;
    int min_elo = 0;
    bool force = false;  ///< replace an existing book
};

/// Makes a book from games; without files an empty one, with an index to grow into.
void MakeBook(const MakeBookOptions& options, Console& console);

/// One book of several of one variant and version. A move's games are added up; its score and flags
/// are those of the first book that has it. `force` replaces an existing book.
void MergeBooks(const std::string& out,
                const std::vector<std::string>& files,
                bool force,
                Console& console);

/// The moves of the start position, and how large the book is.
void ListBook(const std::string& file, Console& console);
void ShowBookMoves(const std::string& file, const PositionOptions& place, Console& console);
void ShowBookInfo(const std::string& file, Console& console);
/// Prints every fault; throws std::runtime_error if there is any.
void VerifyBook(const std::string& file, Console& console);

enum class ExportForm { Tree, Pgn, Lines };

/// The lines from the start position on. A line ends at a position that another one has reached.
void ExportBook(const std::string& file, ExportForm form, int plies, Console& console);

struct EditBookOptions {
    std::string file;
    PositionOptions position;
    int score = 0;           ///< White's view of the position after the moves
    int count = kWholeLine;  ///< how many of the last moves
    std::string result;      ///< of the game that a BX book counts
    bool exclude = false;
    bool prefer = false;

    static constexpr int kWholeLine = -1;
};

/// These work in place, as the engine does while it plays: after an interruption `verify` reports
/// the state of the file.
void AddToBook(const EditBookOptions& options, Console& console);
void DeleteFromBook(const EditBookOptions& options, Console& console);
/// Keeps the score that the last move has in the book.
void ExcludeFromBook(const EditBookOptions& options, Console& console);

}  // namespace torval

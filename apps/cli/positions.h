// The positions a command works on: one from a FEN with moves played from it, or many from a file.
//
// Errors   InputError, with the name of the option, or file and line, that the input came from.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "apps/cli/options.h"
#include "apps/text/console.h"
#include "apps/text/fen.h"
#include "board/position.h"

namespace torval {

struct PositionOptions {
    std::string fen = kStartFen;
    std::string moves;  ///< entered as game moves
    std::string epd;    ///< a file of positions, "-" for standard input; replaces fen and moves
};

void AddFenOption(Subcommand command, PositionOptions* options);
void AddMovesOption(Subcommand command, PositionOptions* options);
/// To be added after --fen and, where the command has it, --moves.
void AddEpdOption(Subcommand command, PositionOptions* options);

/// --book FILE, for a command that plays from no book without it.
void AddBookOption(Subcommand command, std::string* file);
/// Opens the file as the main book; nothing for an empty name. After StartEngine.
void UseBook(const std::string& file);

/// --force, for a command that writes a new file.
void AddForceFlag(Subcommand command, bool* force);

/// --tb PATHS, for a command that uses no endgame databases without it.
void AddTablebaseOption(Subcommand command, std::string* paths);
/// Has the engine use the endgame databases in these directories; nothing for an empty text. After
/// StartEngine. What the engine would refuse, ending the process, is reported as an InputError; a
/// damaged program directory is left out, with a line on `err`.
void UseTablebases(const std::string& paths, std::ostream& err);

/// The engine as it is when loaded, with default settings and a table of default size.
void StartEngine();
/// With a table of this many kilobytes, 0 for none.
void StartEngine(std::uint32_t table_kilobytes);

/// Sets up the FEN and enters the moves.
void SetUp(const PositionOptions& options);

/// Reads legal moves of the working position, without making them.
std::vector<Move> ReadLegalMoves(std::string_view text);

/// Calls `answer` for each position, set up in a new game: once with an empty text for fen and
/// moves, else for each line of the file with the line's position. `answer` prints one line then.
void AnswerEach(const PositionOptions& options,
                Console& console,
                const std::function<void(std::string_view fen)>& answer);

}  // namespace torval

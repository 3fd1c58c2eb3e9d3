#include "apps/cli/positions.h"

#include <filesystem>
#include <fstream>
#include <system_error>

#include "apps/host/books.h"
#include "apps/host/databases.h"
#include "apps/makers/set_up.h"
#include "apps/makers/tables/directories.h"
#include "apps/text/moves.h"
#include "apps/text/progress.h"
#include "apps/text/text.h"
#include "board/move_text.h"
#include "book/books.h"
#include "egtb/nalimov/probe.h"
#include "game/game.h"
#include "game/think.h"
#include "state/notify.h"
#include "state/settings.h"
#include "torval/codes.h"

namespace torval {

namespace {

constexpr const char* kStandardInput = "-";

std::string MoveProblem(Status status, std::string_view word, std::size_t number) {
    const std::string name = "move " + std::to_string(number) + " " + Quote(word);
    switch (status) {
        case StatusBadText: return name + " cannot be read";
        case StatusNoMove: return name + " is not legal";
        case StatusAmbiguous: return name + " can mean more than one move";
        case StatusRecordFull: return name + " is one more than a game can have";
        default: return name + " is refused";
    }
}

void EnterMoves(std::string_view text) {
    std::size_t number = 0;
    for (const std::string_view word : SplitWords(text)) {
        ++number;
        MOVES made;
        const Status status = DoMove(EntryText(word).c_str(), &made);
        if (status != StatusOk) throw InputError("--moves: " + MoveProblem(status, word, number));
    }
}

void AnswerLine(std::string_view line,
                const std::string& place,
                const std::function<void(std::string_view fen)>& answer) {
    constexpr std::size_t kNeededFields = 4;
    constexpr std::size_t kMostFields = 6;
    const std::vector<std::string_view> words = SplitWords(line);
    if (words.empty()) return;
    std::string fen;
    for (std::size_t i = 0; i < words.size() && i < kMostFields; ++i) {
        // Counters are numbers; anything else begins the line's comment.
        if (i >= kNeededFields && words[i].find_first_not_of("0123456789") != words[i].npos) break;
        if (i > 0) fen += ' ';
        fen += words[i];
    }
    NewGame();
    std::string error;
    if (!SetUpFen(fen, &error)) throw InputError(place + ": " + error);
    answer(fen);
}

std::size_t CountLines(const std::string& file) {
    std::ifstream in(file);
    std::size_t count = 0;
    for (std::string line; std::getline(in, line);) ++count;
    return count;
}

}  // namespace

void AddFenOption(Subcommand command, PositionOptions* options) {
    command.AddOption("--fen", &options->fen, "position, the start position if not given")
        .ValueName("FEN");
}

void AddMovesOption(Subcommand command, PositionOptions* options) {
    command
        .AddOption("--moves",
                   &options->moves,
                   "moves to play from the position, in one argument: \"e2e4 e7e5\", \"e4 e5\"")
        .ValueName("MOVES");
}

void AddEpdOption(Subcommand command, PositionOptions* options) {
    command
        .AddOption("--epd",
                   &options->epd,
                   "answer each position of a file, one a line; - reads standard input")
        .TakesNames()
        .ValueName("FILE")
        .Excludes("--fen")
        .Excludes("--moves");
}

void AddBookOption(Subcommand command, std::string* file) {
    command.AddOption("--book", file, "play from this opening book").TakesNames().ValueName("FILE");
}

void UseBook(const std::string& file) {
    if (file.empty()) return;
    std::string full = std::filesystem::absolute(file).string();
    if (full.size() >= sizeof settings_block.MainBookName) {
        throw InputError("--book: the name of a book has at most 255 characters");
    }
    full.copy(settings_block.MainBookName, full.size());
    settings_block.MainBookName[full.size()] = '\0';
    settings_block.UserBookName[0] = '\0';
    if (const int result = OpenBooks(); result != BookOpened) {
        throw InputError("--book: " + BookProblem(file, result));
    }
}

void AddForceFlag(Subcommand command, bool* force) {
    command.AddFlag("--force", force, "replace what is there, without asking");
}

void AddTablebaseOption(Subcommand command, std::string* paths) {
    command.AddOption("--tb", paths, "use the endgame databases in these directories, \"one;two\"")
        .TakesNames(kNalimovSeparators)
        .ValueName("PATHS");
}

void UseTablebases(const std::string& paths, std::ostream& err) {
    if (paths.empty()) return;
    if (const std::string damage = LeaveOutDamagedOwnDirectory(); !damage.empty()) {
        err << "torval: " << damage << '\n' << std::flush;
    }
    std::string problem = NalimovPathProblem(paths);
    if (problem.empty()) problem = MissingFolder(paths);
    if (!problem.empty()) throw InputError("--tb: " + problem);
    paths.copy(NalimovPath, paths.size());
    NalimovPath[paths.size()] = '\0';
    settings_block.BookUse |= BookUseDatabases;
    InitialiseDatabases();
}

void StartEngine() {
    SetDefaultSettings();
    StartEngine(settings_block.TranspKB);
}

void StartEngine(std::uint32_t table_kilobytes) {
    SetDefaultSettings();
    settings_block.TranspKB = table_kilobytes;
    NalimovPath[0] = '\0';
    notification_sink = {};
    SkipList.clear();
    CloseBooks();
    InitialiseEngine();
}

void SetUp(const PositionOptions& options) {
    std::string error;
    if (!SetUpFen(options.fen, &error)) throw InputError("--fen: " + error);
    EnterMoves(options.moves);
}

std::vector<Move> ReadLegalMoves(std::string_view text) {
    std::vector<Move> moves;
    std::size_t number = 0;
    for (const std::string_view word : SplitWords(text)) {
        ++number;
        const int found = ParseMoveText(legal_moves, EntryText(word).c_str());
        if (found != 1) {
            const Status status = found < 0    ? StatusBadText
                                  : found == 0 ? StatusNoMove
                                               : StatusAmbiguous;
            throw InputError(MoveProblem(status, word, number));
        }
        moves.push_back(Plain(EntryAt(legal_moves->quiet_head)->move));
        // Parsing has narrowed the list.
        RebuildLegalMoves();
    }
    return moves;
}

void AnswerEach(const PositionOptions& options,
                Console& console,
                const std::function<void(std::string_view fen)>& answer) {
    if (options.epd.empty()) {
        SetUp(options);
        answer({});
        return;
    }
    const bool from_standard_input = options.epd == kStandardInput;
    std::ifstream file;
    std::size_t lines = 0;
    if (!from_standard_input) {
        // A directory opens like a file, and a pipe can be read only once.
        std::error_code ignored;
        file.open(options.epd);
        if (!file || std::filesystem::is_directory(options.epd, ignored)) {
            throw InputError("--epd: cannot read " + QuoteName(options.epd));
        }
        if (std::filesystem::is_regular_file(options.epd, ignored)) lines = CountLines(options.epd);
    }
    std::istream& in = from_standard_input ? console.in : file;
    const std::string name = from_standard_input ? "standard input" : options.epd;
    ProgressBar bar(console, lines);
    std::string line;
    for (std::size_t number = 1; std::getline(in, line); ++number) {
        AnswerLine(line, name + ":" + std::to_string(number), [&](std::string_view fen) {
            bar.Clear();
            answer(fen);
        });
        bar.Step();
    }
    bar.Clear();
    if (in.bad()) throw InputError("--epd: reading " + name + " failed");
}

}  // namespace torval

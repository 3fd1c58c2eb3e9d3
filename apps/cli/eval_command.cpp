#include <iomanip>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>

#include "apps/cli/commands.h"
#include "apps/cli/positions.h"
#include "apps/makers/tables/table_file.h"
#include "apps/text/book_text.h"
#include "apps/text/game_text.h"
#include "book/books.h"
#include "eval/evaluate.h"
#include "eval/setup.h"
#include "game/game.h"

namespace torval {

namespace {

constexpr std::array<const char*, 6> kPhaseNames = {
    "not set", "opening", "middlegame", "endgame", "endgame without pawns", "pawn endgame"};

struct EvalOptions {
    PositionOptions position;
    bool json = false;
    std::string book;
    std::string tablebases;
};

/// A row of the table: a term for both sides, in points.
struct Term {
    const char* name;
    int EvalTerms::PerSide::*value;
    int divisor;  ///< how much of it counts
};
constexpr std::array<Term, 9> kTerms = {{
    {"Material", &EvalTerms::PerSide::material, 1},
    {"Pawns", &EvalTerms::PerSide::pawns, 1},
    {"Knights", &EvalTerms::PerSide::knights, 1},
    {"Bishops", &EvalTerms::PerSide::bishops, 1},
    {"Bishop pair", &EvalTerms::PerSide::bishop_pair, 1},
    {"Rooks", &EvalTerms::PerSide::rooks, 1},
    {"Queens", &EvalTerms::PerSide::queens, 1},
    {"King safety", &EvalTerms::PerSide::king_safety, 1},
    {"Piece squares", &EvalTerms::PerSide::piece_squares, 2},
}};

EvalResult Evaluated() { return Evaluate(0, -kFullWindow, kFullWindow, 0); }
int Score() { return Evaluated().score; }

/// The score in words; one from a database counts from the position itself.
std::string ScoreInWords() {
    const EvalResult result = Evaluated();
    if (!(result.flags & kExact)) return ScoreText(result.score);
    const int score = result.score;
    if (score == 0) return ValueText(kDrawValue);
    const int moves = score > 0 ? (kMateUnits - score + 1) / 2 : (kMateUnits + score) / 2;
    return ValueText(score > 0 ? MatesIn(moves) : MatedIn(moves));
}
int WhiteView(int score) { return position.SideToMove == White ? score : -score; }

std::string JsonText() {
    const int score = Score();
    return nlohmann::ordered_json{{"phase", position.GamePhase},
                                  {"margin", PositionalMargin},
                                  {"score", score},
                                  {"material", WhiteView(score) - LastPositionalScore},
                                  {"positional", LastPositionalScore}}
        .dump();
}

double Pawns(double points) { return points / kPawnUnits; }

void PrintBalance(std::ostream& out, const char* name, int points) {
    out << std::left << std::setw(36) << name << std::right << std::showpos << std::setw(9)
        << Pawns(points) << std::noshowpos << '\n';
}

void PrintTable(std::ostream& console_out) {
    const EvalTerms terms = ExplainEvaluation();
    const int score = Score();
    std::ostringstream out;
    out << std::fixed << std::setprecision(2);
    out << "Phase: " << kPhaseNames.at(position.GamePhase) << ". In pawns:\n\n";
    out << std::left << std::setw(18) << "Term" << std::right << std::setw(9) << "White"
        << std::setw(9) << "Black" << std::setw(9) << "Balance" << '\n';
    for (const Term& term : kTerms) {
        const double white = Pawns(terms.side[White].*term.value) / term.divisor;
        const double black = Pawns(terms.side[Black].*term.value) / term.divisor;
        out << std::left << std::setw(18) << term.name << std::right << std::setw(9) << white
            << std::setw(9) << black << std::showpos << std::setw(9) << white - black
            << std::noshowpos << '\n';
    }
    PrintBalance(out, "Lone minor piece against pawns", terms.lone_minor);
    PrintBalance(out, "Pawn that cannot be stopped", terms.unstoppable);
    out << '\n';
    PrintBalance(out, "Positional terms together", terms.positional);
    PrintBalance(out, "of which count", LastPositionalScore);
    if (Evaluated().flags & kExact) {
        out << "Endgame database: " << ScoreInWords() << " for the side to move\n";
    } else {
        PrintBalance(out, "Score for White", WhiteView(score));
        PrintBalance(out, "Score for the side to move", score);
    }
    console_out << out.str();
}

void PrintBookMoves(std::ostream& out) {
    W_BOOKMOVES2 moves;
    CHSBRD board;
    CollectBookMoves(*legal_moves, &moves);
    StorePosition(&board);
    out << '\n';
    for (const std::string& line : BookLines(moves, board)) out << line << '\n';
}

void RunEval(const EvalOptions& options, Console& console) {
    StartEngine();
    UseBook(options.book);
    UseTablebases(options.tablebases, console.err);
    const bool many = !options.position.epd.empty();
    AnswerEach(options.position, console, [&](std::string_view fen) {
        if (options.json) {
            console.out << JsonText() << '\n';
        } else if (many) {
            console.out << fen << ": " << ScoreInWords() << '\n';
        } else {
            PrintTable(console.out);
            if (!options.book.empty()) PrintBookMoves(console.out);
        }
    });
}

}  // namespace

void AddEvalCommand(Subcommand application, Console& console) {
    const auto options = std::make_shared<EvalOptions>();
    Subcommand command = application.AddCommand("eval", "Evaluate a position without searching");
    AddFenOption(command, &options->position);
    AddEpdOption(command, &options->position);
    command.AddOption("--book", &options->book, "tell the moves of this opening book as well")
        .ValueName("FILE");
    AddTablebaseOption(command, &options->tablebases);
    command.AddFlag("--json",
                    &options->json,
                    "answer with one line of JSON, in 1/128 pawn: the score for the side to "
                    "move, its material and positional parts for White");
    command.OnRun([options, &console] { RunEval(*options, console); });
}

}  // namespace torval

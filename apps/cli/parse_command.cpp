#include <memory>
#include <nlohmann/json.hpp>

#include "apps/cli/commands.h"
#include "apps/cli/notation.h"
#include "apps/cli/positions.h"
#include "apps/text/moves.h"
#include "board/move_text.h"
#include "game/game.h"

namespace torval {

namespace {

struct ParseOptions {
    PositionOptions position;
    std::string text;
    bool json = false;
};

void RunParse(const ParseOptions& options, Console& console) {
    StartEngine();
    SetUp(options.position);
    const int result = ParseMoveText(legal_moves, options.text.c_str());
    std::vector<Move> found;
    const MoveEntry* entry = EntryAt(legal_moves->quiet_head);
    for (int i = 0; i < result && entry; ++i, entry = NextEntry(*entry)) {
        found.push_back(entry->move);
    }
    if (options.json) {
        auto moves = nlohmann::ordered_json::array();
        for (const Move move : found) moves.push_back(EvarHex(move));
        console.out << nlohmann::ordered_json{{"result", result}, {"moves", moves}}.dump() << '\n';
        return;
    }
    if (result == kUnreadable) console.out << "This is no move\n";
    if (result == 0) console.out << "No legal move fits\n";
    for (const Move move : found) {
        console.out << Algebraic(move) << " (" << CoordinateText(move) << ")\n";
    }
}

}  // namespace

void AddParseCommand(Subcommand application, Console& console) {
    const auto options = std::make_shared<ParseOptions>();
    Subcommand command = application.AddCommand("parse", "Tell which legal moves a text can mean");
    command.AddOption("TEXT", &options->text, "a move, such as Nf3 or e2e4")
        .Required()
        .ValueName("");
    AddFenOption(command, &options->position);
    command.AddFlag("--json", &options->json, "answer with one line of JSON");
    command.OnRun([options, &console] { RunParse(*options, console); });
}

}  // namespace torval

#include <memory>
#include <nlohmann/json.hpp>

#include "apps/cli/commands.h"
#include "apps/cli/notation.h"
#include "apps/cli/positions.h"
#include "apps/text/text.h"
#include "board/attack.h"
#include "board/legality.h"
#include "game/game.h"

namespace torval {

namespace {

struct MovesOptions {
    PositionOptions position;
    bool json = false;
};

nlohmann::ordered_json Evars(Link head) {
    auto evars = nlohmann::ordered_json::array();
    for (MoveEntry* entry = EntryAt(head); entry; entry = NextEntry(*entry)) {
        evars.push_back(EvarHex(entry->move));
    }
    return evars;
}

std::string JsonText() {
    ReleaseLegalMoves();
    MoveList& list = GenerateMoves();
    auto quiet = Evars(list.quiet_head);
    auto captures = Evars(list.capture_head);
    const int count = list.count;
    const int capture_count = list.capture_count;
    FilterLegal(&list);
    auto legal = Evars(list.quiet_head);
    ReleaseMoves(list);
    RebuildLegalMoves();
    return nlohmann::ordered_json{{"quiet", quiet},
                                  {"captures", captures},
                                  {"legal", legal},
                                  {"count", count},
                                  {"capture_count", capture_count}}
        .dump();
}

std::string MovesText() {
    std::vector<std::string> moves;
    for (MoveEntry* entry = EntryAt(legal_moves->quiet_head); entry; entry = NextEntry(*entry)) {
        moves.push_back(Algebraic(entry->move));
    }
    if (!moves.empty()) return JoinWords(moves);
    return InCheck(position.SideToMove) ? "Checkmate" : "Stalemate";
}

void RunMoves(const MovesOptions& options, Console& console) {
    StartEngine();
    const bool many = !options.position.epd.empty();
    AnswerEach(options.position, console, [&](std::string_view fen) {
        if (options.json) {
            console.out << JsonText() << '\n';
        } else if (many) {
            console.out << fen << ": " << MovesText() << '\n';
        } else {
            console.out << MovesText() << '\n';
        }
    });
}

}  // namespace

void AddMovesCommand(Subcommand application, Console& console) {
    const auto options = std::make_shared<MovesOptions>();
    Subcommand command = application.AddCommand("moves", "List the legal moves");
    AddFenOption(command, &options->position);
    AddMovesOption(command, &options->position);
    AddEpdOption(command, &options->position);
    command.AddFlag("--json",
                    &options->json,
                    "answer with one line of JSON: the generated lists and the legal one");
    command.OnRun([options, &console] { RunMoves(*options, console); });
}

}  // namespace torval

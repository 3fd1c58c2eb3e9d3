#include <memory>
#include <nlohmann/json.hpp>

#include "apps/cli/commands.h"
#include "apps/cli/positions.h"
#include "apps/text/moves.h"
#include "board/draw.h"
#include "eval/setup.h"

namespace torval {

namespace {

struct StateOptions {
    PositionOptions position;
    bool json = false;
};

nlohmann::ordered_json ListOf(Side side) {
    const auto& list = position.PieceList[side];
    auto squares = nlohmann::ordered_json::array();
    for (unsigned i = 0; i <= static_cast<unsigned>(list.count); ++i) {
        squares.push_back(SquareText(list.squares[i]));
    }
    return squares;
}

nlohmann::ordered_json State() {
    constexpr int kOutsideSearch = 0;
    return {{"primary", PrimaryKey(position.key)},
            {"secondary", SecondaryKey(position.key)},
            {"white_material", position.MaterialWord[White]},
            {"black_material", position.MaterialWord[Black]},
            {"white_positional", position.PositionalSum[White]},
            {"black_positional", position.PositionalSum[Black]},
            {"white_list", ListOf(White)},
            {"black_list", ListOf(Black)},
            {"castle", position.CastleState},
            {"fifty", position.FiftyCounter},
            {"side", position.SideToMove},
            {"game_ply", GamePly.load(std::memory_order_relaxed)},
            {"phase", position.GamePhase},
            {"margin", PositionalMargin},
            {"draw", static_cast<int>(DrawStatus(kOutsideSearch))}};
}

void RunState(const StateOptions& options, Console& console) {
    StartEngine();
    SetUp(options.position);
    const nlohmann::ordered_json state = State();
    if (options.json) {
        console.out << state.dump() << '\n';
        return;
    }
    for (const auto& [name, value] : state.items()) {
        console.out << name << ": " << value.dump() << '\n';
    }
}

}  // namespace

void AddStateCommand(Subcommand application, Console& console) {
    const auto options = std::make_shared<StateOptions>();
    Subcommand command =
        application.AddCommand("state", "Show what the engine keeps about a position");
    AddFenOption(command, &options->position);
    AddMovesOption(command, &options->position);
    command.AddFlag("--json", &options->json, "answer with one line of JSON");
    command.OnRun([options, &console] { RunState(*options, console); });
}

}  // namespace torval

#include "apps/makers/set_up.h"

#include "apps/text/fen.h"
#include "game/game.h"

namespace torval {

bool SetUpFen(std::string_view fen, std::string* error) {
    const std::optional<FenPosition> parsed = ParseFen(fen, error);
    if (!parsed) return false;
    if (SetPosition(parsed->board) != StatusOk) {
        *error = "the engine is computing or refuses the position";
        return false;
    }
    if (parsed->double_step.empty()) return true;
    MOVES made;
    if (DoMove(parsed->double_step.c_str(), &made) == StatusOk) return true;
    *error = "en passant square: " + parsed->double_step + " cannot be played";
    return false;
}

}  // namespace torval

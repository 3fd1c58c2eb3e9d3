// Games as files: PGN, the format that chess programs exchange games in.
//
// Shape    tags, then moves in standard algebraic notation. One game is written or read; anything
//          after the first game of a text is ignored.
// Reading  comments, variations, numeric glyphs, move numbers and marks such as "!?" are skipped.
// Errors   a text that says what is wrong; nothing is changed then.
// Source   the Portable Game Notation standard of 1994.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "torval/engine.h"

namespace torval {

struct PgnGame {
    std::vector<std::pair<std::string, std::string>> tags;  ///< except FEN, SetUp and Result
    std::string fen;                                        ///< empty for the usual start
    std::vector<std::string> moves;
    std::string result = "*";

    bool operator==(const PgnGame&) const = default;
};

/// The text of a game, ending in an empty line. The roster of seven tags comes first and is
/// complete.
std::string WritePgn(const PgnGame& game);

std::optional<PgnGame> ReadPgn(std::string_view text, std::string* error);

/// DoMove for a move in PGN: check and mate marks may be missing or wrong, and a capital letter is
/// always a piece.
HRESULT EnterPgnMove(IChessEngine* engine, std::string_view move, MOVES* made);

}  // namespace torval

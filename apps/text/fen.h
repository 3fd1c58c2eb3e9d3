// Positions as text: FEN, read into the engine's position record.
//
// Range    the four fields that make a position (men, side, castling, en passant) must be there;
//          the counters may be left out. The engine takes no counters: hosts count from them.
// Errors   a text that names the field and says what is wrong with it; nothing is changed then.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "torval/records.h"

namespace torval {

/// The counters of a position.
struct MoveCounts {
    int half_moves = 0;   ///< since the last capture or pawn move
    int move_number = 1;  ///< of the move to come

    bool operator==(const MoveCounts&) const = default;
};

struct FenPosition {
    CHSBRD board;             ///< what to set up
    std::string double_step;  ///< a move to play from there, such as "e2e4", or empty
    MoveCounts counts;        ///< of `board`
    /// Why no game leads here, with the field's name, though the engine accepts the position: a
    /// pawn on its last rank or behind its first, or a king that can be captured. Empty if there is
    /// no such flaw.
    std::string flaw;
};

/// Reads a FEN. Where an en passant capture is possible, `board` is the position before the double
/// step, since a set-up position itself offers no en passant. On failure *error says why.
std::optional<FenPosition> ParseFen(std::string_view fen, std::string* error);

inline constexpr const char* kStartFen = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";

}  // namespace torval

// Positions, counts, scores and clocks of the engine's records as text for users and files.
//
// Thread   pure functions.
#pragma once

#include <optional>
#include <string>

#include "apps/text/fen.h"
#include "torval/records.h"

namespace torval {

/// The counters of the position after a move in the position `before`.
MoveCounts CountsAfter(const EVAR& move, const CHSBRD& before, MoveCounts counts);

/// FEN of a position. `last` is the move that led to it, null at a start: a double step creates an
/// en passant square, which is written if a pawn could capture there. The record's own counters are
/// ignored, since they start again where a position was set up.
std::string FenText(const CHSBRD& board, const EVAR* last, MoveCounts counts);

/// "12." or "12...", for the move made in the position `before`.
std::string NumberText(const CHSBRD& before, MoveCounts counts);

/// Moves (not plies) to mate: positive when the side to move mates, negative when it is mated;
/// nullopt for a score that is not a mate.
std::optional<int> MovesToMate(int score);

/// "+0.34" in pawns, "mate in 3" or "mated in 2".
std::string ScoreText(int score);

/// "4:07", "1:02:03"; whole seconds, rounded up so that a clock shows 0 only when time has run out.
std::string ClockText(int milliseconds);

}  // namespace torval

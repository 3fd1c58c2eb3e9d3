// What the engine found, as lines of the protocol.
//
// Thread   pure functions.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "torval/records.h"

namespace torval {

/// Moves (not plies) to mate: positive when the side to move mates, negative when it is mated; none
/// for a score that is no mate.
std::optional<int> MovesToMate(int score);

/// "cp 34" in hundredths of a pawn, "mate 3" or "mate -2".
std::string ScoreReport(int score);

/// A whole `info` line.
std::string LineReport(const MAINVAR& line, std::int64_t nodes, std::int64_t elapsed_ms);

}  // namespace torval

// What the engine found, as lines of the protocol.
//
// Thread   pure functions.
#pragma once

#include <cstdint>
#include <string>

#include "torval/records.h"

namespace torval {

/// "cp 34" in hundredths of a pawn, "mate 3" or "mate -2".
std::string ScoreReport(int score);

/// A whole `info` line.
std::string LineReport(const MAINVAR& line, std::int64_t nodes, std::int64_t elapsed_ms);

}  // namespace torval

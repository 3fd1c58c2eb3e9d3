// Counting the positions that legal moves lead to, the common measure of a move generator.
//
// Range    depth 0 to kMaxPerftDepth; deeper trees would take longer than a lifetime.
// Thread   the thread that works on the position, while no search runs. The position is left as it
//          was except for the order of the piece lists, which captures change.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "board/position.h"

namespace torval {

inline constexpr int kMaxPerftDepth = 12;

/// How many sequences of `depth` legal moves start at the working position. Every move of every
/// sequence is made and taken back, the last one too. Captures of a king do not count.
std::uint64_t Perft(int depth);

/// The same for each legal move; depth is at least 1. In the order of the legal list.
std::vector<std::pair<Move, std::uint64_t>> PerftDivide(int depth);

}  // namespace torval

// Moves and lines of the working position as people and scripts read them.
//
// Thread   the thread that works on the position. Functions that play moves to write them restore
//          everything, including the order of the piece lists, so they may be called from within a
//          search.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "board/position.h"

namespace torval {

/// The four bytes from, to, flags, capture as eight hexadecimal digits, marks included.
std::string EvarHex(Move move);

/// A line of legal moves from the working position in standard algebraic notation, English
/// letters, check and mate signs. Marks in the moves are ignored.
std::vector<std::string> AlgebraicLine(std::span<const Move> moves);

/// One legal move of the working position, likewise.
std::string Algebraic(Move move);

}  // namespace torval

// The moves of the opening books as people read them.
//
// Thread   pure functions.
#pragma once

#include <string>
#include <vector>

#include "torval/records.h"

namespace torval {

/// A heading and a line for each move: notation, score for the side to move, the games that a book
/// counts, and what the book says about it. One sentence where no book has a move.
std::vector<std::string> BookLines(const W_BOOKMOVES2& moves, const CHSBRD& position);

/// What is said about a move by its flags; empty for nothing.
std::string BookRemark(std::uint8_t flags);

}  // namespace torval

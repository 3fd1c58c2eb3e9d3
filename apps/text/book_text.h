// The moves of the opening books as text for the user.
//
// Thread   pure functions.
#pragma once

#include <string>
#include <vector>

#include "torval/records.h"

namespace torval {

/// A heading and a line for each move: notation, score for the side to move, the games that a book
/// counts, and its flags in words. One sentence where no book has a move.
std::vector<std::string> BookLines(const W_BOOKMOVES2& moves, const CHSBRD& position);

/// The flags of a move in words; empty if there is nothing to say.
std::string BookRemark(std::uint8_t flags);

}  // namespace torval

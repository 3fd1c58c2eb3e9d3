// A move as coordinates, and how such a text is entered.
//
// Thread   pure functions.
#pragma once

#include <string>
#include <string_view>

#include "torval/records.h"

namespace torval {

/// "e4", from a 0x88 number; annotation bits do not matter.
std::string SquareText(std::uint8_t square);

/// "e2e4", "e7e8q"; castling as the king's move.
std::string CoordinateText(const EVAR& move);

/// Whether two moves are the same, whatever their annotations.
bool SameMove(const EVAR& one, const EVAR& other);

/// Whether the text has the form of coordinates: two squares and perhaps a piece to promote to.
bool IsCoordinateText(std::string_view text);

/// The text to pass to DoMove: the promotion letter of coordinates in upper case, since a
/// lower-case b could be a file. Any other text is unchanged.
std::string EntryText(std::string_view move);

}  // namespace torval

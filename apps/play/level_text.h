// Playing levels in words, as a player types and reads them.
//
// Units    seconds.
// Thread   pure functions.
// Errors   false, and *error says why. Whether the values are acceptable is up to the engine.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "torval/records.h"

namespace torval {

/// What can be typed, one form a line.
extern const char* const kLevelForms;

/// Reads a level, in words ("game 40 moves in 300") or numbers ("1 40 300"), into the fields of a
/// level; fields without a word (such as randomness) are left unchanged.
bool ReadLevel(std::span<const std::string_view> words, LEVEL* level, std::string* error);

/// "depth 8", "40 moves in 5:00, then 20 moves in 2:00".
std::string LevelText(const LEVEL& level);

}  // namespace torval

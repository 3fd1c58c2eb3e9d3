// Small services for text that comes from outside.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace torval {

/// The parts between blanks, which are spaces, tabs and line ends.
std::vector<std::string_view> SplitWords(std::string_view text);

/// The parts with a space between each two.
std::string JoinWords(const std::vector<std::string>& words);

/// Reads a whole number, perhaps with a sign, from `least` to `most`. False, and nothing read, for
/// anything else.
bool ReadNumber(std::string_view word, int least, int most, int* number);

/// Foreign text for a message, in quotes: short, and on one line whatever its bytes are.
std::string Quote(std::string_view text);

}  // namespace torval

// Helpers for text from users and files.
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

/// The lower-case letter for A to Z, else the character itself.
constexpr char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// Whether this answers a question with yes.
bool IsYes(std::string_view answer);

/// A file's name for a message, in quotes: whole however long it is, and on one line.
std::string QuoteName(std::string_view name);

/// A name as a person types it: "~" at its start, alone or before a slash, is $HOME.
std::string ExpandHome(std::string name);
/// The same for each name of a list separated by these characters.
std::string ExpandHomes(std::string_view list, std::string_view separators);

/// Text from outside for a message, in quotes: short, and on one line whatever its bytes are.
std::string Quote(std::string_view text);

}  // namespace torval

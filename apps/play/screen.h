// What the player sees: the board with the game beside it, as lines of text.
//
// Shape    kScreenLines lines of at most kScreenWidth columns, so that with some lines of dialogue
//          everything stays within a terminal of 80 x 24.
// Thread   pure functions.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "torval/records.h"

namespace torval {

inline constexpr std::size_t kScreenWidth = 79;
inline constexpr std::size_t kScreenLines = 14;

struct BoardStyle {
    bool ascii = false;
    bool flipped = false;  ///< Black at the bottom
};

/// All that the screen shows.
struct View {
    CHSBRD board{};
    EVAR last{};  ///< zero before the first move
    BoardStyle style;
    std::string white_clock;
    std::string black_clock;
    std::vector<std::string> moves;  ///< a line each, oldest first
    std::string level;
    std::string opening;
    std::string status;
    std::string thinking;
};

/// Eight ranks and the file letters. The move made last is marked by brackets; null for none.
std::vector<std::string> BoardLines(const CHSBRD& board, const EVAR* last, BoardStyle style);

std::vector<std::string> ScreenLines(const View& view);

/// The text, cut to this many columns of UTF-8.
std::string Cut(const std::string& text, std::size_t columns);

/// The lines, each broken at blanks where it takes more columns; a word longer than that is not
/// broken.
std::vector<std::string> Wrapped(const std::vector<std::string>& lines, std::size_t columns);

/// Columns that the text takes, in UTF-8.
std::size_t Columns(const std::string& text);

}  // namespace torval

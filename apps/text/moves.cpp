#include "apps/text/moves.h"

#include "apps/text/text.h"
#include "torval/codes.h"

namespace torval {

namespace {

constexpr std::string_view kTypeLetters = " pnbrqk";
constexpr std::string_view kPromotionLetters = "nbrq";

char Upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

bool IsSquare(char file, char rank) {
    return file >= 'a' && file <= 'h' && rank >= '1' && rank <= '8';
}

}  // namespace

std::string SquareText(std::uint8_t square) {
    return {static_cast<char>('a' + (square & 7)), static_cast<char>('1' + (square >> 4 & 7))};
}

std::string CoordinateText(const EVAR& move) {
    std::string text = SquareText(move.from) + SquareText(move.to);
    const unsigned promotion = (move.flags & kPromotionBits) >> kPromotionShift;
    if (promotion > 0 && promotion < kTypeLetters.size()) text += kTypeLetters[promotion];
    return text;
}

bool SameMove(const EVAR& one, const EVAR& other) {
    return ((one.from ^ other.from) & kSquareBits) == 0 &&
           ((one.to ^ other.to) & kSquareBits) == 0 &&
           ((one.flags ^ other.flags) & kPromotionBits) == 0;
}

bool IsCoordinateText(std::string_view text) {
    if (text.size() < 4 || text.size() > 5) return false;
    if (!IsSquare(text[0], text[1]) || !IsSquare(text[2], text[3])) return false;
    return text.size() == 4 || kPromotionLetters.find(Lower(text[4])) != text.npos;
}

std::string EntryText(std::string_view move) {
    std::string text(move);
    if (IsCoordinateText(move) && text.size() == 5) text[4] = Upper(text[4]);
    return text;
}

}  // namespace torval

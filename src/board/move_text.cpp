#include "board/move_text.h"

#include <algorithm>
#include <string_view>

namespace torval {

namespace {

constexpr int kNone = -1;

/// A nibble of a partial square that matches anything.
constexpr int kAnyFile = 0x0F;
constexpr int kAnyRank = 0xF0;

constexpr std::string_view kPieceLetterTables[] = {
    "  NBRQK", "  nBrqk", "  PLTDK", "  pltDk", "  SLTDK", "  sltDk"};
constexpr std::string_view kLongCastling[] = {"O-O-O", "o-o-o", "0-0-0"};
constexpr std::string_view kShortCastling[] = {"O-O", "o-o", "0-0"};

/// The type a character names, 0 when none.
int PieceOfLetter(char c) {
    for (unsigned type = Knight; type <= King; ++type) {
        for (const std::string_view letters : kPieceLetterTables) {
            if (letters[type] == c) return static_cast<int>(type);
        }
    }
    return 0;
}

int FileOfLetter(char c) {
    if (c >= 'A' && c <= 'H') return c - 'A';
    return c >= 'a' && c <= 'h' ? c - 'a' : kNone;
}

int RankOfDigit(char c) { return c >= '1' && c <= '8' ? c - '1' : kNone; }

int SquareOfText(char file_letter, char rank_digit) {
    const int file = FileOfLetter(file_letter);
    const int rank = RankOfDigit(rank_digit);
    return file == kNone || rank == kNone ? kNone : 16 * rank + file;
}

int PartialSquare(char c) {
    if (const int rank = RankOfDigit(c); rank != kNone) return 16 * rank + kAnyFile;
    if (const int file = FileOfLetter(c); file != kNone) return kAnyRank + file;
    return kNone;
}

bool MatchesPartial(Square square, int partial) {
    const bool file_fits = (partial & 0x0F) == kAnyFile || (partial & 0x07) == FileOf(square);
    const bool rank_fits = (partial & 0xF0) == kAnyRank || (partial >> 4) == RankOf(square);
    return file_fits && rank_fits;
}

bool Fits(Move move, Criterion criterion, int value, int type) {
    const Square from = move.from & kSquareBits;
    const Square to = move.to & kSquareBits;
    switch (criterion) {
        case Criterion::Capture: return move.capture != 0;
        case Criterion::Promotion:
            return PromotionType(move) != NoType && (value == 0 || PromotionType(move) == value);
        case Criterion::Destination: return to == value;
        case Criterion::Origin: return from == value;
        case Criterion::Piece: return (move.flags & 7) == value;
        case Criterion::Castling: return (move.flags & kCastlingBit) != 0 && FileOf(to) == value;
        case Criterion::OriginHint: return MatchesPartial(from, value);
        case Criterion::PieceOrPawn:
            return (move.flags & 7) == type ||
                   ((move.flags & 7) == Pawn && move.capture && MatchesPartial(from, value));
    }
    return false;
}

void DropSuffix(std::string_view* text, std::size_t length) { text->remove_suffix(length); }

bool DropLast(std::string_view* text, char c) {
    if (text->empty() || text->back() != c) return false;
    DropSuffix(text, 1);
    return true;
}

/// Removes check and mate signs and "ep". False when nothing or too much is left.
bool StripSuffixes(std::string_view* text) {
    constexpr std::size_t kLongest = 6;
    const std::size_t full_length = text->size();
    if (DropLast(text, '+')) DropLast(text, '+');
    DropLast(text, '#');
    // Only an "ep" that ends the whole text counts.
    if (text->size() == full_length && text->ends_with("ep")) DropSuffix(text, 2);
    if (text->empty() || text->size() > kLongest) return false;
    DropLast(text, '/');
    return true;
}

class Parser {
public:
    Parser(MoveList* list, std::string_view text) : list_(list), text_(text) {}

    int Parse();

private:
    int Narrow(Criterion criterion, int value, int type = 0) {
        NarrowMoves(list_, criterion, value, type);
        return list_->count;
    }
    int ParseOrigin();
    int ParseOneCharacter(char c);
    int ParseTwoCharacters(char c1, char c2);

    MoveList* list_;
    std::string_view text_;
    bool promotion_ = false;
    bool separator_ = false;
};

int Parser::Parse() {
    constexpr int kWholeList = 256;
    if (text_.empty() || !StripSuffixes(&text_)) return kUnreadable;
    list_->count = kWholeList;
    const auto starts = [this](std::string_view spelling) { return text_.starts_with(spelling); };
    if (std::ranges::any_of(kLongCastling, starts)) return Narrow(Criterion::Castling, 2);
    if (std::ranges::any_of(kShortCastling, starts)) return Narrow(Criterion::Castling, 6);

    if (!text_.empty()) {
        const int type = PieceOfLetter(text_.back());
        if (type >= Knight && type <= Queen) {
            Narrow(Criterion::Promotion, type);
            promotion_ = true;
            DropSuffix(&text_, 1);
            DropLast(&text_, '=');
        }
    }
    if (DropLast(&text_, ':')) Narrow(Criterion::Capture, 0);
    if (text_.size() < 2) return kUnreadable;
    const int destination = SquareOfText(text_[text_.size() - 2], text_.back());
    if (destination == kNone) return kUnreadable;
    Narrow(Criterion::Destination, destination);
    DropSuffix(&text_, 2);
    if (text_.empty()) return Narrow(Criterion::Piece, Pawn);
    if (DropLast(&text_, '-')) {
        separator_ = true;
    } else if (DropLast(&text_, 'x') || DropLast(&text_, 'X')) {
        separator_ = true;
        Narrow(Criterion::Capture, 0);
    }
    return ParseOrigin();
}

int Parser::ParseOrigin() {
    switch (text_.size()) {
        case 1: return ParseOneCharacter(text_[0]);
        case 2: return ParseTwoCharacters(text_[0], text_[1]);
        case 3: {
            const int origin = SquareOfText(text_[1], text_[2]);
            return origin == kNone ? kUnreadable : Narrow(Criterion::Origin, origin);
        }
        default: return kUnreadable;
    }
}

int Parser::ParseOneCharacter(char c) {
    if (c == '*') return list_->count;
    const int hint = PartialSquare(c);
    if (promotion_) return hint == kNone ? kUnreadable : Narrow(Criterion::OriginHint, hint);
    const int type = PieceOfLetter(c);
    if (type == 0) {
        if (hint == kNone) return kUnreadable;
        Narrow(Criterion::Piece, Pawn);
        return Narrow(Criterion::OriginHint, hint);
    }
    if (hint == kNone) return Narrow(Criterion::Piece, type);
    return Narrow(Criterion::PieceOrPawn, hint, type);
}

int Parser::ParseTwoCharacters(char c1, char c2) {
    const int origin = SquareOfText(c1, c2);
    const int type = promotion_ ? 0 : PieceOfLetter(c1);
    const int hint = PartialSquare(c2);
    if (origin == kNone) {
        if (type == 0) return kUnreadable;
        Narrow(Criterion::Piece, type);
        return hint == kNone ? kUnreadable : Narrow(Criterion::OriginHint, hint);
    }
    if (type != 0 && !separator_) {
        return hint == kNone ? kUnreadable : Narrow(Criterion::PieceOrPawn, hint, type);
    }
    return Narrow(Criterion::Origin, origin);
}

}  // namespace

void NarrowMoves(MoveList* list, Criterion criterion, int value, int type) {
    if (list->count == 0) return;
    Link kept = kNoLink;
    Link others = kNoLink;
    int kept_count = 0;
    Link walk = list->quiet_head;
    for (int i = 0; i < list->count && walk != kNoLink; ++i) {
        MoveEntry& entry = MoveArena.At(walk);
        const Link next = entry.next;
        Link* const chain = Fits(entry.move, criterion, value, type) ? &kept : &others;
        if (chain == &kept) ++kept_count;
        entry.next = *chain;
        *chain = walk;
        walk = next;
    }
    list->quiet_head = kept;
    Link* end = &list->quiet_head;
    while (*end != kNoLink) end = &MoveArena.At(*end).next;
    *end = others;
    while (*end != kNoLink) end = &MoveArena.At(*end).next;
    *end = walk;
    list->count = kept_count;
}

int ParseMoveText(MoveList* list, const char* text) {
    return list->quiet_head == kNoLink ? 0 : Parser(list, text).Parse();
}

}  // namespace torval

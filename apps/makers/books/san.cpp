#include "apps/makers/books/san.h"

#include "board/attack.h"
#include "board/make.h"

namespace torval {

namespace {

constexpr int kAny = -1;

/// What a text says about a move.
struct Description {
    int type = kAny;
    int from_file = kAny;
    int from_rank = kAny;
    int to = kAny;
    int promotion = NoType;
    int castling_file = kAny;  ///< where the king goes

    bool Fits(Move move) const {
        if (castling_file != kAny) {
            return (move.flags & kCastlingBit) && FileOf(move.to) == castling_file;
        }
        return move.to == to && (type == kAny || (move.flags & 7) == type) &&
               (from_file == kAny || FileOf(move.from) == from_file) &&
               (from_rank == kAny || RankOf(move.from) == from_rank) &&
               PromotionType(move) == promotion;
    }
};

bool IsFile(char c) { return c >= 'a' && c <= 'h'; }
bool IsRank(char c) { return c >= '1' && c <= '8'; }

/// The piece of a capital letter, NoType for any other character.
int PieceOf(char letter) {
    switch (letter) {
        case 'N': return Knight;
        case 'B': return Bishop;
        case 'R': return Rook;
        case 'Q': return Queen;
        case 'K': return King;
        default: return NoType;
    }
}

std::string_view WithoutSigns(std::string_view text) {
    while (!text.empty() && std::string_view("+#!?").find(text.back()) != text.npos) {
        text.remove_suffix(1);
    }
    for (const std::string_view sign : {"e.p.", "ep"}) {
        if (text.ends_with(sign)) text.remove_suffix(sign.size());
    }
    return text;
}

/// Takes "=Q", "(Q)", "Q" or the "q" of coordinates off the end.
int TakePromotion(std::string_view* text) {
    std::string_view rest = *text;
    if (rest.ends_with(')')) rest.remove_suffix(1);
    if (rest.empty()) return NoType;
    char letter = rest.back();
    constexpr std::size_t kCoordinates = 5;
    if (rest.size() == kCoordinates && IsRank(rest[3]) && letter >= 'b' && letter <= 'r') {
        letter = static_cast<char>(letter - 'a' + 'A');
    }
    const int type = PieceOf(letter);
    if (type == NoType || type == King) return NoType;
    rest.remove_suffix(1);
    if (rest.ends_with('=') || rest.ends_with('(') || rest.ends_with('/')) rest.remove_suffix(1);
    *text = rest;
    return type;
}

bool Describe(std::string_view text, Description* move) {
    text = WithoutSigns(text);
    if (text == "O-O" || text == "0-0" || text == "O-O-O" || text == "0-0-0") {
        move->castling_file = text.size() == 3 ? 6 : 2;
        return true;
    }
    if (text.empty()) return false;
    int type = PieceOf(text[0]);
    if (type != NoType || text[0] == 'P') text.remove_prefix(1);
    const bool named = type != NoType;
    if (!named) move->promotion = TakePromotion(&text);
    if (text.size() < 2 || !IsFile(text[text.size() - 2]) || !IsRank(text.back())) return false;
    move->to = 16 * (text.back() - '1') + text[text.size() - 2] - 'a';
    text.remove_suffix(2);
    if (!text.empty() && std::string_view("x:-").find(text.back()) != text.npos) {
        text.remove_suffix(1);
    }
    if (!text.empty() && IsFile(text[0])) {
        move->from_file = text[0] - 'a';
        text.remove_prefix(1);
    }
    if (!text.empty() && IsRank(text[0])) {
        move->from_rank = text[0] - '1';
        text.remove_prefix(1);
    }
    const bool whole_origin = move->from_file != kAny && move->from_rank != kAny;
    if (named) {
        move->type = type;
    } else if (!whole_origin) {
        move->type = Pawn;
    }
    return text.empty();
}

bool IsLegal(Move move) {
    const auto side = static_cast<Side>(position.SideToMove);
    if (TypeOf(move.capture) == King) return false;
    MakeMove(move);
    const bool legal = !InCheck(side);
    UnmakeMove();
    return legal;
}

}  // namespace

Reading ReadSan(std::string_view text, Move* move) {
    Description wanted;
    if (!Describe(text, &wanted)) return Reading::Unreadable;
    const MoveList& list = GenerateMoves();
    Move found = {};
    int count = 0;
    for (const Link head : {list.quiet_head, list.capture_head}) {
        for (const MoveEntry* entry = EntryAt(head); entry; entry = NextEntry(*entry)) {
            if (!wanted.Fits(entry->move) || !IsLegal(entry->move)) continue;
            found = entry->move;
            ++count;
        }
    }
    ReleaseMoves(list);
    if (count == 0) return Reading::NotLegal;
    if (count > 1) return Reading::Ambiguous;
    *move = found;
    return Reading::Found;
}

const char* ReadingProblem(Reading reading) {
    switch (reading) {
        case Reading::Unreadable: return "cannot be read";
        case Reading::NotLegal: return "is not legal";
        case Reading::Ambiguous: return "can mean more than one move";
        case Reading::Found: break;
    }
    return "";
}

}  // namespace torval

#include "apps/cli/notation.h"

#include <cstdio>

#include "board/attack.h"
#include "board/legality.h"
#include "board/make.h"

namespace torval {

namespace {

constexpr const char* kPieceLetters = "  NBRQK";

/// Puts the working position and its record back at the end of a scope. Playing moves and taking
/// them back would leave other piece lists, on whose order a running search depends.
class PositionGuard {
public:
    PositionGuard() = default;
    PositionGuard(const PositionGuard&) = delete;
    PositionGuard& operator=(const PositionGuard&) = delete;
    ~PositionGuard() {
        position = position_;
        game_record = record_;
    }

private:
    Position position_ = position;
    GameRecord record_ = game_record;
};

/// What tells the move from others of the same type to the same square: file, else rank, else both.
std::string Origin(const MoveList& legal, Move move) {
    const Square from = move.from & kSquareBits;
    bool others = false;
    bool same_file = false;
    bool same_rank = false;
    for (MoveEntry* entry = EntryAt(legal.quiet_head); entry; entry = NextEntry(*entry)) {
        const Move other = Plain(entry->move);
        if (other.from == from || other.to != (move.to & kSquareBits)) continue;
        if ((other.flags & 7) != (move.flags & 7)) continue;
        others = true;
        same_file |= FileOf(other.from) == FileOf(from);
        same_rank |= RankOf(other.from) == RankOf(from);
    }
    const std::string name = SquareName(from);
    if (!others) return {};
    if (!same_file) return name.substr(0, 1);
    return same_rank ? name : name.substr(1);
}

/// The move without check and mate signs.
std::string Body(const MoveList& legal, Move move) {
    const Square to = move.to & kSquareBits;
    if (move.flags & kCastlingBit) return FileOf(to) == 6 ? "O-O" : "O-O-O";
    std::string text;
    const int type = move.flags & 7;
    if (type != Pawn) {
        text = kPieceLetters[type] + Origin(legal, move);
    } else if (move.capture) {
        text = SquareName(move.from & kSquareBits).substr(0, 1);
    }
    if (move.capture) text += 'x';
    text += SquareName(to);
    if (const PieceType type_made = PromotionType(move); type_made != NoType) {
        text += '=';
        text += kPieceLetters[type_made];
    }
    return text;
}

const char* CheckSign() {
    if (!InCheck(position.SideToMove)) return "";
    const MoveList& replies = GenerateLegal();
    const bool mate = replies.count == 0;
    ReleaseMoves(replies);
    return mate ? "#" : "+";
}

}  // namespace

std::string SquareName(Square square) {
    return {static_cast<char>('a' + FileOf(square)), static_cast<char>('1' + RankOf(square))};
}

std::string EvarHex(Move move) {
    std::array<char, 9> text;
    std::snprintf(
        text.data(), text.size(), "%02x%02x%02x%02x", move.from, move.to, move.flags, move.capture);
    return text.data();
}

std::string Coordinates(Move move) {
    std::string text = SquareName(move.from & kSquareBits) + SquareName(move.to & kSquareBits);
    const PieceType promotion = PromotionType(move);
    if (promotion != NoType) text += "  nbrqk"[promotion];
    return text;
}

std::vector<std::string> AlgebraicLine(std::span<const Move> moves) {
    const PositionGuard guard;
    std::vector<std::string> texts;
    for (const Move move : moves) {
        const MoveList& legal = GenerateLegal();
        std::string text = Body(legal, move);
        ReleaseMoves(legal);
        MakeMove(Plain(move));
        texts.push_back(text + CheckSign());
    }
    return texts;
}

std::string Algebraic(Move move) { return AlgebraicLine({&move, 1}).front(); }

}  // namespace torval

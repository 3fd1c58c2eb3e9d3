#include "apps/text/san.h"

#include "apps/text/moves.h"

namespace torval {

namespace {

constexpr std::string_view kPieceLetters = "  NBRQK";
constexpr int kPawn = 1;
constexpr int kKnight = 2;
constexpr int kBishop = 3;
constexpr int kQueen = 5;
constexpr std::uint8_t kNeedsFile = 0x08;
constexpr std::uint8_t kNeedsRank = 0x80;
constexpr std::uint8_t kCheck = 0x80;
constexpr std::uint8_t kMate = 0x08;
constexpr std::uint8_t kCastling = 0x80;
constexpr std::uint8_t kPromotion = 0x70;
constexpr std::uint8_t kBlack = 8;
constexpr int kShortCastlingFile = 6;
constexpr int kLongCastlingFile = 2;

int RankOf(std::uint8_t square) { return square >> 4 & 7; }
int FileOf(std::uint8_t square) { return square & 7; }

char PieceLetter(int type) { return kPieceLetters[static_cast<std::size_t>(type)]; }

std::string CastlingText(std::uint8_t to) {
    return FileOf(to) == kShortCastlingFile ? "O-O" : "O-O-O";
}

/// The annotations cover knights, rooks and queens only. A bishop move is also doubtful when
/// another bishop runs on squares of the same colour, and when a pawn of the b-file could capture
/// on the same square: a capital B may name that file. Whether these can really move is not
/// checked; a superfluous origin is harmless.
bool IsDoubtful(const EVAR& move, const CHSBRD& before) {
    if ((move.flags & 7) != kBishop || (move.flags & (kCastling | kPromotion))) return false;
    const auto has_own = [&before](int rank, int file, int type) {
        const std::uint8_t code = before.board[8 * rank + file];
        return (code & 7) == type && ((code & kBlack) != 0) == (before.color != 0);
    };
    const int shade = (RankOf(move.from) + FileOf(move.from)) % 2;
    for (int rank = 0; rank < 8; ++rank) {
        for (int file = 0; file < 8; ++file) {
            const bool itself = rank == RankOf(move.from) && file == FileOf(move.from);
            if (!itself && (rank + file) % 2 == shade && has_own(rank, file, kBishop)) return true;
        }
    }
    const int behind = RankOf(move.to) + (before.color == 0 ? -1 : 1);
    const bool next_to_b = FileOf(move.to) == 0 || FileOf(move.to) == 2;
    return move.capture && next_to_b && behind >= 0 && behind < 8 && has_own(behind, 1, kPawn);
}

bool IsFile(char c) { return c >= 'a' && c <= 'h'; }
bool IsRank(char c) { return c >= '1' && c <= '8'; }

/// The piece of a capital letter, 0 for any other character.
int PieceOf(char letter) {
    const std::size_t type = kPieceLetters.find(letter, kKnight);
    return type == kPieceLetters.npos ? 0 : static_cast<int>(type);
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
    if (rest.empty()) return 0;
    char letter = rest.back();
    constexpr std::size_t kCoordinates = 5;
    if (rest.size() == kCoordinates && IsRank(rest[3]) && letter >= 'b' && letter <= 'r') {
        letter = static_cast<char>(letter - 'a' + 'A');
    }
    const int type = PieceOf(letter);
    if (type < kKnight || type > kQueen) return 0;
    rest.remove_suffix(1);
    if (rest.ends_with('=') || rest.ends_with('(') || rest.ends_with('/')) rest.remove_suffix(1);
    *text = rest;
    return type;
}

}  // namespace

void SanMove::TellFrom(std::span<const std::uint8_t> others) {
    bool same_file = false;
    bool same_rank = false;
    for (const std::uint8_t other : others) {
        same_file |= FileOf(other) == FileOf(from);
        same_rank |= RankOf(other) == RankOf(from);
    }
    needs_file = !others.empty() && (!same_file || same_rank);
    needs_rank = same_file;
}

SanMove SanMoveOf(const EVAR& move) {
    const bool castles = (move.flags & kCastling) != 0;
    const int promotion = castles ? 0 : (move.flags & kPromotion) >> 4;
    SanSign sign = SanSign::None;
    if (move.to & kCheck) sign = move.to & kMate ? SanSign::Mate : SanSign::Check;
    return {.type = promotion ? kPawn : move.flags & 7,
            .from = move.from,
            .to = move.to,
            .takes = move.capture != 0,
            .promotion = promotion,
            .castles = castles,
            .needs_file = (move.from & kNeedsFile) != 0,
            .needs_rank = (move.from & kNeedsRank) != 0,
            .sign = sign};
}

std::string WriteSan(const SanMove& move) {
    std::string text;
    if (move.castles) {
        text = CastlingText(move.to);
    } else {
        const std::string origin = SquareText(move.from);
        if (move.type == kPawn) {
            if (move.takes) text += origin[0];
        } else {
            text += PieceLetter(move.type);
            if (move.needs_file) text += origin[0];
            if (move.needs_rank) text += origin[1];
        }
        if (move.takes) text += 'x';
        text += SquareText(move.to);
        if (move.promotion) text.append("=").append(1, PieceLetter(move.promotion));
    }
    if (move.sign != SanSign::None) text += move.sign == SanSign::Mate ? '#' : '+';
    return text;
}

std::string AlgebraicText(const EVAR& move, const CHSBRD& before) {
    SanMove san = SanMoveOf(move);
    if (IsDoubtful(move, before)) san.needs_file = san.needs_rank = true;
    return WriteSan(san);
}

std::string LongText(const EVAR& move) {
    const SanMove san = SanMoveOf(move);
    if (san.castles) return CastlingText(san.to);
    std::string text;
    if (san.type > kPawn) text += PieceLetter(san.type);
    text += SquareText(san.from);
    if (san.takes) text += 'x';
    text += SquareText(san.to);
    if (san.promotion) text += PieceLetter(san.promotion);
    return text;
}

std::optional<SanPattern> ReadSan(std::string_view text) {
    SanPattern move;
    text = WithoutSigns(text);
    if (text == "O-O" || text == "0-0" || text == "O-O-O" || text == "0-0-0") {
        move.castling_file = text.size() == 3 ? kShortCastlingFile : kLongCastlingFile;
        return move;
    }
    if (text.empty()) return std::nullopt;
    const int type = PieceOf(text[0]);
    const bool named = type != 0;
    if (named || text[0] == 'P') text.remove_prefix(1);
    if (!named) move.promotion = TakePromotion(&text);
    if (text.size() < 2 || !IsFile(text[text.size() - 2]) || !IsRank(text.back())) {
        return std::nullopt;
    }
    move.to = 16 * (text.back() - '1') + text[text.size() - 2] - 'a';
    text.remove_suffix(2);
    if (!text.empty() && std::string_view("x:-").find(text.back()) != text.npos) {
        text.remove_suffix(1);
    }
    if (!text.empty() && IsFile(text[0])) {
        move.from_file = text[0] - 'a';
        text.remove_prefix(1);
    }
    if (!text.empty() && IsRank(text[0])) {
        move.from_rank = text[0] - '1';
        text.remove_prefix(1);
    }
    const bool whole_origin =
        move.from_file != SanPattern::kAny && move.from_rank != SanPattern::kAny;
    if (named) {
        move.type = type;
    } else if (!whole_origin) {
        move.type = kPawn;
    }
    if (!text.empty()) return std::nullopt;
    return move;
}

}  // namespace torval

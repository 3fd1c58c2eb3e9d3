#include "support/slow_chess.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <sstream>

namespace torval::slow {

namespace {

bool IsWhite(char man) { return std::isupper(static_cast<unsigned char>(man)) != 0; }
char Lower(char man) { return static_cast<char>(std::tolower(static_cast<unsigned char>(man))); }
char Coloured(char lower, bool white) {
    return white ? static_cast<char>(std::toupper(static_cast<unsigned char>(lower))) : lower;
}
int Sign(int x) { return (x > 0) - (x < 0); }

std::vector<Spot> AllSpots() {
    std::vector<Spot> spots;
    for (int i = 0; i < 64; ++i) spots.push_back({i / 8, i % 8});
    return spots;
}

std::string NameOf(Spot spot) {
    return {static_cast<char>('a' + spot.file), static_cast<char>('1' + spot.rank)};
}

}  // namespace

std::string TextOf(const Move& move) {
    std::string text = NameOf(move.from) + NameOf(move.to);
    if (move.promotion != kEmpty) text += move.promotion;
    return text;
}

Chess::Chess(std::string_view fen) {
    std::istringstream in{std::string(fen)};
    std::string board, side, step;
    in >> board >> side >> castling >> step;
    for (auto& rank : men) rank.fill(kEmpty);
    Spot spot{7, 0};
    for (const char c : board) {
        if (c == '/') {
            spot = {spot.rank - 1, 0};
        } else if (c >= '1' && c <= '8') {
            spot.file += c - '0';
        } else {
            Man(spot) = c;
            ++spot.file;
        }
    }
    white_to_move = side == "w";
    en_passant = step == "-" ? Spot{-1, -1} : Spot{step[1] - '1', step[0] - 'a'};
}

bool Chess::PathIsClear(Spot from, Spot to) const {
    const int up = Sign(to.rank - from.rank);
    const int right = Sign(to.file - from.file);
    for (Spot at{from.rank + up, from.file + right}; at != to; at.rank += up, at.file += right) {
        if (At(at) != kEmpty) return false;
    }
    return true;
}

bool Chess::Attacks(Spot from, Spot to) const {
    const int up = to.rank - from.rank;
    const int high = std::abs(up);
    const int wide = std::abs(to.file - from.file);
    if (from == to) return false;
    const bool straight = (high == 0 || wide == 0) && PathIsClear(from, to);
    const bool diagonal = high == wide && PathIsClear(from, to);
    switch (At(from)) {
        case 'P': return wide == 1 && up == 1;
        case 'p': return wide == 1 && up == -1;
        case 'N':
        case 'n': return high * wide == 2;
        case 'B':
        case 'b': return diagonal;
        case 'R':
        case 'r': return straight;
        case 'Q':
        case 'q': return straight || diagonal;
        case 'K':
        case 'k': return high <= 1 && wide <= 1;
        default: return false;
    }
}

bool Chess::IsAttacked(Spot spot, bool by_white) const {
    return std::ranges::any_of(AllSpots(), [&](Spot from) {
        return At(from) != kEmpty && IsWhite(At(from)) == by_white && Attacks(from, spot);
    });
}

bool Chess::InCheck(bool white) const {
    const auto is_king = [&](Spot spot) { return At(spot) == Coloured('k', white); };
    const auto spots = AllSpots();
    return IsAttacked(*std::ranges::find_if(spots, is_king), !white);
}

/// A pawn's moves and captures, those of the last rank included.
bool Chess::PawnMayMove(Spot from, Spot to) const {
    if (Attacks(from, to)) return At(to) != kEmpty || to == en_passant;
    const int forward = white_to_move ? 1 : -1;
    if (to.file != from.file || At(to) != kEmpty) return false;
    if (to.rank == from.rank + forward) return true;
    return from.rank == (white_to_move ? 1 : 6) && to.rank == from.rank + 2 * forward &&
           PathIsClear(from, to);
}

bool Chess::MayCastle(Spot from, Spot to) const {
    const int home = white_to_move ? 0 : 7;
    if (from != Spot{home, 4} || to.rank != home || std::abs(to.file - 4) != 2) return false;
    const bool is_short = to.file == 6;
    const Spot rook{home, is_short ? 7 : 0};
    const char right = Coloured(is_short ? 'k' : 'q', white_to_move);
    if (castling.find(right) == std::string::npos) return false;
    if (At(rook) != Coloured('r', white_to_move) || !PathIsClear(from, rook)) return false;
    const Spot between{home, is_short ? 5 : 3};
    return !IsAttacked(from, !white_to_move) && !IsAttacked(between, !white_to_move) &&
           !IsAttacked(to, !white_to_move);
}

std::vector<Move> Chess::LegalMoves() const {
    std::vector<Move> legal;
    for (const Spot from : AllSpots()) {
        const char man = At(from);
        if (man == kEmpty || IsWhite(man) != white_to_move) continue;
        for (const Spot to : AllSpots()) {
            const char taken = At(to);
            if (taken != kEmpty && (IsWhite(taken) == white_to_move || Lower(taken) == 'k')) {
                continue;
            }
            const bool pawn = Lower(man) == 'p';
            const bool castles = Lower(man) == 'k' && MayCastle(from, to);
            if (!castles && !(pawn ? PawnMayMove(from, to) : Attacks(from, to))) continue;
            const bool en_passant_capture = pawn && to.file != from.file && taken == kEmpty;
            const bool promotes = pawn && (to.rank == 0 || to.rank == 7);
            for (const char promotion : promotes ? std::string("nbrq") : std::string(1, kEmpty)) {
                Move move{from, to, promotion, taken, en_passant_capture, castles, false};
                if (en_passant_capture) move.taken = Coloured('p', !white_to_move);
                Chess after = *this;
                after.Play(move);
                if (after.InCheck(white_to_move)) continue;
                move.check = after.InCheck(!white_to_move);
                legal.push_back(move);
            }
        }
    }
    std::ranges::sort(legal);
    return legal;
}

void Chess::Play(const Move& move) {
    const char man = At(move.from);
    Man(move.from) = kEmpty;
    Man(move.to) = move.promotion == kEmpty ? man : Coloured(move.promotion, white_to_move);
    if (move.en_passant) Man({move.from.rank, move.to.file}) = kEmpty;
    if (move.castling) {
        const bool is_short = move.to.file == 6;
        Man({move.from.rank, is_short ? 7 : 0}) = kEmpty;
        Man({move.from.rank, is_short ? 5 : 3}) = Coloured('r', white_to_move);
    }
    const auto lose = [&](Spot home, std::string_view rights) {
        if (move.from == home) {
            std::erase_if(castling, [&](char c) { return rights.find(c) != rights.npos; });
        }
    };
    lose({0, 0}, "Q");
    lose({0, 4}, "KQ");
    lose({0, 7}, "K");
    lose({7, 0}, "q");
    lose({7, 4}, "kq");
    lose({7, 7}, "k");
    const bool double_step = Lower(man) == 'p' && std::abs(move.to.rank - move.from.rank) == 2;
    en_passant =
        double_step ? Spot{(move.from.rank + move.to.rank) / 2, move.to.file} : Spot{-1, -1};
    white_to_move = !white_to_move;
}

std::uint64_t Chess::Perft(int depth) const {
    if (depth == 0) return 1;
    std::uint64_t leaves = 0;
    for (const Move& move : LegalMoves()) {
        Chess after = *this;
        after.Play(move);
        leaves += after.Perft(depth - 1);
    }
    return leaves;
}

}  // namespace torval::slow

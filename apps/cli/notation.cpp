#include "apps/cli/notation.h"

#include <array>
#include <cstdio>

#include "apps/text/san.h"
#include "board/attack.h"
#include "board/legality.h"
#include "board/make.h"

namespace torval {

namespace {

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

/// The move without check and mate signs.
SanMove Unsigned(const MoveList& legal, Move move) {
    SanMove san = SanMoveOf(Plain(move));
    std::vector<std::uint8_t> others;
    for (MoveEntry* entry = EntryAt(legal.quiet_head); entry; entry = NextEntry(*entry)) {
        const Move other = Plain(entry->move);
        if (other.from == san.from || other.to != san.to) continue;
        if ((other.flags & 7) == (move.flags & 7)) others.push_back(other.from);
    }
    san.TellFrom(others);
    return san;
}

SanSign SignOfPosition() {
    if (!InCheck(position.SideToMove)) return SanSign::None;
    const MoveList& replies = GenerateLegal();
    const bool mate = replies.count == 0;
    ReleaseMoves(replies);
    return mate ? SanSign::Mate : SanSign::Check;
}

}  // namespace

std::string EvarHex(Move move) {
    std::array<char, 9> text;
    std::snprintf(
        text.data(), text.size(), "%02x%02x%02x%02x", move.from, move.to, move.flags, move.capture);
    return text.data();
}

std::vector<std::string> AlgebraicLine(std::span<const Move> moves) {
    const PositionGuard guard;
    std::vector<std::string> texts;
    for (const Move move : moves) {
        const MoveList& legal = GenerateLegal();
        SanMove san = Unsigned(legal, move);
        ReleaseMoves(legal);
        MakeMove(Plain(move));
        san.sign = SignOfPosition();
        texts.push_back(WriteSan(san));
    }
    return texts;
}

std::string Algebraic(Move move) { return AlgebraicLine({&move, 1}).front(); }

}  // namespace torval

#include "apps/cli/perft.h"

#include <array>
#include <cassert>

#include "board/attack.h"
#include "board/legality.h"
#include "board/make.h"
#include "search/node_moves.h"

namespace torval {

namespace {

constexpr std::size_t kMostMoves = (kLongestList - sizeof(MoveList)) / sizeof(MoveEntry);

/// Legal moves of one position. A copy, so that one list at a time uses the arena and no tree is
/// too wide for it.
struct LegalMoves {
    std::array<Move, kMostMoves> moves;
    unsigned count = 0;
};

template <Side Us>
void FindLegalMoves(LegalMoves* legal) {
    const bool in_check = InCheck(Us);
    const KingView view = ViewKings<Us>(in_check);
    const MoveList& list = GenerateMoves();
    const auto* const entries = reinterpret_cast<const MoveEntry*>(&list + 1);
    unsigned count = 0;
    for (int i = 0; i < list.count; ++i) {
        const Move move = entries[i].move;
        // Out of check a man that is neither king nor pinned moves freely, unless en passant
        // takes two men off a line at once.
        const bool free = !in_check && (move.flags & kTypeBits) != King &&
                          move.flags != kEnPassantFlags && !(view.pinned & Bit(move.from));
        if (TypeOf(move.capture) == King || !(free || IsLegal<Us>(move, view, in_check))) continue;
        legal->moves[count++] = move;
    }
    legal->count = count;
    ReleaseMoves(list);
}

template <Side Us>
std::uint64_t CountLines(int depth) {
    LegalMoves legal;
    FindLegalMoves<Us>(&legal);
    std::uint64_t lines = 0;
    for (unsigned i = 0; i < legal.count; ++i) {
        MakeMove<Us>(legal.moves[i]);
        lines += depth > 1 ? CountLines<!Us>(depth - 1) : 1;
        UnmakeMove<Us>();
    }
    return lines;
}

}  // namespace

std::uint64_t Perft(int depth) {
    assert(depth >= 0 && depth <= kMaxPerftDepth);
    if (depth == 0) return 1;
    return position.SideToMove == White ? CountLines<White>(depth) : CountLines<Black>(depth);
}

std::vector<std::pair<Move, std::uint64_t>> PerftDivide(int depth) {
    assert(depth >= 1 && depth <= kMaxPerftDepth);
    std::vector<std::pair<Move, std::uint64_t>> counts;
    const MoveList& legal = GenerateLegal();
    for (MoveEntry* entry = EntryAt(legal.quiet_head); entry; entry = NextEntry(*entry)) {
        const Move move = Plain(entry->move);
        MakeMove(move);
        counts.emplace_back(move, Perft(depth - 1));
        UnmakeMove();
    }
    ReleaseMoves(legal);
    return counts;
}

}  // namespace torval

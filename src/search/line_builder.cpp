#include "search/line_builder.h"

#include "board/attack.h"
#include "board/legality.h"
#include "board/make.h"
#include "search/lines.h"
#include "search/transposition.h"
#include "state/controller.h"

namespace torval {

namespace {

/// The entry that a table move names, null when it is not legal here.
MoveEntry* FindTableMove(const MoveList& legal, TableMove packed) {
    if (packed == 0) return nullptr;
    const Move wanted = UnpackMove(packed);
    MoveEntry* entry = EntryAt(legal.quiet_head);
    while (entry && CompareMoves(entry->move, wanted) != 0) entry = NextEntry(*entry);
    return entry;
}

}  // namespace

void BuildLine() {
    MAINVAR& line = think_controller.line;
    for (int i = 0; i < kUsedLineMoves; ++i) line.bstvar[i] = {};
    int length = 0;
    bool given = true;
    for (;;) {
        const MoveList& legal = GenerateLegal();
        if (legal.count == 0 && length > 0 && InCheck(position.SideToMove)) {
            line.bstvar[length - 1].to |= kMateMark;
        }
        MoveEntry* entry = nullptr;
        if (length < kUsedLineMoves) {
            const Move next = LineTable[0][static_cast<unsigned>(length)];
            given = given && !IsEmpty(next);
            if (given) {
                entry = FindMove(legal, next);
            } else if (TableInUse()) {
                entry = FindTableMove(legal, LookupTTMove());
            }
        }
        if (entry) MarkAmbiguity(legal, entry);
        const Move move = entry ? entry->move : Move{};
        ReleaseMoves(legal);
        if (!entry) break;
        line.bstvar[length++] = move;
        MakeMove(Plain(move));
    }
    line.vlen = static_cast<std::int16_t>(length);
    while (length-- > 0) UnmakeMove();
}

}  // namespace torval

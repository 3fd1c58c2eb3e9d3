#include "apps/makers/books/find_san.h"

#include "apps/text/san.h"
#include "board/attack.h"
#include "board/make.h"

namespace torval {

namespace {

bool IsLegal(Move move) {
    const auto side = static_cast<Side>(position.SideToMove);
    if (TypeOf(move.capture) == King) return false;
    MakeMove(move);
    const bool legal = !InCheck(side);
    UnmakeMove();
    return legal;
}

}  // namespace

Reading FindSan(std::string_view text, Move* move) {
    const std::optional<SanPattern> wanted = ReadSan(text);
    if (!wanted) return Reading::Unreadable;
    const MoveList& list = GenerateMoves();
    Move found = {};
    int count = 0;
    for (const Link head : {list.quiet_head, list.capture_head}) {
        for (const MoveEntry* entry = EntryAt(head); entry; entry = NextEntry(*entry)) {
            if (!wanted->Fits(entry->move) || !IsLegal(entry->move)) continue;
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

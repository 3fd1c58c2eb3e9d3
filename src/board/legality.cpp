#include "board/legality.h"

#include "board/attack.h"
#include "board/make.h"

namespace torval {

namespace {

void AppendCaptures(MoveList* list) {
    Link* link = &list->quiet_head;
    while (*link != kNoLink) link = &MoveArena.At(*link).next;
    *link = list->capture_head;
}

template <Side Us>
void Filter(MoveList* list) {
    Link* link = &list->quiet_head;
    while (*link != kNoLink) {
        MoveEntry& entry = MoveArena.At(*link);
        if (TypeOf(entry.move.capture) == King) {
            Unlink(link);
            continue;
        }
        MakeMove<Us>(entry.move);
        const bool legal = !InCheck(Us);
        if (legal && InCheck(!Us)) entry.move.to |= kCheckMark;
        UnmakeMove<Us>();
        if (legal) {
            ++list->count;
            link = &entry.next;
        } else {
            Unlink(link);
        }
    }
}

}  // namespace

void FilterLegal(MoveList* list) {
    list->count = 0;
    AppendCaptures(list);
    // The record above the top may hold a move that is kept for playing it again.
    PlyRecord* const above = game_record.top + 1;
    const PlyRecord kept = *above;
    if (position.SideToMove == White) {
        Filter<White>(list);
    } else {
        Filter<Black>(list);
    }
    *above = kept;
}

MoveList& GenerateLegal() {
    MoveList& list = GenerateMoves();
    FilterLegal(&list);
    return list;
}

MoveEntry* FindMove(const MoveList& legal, Move move) {
    MoveEntry* entry = EntryAt(legal.quiet_head);
    while (entry && CompareMoves(entry->move, move) != 0) entry = NextEntry(*entry);
    return entry;
}

void MarkGameMove(MoveEntry* entry) {
    if (!InCheck(position.SideToMove)) return;
    entry->move.to |= kCheckMark;
    const MoveList& replies = GenerateLegal();
    if (replies.count == 0) entry->move.to |= kMateMark;
    ReleaseMoves(replies);
}

}  // namespace torval

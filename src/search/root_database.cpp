#include "search/root_database.h"

#include <algorithm>
#include <array>
#include <new>
#include <string>

#include "board/attack.h"
#include "board/legality.h"
#include "board/make.h"
#include "egtb/thompson/thompson.h"
#include "platform/random.h"
#include "search/lines.h"
#include "search/root.h"
#include "state/flags.h"
#include "state/notify.h"
#include "state/settings.h"
#include "torval/codes.h"

namespace torval {

namespace {

constexpr int kNoneYet = 999;
constexpr int kMated = 0;
constexpr std::size_t kMostCandidates = 256;

bool MustStop() { return AnyFlag(FlagAbort | FlagMoveNow); }

struct Candidates {
    std::array<MoveEntry*, kMostCandidates> entries;
    std::size_t count = 0;

    void Add(MoveEntry* entry) {
        if (count < entries.size()) entries[count++] = entry;
    }
};

/// What a reply can do about a root move.
struct Replies {
    int fastest = kNoThompsonValue;  ///< the mover's quickest loss; kNoThompsonValue: none
    Move best = {};                  ///< the reply that brings it about
    bool any = false;                ///< a legal reply exists
    bool whole = true;               ///< nothing stopped the look at them
};

Replies ProbeReplies() {
    Replies replies;
    const MoveList& list = GenerateLegal();
    for (const MoveEntry* entry = EntryAt(list.quiet_head); entry; entry = NextEntry(*entry)) {
        replies.any = true;
        if (MustStop()) {
            replies.whole = false;
            break;
        }
        const Move move = Plain(entry->move);
        MakeMove(move);
        const int value = ProbeThompson();
        UnmakeMove();
        if (value == kNoThompsonValue || value > replies.fastest) continue;
        replies.fastest = value;
        replies.best = move;
    }
    ReleaseMoves(list);
    return replies;
}

class DatabaseProbe {
public:
    explicit DatabaseProbe(MoveList* list) : list_(*list) {}

    void Run();

    /// The moves to choose from.
    const Candidates& Chosen() const { return fastest_.count > 0 ? fastest_ : best_; }

private:
    void ProbeMove(MoveEntry* entry);
    void TakeFastest(MoveEntry* entry, int value);
    void LookAhead(MoveEntry* entry, int lowest_before);
    void Report(MoveEntry* entry, int score, Move reply);

    MoveList& list_;
    int lowest_ = kNoneYet;   // the opponent's quickest loss, over the root moves
    int highest_ = kNoneYet;  // the own slowest loss; kNoThompsonValue: a move that does not lose
    Candidates fastest_;
    Candidates best_;
};

/// Takes note of a better line, while its root move is made.
void DatabaseProbe::Report(MoveEntry* entry, int score, Move reply) {
    EvalResult result = RootResult(*entry);
    result.score = static_cast<std::int16_t>(score);
    SetRootResult(entry, result);
    UnmakeMove();
    LineTable[0][0] = entry->move;
    LineTable[0][1] = reply;
    LineTable[0][2] = {};
    StoreRootLine(entry->move, LineTable[0].data() + 1);
    ReportBestLine(kDatabaseDepth, score);
    MakeMove(entry->move);
}

void DatabaseProbe::TakeFastest(MoveEntry* entry, int value) {
    if (value < lowest_) {
        lowest_ = value;
        fastest_.count = 0;
    }
    if (value != lowest_) return;
    fastest_.Add(entry);
    Report(entry, ThompsonScore(value), {});
}

void DatabaseProbe::LookAhead(MoveEntry* entry, int lowest_before) {
    Replies replies = ProbeReplies();
    if (!replies.whole) return;
    if (!replies.any) {
        replies.fastest = InCheck(position.SideToMove) ? kMated : kNoThompsonValue;
        lowest_ = std::min(replies.fastest, lowest_before);
    }
    const int value = replies.fastest;
    if (highest_ == kNoneYet || value > highest_) {
        highest_ = value;
        best_.count = 0;
    }
    if (value == kNoThompsonValue || value != highest_) return;
    best_.Add(entry);
    Report(entry, 1 - ThompsonScore(value), replies.best);
}

/// Looks at a move that has been made.
void DatabaseProbe::ProbeMove(MoveEntry* entry) {
    const int lowest_before = lowest_;
    const int value = ProbeThompson();
    if (value != kNoThompsonValue) TakeFastest(entry, value);
    if (highest_ != kNoThompsonValue && lowest_ != kLostNow) LookAhead(entry, lowest_before);
}

void DatabaseProbe::Run() {
    int moves_to_go = CountRootMoves(list_);
    for (MoveEntry* entry = EntryAt(list_.quiet_head); entry && !MustStop();
         entry = NextEntry(*entry)) {
        MakeMove(entry->move);
        NotifyNextMove(kDatabaseDepth, moves_to_go--, entry->move);
        if (!InCheck(position.SideToMove ^ 1)) ProbeMove(entry);
        UnmakeMove();
    }
}

/// Whether the databases are there for the root. The side that is not to move may be the one that
/// they are for.
bool DatabasesCoverRoot() {
    if (ProbeThompson() != kNoThompsonValue || !ThompsonFileIsMissing()) return true;
    NullMove();
    const int value = ProbeThompson();
    NullMove();
    return value != kNoThompsonValue || !ThompsonFileIsMissing();
}

void MoveToFrontInRandomOrder(const Candidates& chosen, MoveList* list) {
    std::array<bool, kMostCandidates> taken = {};
    for (std::size_t left = chosen.count; left > 0;) {
        const std::size_t drawn = Rand() % chosen.count;
        if (taken[drawn]) continue;
        taken[drawn] = true;
        MoveToFront(list, chosen.entries[drawn]);
        --left;
    }
}

}  // namespace

int RootDatabaseProbe(MoveList* list) {
    if (!(ReadSetting(settings_block.BookUse) & BookUseDatabases)) return 0;
    std::string path;
    try {
        path = ReadSettingText(ThompsonPath);
        if (path.empty() || Count(position.Occupied()) > kThompsonMen) return 0;
        BeginThompsonProbe(path);
    } catch (const std::bad_alloc&) {
        return 0;  // as if there were no databases
    }
    if (!DatabasesCoverRoot()) {
        const std::string wanted = ThompsonVolumesWanted();
        if (!wanted.empty()) {
            NotifyMsg(MsgVolumesWanted, 0, wanted.c_str(), static_cast<unsigned char>(path[0]));
        }
        CloseAgedThompsonFiles();
        return 0;
    }
    DatabaseProbe probe(list);
    probe.Run();
    const Candidates& chosen = probe.Chosen();
    if (chosen.count == 0) {
        NotifyMsg(MsgNoDatabaseMove, 0);
        CloseAgedThompsonFiles();
        return 0;
    }
    MoveToFrontInRandomOrder(chosen, list);
    list->chosen_count = static_cast<std::uint32_t>(chosen.count);
    const MoveEntry& first = *EntryAt(list->quiet_head);
    LoadRootLine(first.move);
    ReportBestLine(kDatabaseDepth, RootResult(first).score);
    return static_cast<int>(chosen.count);
}

}  // namespace torval

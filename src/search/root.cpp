#include "search/root.h"

#include <algorithm>
#include <array>

#include "board/attack.h"
#include "board/legality.h"
#include "board/make.h"
#include "search/line_builder.h"
#include "search/lines.h"
#include "search/search.h"
#include "search/time.h"
#include "search/transposition.h"
#include "state/controller.h"
#include "state/flags.h"
#include "state/notify.h"
#include "state/settings.h"
#include "torval/codes.h"

namespace torval {

namespace {

void Skip(MoveList* list, std::span<const Move> skip_list) {
    for (Link* link = &list->quiet_head; *link != kNoLink;) {
        MoveEntry& entry = MoveArena.At(*link);
        const auto same = [&](Move skipped) { return CompareMoves(entry.move, skipped) == 0; };
        if (std::ranges::any_of(skip_list, same)) {
            Unlink(link);
        } else {
            link = &entry.next;
        }
    }
}

/// The score of a root move before any iteration has searched it.
EvalResult FirstScore(Move move) {
    constexpr int kLineMoveBonus = 300;
    MakeMove(move);
    EmptyRow(think_controller.SearchPly + 1);
    EvalResult result = Search(0, -kMateUnits, kMateUnits, InCheck(position.SideToMove) ? 1 : 0);
    UnmakeMove();
    int score = -result.score;
    const MAINVAR& line = think_controller.line;
    if (line.depth >= 1 && line.vlen >= 1 && CompareMoves(line.bstvar[0], move) == 0) {
        score += kLineMoveBonus;
    }
    result.score = static_cast<std::int16_t>(score);
    return result;
}

/// Relinks the entries by score, highest first; insertion keeps equal scores in their order.
void SortByScore(MoveList* list) {
    Link rest = list->quiet_head;
    list->quiet_head = kNoLink;
    while (rest != kNoLink) {
        MoveEntry& entry = MoveArena.At(rest);
        const Link next = entry.next;
        const int score = RootResult(entry).score;
        Link* link = &list->quiet_head;
        while (*link != kNoLink && RootResult(MoveArena.At(*link)).score >= score) {
            link = &MoveArena.At(*link).next;
        }
        entry.next = *link;
        *link = rest;
        rest = next;
    }
}

/// One iteration over the root moves.
class Iteration {
public:
    Iteration(int depth, int alpha, int beta, MoveList* list)
        : depth_(depth), alpha_(alpha), beta_(beta), list_(list) {}

    MoveEntry* Run();

private:
    enum class Verdict { Done, SearchAgain, Stopped };

    bool SearchMove(MoveEntry* entry);
    Verdict SearchOnce(MoveEntry* entry, int* score);
    void WidenBelow();
    void WidenAbove(int score);
    void Settle(MoveEntry* entry, EvalResult result, int score);

    int depth_;
    int alpha_;
    int beta_;
    MoveList* list_;
    EvalResult best_ = {-kFullWindow, 0};
    bool best_found_ = false;
    bool report_ = false;
    int re_searches_ = 0;
};

void Iteration::WidenBelow() {
    constexpr int kExtendFrom = 3;
    const int mode = settings_block.Level.mode;
    ++re_searches_;
    alpha_ = -kFullWindow;
    think_controller.settled.store(false, std::memory_order_relaxed);
    if (depth_ >= kExtendFrom && !best_found_ &&
        (mode == LevelTournament || mode == LevelIncrement))
        ExtendTarget();
}

void Iteration::WidenAbove(int score) {
    constexpr int kStep = 3 * PawnValue;
    think_controller.settled.store(false, std::memory_order_relaxed);
    if (re_searches_ <= 1) {
        alpha_ = score - 1;
        beta_ = score + kStep;
    } else if (re_searches_ <= 3) {
        alpha_ = -kFullWindow;
        beta_ = kFullWindow;
    }
    ++re_searches_;
}

void Iteration::Settle(MoveEntry* entry, EvalResult result, int score) {
    if (score > best_.score) {
        best_ = {static_cast<std::int16_t>(score), result.flags};
        best_found_ = true;
        report_ = true;
        MoveToFront(list_, entry);
    }
    // A later move must be better by a margin to take over.
    const int best = best_.score;
    const bool with_margin = depth_ >= SearchSetting(settings_block.RootSwitchDepth) &&
                             best > -kMateThreshold && best < kMateThreshold;
    alpha_ = best + (with_margin ? SearchSetting(settings_block.RootSwitchMargin) : 0);
    beta_ = alpha_ + 1;
    think_controller.settled.store(true, std::memory_order_relaxed);
}

Iteration::Verdict Iteration::SearchOnce(MoveEntry* entry, int* score) {
    EmptyRow(1);
    const EvalResult result =
        Search(depth_ - 1, -beta_, -alpha_, InCheck(position.SideToMove) ? 1 : 0);
    *score = -result.score;
    if (AnyFlag(FlagAbort | FlagMoveNow)) return Verdict::Stopped;
    UpdateLine(0, entry->move);
    StoreRootLine(entry->move, LineTable[1].data());
    if (*score <= alpha_) {
        // In a null window the move is simply not better than the best one.
        if (beta_ - alpha_ == 1) return Verdict::Done;
        WidenBelow();
        return Verdict::SearchAgain;
    }
    if (*score >= beta_) {
        WidenAbove(*score);
        return Verdict::SearchAgain;
    }
    Settle(entry, result, *score);
    return Verdict::Done;
}

/// Searches a move that has been made. False when the computation was stopped.
bool Iteration::SearchMove(MoveEntry* entry) {
    int score = 0;
    Verdict verdict = Verdict::SearchAgain;
    while (verdict == Verdict::SearchAgain) verdict = SearchOnce(entry, &score);
    UnmakeMove();
    re_searches_ = 0;
    if (verdict == Verdict::Stopped) return false;
    if (report_) {
        report_ = false;
        ReportBestLine(depth_, score);
    }
    return true;
}

MoveEntry* Iteration::Run() {
    ThinkController& c = think_controller;
    c.single_reply = false;
    c.settled.store(false, std::memory_order_relaxed);
    int moves_to_go = CountRootMoves(*list_);
    int legal_moves = 0;
    for (MoveEntry* entry = EntryAt(list_->quiet_head); entry;) {
        MoveEntry* const following = NextEntry(*entry);
        LoadRootLine(entry->move);
        c.FollowLineFlag = true;
        MakeMove(entry->move);
        NotifyNextMove(depth_, moves_to_go--, entry->move);
        if (InCheck(position.SideToMove ^ 1)) {
            UnmakeMove();
        } else {
            ++legal_moves;
            if (!SearchMove(entry)) break;
        }
        entry = following;
    }
    MoveEntry* const head = EntryAt(list_->quiet_head);
    if (best_found_) SetRootResult(head, best_);
    if (!AnyFlag(FlagAbort | FlagMoveNow) && legal_moves == 1) c.single_reply = true;
    return legal_moves >= 1 ? head : nullptr;
}

}  // namespace

MoveList& PrepareRootMoves(std::span<const Move> skip_list) {
    MoveList& list = GenerateLegal();
    Skip(&list, skip_list);
    for (MoveEntry* entry = EntryAt(list.quiet_head); entry; entry = NextEntry(*entry)) {
        entry->move.to &= kSquareBits;
        SetRootResult(entry, FirstScore(entry->move));
    }
    SortByScore(&list);
    return list;
}

int CountRootMoves(const MoveList& list) {
    constexpr int kMostRootMoves = 100;
    int count = 0;
    for (const MoveEntry* entry = EntryAt(list.quiet_head); entry; entry = NextEntry(*entry)) {
        count = std::min(count + 1, kMostRootMoves);
    }
    return count;
}

void MoveToFront(MoveList* list, MoveEntry* entry) {
    const Link moved = MoveArena.LinkTo(*entry);
    Link* link = &list->quiet_head;
    while (*link != moved) link = &MoveArena.At(*link).next;
    Unlink(link);
    entry->next = list->quiet_head;
    list->quiet_head = moved;
}

void NotifyNextMove(int depth, int moves_to_go, Move move) {
    if (!notification_sink.output_next_move) return;
    notification_sink.output_next_move(depth, moves_to_go, move);
}

void ReportBestLine(int depth, int score) {
    MAINVAR& line = think_controller.line;
    BuildLine();
    line.iCommand = AnyFlag(FlagEngineToMove) ? LineBest : LinePondered;
    line.depth = static_cast<std::int16_t>(depth);
    line.score = static_cast<std::int16_t>(score);
    PublishLine();
    if (notification_sink.output_main_var) notification_sink.output_main_var(line);
}

MoveEntry* RootSearch(int depth, int alpha, int beta, MoveList* list) {
    return Iteration(depth, alpha, beta, list).Run();
}

}  // namespace torval

#include "game/think.h"

#include <algorithm>

#include "board/attack.h"
#include "book/select.h"
#include "egtb/nalimov/probe.h"
#include "eval/setup.h"
#include "game/game.h"
#include "platform/tick.h"
#include "search/heuristics.h"
#include "search/line_builder.h"
#include "search/lines.h"
#include "search/root.h"
#include "search/root_database.h"
#include "search/time.h"
#include "state/controller.h"
#include "state/flags.h"
#include "state/notify.h"
#include "state/settings.h"

namespace torval {

// Never destroyed: a host may leave its program while the engine's thread computes.
std::vector<Move>& SkipList = *new std::vector<Move>;

namespace {

constexpr auto kRelaxed = std::memory_order_relaxed;

/// Where iterative deepening begins.
struct Start {
    int depth = 1;
    int alpha = -kFullWindow;
    int beta = kFullWindow;
};

void Centre(Start* start, int score, int width) {
    start->alpha = score - width;
    start->beta = score + width;
}

/// The reply that the last root line predicted was the last move of the game.
bool PredictedReplyWasPlayed() {
    const Move predicted = LineTable[0][1];
    return !IsEmpty(LineTable[0][0]) && !IsEmpty(predicted) &&
           game_record.top > game_record.PlyStack.data() &&
           CompareMoves(game_record.top->move, predicted) == 0;
}

Start ChooseStart(int line_depth) {
    ThinkController& c = think_controller;
    Start start;
    const int known = std::min<int>(line_depth, c.line.vlen);
    if (known > 0 && AnyFlag(FlagEngineToMove)) {
        Centre(&start, c.line.score, PawnValue / 2);
        start.depth = known;
        c.FollowLineFlag = true;
        return start;
    }
    if (PredictedReplyWasPlayed()) {
        const PlyRecord& before = *(game_record.top - 1);
        Centre(&start, before.line_score, PawnValue);
        ShiftLines();
        if (!IsEmpty(LineTable[0][0])) {
            StoreRootLine(LineTable[0][0], LineTable[0].data() + 1);
        }
        const int depth1 = settings_block.Level.depth1;
        start.depth = std::min(1, depth1);
        c.FollowLineFlag = true;
        return start;
    }
    c.FollowLineFlag = false;
    return start;
}

/// The line of the best move becomes the root line; a move without a slot is a line of its own.
void LoadBestLine(Move best) {
    LoadRootLine(best);
    if (IsEmpty(LineTable[0][0])) {
        LineTable[0][0] = best;
        LineTable[0][1] = {};
    }
}

bool MustStop() { return AnyFlag(FlagAbort | FlagMoveNow); }

/// A depth cap does not make the engine move faster than its time.
void UseUpTime() {
    constexpr std::uint32_t kStepMs = 50;
    const LEVEL& level = settings_block.Level;
    if (level.mode == LevelDepth || level.mode == LevelPlies || level.depth1 <= 0) return;
    while (!MustStop() && ElapsedMs() < think_controller.budget.TargetTime.load(kRelaxed)) {
        SleepMs(kStepMs);
        ClockTick();
    }
}

/// Iterations until a rule stops them. The best entry, null when there is no move or the
/// computation was aborted.
MoveEntry* Iterate(MoveList* root, Start start) {
    constexpr int kDrawStopDepth = 3;
    constexpr int kSingleReplyDepth = 3;
    ThinkController& c = think_controller;
    MoveEntry* best = EntryAt(root->quiet_head);
    if (!best) return nullptr;
    // A level may allow no iteration at all; the best move so far is then the line.
    LoadBestLine(best->move);
    c.IterationDepth = start.depth;
    int alpha = start.alpha;
    int beta = start.beta;
    while (MayIterate(c.IterationDepth)) {
        MoveEntry* const found = RootSearch(c.IterationDepth, alpha, beta, root);
        if (found) {
            best = found;
            LoadBestLine(found->move);
        } else {
            c.line.score = -kMateUnits;
        }
        if (AnyFlag(FlagAbort)) return nullptr;
        if (AnyFlag(FlagMoveNow)) break;
        c.last_iteration_ms = ElapsedMs();
        if (!found) return nullptr;
        const EvalResult result = RootResult(*found);
        if ((result.flags & kExact) && c.IterationDepth >= kDrawStopDepth) break;
        if (c.single_reply && c.IterationDepth >= kSingleReplyDepth && SkipList.empty()) break;
        c.FollowLineFlag = true;
        alpha = result.score - PawnValue / 4;
        beta = result.score + PawnValue / 2;
        ++c.IterationDepth;
    }
    return best;
}

/// The books' choice becomes the root line. How many moves they chose.
int PlayFromBook(MoveList* root) {
    ThinkController& c = think_controller;
    const std::uint32_t chosen = SelectBookMoves(root);
    if (chosen == 0) return 0;
    const Move move = EntryAt(root->quiet_head)->move;
    LineTable[0][0] = Plain(move);
    LineTable[0][1] = {};
    c.line = {};
    c.line.vlen = 1;
    c.line.bstvar[0] = Plain(move);
    c.book_ply = GamePly.load(kRelaxed);
    return static_cast<int>(chosen);
}

/// Steps from the root list to the chosen move. How many root moves were chosen, 0 for none.
int Drive(MoveList** root) {
    ThinkController& c = think_controller;
    *root = &PrepareRootMoves(SkipList);
    ClearFlags(FlagMoveNow);
    ClearRootLineStore();
    const Start start = ChooseStart(c.line.depth);
    c.IterationDepth = start.depth;
    c.line.depth = 0;
    c.last_iteration_ms = 0;
    c.start_tick.store(TickCount(), kRelaxed);
    ClearHeuristics();
    c.statistics.analize_cnt.store(0, kRelaxed);
    c.statistics.Qanalized.store(0, kRelaxed);
    ComputeBudget();
    ClockTick();
    SetUpEvaluation();
    if (AnyFlag(FlagEngineToMove)) {
        if (const int chosen = PlayFromBook(*root); chosen > 0) return chosen;
        if (const int chosen = RootDatabaseProbe(*root); chosen > 0) return chosen;
    }
    MoveEntry* const best = Iterate(*root, start);
    if (!best) return 0;
    if (AnyFlag(FlagEngineToMove)) UseUpTime();
    (*root)->chosen_count = 1;
    return 1;
}

void LoadNextBest(const MoveList& root, int count) {
    next_best_list = {};
    const MoveEntry* entry = EntryAt(root.quiet_head);
    for (int i = 0; i < std::min(count, NextBestList::kCapacity) && entry; ++i) {
        next_best_list.moves[static_cast<unsigned>(i)] = entry->move;
        next_best_list.scores[static_cast<unsigned>(i)] = RootResult(*entry).score;
        ++next_best_list.count;
        entry = NextEntry(*entry);
    }
}

/// Sends the alternatives, the current one first.
void NotifyNextBest() {
    if (!notification_sink.output_main_var) return;
    const NextBestList& list = next_best_list;
    MAINVAR line = {};
    line.iCommand = LineAlternatives;
    line.vlen = static_cast<std::int16_t>(list.count);
    line.score = list.scores[static_cast<unsigned>(list.current)];
    for (int i = 0; i < list.count; ++i) {
        line.bstvar[i] = list.moves[static_cast<unsigned>((list.current + i) % list.count)];
    }
    notification_sink.output_main_var(line);
}

void Finish(int chosen, const MoveList& root, MAINVAR* result) {
    if (AnyFlag(FlagAbort)) {
        EmptyLine();
        SetGameBits(FlagHostToMove);
    } else if (chosen == 0) {
        EmptyLine();
        if (!InCheck(position.SideToMove)) NotifyMsg(MsgStalemate, 0);
        SetGameBits(0);
    } else {
        LoadNextBest(root, chosen);
        if (next_best_list.count >= 2) NotifyNextBest();
        BuildLine();
        think_controller.line.iCommand = LineFinal;
        PublishLine();
        *result = think_controller.line;
    }
}

/// Both kinds of computation: `result` is null while pondering.
Status Compute(EngineFlag game_bit, MAINVAR* result) {
    if (GamePly.load(kRelaxed) >= kMaxGamePly) return StatusRecordFull;
    if (AnyFlag(FlagEngineToMove)) return StatusComputerToMove;
    RecomputeState();
    ReleaseLegalMoves();
    SetGameBits(game_bit);
    SetFlag(FlagBusy);
    TakeUpRenewal();
    think_controller.SearchPly = 0;
    think_controller.QuiescencePly = 0;
    MoveList* root = nullptr;
    const int chosen = Drive(&root);
    if (result) Finish(chosen, *root, result);
    ReleaseMoves(*root);
    ClearFlags(FlagAbort | FlagMoveNow);
    if (AnyFlag(FlagHostToMove | FlagEngineToMove)) SetGameBits(FlagHostToMove);
    RebuildLegalMoves();
    return StatusOk;
}

}  // namespace

Status ComputeMove(MAINVAR* result) {
    *result = {};
    return Compute(FlagEngineToMove, result);
}

Status Ponder() { return Compute(FlagHostToMove, nullptr); }

Status ExpectedReply(Move* move) {
    constexpr int kLeastMoves = 3;
    if (AnyFlag(FlagEngineToMove)) return StatusComputerToMove;
    const MAINVAR line = think_controller.published_line.Load();
    if (line.vlen < kLeastMoves) return StatusNegative;
    *move = line.bstvar[0];
    return StatusOk;
}

Status DoNextBestMove(Move* move) {
    NextBestList& list = next_best_list;
    const bool has_moves = game_record.top > game_record.PlyStack.data();
    if (list.count < 2 || !has_moves) return StatusNoAlternative;
    if (AnyFlag(FlagBusy)) return StatusBusy;
    TakeBackMove();
    RebuildLegalMoves();
    list.current = (list.current + 1) % list.count;
    const Move wanted = list.moves[static_cast<unsigned>(list.current)];
    MoveEntry* const entry = FindMove(*legal_moves, wanted);
    if (!entry) {
        // The move stays taken back, and the host is to see that.
        CommitTakeBack();
        return StatusNoAlternative;
    }
    *move = entry->move;
    NotifyNextBest();
    entry->move = Plain(entry->move);
    Move made;
    (void)MakeGameMove(entry, &made);
    return StatusOk;
}

}  // namespace torval

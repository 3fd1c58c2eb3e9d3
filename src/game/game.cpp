#include "game/game.h"

#include <algorithm>
#include <cstring>

#include "board/draw.h"
#include "board/make.h"
#include "board/move_text.h"
#include "egtb/nalimov/tablebase_files.h"
#include "egtb/thompson/thompson.h"
#include "eval/evaluate.h"
#include "eval/setup.h"
#include "search/heuristics.h"
#include "search/lines.h"
#include "search/time.h"
#include "search/transposition.h"
#include "state/controller.h"
#include "state/flags.h"
#include "state/notify.h"
#include "state/settings.h"

namespace torval {

NextBestList next_best_list;
MoveList* legal_moves = nullptr;
std::atomic<bool> has_legal_moves = false;

namespace {

constexpr auto kRelaxed = std::memory_order_relaxed;

void NotifyPosition(Move move, std::uint16_t mask) {
    if (!notification_sink.output_move) return;
    W_BOARD board = {.Mask = mask, .brd = {}, .move = move, .aScore = 0};
    StorePosition(&board.brd);
    notification_sink.output_move(board);
}

/// What a new game and a set-up share before the board changes. A search after either equals one
/// in a fresh engine.
void ForgetGame() {
    ThinkController& c = think_controller;
    SetGameBits(0);
    c.line = {};
    PublishLine();
    c.FollowLineFlag = false;
    ClearTT();
    ClearHeuristics();
    ClearLines();
    LastPositionalScore = 0;
    next_best_list = {};
    ClearGameRecord();
    CloseTablebaseFiles();
    CloseThompsonFiles();
    ReleaseLegalMoves();
}

/// What they share after it.
void BeginGame() {
    ResetClocks();
    SetUpEvaluation();
    RebuildLegalMoves();
    NotifyPosition({}, MaskBoard);
    NotifyClocks(ClocksBoth);
}

/// The line that the engine expects stays, a move shorter, when its first move is the one made.
/// Returns the score to remember with the move.
std::int16_t ShiftLine(Move move) {
    MAINVAR& line = think_controller.line;
    if (line.vlen == 0 || CompareMoves(line.bstvar[0], move) != 0) {
        EmptyLine();
        return 0;
    }
    const std::int16_t score = line.iCommand == LineFinal ? line.score : std::int16_t{0};
    std::copy(std::begin(line.bstvar) + 1, std::end(line.bstvar), std::begin(line.bstvar));
    line.bstvar[std::size(line.bstvar) - 1] = {};
    line.iCommand = 0;
    --line.vlen;
    if (line.depth != 0) --line.depth;
    line.score = static_cast<std::int16_t>(-line.score);
    PublishLine();
    return score;
}

Outcome JudgeMove(Move move) {
    if (move.to & kMateMark) {
        NotifyMsg(MsgMate, position.SideToMove);
        SetGameBits(0);
        return OutcomeMate;
    }
    Outcome outcome = OutcomeGoesOn;
    switch (DrawStatus(think_controller.SearchPly)) {
        case NoDraw: return OutcomeGoesOn;
        case DrawMaterial: outcome = OutcomeMaterial; break;
        case DrawRepetition: outcome = OutcomeRepetition; break;
        case DrawFiftyMoves:
            outcome = ReadSetting(settings_block.BrainFlags) & BrainNoFiftyMoves
                          ? OutcomeGoesOn
                          : OutcomeFiftyMoves;
            break;
    }
    if (outcome != OutcomeGoesOn) NotifyMsg(outcome, 0);
    SetGameBits(0);
    return outcome;
}

}  // namespace

Outcome MakeGameMove(MoveEntry* entry, Move* made) {
    const int mover = position.SideToMove;
    ClockTick();
    const std::int16_t line_score = ShiftLine(entry->move);
    MakeMove(entry->move);
    game_record.top->line_score = line_score;
    MarkGameMove(entry);
    ChargeMoveMade(mover);
    CommitSnapshot();
    StoreGamePositionKey();
    GamePly.fetch_add(1, kRelaxed);
    GameSide.store(position.SideToMove, kRelaxed);
    MarkAmbiguity(*legal_moves, entry);
    *made = entry->move;
    game_record.top->move = *made;
    game_record.game_end = game_record.top;
    const bool alternatives = next_best_list.count >= 2;
    NotifyPosition(
        *made,
        static_cast<std::uint16_t>(MaskBoard | MaskMove | (alternatives ? MaskAlternatives : 0)));
    const Outcome outcome = JudgeMove(*made);
    RebuildLegalMoves();
    return outcome;
}

void TakeBackMove() {
    PlyRecord* const record = game_record.top;
    const Move marked = record->move;
    record->move = Plain(marked);
    UnmakeMove();
    record->move = marked;
    StoreGamePositionKey();
    GamePly.fetch_sub(1, kRelaxed);
}

void CommitTakeBack() {
    GameSide.store(position.SideToMove, kRelaxed);
    CommitSnapshot();
}

namespace {

void FillResult(const MoveList& list, int found, MOVES* result) {
    *result = {};
    result->LastFoundMoves = result->NmbrOfMoves = static_cast<std::uint16_t>(found);
    const MoveEntry* entry = EntryAt(list.quiet_head);
    for (int i = 0; i < found && i < static_cast<int>(std::size(result->MOVES)) && entry; ++i) {
        result->MOVES[i] = entry->move;
        entry = NextEntry(*entry);
    }
}

}  // namespace

void InitialiseEngine() {
    ClearMoveArena();
    AllocateTranspositionTable();
    NewGame();
}

void RebuildLegalMoves() {
    ReleaseLegalMoves();
    legal_moves = &GenerateLegal();
    has_legal_moves = true;
}

void ReleaseLegalMoves() {
    if (legal_moves) ReleaseMoves(*legal_moves);
    legal_moves = nullptr;
    has_legal_moves = false;
}

void NewGame() {
    ForgetGame();
    SetInitialPosition();
    BeginGame();
}

Status SetPosition(const CHSBRD& board) {
    if (AnyFlag(FlagEngineToMove)) return StatusComputerToMove;
    if (AnyFlag(FlagBusy)) return StatusBusy;
    CHSBRD checked = board;
    if (const Status status = ValidatePosition(&checked); status != StatusOk) return status;
    ForgetGame();
    const Status status = LoadPosition(board);
    BeginGame();
    return status;
}

Status DoMove(const char* text, MOVES* result) {
    if (GamePly.load(kRelaxed) >= kMaxGamePly) return StatusRecordFull;
    if (AnyFlag(FlagBusy)) return StatusBusy;
    if (std::strlen(text) < 2) return StatusBadText;
    if (!legal_moves) return StatusNoMove;
    const int found = ParseMoveText(legal_moves, text);
    if (found <= 0) {
        // Narrowing has reordered the list and its count.
        RebuildLegalMoves();
        return found == 0 ? StatusNoMove : StatusBadText;
    }
    FillResult(*legal_moves, found, result);
    if (found > 1) {
        RebuildLegalMoves();
        return StatusAmbiguous;
    }
    MoveEntry* const entry = EntryAt(legal_moves->quiet_head);
    SetGameBits(FlagHostToMove);
    const NextBestList& next = next_best_list;
    if (next.count > 0 &&
        CompareMoves(entry->move, next.moves[static_cast<unsigned>(next.current)]) != 0) {
        next_best_list = {};
    }
    entry->move = Plain(entry->move);
    Move made;
    result->iStatus = MakeGameMove(entry, &made);
    result->MOVES[0] = made;
    return StatusOk;
}

Status MoveBack(int count) {
    if (AnyFlag(FlagEngineToMove)) return StatusComputerToMove;
    if (AnyFlag(FlagBusy)) return StatusBusy;
    next_best_list = {};
    EmptyLine();
    const int wanted = std::max(count, 1);
    int taken = 0;
    while (taken < wanted && game_record.top > game_record.PlyStack.data()) {
        TakeBackMove();
        ++taken;
    }
    position.GamePhase = PhaseNotSet;
    CommitTakeBack();
    RecomputeState();
    NotifyPosition({}, MaskBoard);
    NotifyClocks(ClocksBoth);
    RebuildLegalMoves();
    return taken < wanted ? StatusTooFewMoves : StatusOk;
}

Status StartGame() {
    if (AnyFlag(FlagHostToMove | FlagEngineToMove)) return StatusGameRunning;
    SetGameBits(FlagHostToMove);
    return StatusOk;
}

void StopGame() { SetGameBits(0); }

bool VerifyDrawOffer() {
    constexpr int kFirstPly = 20;
    return GamePly.load(kRelaxed) >= kFirstPly;
}

}  // namespace torval

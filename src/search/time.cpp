#include "search/time.h"

#include <algorithm>

#include "board/position.h"
#include "platform/tick.h"
#include "state/clocks.h"
#include "state/controller.h"
#include "state/flags.h"
#include "state/notify.h"
#include "state/settings.h"
#include "torval/codes.h"

namespace torval {

namespace {

constexpr auto kRelaxed = std::memory_order_relaxed;

constexpr std::uint32_t kMsPerSecond = 1000;

bool CountsDown() {
    return settings_block.Level.mode == LevelTournament ||
           settings_block.Level.mode == LevelIncrement;
}

std::atomic<std::int32_t>& ClockOf(int side) {
    return side == White ? game_clocks.wtime : game_clocks.btime;
}

void AddTo(std::atomic<std::int32_t>* clock, std::int64_t ms) {
    clock->store(static_cast<std::int32_t>(clock->load(kRelaxed) + ms), kRelaxed);
}

/// Ends the computation when its time is up, and keeps the node rate.
void CheckTime() {
    constexpr std::uint32_t kMsBeforeRate = 100;
    ThinkController& c = think_controller;
    const std::uint32_t elapsed = ElapsedMs();
    if (elapsed >= kMsBeforeRate && AnyFlag(FlagBusy)) {
        SearchStatistics& statistics = c.statistics;
        const std::uint32_t rate =
            statistics.analize_cnt.load(kRelaxed) * 10 / (elapsed / kMsBeforeRate);
        statistics.AvgNodesPerSec.store(rate, kRelaxed);
        if (rate > statistics.MaxNodesPerSec.load(kRelaxed)) {
            statistics.MaxNodesPerSec.store(rate, kRelaxed);
        }
    }
    const std::uint32_t max_time = c.budget.MaxTime.load(kRelaxed);
    if (!AnyFlag(FlagEngineToMove) || c.published_line.Load().vlen < 1 ||
        max_time == kNoTimeLimit) {
        return;
    }
    const bool target_reached = elapsed >= c.budget.TargetTime.load(kRelaxed);
    if (elapsed >= max_time || (target_reached && c.settled.load(kRelaxed))) SetFlag(FlagMoveNow);
}

/// The side whose clock runs: 0 or 1, or -1 while no game does.
int RunningSide() {
    const int host = GameSide.load(kRelaxed);
    if (AnyFlag(FlagHostToMove)) return host;
    return AnyFlag(FlagEngineToMove) ? host ^ 1 : -1;
}

void Charge(std::uint32_t ms) {
    if (ms == 0) {
        NotifyClocks(ClocksBoth);
        return;
    }
    const int side = RunningSide();
    if (side >= 0) {
        auto& clock = ClockOf(side);
        if (CountsDown()) {
            const std::int32_t left = clock.load(kRelaxed);
            if (left == 0) return;
            if (ms >= static_cast<std::uint32_t>(std::max(left, 0))) {
                clock.store(0, kRelaxed);
                if (ClockOf(side ^ 1).load(kRelaxed) != 0 && AnyFlag(FlagHostToMove) &&
                    (ReadSetting(settings_block.ClockFlags) & ClockReportForfeit)) {
                    NotifyMsg(MsgTimeForfeit, side);
                    SetGameBits(0);
                }
            } else {
                AddTo(&clock, -static_cast<std::int64_t>(ms));
            }
        } else {
            AddTo(&clock, ms);
        }
        const int interval = ReadSetting(settings_block.ClockInterval);
        const int seconds = clock.load(kRelaxed) / static_cast<int>(kMsPerSecond);
        if (interval != 0 && seconds % interval == 0) {
            NotifyClocks(side == White ? ClocksWhite : ClocksBlack);
        }
    }
    CheckTime();
}

/// The number of the move to be played.
int MoveNumber() { return (GamePly.load(kRelaxed) + 1) / 2; }

/// Moves that a game is taken to last from move n on.
std::uint32_t MovesToGo(int n) { return n < 50 ? static_cast<std::uint32_t>(60 - n) : 10; }

/// Milliseconds a mode-1 move should take and the moves until the next time control.
struct Pace {
    std::uint32_t per_move;
    std::uint32_t moves;
};

Pace TournamentPace(const LEVEL& level, int n) {
    constexpr std::uint32_t kGameMoves = 60;
    constexpr std::uint32_t kRestMoves = 10;
    const std::uint32_t first = level.time1 * kMsPerSecond;
    const std::uint32_t further = level.time2 * kMsPerSecond;
    if (level.moves1 == 0) return {first / kGameMoves, MovesToGo(n)};
    if (n <= level.moves1) {
        return {first / level.moves1, static_cast<std::uint32_t>(level.moves1 - n + 1)};
    }
    if (level.moves2 == 0) return {further / kRestMoves, MovesToGo(n)};
    const int played = (n - level.moves1 - 1) % level.moves2;
    return {further / level.moves2, static_cast<std::uint32_t>(level.moves2 - played)};
}

/// The clock of the side to move, less a reserve.
std::uint32_t OwnTime() {
    constexpr std::uint32_t kSmallReserve = 2000;
    constexpr std::uint32_t kLargeReserve = 10000;
    auto own = static_cast<std::uint32_t>(std::max(ClockOf(position.SideToMove).load(kRelaxed), 0));
    if (own > 15000) own -= kLargeReserve;
    if (own > 2200) own -= kSmallReserve;
    return own;
}

/// Just out of the book the position is new to the engine, and it takes more time.
std::uint32_t AfterBook(std::uint32_t ms) {
    constexpr int kLastPly = 30;
    const int ply = GamePly.load(kRelaxed);
    const int book_ply = think_controller.book_ply;
    if (ply > kLastPly || book_ply == 0 || ply <= book_ply) return ms;
    const int moves = (ply - book_ply) / 2;
    if (moves <= 3) return 2 * ms;
    return moves <= 5 ? ms + ms / 2 : ms;
}

constexpr std::uint32_t kLeastMs = 2000;

void ComputeThreatMargin(std::uint32_t spent) {
    ThinkController& c = think_controller;
    const SettingsBlock& s = settings_block;
    const int margin = SearchSetting(s.ThreadMargin);
    const std::uint32_t target = c.budget.TargetTime.load(kRelaxed);
    const bool late = spent > target || target - spent < s.LateMarginMs;
    c.ThreatMargin = margin < 1 ? 0 : late ? SearchSetting(s.LateThreadMargin) : margin;
}

}  // namespace

void ClockTick() {
    constexpr std::uint32_t kLeastInterval = 200;
    constexpr std::uint32_t kGap = 12000;
    const std::uint32_t now = TickCount();
    std::uint32_t last = game_clocks.last_tick.load(kRelaxed);
    if (now - last < kLeastInterval) return;
    // Whoever exchanges the tick charges the interval; the other thread finds it charged.
    if (!game_clocks.last_tick.compare_exchange_strong(last, now, kRelaxed)) return;
    if (now - last >= kGap) return;
    Charge(now - last);
}

void ResetClocks() {
    const std::int32_t ms =
        CountsDown() ? settings_block.Level.time1 * static_cast<int>(kMsPerSecond) : 0;
    game_clocks.wtime.store(ms, kRelaxed);
    game_clocks.btime.store(ms, kRelaxed);
}

CLOCKS ReadClocks(std::uint16_t command) {
    return {.Command = command,
            .wtime = game_clocks.wtime.load(kRelaxed),
            .btime = game_clocks.btime.load(kRelaxed)};
}

void NotifyClocks(std::uint16_t command) {
    if (notification_sink.output_clocks) notification_sink.output_clocks(ReadClocks(command));
}

void ChargeMoveMade(int mover) {
    const LEVEL& level = settings_block.Level;
    const int n = MoveNumber();
    bool add = level.mode == LevelIncrement;
    if (level.mode == LevelTournament && level.moves1 > 0) {
        add = n == level.moves1 ||
              (n > level.moves1 && level.moves2 > 0 && (n - level.moves1) % level.moves2 == 0);
    }
    if (add) AddTo(&ClockOf(mover), std::int64_t{level.time2} * kMsPerSecond);
    NotifyClocks(ClocksBoth);
}

void ComputeBudget() {
    TimeBudget& budget = think_controller.budget;
    const LEVEL& level = settings_block.Level;
    const std::uint32_t spent = ElapsedMs();
    std::uint32_t target = kNoTimeLimit;
    std::uint32_t longest = kNoTimeLimit;
    if (AnyFlag(FlagEngineToMove)) {
        const int n = MoveNumber();
        const std::uint32_t own = OwnTime();
        const std::uint32_t first = level.time1 * kMsPerSecond;
        switch (level.mode) {
            case LevelTournament: {
                const Pace pace = TournamentPace(level, n);
                std::uint32_t ms = own / pace.moves;
                if (ms == 0) ms = kLeastMs;
                ms = std::min(AfterBook(ms), 2 * pace.per_move);
                target = spent + ms;
                longest = spent + (pace.moves > 5 ? 3 * ms : ms);
                break;
            }
            case LevelMoveTime: target = longest = spent + first; break;
            case LevelAverage:
                target = spent + first;
                longest = spent + 3 * first;
                break;
            case LevelIncrement: {
                std::uint32_t ms = std::min(own / MovesToGo(n) + level.time2 * kMsPerSecond, own);
                if (ms == 0) ms = kLeastMs;
                target = spent + ms;
                longest = spent + (own == 0 ? ms : std::min(4 * ms, own));
                break;
            }
            default: break;
        }
    }
    budget.TargetTime.store(target, kRelaxed);
    budget.MaxTime.store(longest, kRelaxed);
    ComputeThreatMargin(spent);
}

bool MayIterate(int depth) {
    constexpr int kDeepest = 30;
    const LEVEL& level = settings_block.Level;
    if (!AnyFlag(FlagEngineToMove)) return depth < kDeepest;
    const bool within_cap = level.depth1 == 0 || depth <= level.depth1;
    switch (level.mode) {
        case LevelDepth:
        case LevelPlies: return depth <= level.depth1;
        case LevelMoveTime: return within_cap && depth < kDeepest;
        case LevelTournament:
        case LevelAverage:
        case LevelIncrement: {
            const std::uint64_t last = think_controller.last_iteration_ms;
            return within_cap && depth < kDeepest &&
                   last / 4 + 3 * last <= think_controller.budget.TargetTime.load(kRelaxed);
        }
        default: return depth < kDeepest;
    }
}

void ExtendTarget() {
    TimeBudget& budget = think_controller.budget;
    const std::uint32_t target = budget.TargetTime.load(kRelaxed);
    const std::uint32_t longest = budget.MaxTime.load(kRelaxed);
    budget.TargetTime.store(target + (longest - target) / 2, kRelaxed);
}

std::uint32_t ElapsedMs() { return TickCount() - think_controller.start_tick.load(kRelaxed); }

std::uint16_t Completion() {
    constexpr std::uint64_t kTargetShare = 80;
    const std::uint64_t target = think_controller.budget.TargetTime.load(kRelaxed);
    const std::uint64_t longest = think_controller.budget.MaxTime.load(kRelaxed);
    const std::uint64_t elapsed = ElapsedMs();
    if (!AnyFlag(FlagEngineToMove)) return 100;
    switch (settings_block.Level.mode) {
        case LevelTournament:
        case LevelAverage:
        case LevelIncrement:
            if (target == 0) return kCompletionUnknown;
            if (elapsed < target)
                return static_cast<std::uint16_t>(elapsed * kTargetShare / target);
            if (longest <= target) return 100;
            return static_cast<std::uint16_t>(
                (elapsed - target) * (100 - kTargetShare) / (longest - target) + kTargetShare);
        case LevelMoveTime:
            if (target == 0) return kCompletionUnknown;
            return static_cast<std::uint16_t>(elapsed > target ? 100 : elapsed * 100 / target);
        default: return kCompletionUnknown;
    }
}

}  // namespace torval

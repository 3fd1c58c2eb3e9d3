#include "apps/uci/computation.h"

#include <algorithm>
#include <limits>

#include "apps/host/session_error.h"
#include "apps/text/game_text.h"
#include "apps/text/moves.h"
#include "apps/uci/report.h"
#include "apps/uci/skip_list.h"

namespace torval {

namespace {

constexpr std::int64_t kDeepest = 30;

/// A mate in n is 2n - 1 plies deep; a mate hidden by pruning is found a little later.
constexpr std::int64_t kPliesBeyondMate = 3;

/// How long the engine may take to obey. Far beyond any search, so that only a broken one gets here.
constexpr std::int64_t kPatienceMs = 60000;

LEVEL LevelFor(const GoLimits& limits, LEVEL level) {
    std::int64_t depth = limits.depth.value_or(kDeepest + 1);
    if (limits.mate) depth = std::min(depth, 2 * *limits.mate - 1 + kPliesBeyondMate);
    const bool limited = depth <= kDeepest || limits.depth || limits.mate;
    level.mode = limited ? LevelDepth : LevelInfinite;
    // Without a limit a depth here would make the engine wait when it is reached.
    level.depth1 =
        limited ? static_cast<std::int16_t>(std::clamp<std::int64_t>(depth, 1, kDeepest)) : 0;
    return level;
}

std::int32_t ClockValue(std::int64_t ms) {
    constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(ms, 0, kMost));
}

CLOCKS ClocksFor(const GoLimits& limits) {
    CLOCKS clocks{};
    if (limits.time_ms[0]) clocks.Command |= ClocksWhite;
    if (limits.time_ms[1]) clocks.Command |= ClocksBlack;
    clocks.wtime = ClockValue(limits.time_ms[0].value_or(0));
    clocks.btime = ClockValue(limits.time_ms[1].value_or(0));
    return clocks;
}

bool SameLevel(const LEVEL& one, const LEVEL& other) {
    return one.mode == other.mode && one.depth1 == other.depth1 && one.depth2 == other.depth2;
}

void Require(const char* what, HRESULT result) {
    if (result != S_OK) throw SessionError(what, result);
}

}  // namespace

void Computation::Begin(IChessEngine2* engine,
                        const GoLimits& limits,
                        LEVEL level,
                        std::int64_t overhead_ms,
                        Clock::time_point asked) {
    engine_ = engine;
    limits_ = limits;
    overhead_ms_ = overhead_ms;
    asked_ = clock_began_ = asked;
    CHSBRD board{};
    Require("tell its position", engine_->get_Position(&board));
    side_ = board.color & 1;
    skipped_ = AllMovesBut(board, limits.search_moves);
    pondering_ = limits.ponder;
    stop_wanted_ = false;
    time_ = pondering_ || limits.infinite ? ThinkingTime{}
                                          : ThinkingTimeFor(limits_, side_, overhead_ms_);

    // Putting a level stops and resets, so one that is in force already is left alone.
    const LEVEL wanted = LevelFor(limits, level);
    LEVEL in_force{};
    Require("tell its level", engine_->get_LEVEL(&in_force));
    if (!SameLevel(wanted, in_force)) Require("take a level", engine_->put_LEVEL(&wanted));
    const CLOCKS clocks = ClocksFor(limits);
    if (clocks.Command != 0) Require("take clocks", engine_->put_CLOCKS(&clocks));
    Start();
    running_ = true;
}

void Computation::Start() {
    final_.reset();
    enough_ = told_ = stalemate_ = false;
    depth_ = root_moves_ = 0;
    const auto count = static_cast<std::int32_t>(skipped_.size());
    Require("begin to compute", engine_->StartComputerMove2(count, skipped_.data()));
}

void Computation::PonderHit(Clock::time_point now) {
    if (!running_ || !pondering_) return;
    pondering_ = false;
    clock_began_ = now;
    if (!limits_.infinite) time_ = ThinkingTimeFor(limits_, side_, overhead_ms_);
}

std::int64_t Computation::MsSince(Clock::time_point moment) const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - moment).count();
}

std::int64_t Computation::Nodes() const {
    B_STATS stats{};
    engine_->GetProgress(&stats, nullptr);
    return stats.analize_cnt;
}

bool Computation::LimitReached() {
    if (stop_wanted_) return true;
    if (pondering_ || limits_.infinite) return false;
    return enough_ || (time_.most_ms && MsSince(clock_began_) >= *time_.most_ms) ||
           (limits_.nodes && Nodes() >= *limits_.nodes);
}

int Computation::MsToNextLook() const {
    constexpr std::int64_t kNodesInterval = 1;
    constexpr std::int64_t kLongestSleep = 60000;
    if (pondering_ || limits_.infinite) return -1;
    std::int64_t sleep = -1;
    if (time_.most_ms) {
        sleep = std::clamp<std::int64_t>(*time_.most_ms - MsSince(clock_began_), 1, kLongestSleep);
    }
    if (limits_.nodes) sleep = kNodesInterval;
    return static_cast<int>(sleep);
}

int Computation::Step() {
    constexpr int kRepeatMs = 1;
    if (!running_) return -1;
    if (final_) {
        if (final_->vlen == 0 && !skipped_.empty()) {
            // None of the moves to be searched can be played, so the restriction is dropped.
            skipped_.clear();
            Start();
            return kRepeatMs;
        }
        if (stop_wanted_ || !(pondering_ || limits_.infinite)) Answer();
        return -1;
    }
    if (!LimitReached()) return MsToNextLook();
    if (!told_) {
        told_ = true;
        first_told_ = Clock::now();
    } else if (MsSince(first_told_) > kPatienceMs) {
        throw SessionError("end its computation", E_FAIL);
    }
    // Refused while the computation has not begun or has just ended; both pass.
    (void)engine_->MoveNow();
    return kRepeatMs;
}

void Computation::Inform(const MAINVAR& line) {
    out_->Write(LineReport(line, Nodes(), MsSince(asked_)));
}

void Computation::Answer() {
    running_ = false;
    const MAINVAR& line = *final_;
    if (line.vlen <= 0) {
        out_->Write(stalemate_ ? "info depth 0 score cp 0" : "info depth 0 score mate 0");
        out_->Write("bestmove (none)");
        return;
    }
    Inform(line);
    std::string answer = "bestmove " + CoordinateText(line.bstvar[0]);
    if (line.vlen > 1) answer += " ponder " + CoordinateText(line.bstvar[1]);
    out_->Write(std::move(answer));
}

void Computation::HeardLine(const MAINVAR& line) {
    if (!running_ || final_) return;
    if (line.iCommand == LineFinal) {
        final_ = line;
    } else if (line.iCommand == LineBest) {
        Inform(line);
        const std::optional<int> mate = MovesToMate(line.score);
        if (limits_.mate && mate && *mate > 0 && *mate <= *limits_.mate) enough_ = true;
    }
}

void Computation::HeardRootMove(int depth, int moves_to_go, EVAR move) {
    constexpr std::int64_t kQuietMs = 1000;
    if (!running_ || final_) return;
    if (depth != depth_) {
        const bool first = depth_ == 0;
        depth_ = depth;
        root_moves_ = moves_to_go;
        if (!first && time_.enough_ms && MsSince(clock_began_) >= *time_.enough_ms) enough_ = true;
    }
    const std::int64_t elapsed = MsSince(asked_);
    if (elapsed < kQuietMs) return;
    out_->Write("info depth " + std::to_string(depth) + " currmove " + CoordinateText(move) +
                " currmovenumber " + std::to_string(root_moves_ - moves_to_go + 1));
}

void Computation::HeardMessage(int id) {
    if (running_ && id == MsgStalemate) stalemate_ = true;
}

}  // namespace torval

// One `go` at a time: what it asks of the engine, when it ends, and the one answer it gets.
//
// Purpose  the engine's levels know depths and whole seconds. All other limits are kept here: the
//          engine computes without a limit of its own and is told to move when one is reached,
//          repeatedly until its final result arrives, since a request that comes before the
//          computation has begun is lost.
// Units    milliseconds of a steady clock.
// Thread   the session's. Heard... arrive while the session waits.
// Errors   SessionError when the engine does not begin or does not come to an end.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "apps/host/line_io.h"
#include "apps/uci/command.h"
#include "apps/uci/time_budget.h"
#include "torval/engine.h"

namespace torval {

class Computation {
public:
    using Clock = std::chrono::steady_clock;

    explicit Computation(LineWriter* out) : out_(out) {}

    /// Begins to compute in the engine's game position. `asked` is when the clock began to run;
    /// `level` is the level to start from. None may be running.
    void Begin(IChessEngine2* engine,
               const GoLimits& limits,
               LEVEL level,
               std::int64_t overhead_ms,
               Clock::time_point asked);

    /// A `go` waits for its answer.
    bool running() const { return running_; }

    /// Ends the search and sends the answer, at the next Step that can.
    void Stop() { stop_wanted_ = running_; }

    /// The expected move was played: the clock runs from now on.
    void PonderHit(Clock::time_point now);

    /// Does what is due. Returns how long the caller may sleep unless a message arrives, -1 for no
    /// limit.
    int Step();

    void HeardLine(const MAINVAR& line);
    void HeardRootMove(int depth, int moves_to_go, EVAR move);
    void HeardMessage(int id);

private:
    void Start();
    bool LimitReached();
    int MsToNextLook() const;
    void Answer();
    void Inform(const MAINVAR& line);
    std::int64_t MsSince(Clock::time_point moment) const;
    std::int64_t Nodes() const;

    LineWriter* out_;
    IChessEngine2* engine_ = nullptr;
    GoLimits limits_;
    std::int64_t overhead_ms_ = 0;
    Clock::time_point asked_;        ///< what `time` counts from
    Clock::time_point clock_began_;  ///< what the limits count from
    ThinkingTime time_;
    int side_ = 0;
    std::vector<EVAR> skipped_;

    bool running_ = false;
    bool pondering_ = false;
    bool stop_wanted_ = false;
    bool enough_ = false;  ///< a limit was reached that is not checked each time
    bool stalemate_ = false;
    int depth_ = 0;                 ///< of the current iteration
    int root_moves_ = 0;            ///< in it
    Clock::time_point first_told_;  ///< when the engine was first told to move
    bool told_ = false;
    std::optional<MAINVAR> final_;
};

}  // namespace torval

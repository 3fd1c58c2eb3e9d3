// Moments at which two threads can meet in a bad order. Tests hold a thread up there.
//
// Owner    race_points.cpp. Null outside tests: one relaxed load at rare moments, none per node.
#pragma once

#include <atomic>

namespace torval {

enum class RacePoint {
    BusyBeforePost,  ///< a start command has set FlagBusy and not yet posted its message
    SearchEnded,     ///< a computation has ended and FlagBusy is still set
    BusyCleared,     ///< FlagBusy is clear and the final result not yet sent
    CallBeforePost,  ///< a callback is about to be posted to the host's apartment
    ThreadBegins,    ///< the engine's thread runs and has not yet asked for its site
    ThreadEnded,     ///< a thread has ended for all that others can see
    WaitBegins,      ///< a thread found nothing to do and is about to wait
};

extern std::atomic<void (*)(RacePoint)> race_hook;

inline void AtRacePoint(RacePoint point) {
    if (auto* const hook = race_hook.load(std::memory_order_relaxed)) hook(point);
}

}  // namespace torval

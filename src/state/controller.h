// What a computation keeps while it runs and leaves at its end: depth, line, counters, time budget.
//
// Owner    controller.cpp. One record for the whole engine.
// Writers  the computing thread; the game controller between computations (principal variation).
// Range    0 <= SearchPly <= 31 inside a search, 0 outside; the same for QuiescencePly.
// Thread   the atomics are read by the host's thread for progress; each is read for its own value
//          only, so relaxed order is enough. Counters have one writer and are never locked.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/published.h"
#include "torval/records.h"

namespace torval {

inline constexpr std::uint32_t kNoTimeLimit = 0xFFFFFFFF;

/// Milliseconds from the start tick of a computation.
struct TimeBudget {
    std::atomic<std::uint32_t> TargetTime = kNoTimeLimit;
    std::atomic<std::uint32_t> MaxTime = kNoTimeLimit;
};

struct SearchStatistics {
    std::atomic<std::uint32_t> analize_cnt = 0;     ///< moves searched or pruned
    std::atomic<std::uint32_t> Qanalized = 0;       ///< of these, at depth below 0
    std::atomic<std::uint32_t> AvgNodesPerSec = 0;  ///< of the current or last computation
    std::atomic<std::uint32_t> MaxNodesPerSec = 0;  ///< highest since the engine was loaded
};

struct ThinkController {
    std::int32_t SearchPly = 0;         ///< distance from the root
    std::int32_t QuiescencePly = 0;     ///< capture-search nodes on the path that search moves
    std::int32_t IterationDepth = 0;    ///< depth of the running iteration
    std::int32_t NodeCountdown = 30;    ///< nodes until the next clock tick
    std::int32_t ThreatMargin = 300;    ///< threat margin in force, 0 switches the test off
    bool FollowLineFlag = false;        ///< the root line's moves are tried first
    bool single_reply = false;          ///< the iteration searched exactly one root move
    std::atomic<bool> settled = false;  ///< the iteration has settled on a best move
    MAINVAR line = {};                  ///< current principal variation
    Published<MAINVAR> published_line;  ///< what the host's thread may read at any time
    std::atomic<std::uint32_t> start_tick = 0;  ///< of the current computation
    std::uint32_t last_iteration_ms = 0;        ///< elapsed when the last iteration ended
    std::uint16_t book_ply = 0;                 ///< GamePly of the last book move, 0 none yet
    TimeBudget budget;
    SearchStatistics statistics;
};

extern ThinkController think_controller;

/// Shows the other thread the current principal variation as it now is.
void PublishLine();

/// Empties the current principal variation.
void EmptyLine();

/// Adds one to a counter that only the calling thread writes.
inline void CountOne(std::atomic<std::uint32_t>& counter, std::uint32_t more = 1) {
    counter.store(counter.load(std::memory_order_relaxed) + more, std::memory_order_relaxed);
}

}  // namespace torval

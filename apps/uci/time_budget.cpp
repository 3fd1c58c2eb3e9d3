#include "apps/uci/time_budget.h"

#include <algorithm>

namespace torval {

ThinkingTime ThinkingTimeFor(const GoLimits& limits, int side, std::int64_t overhead_ms) {
    // A game is expected to last this many moves more, however long it has been.
    constexpr std::int64_t kMovesAhead = 30;
    constexpr std::int64_t kMostMovesAhead = 40;
    // A difficult move gets three shares, and never more than a third of the clock, unless a new
    // period begins before the clock could run out.
    constexpr std::int64_t kMostShares = 3;
    constexpr std::int64_t kMostOfClock = 3;

    if (limits.movetime_ms) return {.enough_ms = {}, .most_ms = *limits.movetime_ms};
    if (!limits.time_ms[side]) return {};
    const std::int64_t left = std::max<std::int64_t>(*limits.time_ms[side] - overhead_ms, 1);
    const std::int64_t increment = std::max<std::int64_t>(limits.increment_ms[side].value_or(0), 0);
    const std::int64_t given = limits.moves_to_go.value_or(0);
    const std::int64_t moves = given > 0 ? std::min(given, kMostMovesAhead) : kMovesAhead;
    const std::int64_t share = left / moves + increment * 3 / 4;
    const std::int64_t ceiling = left / std::min(moves, kMostOfClock);
    const std::int64_t most =
        std::clamp<std::int64_t>(share * kMostShares, 1, std::max<std::int64_t>(ceiling, 1));
    // An iteration takes a few times as long as all before it, so one that begins after six tenths
    // of the share would rarely come to an end.
    return {.enough_ms = std::min(share * 6 / 10, most), .most_ms = most};
}

}  // namespace torval

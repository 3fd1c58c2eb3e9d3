// How long the host lets the engine think.
//
// Units    milliseconds from the moment the clock runs: `go`, or `ponderhit` after pondering.
// Thread   pure functions.
#pragma once

#include <cstdint>
#include <optional>

#include "apps/uci/command.h"

namespace torval {

struct ThinkingTime {
    std::optional<std::int64_t> enough_ms;  ///< from here on no further iteration is begun
    std::optional<std::int64_t> most_ms;    ///< here the search ends; none: no limit
};

/// The time for a move of `side` (0 White, 1 Black). `overhead_ms` is what a move costs on top, on
/// its way to the clock; it is kept back from a clock, not from a time per move.
ThinkingTime ThinkingTimeFor(const GoLimits& limits, int side, std::int64_t overhead_ms);

}  // namespace torval

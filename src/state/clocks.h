// The two game clocks and the words that time management keeps beside them.
//
// Units    milliseconds. In modes 1 and 5 the clocks hold time left, in all others time used.
// Owner    clocks.cpp holds the words; search/time.h changes them.
// Thread   host and computing thread both charge time. Whoever exchanges last_tick owns the
//          interval up to the new tick, so no millisecond is charged twice; relaxed order is
//          enough since each word is read for its own value only.
#pragma once

#include <atomic>
#include <cstdint>

namespace torval {

struct GameClocks {
    std::atomic<std::int32_t> wtime = 0;
    std::atomic<std::int32_t> btime = 0;
    std::atomic<std::uint32_t> last_tick = 0;  ///< tick of the last charge
};

extern GameClocks game_clocks;

}  // namespace torval

// Numbers to draw with: one sequence for each thread, the same in every run.
//
// Range    Rand gives 15 bits, DrawNumber 32.
// Thread   any; every thread's sequence starts anew and is moved on by that thread's calls alone.
// Source   the linear congruential generator with multiplier 214013 and increment 2531011.
#pragma once

#include <cstdint>

#include "platform/tick.h"

namespace torval {

inline thread_local std::uint32_t rand_state = 1;

inline std::uint32_t Rand() {
    rand_state = rand_state * 214013 + 2531011;
    return (rand_state >> 16) & 0x7FFF;
}

/// Two numbers of the sequence, stirred with the tick so that games differ between runs.
inline std::uint32_t DrawNumber() {
    const std::uint32_t high = Rand();
    return high * 32768 + Rand() + TickCount();
}

}  // namespace torval

// The millisecond counter that all thinking time is measured with.
//
// Units    milliseconds since an arbitrary moment, unsigned 32 bits, wrapping after 49.7 days;
//          differences are taken modulo 2^32.
// Thread   any. A replacement is put in place before a computation starts.
#pragma once

#include <cstdint>

namespace torval {

/// Where ticks come from and how a thread passes time.
struct TickSource {
    std::uint32_t (*now)();
    void (*sleep)(std::uint32_t ms);
};

/// The steady clock of this machine.
extern const TickSource kSystemTicks;

/// The source in use; tests put one of their own here.
extern TickSource tick_source;

inline std::uint32_t TickCount() { return tick_source.now(); }
inline void SleepMs(std::uint32_t ms) { tick_source.sleep(ms); }

}  // namespace torval

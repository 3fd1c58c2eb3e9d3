// EngineFlags: the word through which the host's thread and the computing thread coordinate.
//
// Owner    flags.cpp. Changed by atomic or/and only, so no bit of the other thread is ever lost.
// Range    FlagHostToMove and FlagEngineToMove are never both set.
// Thread   any. The search polls relaxed: a stop seen a few nodes late is still a stop. Whoever sees
//          FlagBusy end (acquire) also sees the computation's results (release).
#pragma once

#include <atomic>
#include <cstdint>

namespace torval {

enum EngineFlag : std::uint16_t {
    FlagHostToMove = 1,    ///< a game is running and the host's side is to move
    FlagEngineToMove = 2,  ///< a game is running and the engine computes the move
    FlagBusy = 4,          ///< a computation is running or about to run
    FlagAbort = 32,        ///< stop without a result
    FlagMoveNow = 64,      ///< stop and return the best move found so far
};

extern std::atomic<std::uint16_t> EngineFlags;

inline bool AnyFlag(unsigned mask) {
    return (EngineFlags.load(std::memory_order_acquire) & mask) != 0;
}
/// AnyFlag for the search, at every node.
inline bool PollFlags(unsigned mask) {
    return (EngineFlags.load(std::memory_order_relaxed) & mask) != 0;
}
/// Sets a flag only while another one is set; false when that is not the case.
inline bool SetFlagWhile(EngineFlag flag, EngineFlag condition) {
    std::uint16_t flags = EngineFlags.load(std::memory_order_acquire);
    while (flags & condition) {
        const auto wanted = static_cast<std::uint16_t>(flags | flag);
        if (EngineFlags.compare_exchange_weak(flags, wanted, std::memory_order_acq_rel)) {
            return true;
        }
    }
    return false;
}
inline void SetFlag(EngineFlag flag) { EngineFlags.fetch_or(flag, std::memory_order_acq_rel); }
inline void ClearFlags(unsigned mask) {
    EngineFlags.fetch_and(static_cast<std::uint16_t>(~mask), std::memory_order_acq_rel);
}

}  // namespace torval

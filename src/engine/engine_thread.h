// The engine's own thread: started with the host's site, driven by thread messages, asked to stop
// and then joined.
//
// Owner    engine_thread.cpp. One thread for the whole engine.
// Range    FlagBusy is set by whoever posts a compute or ponder message and cleared by the thread
//          when the command is done, together with FlagAbort and FlagMoveNow, so that no stop is left
//          over for the next computation.
// Thread   every function here runs on the host's thread.
#pragma once

#include <span>

#include "torval/engine.h"

namespace torval {

inline constexpr std::uint32_t kMessageCompute = 1124;
inline constexpr std::uint32_t kMessagePonder = 1125;

/// Passes the site to a new engine thread, initialising the engine the first time in the process.
/// S_FALSE: the calling thread already has a site. RPC_E_WRONG_THREAD: another thread has started
/// the engine and not stopped it. Failures of the site or of marshalling.
HRESULT StartEngineThread(IUnknown* site);

/// Withdraws the site, stops a computation and waits up to five seconds for the thread to end,
/// dispatching the calling thread's messages meanwhile. At once when there is no thread.
void StopEngineThread();

/// Asks a running computation to end without a result; with `wait` dispatches messages until it has.
/// E_FAIL: it has not ended within five seconds, or the caller's thread was told to quit.
HRESULT StopComputing(bool wait);

/// Starts the computation of the engine's own move, leaving out some root moves. No computation may
/// be running. E_UNEXPECTED before Start: there is no thread to compute.
HRESULT PostCompute(std::span<const EVAR> skip_list, std::int32_t reserved);

/// Starts analysis for the side to move. S_FALSE while a computation runs or where the level forbids
/// it; 6 while the engine computes its own move; E_UNEXPECTED before Start.
HRESULT StartPondering(std::int32_t reserved);

/// Whether the engine has been initialised in this process.
bool EngineIsInitialised();

}  // namespace torval

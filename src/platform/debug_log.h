// Notes for diagnosing a problem. The engine works without any of this.
//
// Owner    debug_log.cpp. A host that wants the notes puts a function here before it starts anything.
// Thread   notes come from any thread; so the function must be thread-safe.
#pragma once

namespace torval {

extern void (*debug_log)(const char* note);

/// Passes a note to the log the first time it is called with this text (compared by address).
void DebugLogOnce(const char* note);

}  // namespace torval

// Notes for whoever looks into a problem. Nothing here is needed for the engine to work.
//
// Owner    debug_log.cpp. A host that wants the notes puts a function here before it starts anything.
// Thread   notes come from any thread; the function must stand that.
#pragma once

namespace torval {

extern void (*debug_log)(const char* note);

/// Hands a note to the log the first time it is called with this text (compared by address).
void DebugLogOnce(const char* note);

}  // namespace torval

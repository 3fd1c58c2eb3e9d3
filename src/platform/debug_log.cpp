#include "platform/debug_log.h"

#include <array>
#include <atomic>

namespace torval {

void (*debug_log)(const char* note) = nullptr;

void DebugLogOnce(const char* note) {
    // More than there are notes. No memory is needed, and nothing ends with the program.
    static std::array<std::atomic<const char*>, 8> written;
    if (!debug_log) return;
    for (std::atomic<const char*>& place : written) {
        const char* found = nullptr;
        if (place.compare_exchange_strong(found, note)) return debug_log(note);
        if (found == note) return;
    }
}

}  // namespace torval

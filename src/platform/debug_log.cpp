#include "platform/debug_log.h"

#include <mutex>
#include <set>

namespace torval {

void (*debug_log)(const char* note) = nullptr;

void DebugLogOnce(const char* note) {
    static std::mutex mutex;
    static std::set<const char*> written;
    if (!debug_log) return;
    const std::lock_guard lock(mutex);
    if (written.insert(note).second) debug_log(note);
}

}  // namespace torval

#include "apps/makers/tables/memory.h"

#include <sys/resource.h>

#include <algorithm>
#include <fstream>
#include <string>

namespace torval {

namespace {

/// The only number in a system file; nullopt for "max" and for a missing file.
std::optional<std::uint64_t> NumberIn(const char* path) {
    std::ifstream in(path);
    std::uint64_t number = 0;
    return in >> number ? std::optional(number) : std::nullopt;
}

std::optional<std::uint64_t> FreeMemory() {
    std::ifstream in("/proc/meminfo");
    std::string word;
    while (in >> word) {
        std::uint64_t kilobytes = 0;
        if (word == "MemAvailable:" && in >> kilobytes) return kilobytes * 1024;
    }
    return std::nullopt;
}

/// What the container's limit leaves.
std::optional<std::uint64_t> LeftInGroup() {
    const auto limit = NumberIn("/sys/fs/cgroup/memory.max");
    const auto used = NumberIn("/sys/fs/cgroup/memory.current");
    if (!limit || !used) return std::nullopt;
    return *limit > *used ? *limit - *used : 0;
}

std::optional<std::uint64_t> AddressSpace() {
    rlimit limit = {};
    if (getrlimit(RLIMIT_AS, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return std::nullopt;
    return limit.rlim_cur;
}

}  // namespace

std::optional<std::uint64_t> AvailableMemory() {
    std::optional<std::uint64_t> least;
    for (const auto& bytes : {FreeMemory(), LeftInGroup(), AddressSpace()}) {
        if (bytes) least = std::min(least.value_or(*bytes), *bytes);
    }
    return least;
}

}  // namespace torval

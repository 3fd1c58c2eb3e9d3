#include "platform/process.h"

#include <unistd.h>

#include <cstdlib>

namespace torval {

void (*end_process)(int status) = [](int status) { std::exit(status); };

std::uint64_t MemoryOfMachine() {
    constexpr std::uint64_t kUnknown = std::uint64_t{1} << 32;
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long bytes = sysconf(_SC_PAGESIZE);
    if (pages <= 0 || bytes <= 0) return kUnknown;
    return static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(bytes);
}

}  // namespace torval

#include "platform/tick.h"

#include <chrono>
#include <thread>

namespace torval {

const TickSource kSystemTicks = {
    [] {
        const auto now = std::chrono::steady_clock::now().time_since_epoch();
        return static_cast<std::uint32_t>(
            std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
    },
    [](std::uint32_t ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); },
};

TickSource tick_source = kSystemTicks;

}  // namespace torval

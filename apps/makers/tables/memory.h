// How much memory there is to work with.
#pragma once

#include <cstdint>
#include <optional>

namespace torval {

/// Bytes that the machine, and the limits it puts on this process, leave; none when it does not say.
std::optional<std::uint64_t> AvailableMemory();

}  // namespace torval

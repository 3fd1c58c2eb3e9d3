// How much memory there is to work with.
#pragma once

#include <cstdint>
#include <optional>

namespace torval {

/// Bytes available on the machine within this process's limits; nullopt when unknown.
std::optional<std::uint64_t> AvailableMemory();

}  // namespace torval

// The empty book that a user's own moves are added to.
#pragma once

#include <cstdint>
#include <vector>

namespace torval {

/// The bytes of the file.
std::vector<std::uint8_t> EmptyUserBook();

}  // namespace torval

// The book that a user's own moves go to, before there are any.
#pragma once

#include <cstdint>
#include <vector>

namespace torval {

/// The bytes of the file.
std::vector<std::uint8_t> EmptyUserBook();

}  // namespace torval

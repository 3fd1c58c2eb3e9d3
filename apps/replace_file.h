// Writing a file so that its name always leads to a whole one.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace torval {

/// Writes the bytes to a file beside `path`, makes the disk hold them and gives them the name. What
/// had the name before stays as it was when that fails. Throws std::runtime_error.
void ReplaceFile(const std::string& path, std::span<const std::uint8_t> bytes);

}  // namespace torval

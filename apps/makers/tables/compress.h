// Writes the compressed form of a database file.
//
// Method   24 match distances are chosen that cover most of a sample of blocks; each block is then
//          divided into literals and matches so that its symbols take the fewest bits, with prices
//          from the code that earlier passes over the sample produced.
// Result   the same bytes for the same data, on every machine and in every build.
// Thread   no shared state; any thread. Memory for about five times the data.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace torval {

/// The whole file: header and blocks of 8192 bytes. Any data will do, even empty data.
std::vector<std::uint8_t> CompressTablebase(std::span<const std::uint8_t> data);

}  // namespace torval

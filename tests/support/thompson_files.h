// Thompson database files for tests, written value by value from the format alone.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "egtb/thompson/thompson_index.h"

namespace torval {

/// The values of a file by position number; all others are 0.
using ThompsonValues = std::map<std::uint32_t, std::uint8_t>;

/// The file's bytes: one value to a leaf, 0 the common one, every other value spelt out in nine bits.
/// Blocks without a value share their data.
std::string SparseThompsonFile(ThompsonType type, const ThompsonValues& values);

/// Writes the file and returns its full name.
std::string WriteSparseThompson(const std::string& folder,
                                const std::string& name,
                                const ThompsonValues& values);

/// Adds the value of a position to those of the file for a material ("RR_R.G"), with the side to move as
/// the FEN says.
void AddValue(const std::string& fen, const std::string& name, int value, ThompsonValues* values);

}  // namespace torval

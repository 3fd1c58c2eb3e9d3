// The tables of data/ as the build has put them into the program, a string for each line.
//
// Thread   constant data; any thread.
#pragma once

#include <span>
#include <string_view>

namespace torval {

/// The lines of data/openings.tsv.
std::span<const std::string_view> OpeningLines();

/// The lines of data/openings-losses.tsv.
std::span<const std::string_view> OpeningLosses();

}  // namespace torval

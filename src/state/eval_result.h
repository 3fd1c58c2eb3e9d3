// A score with what is known about it; the form of every search result.
//
// Thread   plain data.
#pragma once

#include <cstdint>

namespace torval {

struct EvalResult {
    std::int16_t score;
    std::uint16_t flags;

    bool operator==(const EvalResult&) const = default;
};

/// A window from -kFullWindow to kFullWindow holds every score.
inline constexpr int kFullWindow = 20000;

/// EvalResult::flags: the value is exact, from a database or a rule.
inline constexpr std::uint16_t kExact = 0x20;

}  // namespace torval

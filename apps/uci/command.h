// What a line of the protocol asks for.
//
// Range    numbers are clamped to 0 .. kLargestNumber, except increments and clocks, which may be
//          negative in a lost game and are clamped from below at -kLargestNumber.
// Errors   none: unknown words are skipped, a value that cannot be read counts as not given, and a
//          line without any known word does nothing.
// Thread   pure functions.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace torval {

enum class CommandKind {
    Nothing,
    Uci,
    Debug,
    IsReady,
    SetOption,
    NewGame,
    Position,
    Go,
    Stop,
    PonderHit,
    Quit,
};

inline constexpr std::int64_t kLargestNumber = std::int64_t{1} << 40;

/// The limits of a `go`.
struct GoLimits {
    std::optional<std::int64_t> depth;
    std::optional<std::int64_t> movetime_ms;
    std::optional<std::int64_t> time_ms[2];       ///< White's, Black's
    std::optional<std::int64_t> increment_ms[2];  ///< White's, Black's
    std::optional<std::int64_t> moves_to_go;
    std::optional<std::int64_t> nodes;
    std::optional<std::int64_t> mate;
    bool infinite = false;
    bool ponder = false;
    std::vector<std::string> search_moves;  ///< coordinates
};

struct Command {
    CommandKind kind = CommandKind::Nothing;
    bool debug_on = false;           ///< Debug
    std::string name;                ///< SetOption
    std::string value;               ///< SetOption; empty when none was given
    std::optional<std::string> fen;  ///< Position; nullopt when the line names no position
    std::vector<std::string> moves;  ///< Position, as written
    GoLimits limits;                 ///< Go
};

Command ParseCommand(std::string_view line);

/// A whole number within the limits above; nullopt when the text is something else.
std::optional<std::int64_t> ParseNumber(std::string_view text);

}  // namespace torval

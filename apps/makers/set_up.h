// A position from a FEN, set up in this process's engine without going through the component.
#pragma once

#include <string>
#include <string_view>

namespace torval {

/// Reads a FEN and makes it the engine's game position, double step included. On failure *error says
/// why.
bool SetUpFen(std::string_view fen, std::string* error);

}  // namespace torval

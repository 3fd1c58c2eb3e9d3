// The legal move that a text in standard algebraic notation means, found fast.
//
// Thread   the thread that works on the position.
#pragma once

#include <string_view>

#include "board/generate.h"

namespace torval {

enum class Reading { Found, Unreadable, NotLegal, Ambiguous };

/// The legal move of the working position that the text means, as ReadSan reads it. *move changes
/// on Reading::Found only.
Reading FindSan(std::string_view text, Move* move);

/// "cannot be read" and so on; for every reading except Reading::Found.
const char* ReadingProblem(Reading reading);

}  // namespace torval

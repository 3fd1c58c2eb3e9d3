// Moves of game collections, read fast.
//
// Accepts  standard algebraic notation with English letters, the long one ("Ng1-f3", "e2xd3") and
//          coordinates ("e2e4", "e7e8q"). Check and mate signs, marks such as "!?" and "e.p." may
//          be missing or wrong. A capital B is a bishop, a small b a file, or the bishop that a
//          coordinate move promotes to.
// Thread   the thread that works on the position.
#pragma once

#include <string_view>

#include "board/generate.h"

namespace torval {

enum class Reading { Found, Unreadable, NotLegal, Ambiguous };

/// The legal move of the working position that the text means. *move changes on Reading::Found only.
Reading ReadSan(std::string_view text, Move* move);

/// "cannot be read" and so on; for every reading but Reading::Found.
const char* ReadingProblem(Reading reading);

}  // namespace torval

// Whether an endgame database covers the material on the board.
//
// No database can be registered yet, so the answer is that none does.
#pragma once

namespace torval {

class EndgameProbe;

/// The probe for the material on the board, null when no database covers it.
inline EndgameProbe* CheckTablebaseAvailable() { return nullptr; }

}  // namespace torval

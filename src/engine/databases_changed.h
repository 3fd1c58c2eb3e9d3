// Told when the user has changed where the endgame databases are or how large their cache is.
//
// Owner    here. Null, and nobody called, as long as the engine has no databases; what initialises
//          them puts itself here, so that the settings page need not know it.
// Thread   called on the thread of the page, within its Apply, with the new settings in place, also
//          while the engine computes.
#pragma once

namespace torval {

inline void (*databases_changed)() = nullptr;

}  // namespace torval

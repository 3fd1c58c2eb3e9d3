#include "state/clocks.h"

namespace torval {

GameClocks game_clocks;

}  // namespace torval

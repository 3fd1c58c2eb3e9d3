#include "platform/clocks.h"

namespace torval {

GameClocks game_clocks;

}  // namespace torval

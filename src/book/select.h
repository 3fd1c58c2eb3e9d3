// Which book move the engine plays.
#pragma once

#include "board/move_list.h"

namespace torval {

/// Draws among the enabled books' moves in the game position, by the mode, margin and ply limit of
/// the settings, and moves those drawn to the front of the root list in the order drawn, each with
/// its book score as its result. Gives their number, which is also the list's chosen_count; 0 when
/// the books have nothing. Thread: the one that computes.
std::uint32_t SelectBookMoves(MoveList* root);

}  // namespace torval

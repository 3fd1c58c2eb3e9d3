// Teaching the books from the game on the board.
//
// Method   the game is walked back move by move, the book changed at each position, and walked
//          forward again; position, keys and game record are then as they were.
// Thread   the host's, while nothing computes.
// Errors   a failing file ends the walk and sends a message; the answer stays StatusOk.
#pragma once

#include <cstdint>

namespace torval {

/// The whole game.
inline constexpr std::int32_t kAllPlies = -1;

/// Records the last `count` moves of the game in the positions that they were played from. `score`
/// (-127 to 127) is White's view of the position on the board. In `flags` the bits 0xC0 add 1000 to
/// it (0x40) or take 1000 away (0xC0), which excludes a last move of White's (0xC0) or Black's
/// (0x40) from play; the bits 0x300 say who won a game counted by a BX file: 1 White, 2 Black.
/// StatusBadValue: no such book, or score; StatusComputerToMove; BookNotReadable: the book is
/// closed; StatusBusy.
std::int32_t AddBookMoves(std::int32_t id,
                          std::int32_t count,
                          std::int32_t score,
                          std::int32_t flags);

/// Removes the last move of the game from the position that it was played from, and, while a
/// position loses its only move so, the move before it, up to `count` of them; then lets the
/// positions further back have the best value that remains. Answers as AddBookMoves;
/// StatusBadValue also for a BX file.
std::int32_t DelBookMoves(std::int32_t id, std::int32_t count);

}  // namespace torval

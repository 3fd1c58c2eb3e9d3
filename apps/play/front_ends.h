// The two front ends of a player: line by line from a script, or in a terminal.
//
// Thread   the player's.
#pragma once

#include "apps/play/player.h"
#include "apps/text/console.h"

namespace torval {

/// Reads commands to the end of the input or 'quit', from the descriptor `input`, or from console.in
/// when that is -1. Replies and news go to console.out, what is refused to console.err with its line
/// number. Waits for the engine's move before the next line; while a descriptor has no line yet,
/// the engine thinks. Returns how many commands were refused.
int PlayScript(Player& player, Console& console, int input);

/// Plays in the terminal that is standard input and output, until 'quit' or the end of input.
void PlayTerminal(Player& player);

/// Whether the terminal's character set has chess pieces.
bool TerminalHasPieces();

}  // namespace torval

// The protocol from the first line to the last.
//
// Purpose  every `go` gets exactly one `bestmove`, in turn: a command that changes the game ends the
//          search and has it answered first. Commands that need no idle engine are answered while a
//          search runs. The end of the input counts as `quit`.
// Thread   the calling thread becomes an apartment meanwhile.
// Errors   SessionError when the engine fails. A closed output ends the loop quietly.
#pragma once

namespace torval {

/// Reads commands from one file descriptor and answers on the other until told to quit.
void RunUci(int input, int output);

}  // namespace torval

// Ending the process, for faults that leave no way to go on.
#pragma once

namespace torval {

/// Ends the process with this exit status; does not return. Tests put a function here that throws.
extern void (*end_process)(int status);

}  // namespace torval

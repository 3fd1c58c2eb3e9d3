// The process: its end, for faults that leave no way to go on, and the memory of its machine.
#pragma once

#include <cstdint>

namespace torval {

/// Ends the process with this exit status; does not return. Tests put a function here that throws.
extern void (*end_process)(int status);

/// The machine's memory in bytes; 2^32 where that is not known.
std::uint64_t MemoryOfMachine();

}  // namespace torval

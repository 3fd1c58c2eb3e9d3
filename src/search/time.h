// Clocks, time budgets and the rules that start and stop an iteration.
//
// Units    milliseconds of the tick counter; differences modulo 2^32.
// Owner    time.cpp writes state/clocks.h and the budget in state/controller.h.
// Thread   the clock tick runs on either thread, all else where its caller computes.
#pragma once

#include <cstdint>

#include "torval/records.h"

namespace torval {

/// Charges the time since the last charge to the side to move, when 200 ms have passed, and looks
/// whether the computation's time is up. A gap of 12 s or more is charged to nobody.
void ClockTick();

/// Sets both clocks for the level in force: the first period's time, or 0 where they count up.
void ResetClocks();

/// Both clocks with the given Command.
CLOCKS ReadClocks(std::uint16_t command);

/// Sends both clocks.
void NotifyClocks(std::uint16_t command);

/// Time control and increment after a move by the side that is no longer to move; GamePly is
/// still that of before the move. Sends the clocks.
void ChargeMoveMade(int mover);

/// Sets TargetTime, MaxTime and the threat margin for the computation that has just started.
void ComputeBudget();

/// Whether an iteration at this depth may start.
bool MayIterate(int depth);

/// The engine's first root move failed low: TargetTime moves half-way towards MaxTime.
void ExtendTarget();

/// Time since the start tick.
std::uint32_t ElapsedMs();

/// How much of its time the computation has used, 0 to 100, or kCompletionUnknown.
std::uint16_t Completion();

}  // namespace torval

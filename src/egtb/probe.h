// The endgame databases as the evaluation asks them.
//
// Method   one class covers the material on the board or none does; the answer is looked up when the
//          material changes, and only near the root, so that asking costs next to nothing.
// Units    scores as the search has them: 10000 less the plies to mate, counted from the root.
// Thread   the thread that computes.
#pragma once

#include <cstdint>

#include "egtb/values.h"
#include "platform/eval_result.h"

namespace torval {

struct EndgameProbe {
    bool found = false;  ///< the last probe gave a value

    /// The value of the position on the board for the side to move; it means something when `found`
    /// is true. The three numbers are the evaluation's and change nothing.
    EvalResult ProbeTablebase(int depth, int alpha, int beta);
};

/// Finds the databases anew by the settings, and how many men they cover.
void InitialiseDatabases();

/// The probe for the material on the board; null when no database covers it, the databases are off,
/// or the search has come too deep for their cost.
EndgameProbe* CheckTablebaseAvailable();

/// An entry of a class file, widened; kUnknownValue when it cannot be read.
TablebaseValue ReadTablebaseValue(int class_id, int side, std::uint64_t index);

/// A value as the search scores it `ply` plies below the root.
EvalResult ToEngineScore(TablebaseValue value, int ply);

}  // namespace torval

// The small integers that the engine's operations answer with.
//
// Range    0 success, 1 a negative answer or an empty result, the rest say why a call was refused.
//          A refused call has changed nothing unless its comment says otherwise.
#pragma once

#include <cstdint>

namespace torval {

enum [[nodiscard]] Status : std::int32_t{
    StatusOk = 0,
    StatusNegative = 1,
    StatusBadPosition = 5,     ///< the position given is no position that the engine accepts
    StatusComputerToMove = 6,  ///< the engine is computing its own move
    StatusBadText = 7,         ///< the text is no move
    StatusNoMove = 8,          ///< no legal move fits the text
    StatusAmbiguous = 9,       ///< more than one legal move fits the text
    StatusTooFewMoves = 11,    ///< fewer moves than asked for could be taken back
    StatusGameRunning = 13,
    StatusNotComputing = 14,
    StatusBadValue = 15,
    StatusNoAlternative = 20,
    StatusRecordFull = 21,  ///< the game record holds no further move
    StatusBusy = 22,        ///< a computation is running
};

/// What a move entered did to the game; also the numbers of the messages that announce it.
enum Outcome : std::uint16_t {
    OutcomeGoesOn = 0,
    OutcomeMate = 6,
    OutcomeRepetition = 10,
    OutcomeFiftyMoves = 13,
    OutcomeMaterial = 14,
};

}  // namespace torval

// What the evaluation prepares once per search: phase, tables and weights for the position.
//
// Owner    setup.cpp. Everything here stays fixed from one SetUpEvaluation to the next; making
//          and unmaking moves only reads PieceSquareTable (board/position.h), which it fills too.
// Units    1/128 pawn.
// Thread   the thread that works on the position, never while a search runs.
#pragma once

#include <array>
#include <cstdint>

#include "board/bitboard.h"

namespace torval {

/// Values of Position::GamePhase.
enum : std::uint8_t {
    PhaseNotSet = 0,
    PhaseOpening = 1,
    PhaseMiddlegame = 2,
    PhaseEndgame = 3,
    PhasePawnless = 4,
    PhasePawns = 5,
};

struct EvalWeights {
    std::int32_t BlockedCentrePawn;
    std::int32_t IsolatedPawn;
    std::int32_t IsolatedPawnOnOpenFile;
    std::int32_t DoubledPawn;
    std::int32_t SupportedPawn;
    std::int32_t WeakPawnOnOpenFile;
    std::int32_t ConnectedPassedPawns;
    std::int32_t UnstoppablePawnBonus;
    std::int32_t BishopPair;
    std::int32_t RookOpenFile;
    std::int32_t RookHalfOpenFile;
    std::int32_t RookBehindPassedPawn;
    std::int32_t EarlyQueen;
    std::int32_t Castled;
    std::int32_t LostShortCastling;
    std::int32_t LostBothCastlings;
    std::int32_t ShortShieldPawnMissing;
    std::int32_t LongShieldPawnMissing;
    std::int32_t KingInCentre;
};

extern EvalWeights eval_weights;

/// Bound of the positional part of a score; 200 before the first set-up.
extern std::int32_t PositionalMargin;

/// Worth of each reachable square by side, type and square; pawns and kings have none.
extern std::array<std::array<std::array<std::int8_t, 128>, 8>, 2> MobilityTable;

/// MobilityTable as four bit planes, so that the worth of a set of squares is four counts.
using MobilityPlanes = std::array<Bitboard, 4>;
extern std::array<std::array<MobilityPlanes, 8>, 2> mobility_planes;

/// By outer + middle + inner file code, see evaluate.cpp.
inline constexpr std::array<std::int32_t, 64> KingShieldTable = {
    -100, -80, -80, -100, -80, -20, -35, -40, -80, -45, -45, -50, -80, -70, -70, -80,  // inner 0
    -80,  -60, -60, -70,  -30, 0,   -10, -20, -35, -5,  -20, -30, -50, -40, -45, -48,  // inner 16
    -85,  -65, -65, -75,  -35, -5,  -15, -25, -40, -10, -25, -35, -55, -45, -50, -53,  // inner 32
    -90,  -70, -70, -80,  -40, -10, -20, -30, -45, -15, -30, -40, -60, -50, -55, -58,  // inner 48
};

/// The side's own knights and bishops that have not left the squares they start on.
int UndevelopedMinors(Side side);

/// Chooses the phase of the working position, fills the tables for it and brings material and
/// positional sums into step with them.
void SetUpEvaluation();

}  // namespace torval

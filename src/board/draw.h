// Draws by rule: insufficient material, fifty moves, repetition.
#pragma once

#include "board/position.h"

namespace torval {

enum DrawResult : int { NoDraw = 0, DrawMaterial = 1, DrawRepetition = 2, DrawFiftyMoves = 3 };

inline constexpr int kFiftyMovePlies = 100;

/// Neither side has a pawn or more than one minor piece.
inline bool InsufficientMaterial(std::uint32_t white, std::uint32_t black) {
    return ((white | black) & kPawnField) == 0 && (white & 0xFFFF) <= kMinorValue &&
           (black & 0xFFFF) <= kMinorValue;
}

/// Whether the position occurred at least twice before, as far back as no capture or pawn move
/// lies between; compared by primary key.
bool CountRepetitions();

/// Whether the working position is drawn. search_ply is the distance from the search root, 0
/// outside a search: near the root all earlier positions are compared, deeper only those 4 and 8
/// plies back, which the line of a search can have repeated.
inline DrawResult DrawStatus(int search_ply) {
    constexpr int kNearRoot = 3;
    if (InsufficientMaterial(position.MaterialWord[White], position.MaterialWord[Black])) {
        return DrawMaterial;
    }
    if (position.FiftyCounter >= kFiftyMovePlies) return DrawFiftyMoves;
    if (search_ply < kNearRoot) return CountRepetitions() ? DrawRepetition : NoDraw;
    if (position.FiftyCounter < 8) return NoDraw;
    const std::uint32_t key = PrimaryKey(position.key);
    const bool repeated =
        PrimaryKey(game_record.KeyBefore(4)) == key && PrimaryKey(game_record.KeyBefore(8)) == key;
    return repeated ? DrawRepetition : NoDraw;
}

}  // namespace torval

// Moves in standard algebraic notation, written and read, with English letters.
//
// Shape    squares are 0x88 numbers, types those of the records: 1 pawn to 6 king. No rules are
//          known here: the caller says what other men could do, or compares a text that was read
//          with the moves that are possible.
// Thread   pure functions.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "torval/records.h"

namespace torval {

enum class SanSign { None, Check, Mate };

/// Everything the notation of a move depends on.
struct SanMove {
    int type;
    std::uint8_t from;
    std::uint8_t to;
    bool takes;
    int promotion = 0;  ///< the resulting type, 0 for none
    bool castles = false;
    bool needs_file = false;
    bool needs_rank = false;
    SanSign sign = SanSign::None;

    /// Gives as much of the origin as distinguishes the move from those of other men of its type to
    /// the same square, which come from `others`: the file, else the rank, else both.
    void TellFrom(std::span<const std::uint8_t> others);
};

/// A move of the engine, with what its annotations say about origin and sign.
SanMove SanMoveOf(const EVAR& move);

/// "Nbd2", "exd8=Q+", "O-O#". A pawn's origin is omitted except for the file it captures from.
std::string WriteSan(const SanMove& move);

/// The notation of a move that the engine reports as made in the position `before`, or in its final
/// line. What the engine's own reader would find ambiguous has origin file and rank: "Bd2xc3".
std::string AlgebraicText(const EVAR& move, const CHSBRD& before);

/// The move with its whole origin, which needs no annotation: "Ng1f3", "d5xe6", "e7e8Q".
std::string LongText(const EVAR& move);

/// What a text says about a move.
struct SanPattern {
    static constexpr int kAny = -1;

    int type = kAny;
    int from_file = kAny;
    int from_rank = kAny;
    int to = kAny;
    int promotion = 0;
    int castling_file = kAny;  ///< where the king goes

    /// Whether this move, without annotations, can be meant.
    bool Fits(const EVAR& move) const {
        constexpr std::uint8_t kCastling = 0x80;
        if (castling_file != kAny) {
            return (move.flags & kCastling) && (move.to & 7) == castling_file;
        }
        return move.to == to && (type == kAny || (move.flags & 7) == type) &&
               (from_file == kAny || (move.from & 7) == from_file) &&
               (from_rank == kAny || move.from >> 4 == from_rank) &&
               (move.flags >> 4 & 7) == promotion;
    }
};

/// Reads standard algebraic notation, the long one ("Ng1-f3", "e2xd3") and coordinates ("e2e4",
/// "e7e8q"). Check and mate signs, marks such as "!?" and "e.p." may be missing or wrong. A capital
/// B is a bishop, a small b a file, or the bishop that a coordinate move promotes to. nullopt for a
/// text that cannot be a move.
std::optional<SanPattern> ReadSan(std::string_view text);

}  // namespace torval

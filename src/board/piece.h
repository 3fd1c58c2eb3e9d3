// Piece codes, their value words, and what each side calls home.
//
// Shape    a PieceCode is one byte: type in bits 0-2, black 8, white 16, leaper 32, straight
//          slider 64, diagonal slider 128; 0 is an empty square.
// Units    values in 1/128 pawn. A value word holds the value in its low 16 bits and the number of
//          men by type above: pawns bits 16-19, knights 20-21, bishops 22-23, rooks 24-27, queens
//          28-31. The fields are plain sums and carry into each other when one overflows.
#pragma once

#include <array>
#include <cstdint>

#include "board/square.h"
#include "torval/codes.h"

namespace torval {

using PieceCode = std::uint8_t;

inline constexpr PieceCode kColourBits = kBlackBit | kWhiteBit;

constexpr PieceCode ColourBit(Side side) { return side == White ? kWhiteBit : kBlackBit; }
constexpr PieceType TypeOf(PieceCode code) { return static_cast<PieceType>(code & kTypeBits); }
constexpr Side SideOf(PieceCode code) { return (code & kBlackBit) ? Black : White; }

/// The full code of a type for each side; 0 for types 0 and 7.
inline constexpr std::array<std::array<PieceCode, 8>, 2> kPieceCodes = {{
    {0, 17, 50, 147, 84, 213, 246, 0},
    {0, 9, 42, 139, 76, 205, 238, 0},
}};
constexpr PieceCode CodeOf(Side side, int type) {
    return kPieceCodes[side][static_cast<unsigned>(type)];
}

inline constexpr int PawnValue = 128;
inline constexpr std::uint32_t kMinorValue = 384;

/// Value words by type.
inline constexpr std::array<std::uint32_t, 8> kValueWords = {
    0, 0x00010080, 0x00100180, 0x00400180, 0x01000280, 0x10000480, 0, 0};

constexpr std::int32_t ValueOf(std::uint32_t material_word) {
    return static_cast<std::int32_t>(material_word & 0xFFFF);
}

/// Fields of a material word, for tests against zero.
inline constexpr std::uint32_t kPawnField = 0x000F0000;
inline constexpr std::uint32_t kPieceFields = 0xFFF00000;
inline constexpr std::uint32_t kHeavyFields = 0xFF000000;
inline constexpr std::uint32_t kQueenField = 0xF0000000;

constexpr unsigned PawnsIn(std::uint32_t word) { return (word >> 16) & 15; }
constexpr unsigned KnightsIn(std::uint32_t word) { return (word >> 20) & 3; }
constexpr unsigned BishopsIn(std::uint32_t word) { return (word >> 22) & 3; }
constexpr unsigned RooksIn(std::uint32_t word) { return (word >> 24) & 15; }

/// What differs by colour; everything else about a move is written once.
template <Side Us>
struct Home {
    static constexpr int kFirstRank = Us == White ? 0x00 : 0x70;
    static constexpr int kForward = Us == White ? 16 : -16;
    static constexpr Square kKing = kFirstRank + 4;
    static constexpr Square kShortRook = kFirstRank + 7;
    static constexpr Square kLongRook = kFirstRank;
    static constexpr Square kShortKingTo = kFirstRank + 6;
    static constexpr Square kShortRookTo = kFirstRank + 5;
    static constexpr Square kLongKingTo = kFirstRank + 2;
    static constexpr Square kLongRookTo = kFirstRank + 3;
    static constexpr int kDoubleStepRank = Us == White ? 2 : 5;  ///< a first step ends there
    static constexpr int kLastRank = Us == White ? 7 : 0;
    static constexpr std::uint8_t kKingMoved = Us == White ? CastleE1Moved : CastleE8Moved;
    static constexpr std::uint8_t kShortMoved = Us == White ? CastleH1Moved : CastleH8Moved;
    static constexpr std::uint8_t kLongMoved = Us == White ? CastleA1Moved : CastleA8Moved;
    static constexpr std::uint8_t kDone = Us == White ? CastleWhiteDone : CastleBlackDone;
    /// Capture steps of a pawn in the order of generation: towards the a-file first for White.
    static constexpr std::array<int, 2> kPawnCaptures =
        Us == White ? std::array<int, 2>{15, 17} : std::array<int, 2>{-15, -17};
};

}  // namespace torval

// Positions of a few men, moved forwards and backwards without the engine's board.
//
// Shape    the first side (0) moves its pawns towards rank 8. Squares are 0 to 63, a1 first.
// Rules    no castling: databases do not cover it. En passant is possible where `en_passant` says
//          so, and it says so whenever a pawn stands beside one that has just made a double step.
// Thread   plain data.
#pragma once

#include <array>
#include <cstdint>

#include "board/bitboard.h"
#include "egtb/nalimov/index.h"

namespace torval {

struct SmallBoard {
    using Men = SideMen;
    std::array<Men, 2> side = {};
    std::uint8_t to_move = 0;
    int en_passant = kNoEnPassant;

    /// The position of a class with one side to move.
    static SmallBoard Of(int class_id, int to_move, const ClassPosition& position);

    /// Back to a position of the class that Of was given. The men are still those of the class, as
    /// no move without capture or promotion changes their order.
    ClassPosition Placed() const {
        return {.king = {side[0].king, side[1].king},
                .men = {side[0].square, side[1].square},
                .en_passant = en_passant};
    }

    Bitboard Occupied(unsigned of) const;
    Bitboard Occupied() const { return Occupied(0) | Occupied(1); }
    bool InCheck(unsigned of) const;

    /// The class that the men make up, signed as ClassFor has it, with its position and the side of
    /// the class that is to move. 0: bare kings, or more men than any class has.
    int Classify(ClassPosition* position, int* class_side) const;
};

/// A move and what it leads to.
struct SmallMove {
    std::uint8_t from;
    std::uint8_t to;
    std::uint8_t promotion;  ///< a PieceType, NoType for none
    bool changes_men;        ///< captures or promotes
};

/// The position in which the two sides have changed colours.
SmallBoard Mirrored(const SmallBoard& board);

/// Calls visit(move, board after it) for every legal move.
template <typename Visit>
void ForEachMove(const SmallBoard& board, Visit visit);

/// Calls visit(board before) for every position from which a move without capture or promotion by
/// the side not to move leads here.
template <typename Visit>
void ForEachPredecessor(const SmallBoard& board, Visit visit);

// ---- Templates -----------------------------------------------------------------------------------

namespace small_board {

inline Bitboard BitAt(int square) { return Bitboard{1} << square; }

inline Bitboard PieceTargets(unsigned type, int square, Bitboard occupied) {
    const auto at = static_cast<std::size_t>(square);
    switch (type) {
        case Knight: return kKnightAttacks[at];
        case Bishop: return BishopAttacks(square, occupied);
        case Rook: return RookAttacks(square, occupied);
        case Queen: return BishopAttacks(square, occupied) | RookAttacks(square, occupied);
        default: return kKingAttacks[at];
    }
}

/// Where a pawn moves without capturing.
inline Bitboard PawnSteps(unsigned side, int square, Bitboard occupied) {
    const Bitboard empty = ~occupied;
    const Bitboard one = (side == 0 ? BitAt(square) << 8 : BitAt(square) >> 8) & empty;
    const Bitboard start = RankMask(side == 0 ? 1 : 6);
    if (!(BitAt(square) & start)) return one;
    return one | ((side == 0 ? one << 8 : one >> 8) & empty);
}

inline Bitboard PawnTakes(unsigned side, int square) {
    return side == 0 ? PawnAttacks<White>(BitAt(square)) : PawnAttacks<Black>(BitAt(square));
}

inline void Remove(SmallBoard::Men* men, int square) {
    for (std::uint8_t i = 0; i < men->count; ++i) {
        if (men->square[i] != square) continue;
        --men->count;
        for (std::uint8_t k = i; k < men->count; ++k) {
            men->square[k] = men->square[k + 1U];
            men->type[k] = men->type[k + 1U];
        }
        return;
    }
}

/// Whether an enemy pawn stands beside a pawn on this square.
inline bool PawnBeside(const SmallBoard::Men& enemy, int square) {
    const Bitboard beside = East(BitAt(square)) | West(BitAt(square));
    for (std::uint8_t i = 0; i < enemy.count; ++i) {
        if (enemy.type[i] == Pawn && (BitAt(enemy.square[i]) & beside)) return true;
    }
    return false;
}

inline bool IsDoubleStep(int from, int to) { return from - to == 16 || to - from == 16; }

}  // namespace small_board

template <typename Visit>
void ForEachMove(const SmallBoard& board, Visit visit) {
    using namespace small_board;
    const unsigned us = board.to_move;
    const unsigned them = 1 - us;
    const SmallBoard::Men& men = board.side[us];
    const Bitboard own = board.Occupied(us);
    const Bitboard enemies = board.Occupied(them);
    const Bitboard occupied = own | enemies;
    SmallBoard after = board;
    after.to_move = static_cast<std::uint8_t>(them);
    after.en_passant = kNoEnPassant;
    const SmallBoard kept = after;

    for (Bitboard left = kKingAttacks[men.king] & ~own; left != 0; left &= left - 1) {
        const int to = std::countr_zero(left);
        after = kept;
        after.side[us].king = static_cast<std::uint8_t>(to);
        const bool takes = (enemies & BitAt(to)) != 0;
        if (takes) {
            if (to == board.side[them].king) continue;
            Remove(&after.side[them], to);
        }
        if (after.InCheck(us)) continue;
        visit(SmallMove{men.king, static_cast<std::uint8_t>(to), NoType, takes}, after);
    }
    for (std::uint8_t i = 0; i < men.count; ++i) {
        const int from = men.square[i];
        const bool pawn = men.type[i] == Pawn;
        Bitboard targets = 0;
        if (pawn) {
            Bitboard takes = enemies;
            if (board.en_passant != kNoEnPassant) takes |= BitAt(board.en_passant);
            targets = PawnSteps(us, from, occupied) | (PawnTakes(us, from) & takes);
        } else {
            targets = PieceTargets(men.type[i], from, occupied) & ~own;
        }
        for (; targets != 0; targets &= targets - 1) {
            const int to = std::countr_zero(targets);
            if (to == board.side[them].king) continue;
            after = kept;
            after.side[us].square[i] = static_cast<std::uint8_t>(to);
            bool takes = (enemies & BitAt(to)) != 0;
            if (takes) Remove(&after.side[them], to);
            if (pawn && to == board.en_passant) {
                takes = true;
                Remove(&after.side[them], us == 0 ? to - 8 : to + 8);
            }
            if (pawn && IsDoubleStep(from, to) && PawnBeside(after.side[them], to)) {
                after.en_passant = (from + to) / 2;
            }
            if (after.InCheck(us)) continue;
            const auto origin = static_cast<std::uint8_t>(from);
            const auto target = static_cast<std::uint8_t>(to);
            if (pawn && (to >= 56 || to < 8)) {
                for (const PieceType type : {Queen, Rook, Bishop, Knight}) {
                    after.side[us].type[i] = type;
                    visit(SmallMove{origin, target, type, true}, after);
                }
            } else {
                visit(SmallMove{origin, target, NoType, takes}, after);
            }
        }
    }
}

template <typename Visit>
void ForEachPredecessor(const SmallBoard& board, Visit visit) {
    using namespace small_board;
    const unsigned mover = 1U - board.to_move;
    const SmallBoard::Men& men = board.side[mover];
    const Bitboard occupied = board.Occupied();
    SmallBoard before = board;
    before.to_move = static_cast<std::uint8_t>(mover);
    before.en_passant = kNoEnPassant;
    const SmallBoard kept = before;
    const auto offer = [&] {
        // The side that is to move here would not have been left in check by its own move.
        if (before.InCheck(board.to_move)) return;
        visit(before);
        // The same move was also possible when en passant was available instead.
        const unsigned stepped = board.to_move;
        const Bitboard taken = before.Occupied();
        const SmallBoard::Men& others = before.side[stepped];
        for (std::uint8_t i = 0; i < others.count; ++i) {
            const int square = others.square[i];
            if (others.type[i] != Pawn || square >> 3 != (stepped == 0 ? 3 : 4)) continue;
            const int passed = stepped == 0 ? square - 8 : square + 8;
            const int start = stepped == 0 ? square - 16 : square + 16;
            if (taken & (BitAt(passed) | BitAt(start))) continue;
            if (!PawnBeside(before.side[mover], square)) continue;
            before.en_passant = passed;
            visit(before);
            before.en_passant = kNoEnPassant;
        }
    };
    if (board.en_passant == kNoEnPassant) {
        for (Bitboard left = kKingAttacks[men.king] & ~occupied; left != 0; left &= left - 1) {
            before = kept;
            before.side[mover].king = static_cast<std::uint8_t>(std::countr_zero(left));
            offer();
        }
    }
    for (std::uint8_t i = 0; i < men.count; ++i) {
        const int to = men.square[i];
        Bitboard origins = 0;
        if (men.type[i] == Pawn) {
            // A step back is a step forward of the other side; a double step is possible only from
            // rank 4.
            const Bitboard empty = ~occupied;
            const Bitboard one = (mover == 0 ? BitAt(to) >> 8 : BitAt(to) << 8) & empty &
                                 ~RankMask(0) & ~RankMask(7);
            const Bitboard rank4 = RankMask(mover == 0 ? 3 : 4);
            Bitboard two = 0;
            if (BitAt(to) & rank4) two = (mover == 0 ? one >> 8 : one << 8) & empty;
            const bool can_be_taken = PawnBeside(board.side[board.to_move], to);
            if (board.en_passant != kNoEnPassant) {
                // Only the double step that made the capture possible leads here.
                const int passed = mover == 0 ? to - 8 : to + 8;
                origins = passed == board.en_passant ? two : 0;
            } else {
                origins = one | (can_be_taken ? 0 : two);
            }
        } else if (board.en_passant == kNoEnPassant) {
            origins = PieceTargets(men.type[i], to, occupied) & ~occupied;
        }
        for (; origins != 0; origins &= origins - 1) {
            before = kept;
            before.side[mover].square[i] = static_cast<std::uint8_t>(std::countr_zero(origins));
            offer();
        }
    }
}

}  // namespace torval

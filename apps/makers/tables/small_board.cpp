#include "apps/makers/tables/small_board.h"

#include <algorithm>

namespace torval {

using small_board::BitAt;

SmallBoard SmallBoard::Of(int class_id, int to_move, const ClassPosition& position) {
    const TablebaseClass& entry = kTablebaseClasses[static_cast<std::size_t>(class_id)];
    SmallBoard board;
    board.to_move = static_cast<std::uint8_t>(to_move);
    board.en_passant = position.en_passant;
    for (std::size_t of = 0; of < 2; ++of) {
        Men& men = board.side[of];
        men.king = position.king[of];
        for (unsigned type = Queen; type >= Pawn; --type) {
            for (unsigned i = 0; i < entry.men[of][type]; ++i) {
                men.type[men.count] = static_cast<std::uint8_t>(type);
                men.square[men.count] = position.men[of][men.count];
                ++men.count;
            }
        }
    }
    return board;
}

Bitboard SmallBoard::Occupied(unsigned of) const {
    const Men& men = side[of];
    Bitboard squares = BitAt(men.king);
    for (std::uint8_t i = 0; i < men.count; ++i) squares |= BitAt(men.square[i]);
    return squares;
}

bool SmallBoard::InCheck(unsigned of) const {
    const Men& enemy = side[1 - of];
    const unsigned king = side[of].king;
    if (kKingAttacks[king] & BitAt(enemy.king)) return true;
    for (std::uint8_t i = 0; i < enemy.count; ++i) {
        const unsigned from = enemy.square[i];
        const unsigned type = enemy.type[i];
        if (type == Pawn) {
            if (small_board::PawnTakes(1 - of, static_cast<int>(from)) & BitAt(side[of].king)) {
                return true;
            }
            continue;
        }
        if (type == Knight) {
            if (kKnightAttacks[king] & BitAt(enemy.square[i])) return true;
            continue;
        }
        const auto& lines = kSquareLines[from];
        const bool in_reach =
            (type != Rook && ((lines.diagonal | lines.anti_diagonal) & BitAt(side[of].king))) ||
            (type != Bishop && (((from ^ king) & 7) == 0 || ((from ^ king) & 56) == 0));
        if (in_reach && (kBetween[from][king] & Occupied()) == 0) return true;
    }
    return false;
}

int SmallBoard::Classify(ClassPosition* position, int* class_side) const {
    std::array<MenCounts, 2> counts = {};
    for (std::size_t of = 0; of < 2; ++of) {
        for (std::uint8_t i = 0; i < side[of].count; ++i) ++counts[of][side[of].type[i]];
    }
    const int id = ClassFor(counts[0], counts[1]);
    const bool exchanged = id < 0;
    *position = SeenByClass(side, en_passant, exchanged);
    *class_side = exchanged ? 1 - to_move : to_move;
    return id;
}

SmallBoard Mirrored(const SmallBoard& board) {
    SmallBoard mirrored;
    mirrored.to_move = static_cast<std::uint8_t>(1 - board.to_move);
    for (std::size_t of = 0; of < 2; ++of) {
        mirrored.side[of] = board.side[1 - of];
        mirrored.side[of].king ^= 56;
        for (std::uint8_t& square : mirrored.side[of].square) square ^= 56;
    }
    if (board.en_passant != kNoEnPassant) mirrored.en_passant = board.en_passant ^ 56;
    return mirrored;
}

}  // namespace torval

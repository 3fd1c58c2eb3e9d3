#include "search/node_moves.h"

#include <algorithm>

#include "board/attack.h"
#include "board/make.h"

namespace torval {

std::array<NodeMoves, kMaxSearchPly + 1> node_moves;

namespace {

/// The place of a step's direction in DirectionTable, by VectorIndex(to, from). The line pieces
/// share the queen's order: a bishop's and a rook's lists are what is left of it.
constexpr auto kStepOrder = [] {
    std::array<std::uint8_t, 256> table{};
    for (unsigned place = 0; place < 8; ++place) {
        const int knight = DirectionTable[Knight][place];
        const int line = DirectionTable[Queen][place];
        table[VectorIndex(knight, 0)] = static_cast<std::uint8_t>(place);
        for (int k = 1; k <= 7; ++k) {
            table[VectorIndex(k * line, 0)] = static_cast<std::uint8_t>(place);
        }
    }
    return table;
}();
// A knight's difference is never a line's.
static_assert(kStepOrder[VectorIndex(-18, 0)] == 0 && kStepOrder[VectorIndex(-15, 0)] == 3);

void PutCapture(NodeMoves* moves, Square from, Square to, unsigned flags) {
    const Move move = {from, to, static_cast<std::uint8_t>(flags), position.Board[to]};
    moves->captures[static_cast<unsigned>(moves->capture_count++)] = {move, CaptureValue(move)};
}

/// The captures of a piece on the squares of `targets`, in the order of its directions.
void PutPieceCaptures(NodeMoves* moves, Square from, PieceType type, Bitboard targets) {
    if ((targets & (targets - 1)) == 0) {
        PutCapture(moves, from, SquareAt(std::countr_zero(targets)), type);
        return;
    }
    std::array<Square, 8> by_direction;
    unsigned directions = 0;
    while (targets != 0) {
        const Square to = PopSquare(targets);
        const unsigned order = kStepOrder[VectorIndex(to, from)];
        by_direction[order] = to;
        directions |= 1U << order;
    }
    for (; directions != 0; directions &= directions - 1) {
        const auto order = static_cast<unsigned>(std::countr_zero(directions));
        PutCapture(moves, from, by_direction[order], type);
    }
}

template <Side Us>
void PutPawnCaptures(NodeMoves* moves, Square from, Bitboard targets) {
    constexpr int kForward = Home<Us>::kForward;
    const bool promotes = RankOf(static_cast<Square>(from + kForward)) == Home<Us>::kLastRank;
    if (promotes) {
        moves->has_promotion = true;
        const auto ahead = static_cast<Square>(from + kForward);
        if (position.Board[ahead] == 0) {
            for (unsigned type = Knight; type <= Queen; ++type) {
                moves->promotions[static_cast<unsigned>(moves->promotion_count++)] = {
                    from, ahead, static_cast<std::uint8_t>(type << 4 | Pawn), 0};
            }
        }
    }
    for (const int step : Home<Us>::kPawnCaptures) {
        const auto to = static_cast<Square>(from + step);
        if (!OnBoard(to) || !(targets & Bit(to))) continue;
        if (promotes) {
            for (unsigned type = Knight; type <= Queen; ++type) {
                PutCapture(moves, from, to, type << 4 | Pawn);
            }
        } else {
            PutCapture(moves, from, to, Pawn);
        }
    }
}

template <Side Us>
void PutEnPassant(NodeMoves* moves) {
    const Square taken = DoubleStepSquare<Us>();
    if (!OnBoard(taken)) return;
    for (const int side_step : {1, -1}) {
        const auto from = static_cast<Square>(taken + side_step);
        if (!OnBoard(from) || position.Board[from] != CodeOf(Us, Pawn)) continue;
        const Move move = {from,
                           static_cast<Square>(taken + Home<Us>::kForward),
                           kEnPassantFlags,
                           CodeOf(!Us, Pawn)};
        moves->captures[static_cast<unsigned>(moves->capture_count++)] = {move,
                                                                          MvvLvaTable[Pawn][Pawn]};
        ++moves->total;
    }
}

/// Men that alone stand between a king and a line piece of `Attacker` that would attack it.
template <Side Attacker>
Bitboard Shields(Square king, Bitboard occupied) {
    const auto& men = position.pieces[Attacker];
    const auto index = static_cast<unsigned>(IndexOf(king));
    const auto& lines = kSquareLines[index];
    const Bitboard straight = lines.file | RankMask(RankOf(king));
    const Bitboard diagonal = lines.diagonal | lines.anti_diagonal;
    Bitboard snipers =
        (straight & (men[Rook] | men[Queen])) | (diagonal & (men[Bishop] | men[Queen]));
    Bitboard shields = 0;
    while (snipers != 0) {
        const auto sniper = static_cast<unsigned>(std::countr_zero(snipers));
        snipers &= snipers - 1;
        const Bitboard between = kBetween[index][sniper] & occupied;
        if ((between & (between - 1)) == 0) shields |= between;
    }
    return shields;
}

template <Side Us>
Bitboard Checkers(Square king, Bitboard occupied) {
    const auto& men = position.pieces[!Us];
    const int index = IndexOf(king);
    return (PawnAttacks<Us>(Bit(king)) & men[Pawn]) |
           (kKnightAttacks[static_cast<unsigned>(index)] & men[Knight]) |
           (BishopAttacks(index, occupied) & (men[Bishop] | men[Queen])) |
           (RookAttacks(index, occupied) & (men[Rook] | men[Queen]));
}

/// Calls `put` with every quiet move that is no promotion, in generation order.
template <Side Us, typename Put>
void ForEachQuiet(const NodeMoves& moves, Put put) {
    using Mine = Home<Us>;
    const auto& board = position.Board;
    if (moves.castle_short) put(Move{Mine::kKing, Mine::kShortKingTo, kCastlingFlags, 0});
    if (moves.castle_long) put(Move{Mine::kKing, Mine::kLongKingTo, kCastlingFlags, 0});
    for (unsigned i = 0; i <= static_cast<unsigned>(moves.men_count); ++i) {
        const Square from = moves.men[i];
        const PieceType type = TypeOf(board[from]);
        if (type == Pawn) {
            const int ahead = from + Mine::kForward;
            if (!OnBoard(ahead)) continue;
            const auto to = static_cast<Square>(ahead);
            if (board[to] != 0 || RankOf(to) == Mine::kLastRank) continue;
            put(Move{from, to, Pawn, 0});
            const auto beyond = static_cast<Square>(to + Mine::kForward);
            if (RankOf(to) == Mine::kDoubleStepRank && board[beyond] == 0) {
                put(Move{from, beyond, Pawn, 0});
            }
            continue;
        }
        const bool slides = type == Bishop || type == Rook || type == Queen;
        for (const std::int8_t* step = DirectionTable[type].data(); *step != 0; ++step) {
            auto to = static_cast<Square>(from + *step);
            while (OnBoard(to) && board[to] == 0) {
                put(Move{from, to, type, 0});
                if (!slides) break;
                to = static_cast<Square>(to + *step);
            }
        }
    }
}

template <Side Us>
bool CastlingChecks(Move move) {
    MakeMove<Us>(move);
    const bool checks = InCheck(!Us);
    UnmakeMove<Us>();
    return checks;
}

}  // namespace

template <Side Us>
KingView ViewKings(bool in_check) {
    KingView view;
    const Bitboard occupied = position.Occupied();
    const Square own_king = position.KingSquare(Us);
    const Square their_king = position.KingSquare(!Us);
    const int their_index = IndexOf(their_king);
    view.pinned = Shields<!Us>(own_king, occupied) & position.pieces[Us][0];
    view.discoverers = Shields<Us>(their_king, occupied) & position.pieces[Us][0];
    view.checks[NoType] = 0;
    view.checks[Pawn] = PawnAttacks<!Us>(Bit(their_king));
    view.checks[Knight] = kKnightAttacks[static_cast<unsigned>(their_index)];
    view.checks[Bishop] = BishopAttacks(their_index, occupied);
    view.checks[Rook] = RookAttacks(their_index, occupied);
    view.checks[Queen] = view.checks[Bishop] | view.checks[Rook];
    view.checks[King] = 0;
    view.checks[7] = 0;
    view.evasions = ~Bitboard{0};
    if (in_check) {
        const Bitboard checkers = Checkers<Us>(own_king, occupied);
        const bool single = (checkers & (checkers - 1)) == 0;
        view.evasions =
            single ? checkers | Between(own_king, SquareAt(std::countr_zero(checkers) & 63)) : 0;
    }
    return view;
}

template <Side Us>
void CollectCaptures(NodeMoves* moves) {
    constexpr Side kThem = !Us;
    const auto& men = position.pieces[Us];
    const Bitboard own = men[0];
    const Bitboard theirs = position.pieces[kThem][0];
    const Bitboard occupied = own | theirs;
    const auto& list = position.PieceList[Us];

    moves->capture_count = 0;
    moves->promotion_count = 0;
    moves->rest_count = 0;
    moves->has_promotion = false;
    moves->castle_short = CanCastleShort<Us>();
    moves->castle_long = CanCastleLong<Us>();
    moves->men_count = list.count;
    moves->men = list.squares;
    int total = (moves->castle_short ? 1 : 0) + (moves->castle_long ? 1 : 0);

    // Men that can capture or promote, by their place in the list.
    std::array<Bitboard, kListCapacity> targets;
    std::uint32_t movers = 0;
    const auto add = [&](int index, Bitboard attacks) {
        const unsigned place = position.PieceIndex[SquareAt(index)];
        const Bitboard taken = attacks & theirs;
        targets[place] = taken;
        movers |= static_cast<std::uint32_t>(taken != 0) << place;
        total += Count(attacks & ~own);
    };
    {
        const int king = IndexOf(list.squares[0]);
        add(king, kKingAttacks[static_cast<unsigned>(king)]);
    }
    for (Bitboard left = men[Knight]; left != 0; left &= left - 1) {
        const int index = std::countr_zero(left);
        add(index, kKnightAttacks[static_cast<unsigned>(index)]);
    }
    for (Bitboard left = men[Bishop]; left != 0; left &= left - 1) {
        const int index = std::countr_zero(left);
        add(index, BishopAttacks(index, occupied));
    }
    for (Bitboard left = men[Rook]; left != 0; left &= left - 1) {
        const int index = std::countr_zero(left);
        add(index, RookAttacks(index, occupied));
    }
    for (Bitboard left = men[Queen]; left != 0; left &= left - 1) {
        const int index = std::countr_zero(left);
        add(index, BishopAttacks(index, occupied) | RookAttacks(index, occupied));
    }

    constexpr Bitboard kSeventh = RankMask(Us == White ? 6 : 1);
    constexpr Bitboard kThird = RankMask(Us == White ? 2 : 5);
    constexpr Bitboard kEighth = RankMask(Us == White ? 7 : 0);
    constexpr int kMorePromotions = 3;
    const Bitboard pawns = men[Pawn];
    const Bitboard steps = Forward<Us>(pawns) & ~occupied;
    const Bitboard doubles = Forward<Us>(steps & kThird) & ~occupied;
    const Bitboard east = Forward<Us>(East(pawns)) & theirs;
    const Bitboard west = Forward<Us>(West(pawns)) & theirs;
    total += Count(steps) + Count(doubles) + Count(east) + Count(west);
    if (pawns & kSeventh) {
        total += kMorePromotions *
                 (Count(steps & kEighth) + Count(east & kEighth) + Count(west & kEighth));
    }
    const Bitboard capturing =
        Forward<kThem>(West(east)) | Forward<kThem>(East(west)) | (Forward<kThem>(steps & kEighth));
    for (Bitboard left = capturing; left != 0; left &= left - 1) {
        const Square from = SquareAt(std::countr_zero(left));
        const unsigned place = position.PieceIndex[from];
        targets[place] = PawnAttacks<Us>(Bit(from)) & theirs;
        movers |= 1U << place;
    }

    moves->total = total;
    PutEnPassant<Us>(moves);
    for (; movers != 0; movers &= movers - 1) {
        const auto place = static_cast<unsigned>(std::countr_zero(movers));
        const Square from = list.squares[place];
        const PieceType type = TypeOf(position.Board[from]);
        if (type == Pawn) {
            PutPawnCaptures<Us>(moves, from, targets[place]);
        } else {
            PutPieceCaptures(moves, from, type, targets[place]);
        }
    }
}

template <Side Us>
void CollectQuiets(NodeMoves* moves, Bitboard evasions) {
    int count = 0;
    ForEachQuiet<Us>(*moves, [&](Move move) {
        moves->rest[static_cast<unsigned>(count)] = move;
        const bool kept = (move.flags & 7) == King || (evasions & Bit(move.to)) != 0;
        count += kept ? 1 : 0;
    });
    moves->rest_count = count;
}

template <Side Us>
void CollectQuietChecks(NodeMoves* moves, const KingView& view) {
    int count = 0;
    ForEachQuiet<Us>(*moves, [&](Move move) {
        const bool checks =
            move.flags & kCastlingBit ? CastlingChecks<Us>(move) : PlainMoveChecks<Us>(move, view);
        moves->rest[static_cast<unsigned>(count)] = move;
        count += checks ? 1 : 0;
    });
    moves->rest_count = count;
}

template <Side Us>
bool IsQuietMove(const NodeMoves& moves, Square from, Square to, std::uint8_t* flags) {
    using Mine = Home<Us>;
    const PieceCode code = position.Board[from];
    if (!(code & ColourBit(Us)) || position.Board[to] != 0) return false;
    const PieceType type = TypeOf(code);
    *flags = type;
    const int step = to - from;
    const auto at = static_cast<unsigned>(IndexOf(from));
    switch (type) {
        case Pawn: {
            if (RankOf(to) == Mine::kLastRank) return false;
            if (step == Mine::kForward) return true;
            const auto ahead = static_cast<Square>(from + Mine::kForward);
            return step == 2 * Mine::kForward && RankOf(ahead) == Mine::kDoubleStepRank &&
                   position.Board[ahead] == 0;
        }
        case Knight: return (kKnightAttacks[at] & Bit(to)) != 0;
        case King:
            if (kKingAttacks[at] & Bit(to)) return true;
            *flags = kCastlingFlags;
            return from == Mine::kKing && ((to == Mine::kShortKingTo && moves.castle_short) ||
                                           (to == Mine::kLongKingTo && moves.castle_long));
        default: {
            const std::uint8_t vector = AttackVectorTable[VectorIndex(to, from)];
            const std::uint8_t wanted = type == Bishop ? VectorBishop
                                        : type == Rook ? VectorRook
                                                       : VectorBishop | VectorRook;
            return (vector & wanted) != 0 && (Between(from, to) & position.Occupied()) == 0;
        }
    }
}

template <Side Us>
bool IsLegal(Move move, const KingView& view, bool in_check) {
    const unsigned type = move.flags & 7;
    if (type == King) {
        if (move.flags & kCastlingBit) return true;
        return !IsAttacked<!Us>(move.to, position.Occupied() ^ Bit(move.from));
    }
    if (move.flags == kEnPassantFlags) {
        const Bitboard taken = Bit(static_cast<Square>(move.to - Home<Us>::kForward));
        const Bitboard occupied = position.Occupied() ^ (Bit(move.from) | Bit(move.to) | taken);
        return (Checkers<Us>(position.KingSquare(Us), occupied) & ~taken) == 0;
    }
    if (in_check) return (view.evasions & Bit(move.to)) != 0 && !(view.pinned & Bit(move.from));
    return !(view.pinned & Bit(move.from)) ||
           OnOneLine(position.KingSquare(Us), move.from, move.to);
}

template KingView ViewKings<White>(bool);
template KingView ViewKings<Black>(bool);
template void CollectCaptures<White>(NodeMoves*);
template void CollectCaptures<Black>(NodeMoves*);
template void CollectQuiets<White>(NodeMoves*, Bitboard);
template void CollectQuiets<Black>(NodeMoves*, Bitboard);
template void CollectQuietChecks<White>(NodeMoves*, const KingView&);
template void CollectQuietChecks<Black>(NodeMoves*, const KingView&);
template bool IsQuietMove<White>(const NodeMoves&, Square, Square, std::uint8_t*);
template bool IsQuietMove<Black>(const NodeMoves&, Square, Square, std::uint8_t*);
template bool IsLegal<White>(Move, const KingView&, bool);
template bool IsLegal<Black>(Move, const KingView&, bool);

}  // namespace torval

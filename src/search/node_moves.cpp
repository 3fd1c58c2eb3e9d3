#include "search/node_moves.h"

#include "board/attack.h"
#include "board/make.h"

namespace torval {

std::array<NodeMoves, kMaxSearchPly + 1> node_moves;

namespace {

constexpr unsigned kManPlaces = 64;

/// Direction * 8 + distance - 1 of a piece's step, by VectorIndex(to, from). The line pieces share
/// the queen's order of directions: a bishop's and a rook's lists are what is left of it.
constexpr auto kStepPlace = [] {
    std::array<std::uint8_t, 256> table{};
    for (unsigned place = 0; place < 8; ++place) {
        const int knight = DirectionTable[Knight][place];
        const int line = DirectionTable[Queen][place];
        table[VectorIndex(knight, 0)] = static_cast<std::uint8_t>(8 * place);
        for (int k = 1; k <= 7; ++k) {
            table[VectorIndex(k * line, 0)] =
                static_cast<std::uint8_t>(8 * place + static_cast<unsigned>(k) - 1);
        }
    }
    return table;
}();
// A knight's difference is never a line's.
static_assert(kStepPlace[VectorIndex(-33, 0)] == 8 && kStepPlace[VectorIndex(-45, 0)] == 26);

unsigned PlaceOf(unsigned man, Square from, Square to) {
    return (man + 1) * kManPlaces + kStepPlace[VectorIndex(to, from)];
}

void PutCapture(NodeMoves* moves, Square from, Square to, unsigned flags, unsigned place) {
    const Move move = {from, to, static_cast<std::uint8_t>(flags), position.Board[to]};
    moves->captures[static_cast<unsigned>(moves->capture_count++)] = {
        move, static_cast<std::uint16_t>(place), static_cast<std::int16_t>(CaptureValue(move))};
}

/// Captures and promotions of one pawn that has some.
template <Side Us>
void PutPawnMoves(NodeMoves* moves, Square from) {
    constexpr int kForward = Home<Us>::kForward;
    constexpr unsigned kPromotionPlaces = 4;
    const auto& board = position.Board;
    const auto ahead = static_cast<Square>(from + kForward);
    const bool promotes = RankOf(ahead) == Home<Us>::kLastRank;
    unsigned place = (position.PieceIndex[from] + 1U) * kManPlaces;
    if (promotes) {
        moves->has_promotion = true;
        for (unsigned type = Knight; type <= Queen && board[ahead] == 0; ++type) {
            const Move move = {from, ahead, static_cast<std::uint8_t>(type << 4 | Pawn), 0};
            moves->promotions[static_cast<unsigned>(moves->promotion_count++)] = {
                move, static_cast<std::uint16_t>(place + type), 0};
        }
    }
    for (const int step : Home<Us>::kPawnCaptures) {
        const auto to = static_cast<Square>(from + step);
        if (OnBoard(to) && (board[to] & ColourBit(!Us))) {
            if (promotes) {
                for (unsigned type = Knight; type <= Queen; ++type) {
                    PutCapture(moves, from, to, type << 4 | Pawn, place + type - Knight);
                }
            } else {
                PutCapture(moves, from, to, Pawn, place);
            }
        }
        place += kPromotionPlaces;
    }
}

template <Side Us>
void PutEnPassant(NodeMoves* moves) {
    const Square taken = DoubleStepSquare<Us>();
    if (!OnBoard(taken)) return;
    std::uint16_t place = kFirstPlace;
    for (const int side_step : {1, -1}) {
        const auto from = static_cast<Square>(taken + side_step);
        if (!OnBoard(from) || position.Board[from] != CodeOf(Us, Pawn)) continue;
        const Move move = {from,
                           static_cast<Square>(taken + Home<Us>::kForward),
                           kEnPassantFlags,
                           CodeOf(!Us, Pawn)};
        moves->captures[static_cast<unsigned>(moves->capture_count++)] = {
            move, place++, MvvLvaTable[Pawn][Pawn]};
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

template <Side Us>
bool CastlingChecks(Move move) {
    MakeMove<Us>(move);
    const bool checks = InCheck(!Us);
    UnmakeMove<Us>();
    return checks;
}

template <Side Us, KeyBy By = KeyBy::History>
void PutQuiet(NodeMoves* moves, Move move, unsigned place) {
    const auto index = static_cast<unsigned>(moves->rest_count++);
    const std::uint32_t history = By == KeyBy::History ? HistoryOf<Us>(move) : 0;
    moves->rest[index] = move;
    moves->keys[index] = SortKey(OrderKey(0, history), place, index);
}

template <Side Us, KeyBy By = KeyBy::History>
void PutQuiets(NodeMoves* moves, unsigned man, Square from, std::uint8_t flags, Bitboard targets) {
    while (targets != 0) {
        const Square to = PopSquare(targets);
        PutQuiet<Us, By>(moves, {from, to, flags, 0}, PlaceOf(man, from, to));
    }
}

/// Steps of a pawn to empty squares other than promotions; the double step has the later place.
template <Side Us>
Bitboard PawnSteps(Square from, Bitboard occupied) {
    constexpr Bitboard kThird = RankMask(Us == White ? 2 : 5);
    constexpr Bitboard kEighth = RankMask(Us == White ? 7 : 0);
    const Bitboard step = Forward<Us>(Bit(from)) & ~occupied & ~kEighth;
    return step | (Forward<Us>(step & kThird) & ~occupied);
}

constexpr std::array<std::array<Move, 2>, 2> kCastlingMoves = {{
    {{{Home<White>::kKing, Home<White>::kShortKingTo, kCastlingFlags, 0},
      {Home<White>::kKing, Home<White>::kLongKingTo, kCastlingFlags, 0}}},
    {{{Home<Black>::kKing, Home<Black>::kShortKingTo, kCastlingFlags, 0},
      {Home<Black>::kKing, Home<Black>::kLongKingTo, kCastlingFlags, 0}}},
}};

/// Calls `visit` with each possible castling move and its place.
template <Side Us, typename Visit>
void ForEachCastling(const NodeMoves& moves, Visit visit) {
    if (moves.castle_short) visit(kCastlingMoves[Us][0], kFirstPlace);
    if (moves.castle_long) visit(kCastlingMoves[Us][1], kFirstPlace + 1);
}

/// The squares from which a move of this man leaves the line to the enemy king.
template <Side Us>
Bitboard OffLine(Square from, Bitboard targets) {
    Bitboard off = 0;
    for (Bitboard left = targets; left != 0;) {
        const Square to = PopSquare(left);
        if (!OnOneLine(position.KingSquare(!Us), from, to)) off |= Bit(to);
    }
    return off;
}

/// The quiet targets of a man that give check, direct or discovered.
template <Side Us>
Bitboard CheckingTargets(Square from, PieceType type, Bitboard targets, const KingView& view) {
    Bitboard checking = targets & view.checks[type];
    if (view.discoverers & Bit(from)) checking |= OffLine<Us>(from, targets);
    return checking;
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
    moves->total = (moves->castle_short ? 1 : 0) + (moves->castle_long ? 1 : 0);
    PutEnPassant<Us>(moves);

    int total = moves->total;
    const auto add = [&](int index, PieceType type, Bitboard attacks) {
        const Square from = SquareAt(index);
        const unsigned man = position.PieceIndex[from];
        moves->attacks[man] = attacks;
        total += Count(attacks & ~own);
        for (Bitboard taken = attacks & theirs; taken != 0;) {
            const Square to = PopSquare(taken);
            PutCapture(moves, from, to, type, PlaceOf(man, from, to));
        }
    };
    const int king = IndexOf(list.squares[0]);
    add(king, King, kKingAttacks[static_cast<unsigned>(king)]);
    for (Bitboard left = men[Knight]; left != 0; left &= left - 1) {
        const int index = std::countr_zero(left);
        add(index, Knight, kKnightAttacks[static_cast<unsigned>(index)]);
    }
    for (Bitboard left = men[Bishop]; left != 0; left &= left - 1) {
        const int index = std::countr_zero(left);
        add(index, Bishop, BishopAttacks(index, occupied));
    }
    for (Bitboard left = men[Rook]; left != 0; left &= left - 1) {
        const int index = std::countr_zero(left);
        add(index, Rook, RookAttacks(index, occupied));
    }
    for (Bitboard left = men[Queen]; left != 0; left &= left - 1) {
        const int index = std::countr_zero(left);
        add(index, Queen, BishopAttacks(index, occupied) | RookAttacks(index, occupied));
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
    moves->total = total;
    for (Bitboard left = Forward<kThem>(West(east) | East(west) | (steps & kEighth)); left != 0;) {
        PutPawnMoves<Us>(moves, PopSquare(left));
    }
}

template <Side Us>
void CollectQuiets(NodeMoves* moves, Bitboard evasions) {
    const Bitboard occupied = position.Occupied();
    ForEachCastling<Us>(*moves,
                        [&](Move move, unsigned place) { PutQuiet<Us>(moves, move, place); });
    for (unsigned man = 0; man <= static_cast<unsigned>(moves->men_count); ++man) {
        const Square from = moves->men[man];
        const PieceType type = TypeOf(position.Board[from]);
        const Bitboard allowed = type == King ? ~Bitboard{0} : evasions;
        if (type == Pawn) {
            const Bitboard steps = PawnSteps<Us>(from, occupied) & allowed;
            PutQuiets<Us>(moves, man, from, Pawn, steps);
        } else {
            PutQuiets<Us>(moves, man, from, type, moves->attacks[man] & ~occupied & allowed);
        }
    }
}

template <Side Us, KeyBy By>
void CollectQuietChecks(NodeMoves* moves, const KingView& view) {
    const Bitboard occupied = position.Occupied();
    ForEachCastling<Us>(*moves, [&](Move move, unsigned place) {
        if (CastlingChecks<Us>(move)) PutQuiet<Us, By>(moves, move, place);
    });
    for (unsigned man = 0; man <= static_cast<unsigned>(moves->men_count); ++man) {
        const Square from = moves->men[man];
        const PieceType type = TypeOf(position.Board[from]);
        const Bitboard targets =
            type == Pawn ? PawnSteps<Us>(from, occupied) : moves->attacks[man] & ~occupied;
        PutQuiets<Us, By>(moves, man, from, type, CheckingTargets<Us>(from, type, targets, view));
    }
}

template <Side Us>
int CountOtherQuiets(const NodeMoves& moves, const KingView& view) {
    const Bitboard occupied = position.Occupied();
    const Square king = position.KingSquare(Us);
    int count = 0;
    ForEachCastling<Us>(moves,
                        [&](Move move, unsigned) { count += CastlingChecks<Us>(move) ? 0 : 1; });
    for (unsigned man = 0; man <= static_cast<unsigned>(moves.men_count); ++man) {
        const Square from = moves.men[man];
        const PieceType type = TypeOf(position.Board[from]);
        Bitboard targets =
            type == Pawn ? PawnSteps<Us>(from, occupied) : moves.attacks[man] & ~occupied;
        targets &= ~CheckingTargets<Us>(from, type, targets, view);
        if (type == King) {
            for (Bitboard left = targets; left != 0;) {
                const Square to = PopSquare(left);
                count += IsAttacked<!Us>(to, occupied ^ Bit(from)) ? 0 : 1;
            }
            continue;
        }
        if (view.pinned & Bit(from)) {
            for (Bitboard left = targets; left != 0;) {
                const Square to = PopSquare(left);
                count += OnOneLine(king, from, to) ? 1 : 0;
            }
            continue;
        }
        count += Count(targets);
    }
    return count;
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
bool QuietMoveChecks(Move move, const KingView& view) {
    return move.flags & kCastlingBit ? CastlingChecks<Us>(move) : PlainMoveChecks<Us>(move, view);
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
template void CollectQuietChecks<White, KeyBy::History>(NodeMoves*, const KingView&);
template void CollectQuietChecks<Black, KeyBy::History>(NodeMoves*, const KingView&);
template void CollectQuietChecks<White, KeyBy::Place>(NodeMoves*, const KingView&);
template void CollectQuietChecks<Black, KeyBy::Place>(NodeMoves*, const KingView&);
template int CountOtherQuiets<White>(const NodeMoves&, const KingView&);
template int CountOtherQuiets<Black>(const NodeMoves&, const KingView&);
template bool QuietMoveChecks<White>(Move, const KingView&);
template bool QuietMoveChecks<Black>(Move, const KingView&);
template bool IsQuietMove<White>(const NodeMoves&, Square, Square, std::uint8_t*);
template bool IsQuietMove<Black>(const NodeMoves&, Square, Square, std::uint8_t*);
template bool IsLegal<White>(Move, const KingView&, bool);
template bool IsLegal<Black>(Move, const KingView&, bool);

}  // namespace torval

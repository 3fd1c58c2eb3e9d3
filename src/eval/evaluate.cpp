#include "eval/evaluate.h"

#include "egtb/nalimov/probe.h"
#include "eval/setup.h"

namespace torval {

std::int32_t LastPositionalScore = 0;

namespace {

/// By the rank of the pawn, first rank first.
constexpr std::array<std::array<std::int16_t, 8>, 2> PassedPawnFreeBonus = {{
    {0, 19, 26, 32, 38, 128, 256, 0},
    {0, 256, 128, 38, 32, 26, 19, 0},
}};
constexpr std::array<std::array<std::int16_t, 8>, 2> PassedPawnBlockedBonus = {{
    {0, 13, 18, 23, 32, 64, 102, 0},
    {0, 102, 64, 32, 23, 18, 13, 0},
}};

/// By the distance between a knight and its own king.
constexpr std::array<std::int8_t, 8> KnightKingBonus = {0, 5, 10, 10, 5, 3, 2, 1};

/// What one full evaluation gathers on its way.
struct Scratch {
    std::array<Bitboard, 2> PawnAttackMap;
    /// Bit f + 1: a white passed pawn on file f has been scored, bit f + 13: a black one.
    std::uint32_t PassedPawnFiles;
    /// Fewest moves to promotion of a pawn that the lone enemy king cannot catch, 0 for none.
    std::array<std::int32_t, 2> UnstoppablePawn;
};

template <Side Us>
constexpr std::uint32_t PassedFileBit(int file) {
    return 1U << (file + (Us == White ? 1 : 13));
}

/// Rank as the owner counts it.
template <Side Us>
constexpr int OwnRank(Square square) {
    return Us == White ? RankOf(square) : 7 - RankOf(square);
}

template <Side Us>
int PassedPawn(Square pawn, Scratch* scratch) {
    constexpr Side kThem = !Us;
    const int file = FileOf(pawn);
    const Bitboard last_rank = RankMask(Us == White ? 7 : 0);
    const Bitboard ahead = FrontSpan<Us>(Bit(pawn)) & ~last_rank;
    int score = 0;
    const std::uint32_t neighbours = PassedFileBit<Us>(file) << 1 | PassedFileBit<Us>(file) >> 1;
    if (scratch->PassedPawnFiles & neighbours) score += eval_weights.ConnectedPassedPawns;
    scratch->PassedPawnFiles |= PassedFileBit<Us>(file);
    const auto rank = static_cast<unsigned>(RankOf(pawn));
    if (ahead & position.Occupied()) return score + PassedPawnBlockedBonus[Us][rank];
    if ((position.MaterialWord[kThem] & kPieceFields) == 0) {
        const int moves = 7 - OwnRank<Us>(pawn) + (position.SideToMove == kThem ? 1 : 0);
        const auto promotion = static_cast<Square>((Us == White ? 0x70 : 0x00) + file);
        std::int32_t& fewest = scratch->UnstoppablePawn[Us];
        if (moves < Distance(position.KingSquare(kThem), promotion) &&
            (fewest == 0 || fewest > moves)) {
            fewest = moves;
        }
    }
    return score + PassedPawnFreeBonus[Us][rank];
}

template <Side Us>
int PassedPawns(Bitboard pawns, Scratch* scratch) {
    constexpr Side kThem = !Us;
    Bitboard candidates = pawns & ~FileFill(position.pieces[kThem][Pawn]);
    if (position.GamePhase == PhaseMiddlegame) {
        constexpr Bitboard kLastThree = Us == White ? ~Bitboard{0} << 40 : ~Bitboard{0} >> 40;
        candidates &= kLastThree;
    }
    if (candidates == 0) return 0;
    // A candidate is stopped by an attack on any square before the last rank.
    const Bitboard last_rank = RankMask(Us == White ? 7 : 0);
    const Bitboard guarded = scratch->PawnAttackMap[kThem] & ~last_rank;
    const Bitboard passed = candidates & ~FrontSpan<kThem>(guarded);
    if (passed == 0) return 0;
    int score = 0;
    if ((passed & (passed - 1)) == 0) {
        return PassedPawn<Us>(SquareAt(std::countr_zero(passed)), scratch);
    }
    // Which of three neighbours finds another scored before it depends on the list's order.
    const auto& list = position.PieceList[Us];
    for (int i = list.count; i >= 1; --i) {
        const Square square = list.squares[static_cast<unsigned>(i)];
        if (passed & Bit(square)) score += PassedPawn<Us>(square, scratch);
    }
    return score;
}

template <Side Us>
int Pawns(Scratch* scratch) {
    constexpr Side kThem = !Us;
    const EvalWeights& weights = eval_weights;
    const Bitboard pawns = position.pieces[Us][Pawn];
    if (pawns == 0) return 0;
    const Bitboard their_files = FileFill(position.pieces[kThem][Pawn]);
    const bool their_heavy = (position.MaterialWord[kThem] & kHeavyFields) != 0;
    const Bitboard exposed = their_heavy ? ~their_files : 0;

    constexpr Bitboard kCentreHome = Us == White ? 0x18ULL << 8 : 0x18ULL << 48;
    const Bitboard occupied_ahead = Forward<kThem>(position.Occupied());
    int score = weights.BlockedCentrePawn * Count(pawns & kCentreHome & occupied_ahead);

    const Bitboard files = FileFill(pawns);
    const Bitboard beside = East(files) | West(files);
    const Bitboard isolated = pawns & ~beside;
    const Bitboard others = pawns & beside;
    score += weights.IsolatedPawn * Count(isolated & ~exposed) +
             weights.IsolatedPawnOnOpenFile * Count(isolated & exposed);

    const Bitboard doubled = FrontSpan<White>(pawns) | FrontSpan<Black>(pawns);
    const Bitboard defended = scratch->PawnAttackMap[Us];
    const Bitboard supported = defended | Forward<kThem>(defended);
    score += weights.DoubledPawn * Count(others & doubled) +
             weights.SupportedPawn * Count(others & supported) +
             weights.WeakPawnOnOpenFile * Count(others & ~supported & exposed);

    if (position.GamePhase >= PhaseMiddlegame) score += PassedPawns<Us>(pawns, scratch);
    return score;
}

/// Half the worth of a set of squares to a piece.
inline int Mobility(const MobilityPlanes& planes, Bitboard squares) {
    return (Count(squares & planes[0]) + 2 * Count(squares & planes[1]) +
            4 * Count(squares & planes[2]) + 8 * Count(squares & planes[3])) /
           2;
}

template <Side Us>
int Knights(Bitboard safe) {
    const auto& planes = mobility_planes[Us][Knight];
    const Square king = position.KingSquare(Us);
    const bool near_king = position.GamePhase != PhaseOpening;
    int score = 0;
    for (Bitboard left = position.pieces[Us][Knight]; left != 0;) {
        const Square square = PopSquare(left);
        const auto at = static_cast<unsigned>(IndexOf(square));
        score += Mobility(planes, kKnightAttacks[at] & ~position.pieces[Us][0] & safe);
        if (near_king) score += KnightKingBonus[static_cast<unsigned>(Distance(square, king))];
    }
    return score;
}

template <Side Us>
int Bishops(Bitboard safe) {
    // Bishops look through the own queen.
    const Bitboard blockers = position.Occupied() & ~position.pieces[Us][Queen];
    int score = 0;
    for (Bitboard left = position.pieces[Us][Bishop]; left != 0; left &= left - 1) {
        const Bitboard reached = BishopAttacks(std::countr_zero(left), blockers) & ~blockers;
        score += Mobility(mobility_planes[Us][Bishop], reached & safe);
    }
    return score;
}

template <Side Us>
int RookFile(int index, const Scratch& scratch) {
    constexpr Side kThem = !Us;
    const Bitboard file = FileMask(index & 7);
    if ((position.pieces[Us][Pawn] & file) == 0) {
        return (position.pieces[kThem][Pawn] & file) == 0 ? eval_weights.RookOpenFile
                                                          : eval_weights.RookHalfOpenFile;
    }
    const bool own_half = OwnRank<Us>(SquareAt(index)) <= 3;
    const bool behind = position.GamePhase == PhaseEndgame && own_half &&
                        (scratch.PassedPawnFiles & PassedFileBit<Us>(index & 7));
    return behind ? eval_weights.RookBehindPassedPawn : 0;
}

template <Side Us>
int Rooks(Bitboard safe, const Scratch& scratch) {
    // Rooks look through one another.
    const Bitboard blockers = position.Occupied() & ~position.pieces[Us][Rook];
    int score = 0;
    for (Bitboard left = position.pieces[Us][Rook]; left != 0; left &= left - 1) {
        const int index = std::countr_zero(left);
        const Bitboard reached = RookAttacks(index, blockers) & ~blockers;
        score += Mobility(mobility_planes[Us][Rook], reached & safe);
        score += RookFile<Us>(index, scratch);
    }
    return score;
}

template <Side Us>
int Queens(Bitboard safe) {
    const Bitboard queens = position.pieces[Us][Queen];
    if (queens == 0) return 0;
    if (position.GamePhase == PhaseOpening) {
        constexpr Bitboard kHomeSquare = Bitboard{1} << (Us == White ? 3 : 59);
        const int early = Count(queens & ~kHomeSquare);
        return early == 0 ? 0 : early * eval_weights.EarlyQueen * UndevelopedMinors(Us);
    }
    const Bitboard occupied = position.Occupied();
    const Bitboard straight = occupied & ~position.pieces[Us][Rook];
    const Bitboard diagonal = occupied & ~position.pieces[Us][Bishop];
    const MobilityPlanes& planes = mobility_planes[Us][Queen];
    int score = 0;
    for (Bitboard left = queens; left != 0; left &= left - 1) {
        const int index = std::countr_zero(left);
        // The two sets are disjoint: no square lies on a rank and on a diagonal of another.
        const Bitboard reached = (RookAttacks(index, straight) & ~straight) |
                                 (BishopAttacks(index, diagonal) & ~diagonal);
        score += Mobility(planes, reached & safe);
    }
    return score;
}

/// Where the pawn of a shield file stands: 0 none on the file, 1 second rank, 2 third, 3 further.
template <Side Us>
int ShieldCode(int file) {
    const Bitboard pawns = position.pieces[Us][Pawn] & FileMask(file);
    if (pawns == 0) return 0;
    if (pawns & RankMask(Us == White ? 1 : 6)) return 1;
    return pawns & RankMask(Us == White ? 2 : 5) ? 2 : 3;
}

/// The same for the middle file, where a fianchettoed bishop stands in for its pawn.
template <Side Us>
int MiddleShieldCode(int file) {
    const int code = ShieldCode<Us>(file);
    if (code != 2) return code;
    const Bitboard second = FileMask(file) & RankMask(Us == White ? 1 : 6);
    return position.pieces[Us][Bishop] & second ? 1 : 2;
}

template <Side Us>
int Shield(Square king) {
    const int file = FileOf(king);
    if (OwnRank<Us>(king) > 1 || file == 3 || file == 4) return eval_weights.KingInCentre;
    const bool is_short = file > 4;
    const int outer = ShieldCode<Us>(is_short ? 7 : 0);
    const int middle = MiddleShieldCode<Us>(is_short ? 6 : 1);
    const int inner = ShieldCode<Us>(is_short ? 5 : 2);
    return KingShieldTable[static_cast<unsigned>(outer + 4 * middle + 16 * inner)];
}

template <Side Us>
int KingSafety() {
    using Mine = Home<Us>;
    constexpr int kWingFiles = 3;
    const EvalWeights& weights = eval_weights;
    const std::uint8_t castle = position.CastleState;
    int base = weights.Castled;
    if (!(castle & Mine::kDone)) {
        // Files of a wing with a pawn at home or one step ahead, as a mask on the first rank.
        const Bitboard pawns = position.pieces[Us][Pawn];
        const Bitboard near = Us == White ? pawns >> 8 | pawns >> 16 : pawns >> 48 | pawns >> 40;
        constexpr Bitboard kShortFiles = 0xE0;
        constexpr Bitboard kLongFiles = 0x07;
        if (!(castle & (Mine::kKingMoved | Mine::kShortMoved))) {
            return weights.ShortShieldPawnMissing * (kWingFiles - Count(near & kShortFiles));
        }
        base = weights.LostShortCastling;
        if (!(castle & (Mine::kKingMoved | Mine::kLongMoved))) {
            return base + weights.LongShieldPawnMissing * (kWingFiles - Count(near & kLongFiles));
        }
        base += weights.LostBothCastlings;
    }
    const int shield = Shield<Us>(position.KingSquare(Us));
    const bool their_queen = (position.MaterialWord[!Us] & kQueenField) != 0;
    return base + (their_queen ? shield * 3 / 4 : shield / 2);
}

/// White's view: what pawns that the lone enemy king cannot catch are worth.
int UnstoppableBalance(const Scratch& scratch) {
    const int white = scratch.UnstoppablePawn[White];
    const int black = scratch.UnstoppablePawn[Black];
    const int bonus = eval_weights.UnstoppablePawnBonus;
    if (white == 0 && black == 0) return 0;
    if (black == 0) return bonus;
    if (white == 0) return -bonus;
    if (black - white >= 2) return bonus;
    return black - white <= -2 ? -bonus : 0;
}

template <Side Us>
void PieceTerms(const Scratch& scratch, EvalTerms::PerSide* terms) {
    const Bitboard safe = ~scratch.PawnAttackMap[!Us];
    terms->knights = Knights<Us>(safe);
    terms->bishops = Bishops<Us>(safe);
    terms->rooks = Rooks<Us>(safe, scratch);
    terms->queens = Queens<Us>(safe);
    terms->bishop_pair = BishopsIn(position.MaterialWord[Us]) >= 2 ? eval_weights.BishopPair : 0;
    terms->king_safety = position.GamePhase < PhaseEndgame ? KingSafety<Us>() : 0;
}

int SumOf(const EvalTerms::PerSide& terms) {
    return terms.pawns + terms.knights + terms.bishops + terms.rooks + terms.queens +
           terms.bishop_pair + terms.king_safety;
}

/// All terms of the positional part, and its sum; PassedPawnFiles must be complete before rooks.
inline EvalTerms FullTerms() {
    EvalTerms terms;
    Scratch scratch;
    scratch.PawnAttackMap = {PawnAttacks<White>(position.pieces[White][Pawn]),
                             PawnAttacks<Black>(position.pieces[Black][Pawn])};
    scratch.PassedPawnFiles = 0;
    scratch.UnstoppablePawn = {};
    terms.side[White].pawns = Pawns<White>(&scratch);
    terms.side[Black].pawns = Pawns<Black>(&scratch);
    PieceTerms<White>(scratch, &terms.side[White]);
    PieceTerms<Black>(scratch, &terms.side[Black]);
    terms.unstoppable = UnstoppableBalance(scratch);
    terms.positional = SumOf(terms.side[White]) - SumOf(terms.side[Black]) +
                       (position.PositionalSum[White] - position.PositionalSum[Black]) / 2;
    return terms;
}

inline int LimitPositional(int positional) {
    return std::clamp(positional, -PositionalMargin, PositionalMargin);
}

}  // namespace

template <Side Us>
EvalResult Evaluate(int depth, int alpha, int beta, int search_ply) {
    if (depth >= 0 && position.GamePhase >= PhaseEndgame) {
        if (EndgameProbe* const probe = CheckTablebaseAvailable()) {
            const EvalResult result = probe->ProbeTablebase(depth, alpha, beta);
            if (probe->found) return result;
        }
    }
    const int balance = MaterialBalance(position.MaterialWord[White], position.MaterialWord[Black]);
    if (search_ply != 0) {
        const int own = Us == White ? balance : -balance;
        if (depth < 0 || own < alpha - PositionalMargin || own > beta + PositionalMargin) {
            return {static_cast<std::int16_t>(LazyScore<Us>(balance)), 0};
        }
    }
    const EvalTerms terms = FullTerms();
    LastPositionalScore = LimitPositional(terms.positional);
    const int score = LimitScore(balance + terms.unstoppable + LastPositionalScore);
    return {static_cast<std::int16_t>(Us == White ? score : -score), 0};
}

template EvalResult Evaluate<White>(int depth, int alpha, int beta, int search_ply);
template EvalResult Evaluate<Black>(int depth, int alpha, int beta, int search_ply);

EvalResult Evaluate(int depth, int alpha, int beta, int search_ply) {
    return position.SideToMove == White ? Evaluate<White>(depth, alpha, beta, search_ply)
                                        : Evaluate<Black>(depth, alpha, beta, search_ply);
}

EvalTerms ExplainEvaluation() {
    EvalTerms terms = FullTerms();
    LastPositionalScore = LimitPositional(terms.positional);
    const std::uint32_t white = position.MaterialWord[White];
    const std::uint32_t black = position.MaterialWord[Black];
    terms.lone_minor = MaterialBalance(white, black) - (ValueOf(white) - ValueOf(black));
    for (const Side side : {White, Black}) {
        terms.side[side].material = ValueOf(position.MaterialWord[side]);
        terms.side[side].piece_squares = position.PositionalSum[side];
    }
    return terms;
}

}  // namespace torval

#include "eval/setup.h"

#include "board/position.h"
#include "egtb/nalimov/probe.h"
#include "eval/source_tables.h"

namespace torval {

EvalWeights eval_weights;
std::int32_t PositionalMargin = 200;
std::array<std::array<std::array<std::int8_t, 128>, 8>, 2> MobilityTable;
std::array<std::array<MobilityPlanes, 8>, 2> mobility_planes;

namespace {

constexpr unsigned kPhases = 6;
constexpr unsigned kTypes = 7;
using SourceChoice = std::array<std::array<const SourceTable*, kTypes>, kPhases>;

/// Piece-square sources by phase and type, null where all squares are worth the same.
constexpr SourceChoice kPieceSquareSources = {{
    {},
    {nullptr,
     &kOpeningPawn,
     &kOpeningKnight,
     &kOpeningBishop,
     &kOpeningRook,
     &kOpeningQueen,
     &kOpeningKing},
    {nullptr,
     &kMiddlegamePawn,
     &kMiddlegameKnight,
     &kMiddlegameBishop,
     &kMiddlegameRook,
     nullptr,
     &kMiddlegameKing},
    {nullptr, &kEndgamePawn, &kEndgameKnight, &kEndgameBishop, nullptr, nullptr, &kEndgameKing},
    {nullptr, nullptr, &kEndgameKnight, &kEndgameBishop, nullptr, nullptr, &kPawnlessKing},
    {nullptr, &kEndgamePawn, nullptr, nullptr, nullptr, nullptr, &kEndgameKing},
}};

constexpr std::array<const SourceTable*, kTypes> kPieceMobility = {
    nullptr, nullptr, &kKnightMobility, &kBishopMobility, &kRookMobility, &kQueenMobility, nullptr};
constexpr std::array<const SourceTable*, kTypes> kOpeningMobility = {
    nullptr, nullptr, &kKnightMobility, &kBishopMobility, &kRookMobility, nullptr, nullptr};

constexpr SourceChoice kMobilitySources = {
    {{}, kOpeningMobility, kPieceMobility, kPieceMobility, kPieceMobility, kPieceMobility}};

constexpr std::array<std::int32_t, kPhases> kMargins = {200, 192, 320, 640, 640, 640};

void Copy(const SourceTable* source, Side side, std::array<std::int8_t, 128>* table) {
    table->fill(0);
    if (!source) return;
    for (unsigned index = 0; index < 64; ++index) {
        // The source lists the owner's eighth rank first: White's index with its rank turned.
        const unsigned at = side == White ? index ^ 0x38 : index;
        (*table)[SquareAt(static_cast<int>(index))] = (*source)[at];
    }
}

void Add(std::array<std::int8_t, 128>* table, int square, int value) {
    auto& entry = (*table)[static_cast<unsigned>(square)];
    entry = static_cast<std::int8_t>(entry + value);
}

int ChoosePhase() {
    constexpr int kLastOpeningPly = 32;
    constexpr unsigned kEndgamePawns = 12;
    constexpr int kEndgamePieces = 2176;  // a queen, a rook and a bishop
    const std::uint32_t white = position.MaterialWord[White];
    const std::uint32_t black = position.MaterialWord[Black];
    const auto full_set = [](std::uint32_t word) {
        return RooksIn(word) >= 2 && KnightsIn(word) + BishopsIn(word) >= 3;
    };
    const bool undeveloped = UndevelopedMinors(White) > 0 || UndevelopedMinors(Black) > 0;
    if (position.GamePhase <= PhaseOpening &&
        GamePly.load(std::memory_order_relaxed) <= kLastOpeningPly && undeveloped &&
        full_set(white) && full_set(black)) {
        return PhaseOpening;
    }
    const auto pieces = [](std::uint32_t word) {
        return ValueOf(word) - PawnValue * static_cast<int>(PawnsIn(word));
    };
    if (pieces(white) > kEndgamePieces || pieces(black) > kEndgamePieces ||
        PawnsIn(white) + PawnsIn(black) > kEndgamePawns) {
        return PhaseMiddlegame;
    }
    if (((white | black) & kPawnField) == 0) return PhasePawnless;
    if (((white | black) & kPieceFields) == 0) return PhasePawns;
    return PhaseEndgame;
}

/// Squares within two of the enemy king are worth more to the side's pieces.
void AddKingZone(Side side) {
    const Square king = position.KingSquare(!side);
    for (int ranks = -2; ranks <= 2; ++ranks) {
        for (int files = -2; files <= 2; ++files) {
            const int square = king + 16 * ranks + files;
            if (!OnBoard(square)) continue;
            const bool near = Distance(king, static_cast<Square>(square)) <= 1;
            for (const PieceType type : {Knight, Bishop}) {
                Add(&MobilityTable[side][type], square, near ? 3 : 2);
            }
            for (const PieceType type : {Rook, Queen}) {
                Add(&MobilityTable[side][type], square, near ? 4 : 2);
            }
        }
    }
}

void BuildMobilityPlanes() {
    for (const Side side : {White, Black}) {
        for (unsigned type = Knight; type <= Queen; ++type) {
            MobilityPlanes& planes = mobility_planes[side][type];
            planes = {};
            for (int index = 0; index < 64; ++index) {
                const Square square = SquareAt(index);
                const auto worth = static_cast<unsigned>(MobilityTable[side][type][square]);
                for (unsigned bit = 0; bit < planes.size(); ++bit) {
                    if (worth >> bit & 1) planes[bit] |= Bit(square);
                }
            }
        }
    }
}

/// Squares that the side's pawns attack now or could attack after one step of a pawn.
template <Side Us>
Bitboard PawnReach() {
    const Bitboard pawns = position.pieces[Us][Pawn];
    // A step needs the square ahead to hold nothing.
    const Bitboard stepped = Forward<Us>(pawns) & ~position.Occupied();
    return PawnAttacks<Us>(pawns) | PawnAttacks<Us>(stepped);
}

void AddOutposts(int phase) {
    // Bonus by distance of the file from the edge: a and h, b and g, all others.
    struct Bonus {
        int knight, far_knight, bishop;
    };
    constexpr std::array<Bonus, 3> kMiddle = {{{0, 0, 0}, {3, 7, 3}, {8, 12, 8}}};
    constexpr std::array<Bonus, 3> kOther = {{{0, 0, 0}, {2, 5, 2}, {5, 10, 5}}};
    const auto& bonuses = phase == PhaseMiddlegame ? kMiddle : kOther;
    const std::array<Bitboard, 2> reach = {PawnReach<White>(), PawnReach<Black>()};
    for (int rank = 2; rank <= 5; ++rank) {
        for (int file = 0; file < 8; ++file) {
            const int square = 16 * rank + file;
            const int from_edge = file < 4 ? file : 7 - file;
            const Bonus& bonus = bonuses[static_cast<unsigned>(from_edge < 2 ? from_edge : 2)];
            for (const Side side : {White, Black}) {
                if (reach[!side] & Bit(static_cast<Square>(square))) continue;
                const bool is_far = (side == White ? rank : 7 - rank) >= 4;
                Add(&PieceSquareTable[side][Knight],
                    square,
                    is_far ? bonus.far_knight : bonus.knight);
                Add(&PieceSquareTable[side][Bishop], square, bonus.bishop);
            }
        }
    }
}

/// Pawns in front of a king on a wing should stay; those of the other wing may go forward.
void AddCastledWing(Side side, int phase) {
    struct WingValues {
        int home, step, other_step, other_far;
    };
    const bool enemy_queen = (position.MaterialWord[!side] & kQueenField) != 0;
    const WingValues values = phase == PhaseOpening      ? WingValues{10, 2, 4, 8}
                              : phase == PhaseMiddlegame ? WingValues{12, 4, 4, 8}
                              : enemy_queen              ? WingValues{12, 8, 0, 0}
                                                         : WingValues{4, 2, 0, 0};
    const Square king = position.KingSquare(side);
    const int file = FileOf(king);
    const int rank = side == White ? RankOf(king) : 7 - RankOf(king);
    if (rank > 1 || file == 3 || file == 4) return;
    const int own_wing = file < 3 ? 0 : 5;
    const int other_wing = file < 3 ? 5 : 0;
    auto& table = PieceSquareTable[side][Pawn];
    const auto square = [side](int own_rank, int at) {
        return 16 * (side == White ? own_rank : 7 - own_rank) + at;
    };
    for (int i = 0; i < 3; ++i) {
        Add(&table, square(1, own_wing + i), values.home);
        Add(&table, square(2, own_wing + i), values.step);
        Add(&table, square(2, other_wing + i), values.other_step);
        Add(&table, square(3, other_wing + i), values.other_far);
    }
}

void WriteWeights(int phase) {
    const bool endgame = phase >= PhaseEndgame;
    eval_weights = {
        .BlockedCentrePawn = -32,
        .IsolatedPawn = endgame ? -10 : -30,
        .IsolatedPawnOnOpenFile = endgame ? -16 : -36,
        .DoubledPawn = -16,
        .SupportedPawn = 8,
        .WeakPawnOnOpenFile = -15,
        .ConnectedPassedPawns = 32,
        .UnstoppablePawnBonus = 300,
        .BishopPair = 32,
        .RookOpenFile = 13,
        .RookHalfOpenFile = 3,
        .RookBehindPassedPawn = 13,
        .EarlyQueen = -10,
        .Castled = 11,
        .LostShortCastling = -17,
        .LostBothCastlings = -13,
        .ShortShieldPawnMissing = -16,
        .LongShieldPawnMissing = -14,
        .KingInCentre = -70,
    };
}

void RecomputeSums() {
    position.MaterialWord = {};
    position.PositionalSum = {};
    for (int index = 0; index < 64; ++index) {
        const Square square = SquareAt(index);
        const PieceCode code = position.Board[square];
        if (code == 0) continue;
        const Side side = SideOf(code);
        position.MaterialWord[side] += kValueWords[TypeOf(code)];
        position.PositionalSum[side] += PieceSquareTable[side][TypeOf(code)][square];
    }
}

}  // namespace

int UndevelopedMinors(Side side) {
    constexpr Bitboard kKnights = 0x42;
    constexpr Bitboard kBishops = 0x24;
    const int shift = side == White ? 0 : 56;
    return Count(position.pieces[side][Knight] & (kKnights << shift)) +
           Count(position.pieces[side][Bishop] & (kBishops << shift));
}

void SetUpEvaluation() {
    const int phase = ChoosePhase();
    position.GamePhase = static_cast<std::uint8_t>(phase);
    const auto chosen = static_cast<unsigned>(phase);
    for (const Side side : {White, Black}) {
        for (unsigned type = Pawn; type <= King; ++type) {
            Copy(kPieceSquareSources[chosen][type], side, &PieceSquareTable[side][type]);
            Copy(kMobilitySources[chosen][type], side, &MobilityTable[side][type]);
        }
        if (phase >= PhaseMiddlegame) AddKingZone(side);
    }
    BuildMobilityPlanes();
    // A database makes the finer knowledge idle: what the last set-up wrote may stay.
    if (!CheckTablebaseAvailable()) {
        AddOutposts(phase);
        if (phase <= PhaseEndgame) {
            AddCastledWing(White, phase);
            AddCastledWing(Black, phase);
        }
        WriteWeights(phase);
        PositionalMargin = kMargins[chosen];
    }
    RecomputeSums();
}

}  // namespace torval

#include "eval/slow_evaluate.h"

#include <algorithm>
#include <cstdlib>

#include "eval/source_tables.h"

namespace torval {

namespace {

constexpr int kPawn = 1, kKnight = 2, kBishop = 3, kRook = 4, kQueen = 5, kKing = 6;

/// Value in the low half; counts above it, which run over into one another when there are many.
constexpr std::array<std::uint32_t, 7> kWords = {0,
                                                 128 + (1U << 16),
                                                 384 + (1U << 20),
                                                 384 + (1U << 22),
                                                 640 + (1U << 24),
                                                 1152 + (1U << 28),
                                                 0};

int ValueIn(std::uint32_t word) { return static_cast<int>(word % 65536); }
int PawnsIn16(std::uint32_t word) { return static_cast<int>(word >> 16 & 15); }
int MinorsIn(std::uint32_t word) { return static_cast<int>((word >> 20 & 3) + (word >> 22 & 3)); }
int BishopsIn2(std::uint32_t word) { return static_cast<int>(word >> 22 & 3); }
int RooksIn4(std::uint32_t word) { return static_cast<int>(word >> 24 & 15); }
int QueensIn(std::uint32_t word) { return static_cast<int>(word >> 28); }
bool HasPieces(std::uint32_t word) { return word >= (1U << 20); }
bool HasHeavy(std::uint32_t word) { return RooksIn4(word) + QueensIn(word) > 0; }

bool On(int square) { return square >= 0 && square < 128 && square % 16 < 8; }
int Rank(int square) { return square / 16; }
int File(int square) { return square % 16; }
int Steps(int a, int b) {
    return std::max(std::abs(Rank(a) - Rank(b)), std::abs(File(a) - File(b)));
}
int At(const SideView& view, int square) { return view.man[static_cast<unsigned>(square)]; }

SideView ViewOf(Side side) {
    SideView view;
    const int turn = side == White ? 0 : 0x70;
    for (int square = 0; square < 128; ++square) {
        if (!On(square)) continue;
        const int code = position.Board[static_cast<unsigned>(square ^ turn)];
        if (code == 0) continue;
        const int type = code % 8;
        const bool own = (code & 8) == (side == White ? 0 : 8);
        view.man[static_cast<unsigned>(square)] = own ? type : -type;
        (own ? view.own_word : view.enemy_word) += kWords[static_cast<unsigned>(type)];
        if (!own && type == kKing) view.enemy_king = square;
    }
    const auto& list = position.PieceList[side];
    for (int i = 0; i <= list.count; ++i) {
        view.men.push_back(list.squares[static_cast<unsigned>(i)] ^ turn);
    }
    view.rights_lost = side == White ? position.CastleState % 16U : position.CastleState / 16U;
    view.to_move = position.SideToMove == side;
    return view;
}

int PawnsOnFile(const SideView& view, int file, int pawn) {
    int count = 0;
    for (int rank = 0; rank < 8 && file >= 0 && file < 8; ++rank) {
        count += At(view, 16 * rank + file) == pawn;
    }
    return count;
}

/// Own pawns that attack the square, or the enemy's.
int OwnPawnAttacks(const SideView& view, int square) {
    int count = 0;
    for (const int from : {square - 15, square - 17}) count += On(from) && At(view, from) == kPawn;
    return count;
}
int EnemyPawnAttacks(const SideView& view, int square) {
    int count = 0;
    for (const int from : {square + 15, square + 17}) count += On(from) && At(view, from) == -kPawn;
    return count;
}

int UndevelopedMen(const SideView& view) {
    return (At(view, 0x01) == kKnight) + (At(view, 0x06) == kKnight) + (At(view, 0x02) == kBishop) +
           (At(view, 0x05) == kBishop);
}

const SourceTable* SquareSource(int phase, int type) {
    static constexpr const SourceTable* kSources[6][7] = {
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
        {nullptr, &kEndgamePawn, nullptr, nullptr, nullptr, nullptr, &kEndgameKing}};
    return kSources[phase][type];
}

const SourceTable* MobilitySource(int phase, int type) {
    switch (type) {
        case kKnight: return &kKnightMobility;
        case kBishop: return &kBishopMobility;
        case kRook: return &kRookMobility;
        case kQueen: return phase == 1 ? nullptr : &kQueenMobility;
        default: return nullptr;
    }
}

int ChoosePhase(const SideView& white, const SideView& black, int game_ply, int old_phase) {
    const std::uint32_t words[] = {white.own_word, black.own_word};
    bool opening =
        old_phase <= 1 && game_ply < 33 && UndevelopedMen(white) + UndevelopedMen(black) > 0;
    bool endgame = PawnsIn16(words[0]) + PawnsIn16(words[1]) <= 12;
    for (const std::uint32_t word : words) {
        opening = opening && RooksIn4(word) >= 2 && MinorsIn(word) >= 3;
        endgame = endgame && ValueIn(word) - 128 * PawnsIn16(word) <= 1152 + 640 + 384;
    }
    if (opening) return 1;
    if (!endgame) return 2;
    if (PawnsIn16(words[0]) + PawnsIn16(words[1]) == 0) return 4;
    return HasPieces(words[0]) || HasPieces(words[1]) ? 3 : 5;
}

/// An enemy pawn attacks the square now or after one step.
bool EnemyPawnsReach(const SideView& view, int square) {
    for (const int side : {15, 17}) {
        const int near = square + side;
        if (!On(near)) continue;
        if (At(view, near) == -kPawn) return true;
        const int behind = near + 16;
        if (On(behind) && At(view, behind) == -kPawn && At(view, near) == 0) return true;
    }
    return false;
}

void AddOutposts(const SideView& view, int phase, SideTables* tables) {
    for (unsigned square = 0x20; square < 0x60; ++square) {
        const int file = File(static_cast<int>(square));
        if (file >= 8 || file == 0 || file == 7) continue;
        if (EnemyPawnsReach(view, static_cast<int>(square))) continue;
        const bool near_edge = file == 1 || file == 6;
        const bool far = square >= 0x40;
        int knight = near_edge ? (far ? 5 : 2) : (far ? 10 : 5);
        int bishop = near_edge ? 2 : 5;
        if (phase == 2) {
            knight = near_edge ? (far ? 7 : 3) : (far ? 12 : 8);
            bishop = near_edge ? 3 : 8;
        }
        tables->squares[kKnight][square] += knight;
        tables->squares[kBishop][square] += bishop;
    }
}

/// Wing of a king on the first two ranks: -1 long, 1 short, 0 neither.
int Wing(int king) {
    if (king >= 0x20 || File(king) == 3 || File(king) == 4) return 0;
    return File(king) < 3 ? -1 : 1;
}

void AddWingPawns(const SideView& view, int phase, SideTables* tables) {
    const int wing = Wing(view.men[0]);
    if (phase > 3 || wing == 0) return;
    const bool queen = QueensIn(view.enemy_word) > 0;
    const int home = phase == 1 ? 10 : phase == 2 || queen ? 12 : 4;
    const int step = phase == 1 ? 2 : phase == 2 ? 4 : queen ? 8 : 2;
    const unsigned own = wing < 0 ? 0 : 5;
    const unsigned other = 5 - own;
    for (unsigned i = 0; i < 3; ++i) {
        tables->squares[kPawn][0x10 + own + i] += home;
        tables->squares[kPawn][0x20 + own + i] += step;
        tables->squares[kPawn][0x20 + other + i] += phase == 3 ? 0 : 4;
        tables->squares[kPawn][0x30 + other + i] += phase == 3 ? 0 : 8;
    }
}

void FillTables(const SideView& view, int phase, SideTables* tables) {
    *tables = {};
    for (int type = kPawn; type <= kKing; ++type) {
        const auto t = static_cast<unsigned>(type);
        for (int square = 0; square < 128; ++square) {
            if (!On(square)) continue;
            const auto s = static_cast<unsigned>(square);
            const auto at = static_cast<unsigned>(8 * (7 - Rank(square)) + File(square));
            const SourceTable* squares = SquareSource(phase, type);
            const SourceTable* mobility = MobilitySource(phase, type);
            if (squares) tables->squares[t][s] = (*squares)[at];
            if (mobility) tables->mobility[t][s] = (*mobility)[at];
            const int steps = Steps(square, view.enemy_king);
            if (phase < 2 || type == kPawn || type == kKing || steps > 2) continue;
            tables->mobility[t][s] += steps == 2 ? 2 : type <= kBishop ? 3 : 4;
        }
    }
    AddOutposts(view, phase, tables);
    AddWingPawns(view, phase, tables);
}

/// One side's terms in one full evaluation.
class SideTerms {
public:
    SideTerms(const SideView& view, const SideTables& tables, int phase)
        : view_(view), tables_(tables), phase_(phase) {}

    int Pawns() {
        int score = 0;
        for (std::size_t i = view_.men.size() - 1; i >= 1; --i) {
            if (At(view_, view_.men[i]) == kPawn) score += PawnTerm(view_.men[i]);
        }
        return score;
    }

    int Rest() const {
        int score = BishopsIn2(view_.own_word) >= 2 ? 32 : 0;
        if (phase_ < 3) score += KingTerm();
        for (std::size_t i = view_.men.size() - 1; i >= 1; --i) {
            const int square = view_.men[i];
            switch (At(view_, square)) {
                case kKnight: score += KnightTerm(square); break;
                case kBishop: score += Walk(square, kBishop, {15, 17, -15, -17}, kQueen) / 2; break;
                case kRook: score += RookTerm(square); break;
                case kQueen: score += QueenTerm(square); break;
                default: break;
            }
        }
        return score;
    }

    int unstoppable = 0;

private:
    int PawnTerm(int square) {
        const int file = File(square);
        const bool open = PawnsOnFile(view_, file, -kPawn) == 0;
        const bool exposed = open && HasHeavy(view_.enemy_word);
        int score = 0;
        if ((square == 0x13 || square == 0x14) && At(view_, square + 16) != 0) score -= 32;
        if (PawnsOnFile(view_, file - 1, kPawn) + PawnsOnFile(view_, file + 1, kPawn) == 0) {
            score -= (exposed ? 36 : 30) - (phase_ >= 3 ? 20 : 0);
        } else {
            if (PawnsOnFile(view_, file, kPawn) > 1) score -= 16;
            const int ahead = square + 16;
            if (OwnPawnAttacks(view_, square) || (On(ahead) && OwnPawnAttacks(view_, ahead))) {
                score += 8;
            } else if (exposed) {
                score -= 15;
            }
        }
        if (phase_ >= 2 && open && (phase_ > 2 || Rank(square) >= 5)) score += PassedTerm(square);
        return score;
    }

    int PassedTerm(int square) {
        constexpr int kFree[] = {0, 19, 26, 32, 38, 128, 256, 0};
        constexpr int kBlocked[] = {0, 13, 18, 23, 32, 64, 102, 0};
        bool blocked = false;
        for (int ahead = square + 16; ahead < 0x70; ahead += 16) {
            if (EnemyPawnAttacks(view_, ahead)) return 0;
            blocked |= At(view_, ahead) != 0;
        }
        const auto file = static_cast<unsigned>(File(square));
        passed_[file + 1] = true;
        const int score = passed_[file] || passed_[file + 2] ? 32 : 0;
        if (blocked) return score + kBlocked[Rank(square)];
        if (!HasPieces(view_.enemy_word)) {
            const int moves = 7 - Rank(square) + (view_.to_move ? 0 : 1);
            if (moves < Steps(view_.enemy_king, 0x70 + static_cast<int>(file)) &&
                (unstoppable == 0 || unstoppable > moves)) {
                unstoppable = moves;
            }
        }
        return score + kFree[Rank(square)];
    }

    int Worth(int square, int type) const {
        if (EnemyPawnAttacks(view_, square)) return 0;
        return tables_.mobility[static_cast<unsigned>(type)][static_cast<unsigned>(square)];
    }

    int Walk(int from, int type, std::initializer_list<int> steps, int seen_through) const {
        int sum = 0;
        for (const int step : steps) {
            for (int to = from + step; On(to); to += step) {
                if (At(view_, to) != 0 && At(view_, to) != seen_through) break;
                sum += Worth(to, type);
            }
        }
        return sum;
    }

    int KnightTerm(int from) const {
        constexpr int kNearKing[] = {0, 5, 10, 10, 5, 3, 2, 1};
        int sum = 0;
        for (const int step : {14, 18, 31, 33, -14, -18, -31, -33}) {
            if (On(from + step) && At(view_, from + step) <= 0) sum += Worth(from + step, kKnight);
        }
        return sum / 2 + (phase_ == 1 ? 0 : kNearKing[Steps(from, view_.men[0])]);
    }

    int RookTerm(int from) const {
        const int mobility = Walk(from, kRook, {1, -1, 16, -16}, kRook) / 2;
        const int file = File(from);
        if (PawnsOnFile(view_, file, kPawn) == 0) {
            return mobility + (PawnsOnFile(view_, file, -kPawn) == 0 ? 13 : 3);
        }
        const bool behind = phase_ == 3 && from < 0x40 && passed_[static_cast<unsigned>(file) + 1];
        return mobility + (behind ? 13 : 0);
    }

    int QueenTerm(int from) const {
        if (phase_ == 1) return from == 0x03 ? 0 : -10 * UndevelopedMen(view_);
        return (Walk(from, kQueen, {1, -1, 16, -16}, kRook) +
                Walk(from, kQueen, {15, 17, -15, -17}, kBishop)) /
               2;
    }

    /// Wing files without a pawn on the second or third rank.
    int Missing(int first_file) const {
        int missing = 0;
        for (int file = first_file; file < first_file + 3; ++file) {
            missing += At(view_, 0x10 + file) != kPawn && At(view_, 0x20 + file) != kPawn;
        }
        return missing;
    }

    int ShieldFile(int file) const {
        if (PawnsOnFile(view_, file, kPawn) == 0) return 0;
        if (At(view_, 0x10 + file) == kPawn) return 1;
        return At(view_, 0x20 + file) == kPawn ? 2 : 3;
    }

    int Shield() const {
        // By inner and middle code, then by outer code.
        constexpr int kShield[4][4][4] = {
            {{-100, -80, -80, -100},
             {-80, -20, -35, -40},
             {-80, -45, -45, -50},
             {-80, -70, -70, -80}},
            {{-80, -60, -60, -70}, {-30, 0, -10, -20}, {-35, -5, -20, -30}, {-50, -40, -45, -48}},
            {{-85, -65, -65, -75}, {-35, -5, -15, -25}, {-40, -10, -25, -35}, {-55, -45, -50, -53}},
            {{-90, -70, -70, -80},
             {-40, -10, -20, -30},
             {-45, -15, -30, -40},
             {-60, -50, -55, -58}}};
        const int wing = Wing(view_.men[0]);
        if (wing == 0) return -70;
        const int middle_file = wing < 0 ? 1 : 6;
        int middle = ShieldFile(middle_file);
        const bool fianchetto =
            At(view_, 0x10 + middle_file) == kBishop && At(view_, 0x20 + middle_file) == kPawn;
        if (fianchetto) middle = 1;
        return kShield[ShieldFile(wing < 0 ? 2 : 5)][middle][ShieldFile(wing < 0 ? 0 : 7)];
    }

    int KingTerm() const {
        int base = 11;
        if (!(view_.rights_lost & 8)) {
            if (!(view_.rights_lost & 3)) return -16 * Missing(5);
            if (!(view_.rights_lost & 6)) return -17 - 14 * Missing(0);
            base = -30;
        }
        return base + (QueensIn(view_.enemy_word) == 0 ? Shield() / 2 : Shield() * 3 / 4);
    }

    const SideView& view_;
    const SideTables& tables_;
    int phase_;
    std::array<bool, 10> passed_{};  ///< file + 1
};

int Material(std::uint32_t white, std::uint32_t black) {
    const int balance = ValueIn(white) - ValueIn(black);
    if (ValueIn(white) <= 384 && PawnsIn16(white) == 0 && PawnsIn16(black) > 0) {
        return balance - 250;
    }
    if (ValueIn(black) <= 384 && PawnsIn16(black) == 0 && PawnsIn16(white) > 0) {
        return balance + 250;
    }
    return balance;
}

int UnstoppableBonus(int white, int black) {
    if (white != 0 && black == 0) return 300;
    if (white == 0 && black != 0) return -300;
    if (white == 0) return 0;
    return black - white >= 2 ? 300 : black - white <= -2 ? -300 : 0;
}

}  // namespace

void SlowEvaluation::SetUp(int game_ply, int old_phase) {
    constexpr int kMargins[] = {200, 192, 320, 640, 640, 640};
    const SideView white = ViewOf(White);
    const SideView black = ViewOf(Black);
    phase = ChoosePhase(white, black, game_ply, old_phase);
    margin = kMargins[phase];
    FillTables(white, phase, &tables[White]);
    FillTables(black, phase, &tables[Black]);
}

int SlowEvaluation::SquareSum(Side side) const {
    const SideView view = ViewOf(side);
    int sum = 0;
    for (unsigned square = 0; square < 128; ++square) {
        const int type = view.man[square];
        if (type > 0) sum += tables[side].squares[static_cast<unsigned>(type)][square];
    }
    return sum;
}

SlowEvaluation::Score SlowEvaluation::Evaluate() const {
    const SideView white = ViewOf(White);
    const SideView black = ViewOf(Black);
    SideTerms white_terms(white, tables[White], phase);
    SideTerms black_terms(black, tables[Black], phase);
    int p = white_terms.Pawns() - black_terms.Pawns();
    p += white_terms.Rest() - black_terms.Rest();
    p += (SquareSum(White) - SquareSum(Black)) / 2;
    const int m = Material(white.own_word, black.own_word) +
                  UnstoppableBonus(white_terms.unstoppable, black_terms.unstoppable);
    p = std::clamp(p, -margin, margin);
    const int score = std::clamp(m + p, -19500, 19500);
    return {m, p, white.to_move ? score : -score};
}

}  // namespace torval

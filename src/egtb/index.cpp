#include "egtb/index.h"

#include <algorithm>
#include <bit>
#include <map>
#include <mutex>
#include <span>
#include <vector>

namespace torval {

namespace {

/// What a man of the enumerated group is counted as.
enum Kind : std::uint8_t {
    DefendingPawn,
    AttackingPawn,
    KnightKind,
    BishopKind,
    RookKind,
    QueenKind
};
constexpr unsigned kKinds = 6;

constexpr std::uint16_t kNoPair = 4000;
constexpr std::uint8_t kNotAllowed = 255;
constexpr unsigned kEnPassantCodes = 14;
constexpr unsigned kMirrorFiles = 7;
constexpr unsigned kMirrorRanks = 56;

constexpr int File(unsigned square) { return static_cast<int>(square & 7); }
constexpr int Rank(unsigned square) { return static_cast<int>(square >> 3); }
constexpr std::uint64_t BitOf(unsigned square) { return std::uint64_t{1} << square; }
constexpr bool CanHoldPawn(unsigned square) { return square >= 8 && square < 56; }

/// How many of the squares lie below this one.
unsigned Below(std::uint64_t squares, unsigned square) {
    return static_cast<unsigned>(std::popcount(squares & (BitOf(square) - 1)));
}

/// Ways to choose m of n, m up to 3.
constexpr std::uint32_t Choose(std::uint32_t n, unsigned m) {
    switch (m) {
        case 0: return 1;
        case 1: return n;
        case 2: return n * (n - 1) / 2;
        default: return n * (n - 1) / 2 * (n - 2) / 3;
    }
}

/// The number of a set of places; sorts them. `Choose` of the places from the highest down.
std::uint32_t RankOfSet(std::span<unsigned> places) {
    std::ranges::sort(places);
    std::uint32_t rank = 0;
    for (unsigned i = 0; i < places.size(); ++i) rank += Choose(places[i], i + 1);
    return rank;
}

void SetOfRank(std::uint32_t rank, std::span<unsigned> places) {
    for (auto m = static_cast<unsigned>(places.size()); m > 0; --m) {
        unsigned place = m - 1;
        while (Choose(place + 1, m) <= rank) ++place;
        places[m - 1] = place;
        rank -= Choose(place, m);
    }
}

/// Men of one kind: how many, and where their squares begin in the side's list.
struct Run {
    std::uint8_t type;
    std::uint8_t count;
    std::uint8_t first;
};

/// A side's men as runs, in the order of the class name.
struct Runs {
    std::array<Run, 5> list = {};
    unsigned count = 0;

    std::span<const Run> All() const { return {list.data(), count}; }
};

/// How one class is numbered with one side to move.
struct Scheme {
    unsigned attacker = 0;
    bool pawns = false;
    /// Squares of the enumerated group are turned so that the attacker's pawns move towards rank 8.
    std::uint8_t turn = 0;
    unsigned group_side = 0;
    Runs group;
    Runs defenders;                                       ///< men of the defender outside the group
    const std::vector<std::uint32_t>* offsets = nullptr;  ///< by king pair, and the total behind
    std::uint64_t digits = 1;                             ///< product of the defenders' bases
    std::uint32_t pairs = 0;
    unsigned en_passant_rest = 0;  ///< placements of the man that has no part in it, 0: no range

    std::uint64_t MainCount() const { return offsets->back() * digits; }
};

struct Pair {
    std::uint8_t attacker;
    std::uint8_t defender;
};

struct Tables {
    std::array<std::array<std::array<std::uint16_t, 64>, 64>, 2> king_pair;  ///< [pawns]
    std::array<std::vector<Pair>, 2> pairs;
    std::array<std::array<std::array<std::uint8_t, 64>, 64>, kKinds> ordinal;
    std::array<std::array<std::array<std::uint8_t, 64>, 64>, kKinds> square_at;
    std::array<std::array<std::uint8_t, 64>, kKinds> allowed;
    std::map<std::vector<unsigned>, std::vector<std::uint32_t>> offsets;
    std::array<std::array<Scheme, 2>, kClasses> schemes;
};

Tables& tables = *new Tables;

bool AreAdjacent(unsigned a, unsigned b) {
    return std::max(std::abs(File(a) - File(b)), std::abs(Rank(a) - Rank(b))) <= 1;
}

/// Whether a man of the group would attack a king at contact.
bool AttacksAtContact(Kind kind, unsigned square, unsigned king) {
    const int files = std::abs(File(square) - File(king));
    const int ranks = std::abs(Rank(square) - Rank(king));
    switch (kind) {
        case DefendingPawn: return false;
        case AttackingPawn: return files == 1 && Rank(king) == Rank(square) + 1;
        case KnightKind: return files * ranks == 2;
        case BishopKind: return files == 1 && ranks == 1;
        case RookKind: return files + ranks == 1;
        case QueenKind: return files <= 1 && ranks <= 1;
    }
    return false;
}

void BuildKingPairs() {
    for (const bool pawns : {false, true}) {
        std::uint16_t number = 0;
        for (unsigned a = 0; a < 64; ++a) {
            for (unsigned d = 0; d < 64; ++d) {
                const bool triangle =
                    File(a) <= 3 && Rank(a) <= File(a) && (Rank(a) < File(a) || Rank(d) <= File(d));
                const bool counted = (pawns ? File(a) <= 3 : triangle) && !AreAdjacent(a, d);
                tables.king_pair[pawns][a][d] = counted ? number++ : kNoPair;
                if (!counted) continue;
                tables.pairs[pawns].push_back(
                    {static_cast<std::uint8_t>(a), static_cast<std::uint8_t>(d)});
            }
        }
    }
}

void BuildOrdinals() {
    for (unsigned kind = 0; kind < kKinds; ++kind) {
        for (unsigned king = 0; king < 64; ++king) {
            std::uint8_t next = 0;
            for (unsigned square = 0; square < 64; ++square) {
                const bool in_range = kind > AttackingPawn || CanHoldPawn(square);
                const bool counted = in_range && square != king &&
                                     !AttacksAtContact(static_cast<Kind>(kind), square, king);
                if (counted) {
                    tables.square_at[kind][king][next] = static_cast<std::uint8_t>(square);
                }
                tables.ordinal[kind][king][square] = counted ? next++ : kNotAllowed;
            }
            tables.allowed[kind][king] = next;
        }
    }
}

Kind KindOf(const Scheme& scheme, unsigned type) {
    if (type != Pawn) return static_cast<Kind>(type);
    return scheme.group_side == scheme.attacker ? AttackingPawn : DefendingPawn;
}
static_assert(Knight == int{KnightKind} && Queen == int{QueenKind});

/// Squares that a man of the kind may stand on, the attacking king's left out.
unsigned PlacesFor(Kind kind, Pair kings) {
    const bool blocked = tables.ordinal[kind][kings.defender][kings.attacker] != kNotAllowed;
    return tables.allowed[kind][kings.defender] - (blocked ? 1U : 0U);
}

const std::vector<std::uint32_t>& OffsetsOf(const Scheme& scheme) {
    std::vector<unsigned> key = {scheme.pawns};
    for (const Run& run : scheme.group.All()) {
        key.insert(key.end(), run.count, KindOf(scheme, run.type));
    }
    auto& offsets = tables.offsets[key];
    if (!offsets.empty()) return offsets;
    std::uint32_t total = 0;
    for (const Pair kings : tables.pairs[scheme.pawns]) {
        offsets.push_back(total);
        std::uint32_t placements = 1;
        for (const Run& run : scheme.group.All()) {
            placements *= Choose(PlacesFor(KindOf(scheme, run.type), kings), run.count);
        }
        total += placements;
    }
    offsets.push_back(total);
    return offsets;
}

Runs RunsOf(const MenCounts& men, unsigned type_from, unsigned type_to) {
    Runs runs;
    std::uint8_t first = 0;
    for (unsigned type = Queen; type >= Pawn; --type) {
        if (men[type] > 0 && type <= type_from && type >= type_to) {
            runs.list[runs.count++] = {static_cast<std::uint8_t>(type), men[type], first};
        }
        first = static_cast<std::uint8_t>(first + men[type]);
    }
    return runs;
}

/// The number of squares or pawn squares that each run of the defender's men is placed on.
template <typename Visit>
void ForEachDefenderBase(const Scheme& scheme, unsigned all_pawns, Visit visit) {
    unsigned pieces = 0;
    unsigned pawns = 0;
    for (const Run& run : scheme.group.All()) (run.type == Pawn ? pawns : pieces) += run.count;
    for (const Run& run : scheme.defenders.All()) {
        visit(run, run.type == Pawn ? 48 - pawns : 64 - 2 - all_pawns - pieces);
        (run.type == Pawn ? pawns : pieces) += run.count;
    }
}

void BuildScheme(int class_id, unsigned side) {
    const TablebaseClass& entry = kTablebaseClasses[static_cast<std::size_t>(class_id)];
    Scheme& scheme = tables.schemes[static_cast<std::size_t>(class_id)][side];
    const unsigned defender = 1 - side;
    scheme.attacker = side;
    scheme.pawns = entry.HasPawns();
    scheme.turn = side == 1 && scheme.pawns ? kMirrorRanks : 0;
    const bool lone_king = CountOf(entry.men[side]) == 0;
    const bool counts_pawns = lone_king && entry.men[defender][Pawn] > 0;
    scheme.group_side = counts_pawns ? defender : side;
    scheme.group = RunsOf(entry.men[scheme.group_side], counts_pawns ? Pawn : Queen, Pawn);
    scheme.defenders = RunsOf(entry.men[defender], Queen, counts_pawns ? Knight : Pawn);
    scheme.offsets = &OffsetsOf(scheme);
    const unsigned all_pawns = entry.men[0][Pawn] + entry.men[1][Pawn];
    ForEachDefenderBase(scheme, all_pawns, [&scheme](const Run& run, unsigned places) {
        scheme.digits *= Choose(places, run.count);
    });
    scheme.pairs = static_cast<std::uint32_t>(tables.pairs[scheme.pawns].size());
    if (entry.men[0][Pawn] == 0 || entry.men[1][Pawn] == 0) return;
    // Two pawns have a part in the capture; a third man is a piece or another pawn.
    const int men = CountOf(entry.men[0]) + CountOf(entry.men[1]);
    constexpr unsigned kPieceSquares = 64 - 6;
    constexpr unsigned kPawnSquares = 48 - 4;
    scheme.en_passant_rest = men == 2 ? 1 : all_pawns == 3 ? kPawnSquares : kPieceSquares;
}

/// A position after the reduction by symmetry.
struct Reduced {
    unsigned attacker;
    unsigned defender;
    std::array<std::array<std::uint8_t, kMostMen>, 2> men;
    unsigned en_passant;
};

unsigned MirrorInDiagonal(unsigned square) { return square >> 3 | (square & 7) << 3; }

Reduced Reduce(const Scheme& scheme, const ClassPosition& given) {
    Reduced to = {.attacker = given.king[scheme.attacker],
                  .defender = given.king[1 - scheme.attacker],
                  .men = given.men,
                  .en_passant = static_cast<unsigned>(given.en_passant)};
    unsigned mask = File(to.attacker) > 3 ? kMirrorFiles : 0;
    if (!scheme.pawns && Rank(to.attacker) > 3) mask |= kMirrorRanks;
    to.attacker ^= mask;
    to.defender ^= mask;
    to.en_passant ^= mask;
    const bool diagonal =
        !scheme.pawns &&
        (Rank(to.attacker) > File(to.attacker) ||
         (Rank(to.attacker) == File(to.attacker) && Rank(to.defender) > File(to.defender)));
    if (diagonal) {
        to.attacker = MirrorInDiagonal(to.attacker);
        to.defender = MirrorInDiagonal(to.defender);
    }
    for (auto& side : to.men) {
        for (std::uint8_t& square : side) {
            const unsigned turned = square ^ mask;
            square = static_cast<std::uint8_t>(diagonal ? MirrorInDiagonal(turned) : turned);
        }
    }
    return to;
}

/// The squares of a side's men.
std::uint64_t SquaresOf(const Reduced& reduced,
                        unsigned side,
                        std::span<const Run> runs,
                        bool pawns) {
    std::uint64_t squares = 0;
    for (const Run& run : runs) {
        if ((run.type == Pawn) != pawns) continue;
        for (unsigned i = 0; i < run.count; ++i) {
            squares |= BitOf(reduced.men[side][run.first + i]);
        }
    }
    return squares;
}

/// Whether all men stand on squares of their own, pawns on ranks 2 to 7.
bool IsPlaced(const Scheme& scheme, const Reduced& reduced) {
    std::uint64_t taken = BitOf(reduced.attacker) | BitOf(reduced.defender);
    unsigned men = 2;
    const auto place = [&](unsigned side, std::span<const Run> runs) {
        for (const Run& run : runs) {
            for (unsigned i = 0; i < run.count; ++i) {
                const unsigned square = reduced.men[side][run.first + i];
                if (run.type == Pawn && !CanHoldPawn(square)) return false;
                taken |= BitOf(square);
                ++men;
            }
        }
        return true;
    };
    return place(scheme.group_side, scheme.group.All()) &&
           place(1 - scheme.attacker, scheme.defenders.All()) &&
           static_cast<unsigned>(std::popcount(taken)) == men;
}

/// The number of the group's placement with these kings; none for a man at contact.
std::optional<std::uint32_t> GroupNumber(const Scheme& scheme, const Reduced& reduced, Pair kings) {
    std::uint32_t number = 0;
    for (const Run& run : scheme.group.All()) {
        const Kind kind = KindOf(scheme, run.type);
        const auto& ordinal = tables.ordinal[kind][kings.defender];
        const std::uint8_t of_king = ordinal[kings.attacker];
        std::array<unsigned, kMostMen> places;
        for (unsigned i = 0; i < run.count; ++i) {
            const unsigned square =
                unsigned{reduced.men[scheme.group_side][run.first + i]} ^ scheme.turn;
            const std::uint8_t place = ordinal[square];
            if (place == kNotAllowed) return std::nullopt;
            places[i] = place - (of_king != kNotAllowed && place > of_king ? 1U : 0U);
        }
        const unsigned base = Choose(PlacesFor(kind, kings), run.count);
        number = number * base + RankOfSet({places.data(), run.count});
    }
    return number;
}

std::uint64_t DefenderDigits(const Scheme& scheme, const Reduced& reduced) {
    const unsigned side = 1 - scheme.attacker;
    const auto group = scheme.group.All();
    const auto defenders = scheme.defenders.All();
    std::uint64_t pawns = SquaresOf(reduced, scheme.group_side, group, true);
    std::uint64_t pieces = SquaresOf(reduced, scheme.group_side, group, false) |
                           BitOf(reduced.attacker) | BitOf(reduced.defender);
    const std::uint64_t all_pawns = pawns | SquaresOf(reduced, side, defenders, true);
    pieces |= all_pawns;
    std::uint64_t number = 0;
    for (const Run& run : defenders) {
        const bool is_pawn = run.type == Pawn;
        const std::uint64_t placed = is_pawn ? pawns : pieces;
        const unsigned squares = is_pawn ? 48 : 64;
        const auto before = static_cast<unsigned>(std::popcount(placed));
        std::array<unsigned, kMostMen> places;
        for (unsigned i = 0; i < run.count; ++i) {
            const unsigned square = reduced.men[side][run.first + i];
            places[i] = square - (is_pawn ? 8 : 0) - Below(placed, square);
            (is_pawn ? pawns : pieces) |= BitOf(square);
        }
        number =
            number * Choose(squares - before, run.count) + RankOfSet({places.data(), run.count});
    }
    return number;
}

/// The men of an en passant capture. A capturing pawn on `pawn` goes to `target`.
struct EnPassant {
    unsigned pawn;
    unsigned target;
    unsigned stepped;  ///< where the pawn to be taken stands
    unsigned from;     ///< where it came from

    unsigned Code() const {
        const auto file = static_cast<unsigned>(File(pawn));
        return File(target) < File(pawn) ? file - 1 : file + 7;
    }
};

EnPassant EnPassantAt(const Scheme& scheme, unsigned pawn, unsigned target) {
    // The first side's pawns go up the board, and take what has come down behind the target.
    const bool up = scheme.attacker == 0;
    return {.pawn = pawn,
            .target = target,
            .stepped = up ? target - 8 : target + 8,
            .from = up ? target + 8 : target - 8};
}

bool HasTargetRank(const Scheme& scheme, unsigned target) {
    return Rank(target) == (scheme.attacker == 0 ? 5 : 2);
}

std::uint64_t ExcludedSquares(const EnPassant& capture, unsigned attacker, unsigned defender) {
    return BitOf(capture.pawn) | BitOf(capture.stepped) | BitOf(capture.target) |
           BitOf(capture.from) | BitOf(attacker) | BitOf(defender);
}

/// The first capture that the attacker's pawns offer, from the lowest pawn up, towards the a-file
/// before the h-file.
std::optional<EnPassant> FindCapture(const Scheme& scheme, const Reduced& reduced) {
    if (reduced.en_passant >= 64 || !HasTargetRank(scheme, reduced.en_passant)) return std::nullopt;
    const std::uint64_t pawns = SquaresOf(reduced, scheme.group_side, scheme.group.All(), true);
    const std::uint64_t others =
        SquaresOf(reduced, 1 - scheme.attacker, scheme.defenders.All(), true);
    const unsigned stepped = EnPassantAt(scheme, 0, reduced.en_passant).stepped;
    if (!(others & BitOf(stepped))) return std::nullopt;
    for (std::uint64_t left = pawns; left != 0; left &= left - 1) {
        const auto pawn = static_cast<unsigned>(std::countr_zero(left));
        if (Rank(pawn) != Rank(stepped) || std::abs(File(pawn) - File(stepped)) != 1) continue;
        return EnPassantAt(scheme, pawn, reduced.en_passant);
    }
    return std::nullopt;
}

/// Its number among the positions of the range with the same kings.
std::optional<std::uint64_t> EnPassantNumber(const Scheme& scheme, const Reduced& reduced) {
    const auto capture = FindCapture(scheme, reduced);
    if (!capture || scheme.en_passant_rest == 0) return std::nullopt;
    const std::uint64_t excluded = ExcludedSquares(*capture, reduced.attacker, reduced.defender);
    if (std::popcount(excluded) != 6) return std::nullopt;
    unsigned digit = 0;
    const auto place_rest = [&](unsigned side, std::span<const Run> runs) {
        for (const Run& run : runs) {
            for (unsigned i = 0; i < run.count; ++i) {
                const unsigned square = reduced.men[side][run.first + i];
                if (square == capture->pawn || square == capture->stepped) continue;
                if (excluded & BitOf(square)) return false;
                const std::uint64_t kings = BitOf(reduced.attacker) | BitOf(reduced.defender);
                digit = run.type == Pawn ? square - 8 - Below(excluded & ~kings, square)
                                         : square - Below(excluded, square);
            }
        }
        return true;
    };
    if (!place_rest(scheme.group_side, scheme.group.All())) return std::nullopt;
    if (!place_rest(1 - scheme.attacker, scheme.defenders.All())) return std::nullopt;
    return digit * kEnPassantCodes + capture->Code();
}

const Scheme& SchemeOf(int class_id, int side) {
    return tables.schemes[static_cast<std::size_t>(class_id)][static_cast<std::size_t>(side)];
}

// ---- Back from an index --------------------------------------------------------------------------

/// The square with so many squares below it that are not in the set.
std::optional<unsigned> FreeSquare(std::uint64_t taken,
                                   unsigned number,
                                   unsigned first,
                                   unsigned end) {
    for (unsigned square = first; square < end; ++square) {
        if (taken & BitOf(square)) continue;
        if (number-- == 0) return square;
    }
    return std::nullopt;
}

void PlaceGroup(const Scheme& scheme, std::uint32_t number, Pair kings, ClassPosition* position) {
    for (unsigned r = scheme.group.count; r-- > 0;) {
        const Run& run = scheme.group.list[r];
        const Kind kind = KindOf(scheme, run.type);
        const std::uint8_t of_king = tables.ordinal[kind][kings.defender][kings.attacker];
        const std::uint32_t base = Choose(PlacesFor(kind, kings), run.count);
        std::array<unsigned, kMostMen> places;
        SetOfRank(number % base, {places.data(), run.count});
        number /= base;
        for (unsigned i = 0; i < run.count; ++i) {
            const unsigned place = places[i] + (places[i] >= of_king ? 1U : 0U);
            const unsigned square = tables.square_at[kind][kings.defender][place];
            position->men[scheme.group_side][run.first + i] =
                static_cast<std::uint8_t>(square ^ scheme.turn);
        }
    }
}

/// The squares of the group's men of one sort.
std::uint64_t PlacedGroup(const Scheme& scheme, const ClassPosition& position, bool pawns) {
    const Reduced as_placed = {.attacker = 0, .defender = 0, .men = position.men, .en_passant = 0};
    return SquaresOf(as_placed, scheme.group_side, scheme.group.All(), pawns);
}

bool PlaceDefenders(int class_id, const Scheme& scheme, std::uint64_t number, ClassPosition* to) {
    const TablebaseClass& entry = kTablebaseClasses[static_cast<std::size_t>(class_id)];
    const unsigned side = 1 - scheme.attacker;
    std::array<unsigned, 5> bases = {};
    unsigned next = 0;
    ForEachDefenderBase(scheme,
                        unsigned{entry.men[0][Pawn]} + entry.men[1][Pawn],
                        [&](const Run&, unsigned places) { bases[next++] = places; });
    std::array<std::uint32_t, 5> digits = {};
    for (unsigned r = scheme.defenders.count; r-- > 0;) {
        const std::uint32_t base = Choose(bases[r], scheme.defenders.list[r].count);
        digits[r] = static_cast<std::uint32_t>(number % base);
        number /= base;
    }
    std::uint64_t pawns = PlacedGroup(scheme, *to, true);
    std::uint64_t pieces =
        PlacedGroup(scheme, *to, false) | BitOf(to->king[0]) | BitOf(to->king[1]);
    // A piece leaves out every pawn, so the pawns come first.
    for (const bool placing_pawns : {true, false}) {
        if (!placing_pawns) pieces |= pawns;
        for (unsigned r = 0; r < scheme.defenders.count; ++r) {
            const Run& run = scheme.defenders.list[r];
            if ((run.type == Pawn) != placing_pawns) continue;
            std::uint64_t& taken = placing_pawns ? pawns : pieces;
            const std::uint64_t before = taken;
            std::array<unsigned, kMostMen> places;
            SetOfRank(digits[r], {places.data(), run.count});
            for (unsigned i = 0; i < run.count; ++i) {
                const auto square = placing_pawns ? FreeSquare(before, places[i], 8, 56)
                                                  : FreeSquare(before, places[i], 0, 64);
                if (!square) return false;
                to->men[side][run.first + i] = static_cast<std::uint8_t>(*square);
                taken |= BitOf(*square);
            }
        }
    }
    return true;
}

std::optional<ClassPosition> EnPassantPosition(const Scheme& scheme, std::uint64_t number) {
    const auto code = static_cast<unsigned>(number % kEnPassantCodes);
    number /= kEnPassantCodes;
    const auto digit = static_cast<unsigned>(number % scheme.en_passant_rest);
    const Pair kings = tables.pairs[true][number / scheme.en_passant_rest];
    ClassPosition to;
    to.king[scheme.attacker] = static_cast<std::uint8_t>(kings.attacker ^ scheme.turn);
    to.king[1 - scheme.attacker] = static_cast<std::uint8_t>(kings.defender ^ scheme.turn);
    const unsigned pawn_rank = scheme.attacker == 0 ? 32 : 24;
    const unsigned target_rank = scheme.attacker == 0 ? 40 : 16;
    const bool to_a = code < 7;
    const unsigned file = to_a ? code + 1 : code - 7;
    const EnPassant capture =
        EnPassantAt(scheme, pawn_rank + file, target_rank + (to_a ? file - 1 : file + 1));
    const std::uint64_t excluded = ExcludedSquares(capture, to.king[0], to.king[1]);
    const std::uint64_t kings_bits = BitOf(to.king[0]) | BitOf(to.king[1]);
    to.en_passant = static_cast<int>(capture.target);
    const auto place = [&](unsigned side, std::span<const Run> runs, unsigned pawn) {
        for (const Run& run : runs) {
            for (unsigned i = 0; i < run.count; ++i) {
                std::optional<unsigned> square;
                if (run.type == Pawn && i == 0) {
                    square = pawn;
                } else if (run.type == Pawn) {
                    square = FreeSquare(excluded & ~kings_bits, digit, 8, 56);
                } else {
                    square = FreeSquare(excluded, digit, 0, 64);
                }
                if (!square) return false;
                to.men[side][run.first + i] = static_cast<std::uint8_t>(*square);
            }
        }
        return true;
    };
    if (!place(scheme.group_side, scheme.group.All(), capture.pawn)) return std::nullopt;
    if (!place(1 - scheme.attacker, scheme.defenders.All(), capture.stepped)) return std::nullopt;
    return to;
}

}  // namespace

void BuildIndexTables() {
    static std::once_flag built;
    std::call_once(built, [] {
        BuildKingPairs();
        BuildOrdinals();
        for (int id = 1; id < kClasses; ++id) {
            for (const unsigned side : {0U, 1U}) BuildScheme(id, side);
        }
    });
}

std::uint64_t IndexCount(int class_id, int side) {
    const Scheme& scheme = SchemeOf(class_id, side);
    return scheme.MainCount() +
           std::uint64_t{scheme.pairs} * scheme.en_passant_rest * kEnPassantCodes;
}

std::optional<std::uint64_t> IndexOf(int class_id, int side, const ClassPosition& position) {
    const Scheme& scheme = SchemeOf(class_id, side);
    const Reduced reduced = Reduce(scheme, position);
    const Pair kings = {static_cast<std::uint8_t>(reduced.attacker ^ scheme.turn),
                        static_cast<std::uint8_t>(reduced.defender ^ scheme.turn)};
    const std::uint16_t pair = tables.king_pair[scheme.pawns][kings.attacker][kings.defender];
    if (pair == kNoPair || !IsPlaced(scheme, reduced)) return std::nullopt;
    if (position.en_passant != kNoEnPassant) {
        const auto number = EnPassantNumber(scheme, reduced);
        if (!number) return std::nullopt;
        return scheme.MainCount() + std::uint64_t{pair} * scheme.en_passant_rest * kEnPassantCodes +
               *number;
    }
    const auto group = GroupNumber(scheme, reduced, kings);
    if (!group) return std::nullopt;
    return ((*scheme.offsets)[pair] + std::uint64_t{*group}) * scheme.digits +
           DefenderDigits(scheme, reduced);
}

std::optional<ClassPosition> PositionAt(int class_id, int side, std::uint64_t index) {
    const Scheme& scheme = SchemeOf(class_id, side);
    const std::uint64_t main = scheme.MainCount();
    std::optional<ClassPosition> position;
    if (index >= main) {
        position = EnPassantPosition(scheme, index - main);
    } else {
        const auto group = static_cast<std::uint32_t>(index / scheme.digits);
        const auto after = std::upper_bound(scheme.offsets->begin(), scheme.offsets->end(), group);
        const auto pair = static_cast<std::size_t>(after - scheme.offsets->begin() - 1);
        const Pair kings = tables.pairs[scheme.pawns][pair];
        ClassPosition to;
        to.king[scheme.attacker] = static_cast<std::uint8_t>(kings.attacker ^ scheme.turn);
        to.king[1 - scheme.attacker] = static_cast<std::uint8_t>(kings.defender ^ scheme.turn);
        PlaceGroup(scheme, group - (*scheme.offsets)[pair], kings, &to);
        if (PlaceDefenders(class_id, scheme, index % scheme.digits, &to)) position = to;
    }
    // Men may share a square, and one of two capturing pawns stands for both.
    if (position && IndexOf(class_id, side, *position) != index) position.reset();
    return position;
}

}  // namespace torval

#include "egtb/nalimov/index.h"

#include <algorithm>

#include "egtb/nalimov/numbering.h"

namespace torval {

using namespace numbering;

namespace {

/// The number of a set of places; sorts them. `Choose` of the places from the highest down.
std::uint32_t RankOfSet(std::span<unsigned> places) {
    if (places.size() == 1) return places[0];
    if (places.size() == 2) {
        const auto [low, high] = std::minmax(places[0], places[1]);
        return low + Choose(high, 2);
    }
    std::ranges::sort(places);
    std::uint32_t rank = 0;
    for (unsigned i = 0; i < places.size(); ++i) rank += Choose(places[i], i + 1);
    return rank;
}

/// A position after the reduction by symmetry.
struct Reduced {
    unsigned attacker;
    unsigned defender;
    std::uint64_t men;  ///< a byte for each, the first side's in the lower half
    unsigned en_passant;

    unsigned Man(unsigned side, unsigned i) const {
        return static_cast<unsigned>(men >> (side * 32 + i * 8)) & 63;
    }
};

constexpr std::uint64_t kEachByte = 0x0101010101010101;

/// Swaps file and rank of the squares in all bytes.
constexpr std::uint64_t MirrorInDiagonal(std::uint64_t squares) {
    return (squares >> 3 & kEachByte * 7) | (squares & kEachByte * 7) << 3;
}
static_assert(MirrorInDiagonal(0x0700'0000'0000'0038) == 0x3800'0000'0000'0007);

/// All bytes of the squares at once: index functions are most of the time in which tables are made.
Reduced Reduce(const Scheme& scheme, const ClassPosition& given) {
    Reduced to = {.attacker = given.king[scheme.attacker],
                  .defender = given.king[1 - scheme.attacker],
                  .men = 0,
                  .en_passant = static_cast<unsigned>(given.en_passant)};
    for (unsigned i = 0; i < 2 * kMostMen; ++i) {
        to.men |= std::uint64_t{given.men[i / kMostMen][i % kMostMen]} << (8 * i);
    }
    unsigned mask = File(to.attacker) > 3 ? kMirrorFiles : 0;
    if (!scheme.pawns && Rank(to.attacker) > 3) mask |= kMirrorRanks;
    to.attacker ^= mask;
    to.defender ^= mask;
    to.en_passant ^= mask;
    to.men ^= kEachByte * mask;
    const bool diagonal =
        !scheme.pawns &&
        (Rank(to.attacker) > File(to.attacker) ||
         (Rank(to.attacker) == File(to.attacker) && Rank(to.defender) > File(to.defender)));
    if (diagonal) {
        to.attacker = static_cast<unsigned>(MirrorInDiagonal(to.attacker));
        to.defender = static_cast<unsigned>(MirrorInDiagonal(to.defender));
        to.men = MirrorInDiagonal(to.men);
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
            squares |= BitOf(reduced.Man(side, run.first + i));
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
                const unsigned square = reduced.Man(side, run.first + i);
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
            const unsigned square = reduced.Man(scheme.group_side, run.first + i) ^ scheme.turn;
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
    if (defenders.empty()) return 0;
    std::uint64_t pawns = scheme.pawns ? SquaresOf(reduced, scheme.group_side, group, true) : 0;
    std::uint64_t pieces = SquaresOf(reduced, scheme.group_side, group, false) |
                           BitOf(reduced.attacker) | BitOf(reduced.defender);
    const std::uint64_t all_pawns =
        pawns | (scheme.pawns ? SquaresOf(reduced, side, defenders, true) : 0);
    pieces |= all_pawns;
    std::uint64_t number = 0;
    for (const Run& run : defenders) {
        const bool is_pawn = run.type == Pawn;
        const std::uint64_t placed = is_pawn ? pawns : pieces;
        const unsigned squares = is_pawn ? 48 : 64;
        const auto before = static_cast<unsigned>(std::popcount(placed));
        std::array<unsigned, kMostMen> places;
        for (unsigned i = 0; i < run.count; ++i) {
            const unsigned square = reduced.Man(side, run.first + i);
            places[i] = square - (is_pawn ? 8 : 0) - Below(placed, square);
            (is_pawn ? pawns : pieces) |= BitOf(square);
        }
        number =
            number * Choose(squares - before, run.count) + RankOfSet({places.data(), run.count});
    }
    return number;
}

bool HasTargetRank(const Scheme& scheme, unsigned target) {
    return Rank(target) == (scheme.attacker == 0 ? 5 : 2);
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
                const unsigned square = reduced.Man(side, run.first + i);
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

}  // namespace

ClassPosition SeenByClass(const std::array<SideMen, 2>& sides, int en_passant, bool exchanged) {
    const unsigned turn = exchanged ? 56 : 0;
    ClassPosition seen;
    for (std::size_t of = 0; of < 2; ++of) {
        const SideMen& men = sides[exchanged ? 1 - of : of];
        seen.king[of] = static_cast<std::uint8_t>(men.king ^ turn);
        std::size_t next = 0;
        for (unsigned type = Queen; type >= Pawn; --type) {
            for (std::uint8_t i = 0; i < men.count; ++i) {
                if (men.type[i] != type) continue;
                seen.men[of][next++] = static_cast<std::uint8_t>(men.square[i] ^ turn);
            }
        }
    }
    if (en_passant != kNoEnPassant) {
        seen.en_passant = static_cast<int>(static_cast<unsigned>(en_passant) ^ turn);
    }
    return seen;
}

void BuildIndexTables() { BuildTables(); }

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
    if (pair == kNoKingPair || !IsPlaced(scheme, reduced)) return std::nullopt;
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

}  // namespace torval

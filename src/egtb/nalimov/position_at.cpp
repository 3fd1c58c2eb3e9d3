// The way back from the number of an entry to its position.

#include <algorithm>

#include "egtb/nalimov/index.h"
#include "egtb/nalimov/numbering.h"

namespace torval {

using namespace numbering;

namespace {

void SetOfRank(std::uint32_t rank, std::span<unsigned> places) {
    for (auto m = static_cast<unsigned>(places.size()); m > 0; --m) {
        unsigned place = m - 1;
        while (Choose(place + 1, m) <= rank) ++place;
        places[m - 1] = place;
        rank -= Choose(place, m);
    }
}

/// The square with `number` squares below it that are not in the set.
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
    std::uint64_t squares = 0;
    for (const Run& run : scheme.group.All()) {
        if ((run.type == Pawn) != pawns) continue;
        for (unsigned i = 0; i < run.count; ++i) {
            squares |= BitOf(position.men[scheme.group_side][run.first + i]);
        }
    }
    return squares;
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

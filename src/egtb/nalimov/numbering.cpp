#include "egtb/nalimov/numbering.h"

#include <algorithm>
#include <mutex>
#include <vector>

namespace torval {

namespace numbering {

Tables& tables = *new Tables;

namespace {

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
        tables.king_pair[pawns] = NumberKingPairs(pawns);
        for (unsigned a = 0; a < 64; ++a) {
            for (unsigned d = 0; d < 64; ++d) {
                if (tables.king_pair[pawns][a][d] == kNoKingPair) continue;
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

}  // namespace

void BuildTables() {
    static std::mutex mutex;
    static bool built = false;
    const std::lock_guard lock(mutex);
    if (built) return;
    // An earlier try may have run out of memory halfway.
    for (auto& pairs : tables.pairs) pairs.clear();
    tables.offsets.clear();
    BuildKingPairs();
    BuildOrdinals();
    for (int id = 1; id < kClasses; ++id) {
        for (const unsigned side : {0U, 1U}) BuildScheme(id, side);
    }
    built = true;
}

}  // namespace numbering

}  // namespace torval

// The table that remembers positions met in the search.
//
// Shape    one directly indexed array of 10-byte entries, a power of two of them, one slot each.
// Owner    transposition.cpp. Allocated once at engine initialisation; emptied by a new game and
//          a set-up; survives from one computation to the next.
// Units    mate scores are stored as seen from the entry's position, all others as they are.
// Thread   the thread that searches; no locking.
#pragma once

#include <cstdint>

#include "board/generate.h"
#include "board/position.h"
#include "state/settings.h"

namespace torval {

/// A move in two bytes, origin in the low one, StoredDestination in the other. 0 is no move.
using TableMove = std::uint16_t;

constexpr TableMove PackMove(Move move) {
    return static_cast<TableMove>(StoredDestination(move) << 8 | move.from);
}

/// The move that a table move names; flags 0 where they are left open. `capture` is not set.
constexpr Move UnpackMove(TableMove packed) {
    const auto from = static_cast<Square>(packed & 0xFF);
    const int to = packed >> 8;
    if (!(to & 0x80)) return {from, static_cast<Square>(to), 0, 0};
    // Only a white pawn promotes from an upper rank.
    const int last_rank = (from & 0x60) ? 0x70 : 0x00;
    return {from,
            static_cast<Square>(last_rank + (to & 0x0F)),
            static_cast<std::uint8_t>((to & kPromotionBits) + Pawn),
            0};
}

enum : std::uint8_t { BoundLower = 0x80, BoundUpper = 0x40, kTableDepthMask = 0x1F };

#pragma pack(push, 2)
struct TTEntry {
    std::uint32_t lock;  ///< the whole primary key
    TableMove move;
    std::uint8_t age;  ///< low byte of GamePly when stored; 0 is an empty entry
    std::uint8_t depth_and_bound;
    std::int16_t score;
};
#pragma pack(pop)
static_assert(sizeof(TTEntry) == 10);

inline constexpr std::uint32_t kMaxTableEntries = 1U << 24;

struct TranspositionTable {
    TTEntry* entries = nullptr;
    std::uint32_t mask = 0;  ///< entries - 1, the number of entries being a power of two
};

extern TranspositionTable transposition_table;

/// Scores of this size and beyond are mates.
inline constexpr int kMateThreshold = kMateUnits - kMateDepthUnits;

/// Allocates what fits into settings_block.TranspKB and rounds that to the size taken; where there
/// is nothing to allocate or no memory, clears TranspInUse. Frees an earlier table.
void AllocateTranspositionTable();

/// Empties the table.
void ClearTT();

inline bool TableInUse() {
    return (ReadSetting(settings_block.TranspFlags) & TranspInUse) != 0 &&
           transposition_table.entries != nullptr;
}

inline TTEntry& TableEntry(HashKey key) {
    const std::uint32_t index = (PrimaryKey(key) & 0xFFFF8000) | SecondaryKey(key);
    return transposition_table.entries[index & transposition_table.mask];
}

inline void PrefetchTT() {
    if (transposition_table.entries) __builtin_prefetch(&TableEntry(position.key));
}

/// What a probe learned, and what the node's own result is to be stored with.
struct TableProbe {
    bool answered = false;   ///< `score` is the node's value
    bool may_store = false;  ///< the node's result may replace the entry
    std::int16_t score = 0;
    TableMove hash_move = 0;
    int depth = 0;  ///< to store
    int alpha = 0;  ///< to store against: at or below it the score is an upper bound
};

/// Looks the working position up for a node of this depth (>= 0). May raise *alpha or lower *beta.
inline TableProbe ProbeTT(int depth, int* alpha, int* beta, int ply) {
    TableProbe probe;
    const TTEntry& entry = TableEntry(position.key);
    const int entry_depth = entry.depth_and_bound & kTableDepthMask;
    probe.depth = depth;
    if (entry.lock != PrimaryKey(position.key) || entry.age == 0) {
        const auto age = static_cast<std::uint8_t>(GamePly.load(std::memory_order_relaxed));
        probe.may_store = entry.age != age || depth >= entry_depth;
        probe.alpha = *alpha;
        return probe;
    }
    probe.hash_move = entry.move;
    if (entry_depth >= depth) {
        int score = entry.score;
        if (score >= kMateThreshold) {
            score -= ply;
        } else if (score <= -kMateThreshold) {
            score += ply;
        }
        probe.score = static_cast<std::int16_t>(score);
        if (entry.depth_and_bound & BoundLower) {
            if (score >= *beta) {
                probe.answered = true;
            } else if (score > *alpha) {
                *alpha = score;
            }
        } else if (entry.depth_and_bound & BoundUpper) {
            if (score <= *alpha) {
                probe.answered = true;
            } else if (score < *beta) {
                *beta = score;
            }
        } else {
            probe.answered = true;
        }
        if (probe.answered) return probe;
    }
    probe.may_store = true;
    probe.alpha = *alpha;
    return probe;
}

/// Stores a node's result; only where the probe permitted it.
inline void StoreTT(int score, TableMove move, int beta, int ply, const TableProbe& probe) {
    unsigned bound = 0;
    if (score >= beta) {
        bound = BoundLower;
    } else if (score <= probe.alpha) {
        bound = BoundUpper;
    }
    if (score >= kMateThreshold) {
        score += ply;
    } else if (score <= -kMateThreshold) {
        score -= ply;
    }
    const auto depth = static_cast<unsigned>(probe.depth) & kTableDepthMask;
    TableEntry(position.key) = {
        .lock = PrimaryKey(position.key),
        .move = move,
        .age = static_cast<std::uint8_t>(GamePly.load(std::memory_order_relaxed)),
        .depth_and_bound = static_cast<std::uint8_t>(depth | bound),
        .score = static_cast<std::int16_t>(score),
    };
}

/// The move stored for the working position, 0 when none is.
inline TableMove LookupTTMove() {
    const TTEntry& entry = TableEntry(position.key);
    const bool hit = entry.lock == PrimaryKey(position.key) && entry.age != 0;
    return hit ? entry.move : TableMove{0};
}

}  // namespace torval

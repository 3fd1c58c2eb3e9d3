// The moves of one search node, kept so that most of them are never written down.
//
// A node first collects its captures and promotions; quiet moves are laid down only when a stage
// asks for them, from the own men as they stood in the piece list when the node was entered (the
// list's order changes while the node's moves are searched).
//
// Order    moves are collected in any order. Each carries its place in the order of GenerateMoves,
//          and where moves are equal the later place goes first, as a chain of GenerateMoves would
//          be read. The place is (1 + list place of the man) * 64 + direction * 8 + distance - 1;
//          castling and en passant, which are generated first, have the places below 64.
// Shape    one NodeMoves per ply, 18 KB of which a node touches a few hundred bytes. `total` counts
//          all pseudo-legal moves: what the node's list costs of the arena's budget.
// Owner    node_moves.cpp; a node writes the entry of its own ply only.
// Thread   the thread that searches.
#pragma once

#include <array>
#include <cstdint>

#include "board/generate.h"
#include "search/heuristics.h"

namespace torval {

struct RankedMove {
    Move move;  ///< flags 0: handed out already
    std::uint16_t place;
    std::int16_t value;  ///< of a capture, by MvvLvaTable
};

inline constexpr int kMaxCaptures = 31 * 8 + 12;
inline constexpr int kMaxQuietPromotions = 32;
inline constexpr int kMaxRest = kMaxCaptures + 31 * 27 + 10;

struct NodeMoves {
    int capture_count;
    int promotion_count;
    int rest_count;
    int total;
    bool has_promotion;
    bool castle_short;
    bool castle_long;
    int men_count;
    std::array<Square, kListCapacity> men;        ///< own piece list on entry
    std::array<Bitboard, kListCapacity> attacks;  ///< of these men; pawns have none here
    std::array<RankedMove, kMaxCaptures> captures;
    std::array<RankedMove, kMaxQuietPromotions> promotions;  ///< quiet ones
    std::array<Move, kMaxRest> rest;                         ///< what a sorting stage hands out
    std::array<std::uint64_t, kMaxRest> keys;                ///< their SortKeys; 0: handed out
};

extern std::array<NodeMoves, kMaxSearchPly + 1> node_moves;

/// What the moves of a node can do to both kings.
struct KingView {
    Bitboard pinned;                 ///< own men that shield the own king
    Bitboard discoverers;            ///< own men that shield the enemy king from an own slider
    std::array<Bitboard, 8> checks;  ///< by type: squares that check the enemy king
    Bitboard evasions;  ///< in check: where a man other than the king must go; else all squares
};

/// The key that remaining moves are sorted by: the value of a capture first, then the history
/// counter, as signed 32 bits; the counter wraps.
inline std::int32_t OrderKey(std::int32_t capture_value, std::uint32_t history) {
    constexpr std::uint32_t kCaptureUnit = 2048;
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(capture_value) * kCaptureUnit +
                                     history);
}

/// Captures stand before quiet moves of the same key.
inline constexpr unsigned kCapturePlace = 0x8000;

/// Key, place and index into NodeMoves::rest in one word: the largest word is the next move.
/// Never 0 for a move, since every move has a place or an index other than 0: see kFirstPlace.
inline constexpr unsigned kFirstPlace = 1;
inline std::uint64_t SortKey(std::int32_t key, unsigned place, unsigned index) {
    const std::uint32_t unsigned_key = static_cast<std::uint32_t>(key) ^ 0x80000000U;
    return std::uint64_t{unsigned_key} << 32 | (place << 16 | index);
}

template <Side Us>
KingView ViewKings(bool in_check);

/// Fills captures, promotions, men, attacks and the counts.
template <Side Us>
void CollectCaptures(NodeMoves* moves);

/// Adds the quiet moves that are no promotions to `rest`, keyed by history. In check only those
/// that the king makes or that end on `evasions`: the others can only be illegal.
template <Side Us>
void CollectQuiets(NodeMoves* moves, Bitboard evasions);

/// How moves added to `rest` are keyed.
enum class KeyBy { History, Place };

/// Adds the quiet moves, promotions left out, that give check to `rest`.
template <Side Us, KeyBy By>
void CollectQuietChecks(NodeMoves* moves, const KingView& view);

/// How many quiet moves, promotions left out, are legal and give no check.
template <Side Us>
int CountOtherQuiets(const NodeMoves& moves, const KingView& view);

/// Whether a quiet move that is no promotion is pseudo-legal now; gives its flags.
template <Side Us>
bool IsQuietMove(const NodeMoves& moves, Square from, Square to, std::uint8_t* flags);

/// Whether a pseudo-legal move leaves the own king safe.
template <Side Us>
bool IsLegal(Move move, const KingView& view, bool in_check);

/// Whether a plain pseudo-legal move (no promotion, castling, en passant) gives check.
template <Side Us>
inline bool PlainMoveChecks(Move move, const KingView& view) {
    if (view.checks[move.flags] & Bit(move.to)) return true;
    return (view.discoverers & Bit(move.from)) != 0 &&
           !OnOneLine(position.KingSquare(!Us), move.from, move.to);
}

/// Whether a quiet move that is no promotion, castling included, gives check.
template <Side Us>
bool QuietMoveChecks(Move move, const KingView& view);

}  // namespace torval

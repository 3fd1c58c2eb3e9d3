// The moves of one search node, kept so that most of them are never written down.
//
// A node first collects its captures and promotions; quiet moves are laid down only when a stage
// asks for them, from the own men as they stood in the piece list when the node was entered (the
// list's order changes while the node's moves are searched). The moves come in the order of
// GenerateMoves: an array is filled in generation order and read from its end.
//
// Shape    one NodeMoves per ply, 9 KB of which a node touches a few hundred bytes. `total` counts
//          all pseudo-legal moves: what the node's list costs of the arena's budget.
// Owner    node_moves.cpp; a node writes the entry of its own ply only.
// Thread   the thread that searches.
#pragma once

#include <array>
#include <cstdint>

#include "board/generate.h"
#include "search/heuristics.h"

namespace torval {

struct CaptureMove {
    Move move;  ///< flags 0: handed out already
    std::int32_t value;
};

inline constexpr int kMaxCaptures = 31 * 8 + 12;
inline constexpr int kMaxQuietPromotions = 32;
inline constexpr int kMaxRest = 31 * 27 + 10;

struct NodeMoves {
    int capture_count;
    int promotion_count;
    int rest_count;
    int total;
    bool has_promotion;
    bool castle_short;
    bool castle_long;
    int men_count;
    std::array<Square, kListCapacity> men;  ///< own piece list on entry
    std::array<CaptureMove, kMaxCaptures> captures;
    std::array<Move, kMaxQuietPromotions> promotions;  ///< quiet ones; flags 0: handed out
    std::array<Move, kMaxRest> rest;                   ///< quiet moves, or quiet checks
    std::array<std::uint64_t, kMaxRest> keys;          ///< sort keys, see SortKey; 0: handed out
};

extern std::array<NodeMoves, kMaxSearchPly + 1> node_moves;

/// What the moves of a node can do to both kings.
struct KingView {
    Bitboard pinned;                 ///< own men that shield the own king
    Bitboard discoverers;            ///< own men that shield the enemy king from an own slider
    std::array<Bitboard, 8> checks;  ///< by type: squares that check the enemy king
    Bitboard evasions;  ///< in check: where a man other than the king must go; else all squares
};

template <Side Us>
KingView ViewKings(bool in_check);

/// Fills captures, promotions and the counts.
template <Side Us>
void CollectCaptures(NodeMoves* moves);

/// Fills `rest` with the quiet moves that are no promotions. In check only those that the king
/// makes or that end on `evasions`: the others can only be illegal.
template <Side Us>
void CollectQuiets(NodeMoves* moves, Bitboard evasions);

/// Fills `rest` with the quiet moves, promotions left out, that give check.
template <Side Us>
void CollectQuietChecks(NodeMoves* moves, const KingView& view);

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

}  // namespace torval

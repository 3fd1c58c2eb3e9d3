// The static score of the working position.
//
// Units    1/128 pawn, from the point of view of the side to move; at most kScoreLimit in size.
// Owner    evaluate.cpp. LastPositionalScore is the only state that outlives a call.
// Thread   the thread that searches. Not re-entrant.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "board/position.h"
#include "state/eval_result.h"

namespace torval {

/// No accepted position of up to 16 men a side comes near it, and it lies inside the full window.
inline constexpr int kScoreLimit = 19500;

/// The positional part of the last full evaluation, from White's point of view. A lazy score uses
/// it whatever position it came from.
extern std::int32_t LastPositionalScore;

/// White's material less Black's, with a lone minor piece against pawns marked down.
inline int MaterialBalance(std::uint32_t white, std::uint32_t black) {
    constexpr int kLoneMinor = 250;
    const int balance = ValueOf(white) - ValueOf(black);
    const bool white_pawns = (white & kPawnField) != 0;
    const bool black_pawns = (black & kPawnField) != 0;
    if (white_pawns == black_pawns) return balance;
    if (black_pawns) {
        return (white & 0xFFFF) <= kMinorValue ? balance - kLoneMinor : balance;
    }
    return (black & 0xFFFF) <= kMinorValue ? balance + kLoneMinor : balance;
}

inline int LimitScore(int score) { return std::clamp(score, -kScoreLimit, kScoreLimit); }

/// The lazy score for the side to move from a material balance.
template <Side Us>
inline int LazyScore(int balance) {
    const int score = LimitScore(balance + LastPositionalScore);
    return Us == White ? score : -score;
}

/// Scores the position for the side to move. depth is the node's remaining depth, alpha and beta
/// its window, search_ply its parent's distance from the root. Below depth 0, and where material
/// alone lies outside the window by more than the margin, the answer is lazy; never at ply 0.
template <Side Us>
EvalResult Evaluate(int depth, int alpha, int beta, int search_ply);

/// The same for whichever side is to move.
EvalResult Evaluate(int depth, int alpha, int beta, int search_ply);

/// What a full evaluation found, term by term and side by side.
struct EvalTerms {
    struct PerSide {
        int material, pawns, knights, bishops, rooks, queens, bishop_pair, king_safety,
            piece_squares;
    };
    std::array<PerSide, 2> side;
    int lone_minor;   ///< White's view
    int unstoppable;  ///< White's view
    int positional;   ///< White's view, before the margin limits it
};

/// Evaluates fully and reports the terms; LastPositionalScore is left as by Evaluate.
EvalTerms ExplainEvaluation();

}  // namespace torval

// Hands out the moves of a node one at a time, in the order of a stage list.
//
// Order    full width: root line move, hash move, older and newest killer, recapture, promotions,
//          then all others by captured and moving type and by history. Capture search: root line
//          move, recapture and killers where they capture, promotions, captures by most valuable
//          victim and least valuable attacker, then (in check) all others, or the quiet checks.
//          Of equal moves the one that generation laid down last comes first; captures before
//          quiet moves.
// Thread   the thread that searches.
#pragma once

#include "search/lines.h"
#include "search/node_moves.h"

namespace torval {

enum Stage : std::uint8_t {
    StageEnd = 0,
    StageRootLine = 1,
    StageRecapture = 2,
    StageHashMove = 3,
    StageNewestKiller = 4,
    StageOlderKiller = 5,
    StageCaptures = 6,
    StageRemaining = 7,
    StageRootLineCapture = 8,
    StageNewestKillerCapture = 9,
    StageOlderKillerCapture = 10,
    StagePromotions = 11,
    StageSort = 12,
    StageChecks = 14,
};

inline constexpr Stage kFullWidthStages[] = {StageRootLine,
                                             StageHashMove,
                                             StageOlderKiller,
                                             StageNewestKiller,
                                             StageRecapture,
                                             StagePromotions,
                                             StageSort,
                                             StageRemaining,
                                             StageEnd};
inline constexpr Stage kEvasionStages[] = {StageRootLineCapture,
                                           StageRecapture,
                                           StageOlderKillerCapture,
                                           StageNewestKillerCapture,
                                           StagePromotions,
                                           StageCaptures,
                                           StageSort,
                                           StageRemaining,
                                           StageEnd};
inline constexpr Stage kCheckingStages[] = {StageRootLineCapture,
                                            StageRecapture,
                                            StageOlderKillerCapture,
                                            StageNewestKillerCapture,
                                            StagePromotions,
                                            StageCaptures,
                                            StageChecks,
                                            StageEnd};
inline constexpr Stage kCaptureStages[] = {StageRootLineCapture,
                                           StageRecapture,
                                           StageOlderKillerCapture,
                                           StageNewestKillerCapture,
                                           StagePromotions,
                                           StageCaptures,
                                           StageEnd};

/// The key that stage 12 sorts by: the value of a capture first, then the history counter, as
/// signed 32 bits; the counter wraps.
inline std::int32_t OrderKey(std::int32_t capture_value, std::uint32_t history) {
    constexpr std::uint32_t kCaptureUnit = 2048;
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(capture_value) * kCaptureUnit +
                                     history);
}

/// A key and its move's place in one word, ordered as the sort needs it: larger first, the later
/// place first among equal keys. Never 0, which stands for a move handed out.
inline std::uint64_t SortKey(std::int32_t key, unsigned place) {
    const std::uint32_t unsigned_key = static_cast<std::uint32_t>(key) ^ 0x80000000U;
    return std::uint64_t{unsigned_key} << 32 | (place + 1);
}

template <Side Us>
class MovePicker {
public:
    /// `stages` is one of the lists above; `evasions` and the checks come from `view`.
    MovePicker(
        NodeMoves* moves, const KingView& view, const Stage* stages, TableMove hash_move, int ply)
        : moves_(moves), view_(view), stage_(stages), hash_move_(hash_move), ply_(ply) {}

    /// The next move; false when there is none left.
    bool NextMove(Move* move);

    /// Every move from now on is one of the sorted remainder.
    bool AtRemaining() const { return *stage_ == StageRemaining; }

private:
    bool TakeCapture(Move wanted, Move* move);
    bool TakeQuiet(Move wanted, Move* move);
    bool Take(Move wanted, Move* move) {
        return wanted.capture ? TakeCapture(wanted, move) : TakeQuiet(wanted, move);
    }
    bool TakeRootLine(bool captures_only, Move* move);
    bool TakeRecapture(Move* move);
    bool TakePacked(TableMove packed, bool captures_only, Move* move);
    bool TakePromotion(Move* move);
    bool TakeBestCapture(Move* move);
    bool TakeBestRemaining(Move* move);
    bool TakeCheck(Move* move);
    void SortRemaining();

    /// Captures sort in front of quiet moves of the same key.
    static constexpr unsigned kCapturePlace = 1U << 16;
    static constexpr unsigned kMostQuietsTaken = 4;

    NodeMoves* moves_;
    const KingView& view_;
    const Stage* stage_;
    TableMove hash_move_;
    int ply_;
    unsigned quiets_taken_ = 0;
    std::array<Move, kMostQuietsTaken> taken_;  ///< quiet moves handed out before the sort
    int keys_ = 0;                              ///< sorted moves not yet handed out
};

}  // namespace torval

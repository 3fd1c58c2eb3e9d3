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

template <Side Us>
class MovePicker {
public:
    /// `stages` is one of the lists above; evasions and checks come from `view`.
    MovePicker(
        NodeMoves* moves, const KingView& view, const Stage* stages, TableMove hash_move, int ply)
        : moves_(moves), view_(view), stage_(stages), hash_move_(hash_move), ply_(ply) {}

    /// Lets the sort pass over quiet moves that give no check once the node's alpha reaches `level`:
    /// they would all be pruned. Not for nodes in check.
    void PassOverQuiets(const int* alpha, int level) {
        alpha_ = alpha;
        pass_level_ = level;
    }

    /// Legal moves passed over so far: all before the move last handed out, or all there are.
    int PassedOver(bool ended_early) const;

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
    void SortRemaining();
    void ForgetTaken();
    void SeparatePassedOver();

    static constexpr unsigned kMostQuietsTaken = 4;

    NodeMoves* moves_;
    const KingView& view_;
    const Stage* stage_;
    TableMove hash_move_;
    int ply_;
    const int* alpha_ = nullptr;
    int pass_level_ = 0;
    int passed_over_ = 0;         ///< legal moves passed over, as far as they are not in keys
    int active_ = 0;              ///< keys that are handed out; those passed over stand behind
    std::uint64_t last_key_ = 0;  ///< of the move last handed out by the sort
    unsigned quiets_taken_ = 0;
    std::array<Move, kMostQuietsTaken> taken_;  ///< quiet moves handed out before the sort
};

}  // namespace torval

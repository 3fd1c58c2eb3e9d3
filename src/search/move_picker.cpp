#include "search/move_picker.h"

#include <algorithm>

#include "state/controller.h"

namespace torval {

namespace {

void HandOut(RankedMove* entry, Move* move) {
    *move = entry->move;
    entry->move.flags = 0;
}

/// The entry with the latest place among those not handed out that fit, null when none does.
template <std::size_t N, typename Fits>
RankedMove* LatestOf(std::array<RankedMove, N>& entries, int count, Fits fits) {
    RankedMove* latest = nullptr;
    for (unsigned i = 0; i < static_cast<unsigned>(count); ++i) {
        RankedMove& entry = entries[i];
        if (entry.move.flags == 0 || !fits(entry.move)) continue;
        if (!latest || entry.place > latest->place) latest = &entry;
    }
    return latest;
}

bool SameSquares(Move a, Move b) { return a.from == b.from && a.to == b.to; }

/// Whether an entry is the move a candidate names; a candidate's flags of 0 leave them open.
bool Matches(Move entry, Move wanted) {
    return SameSquares(entry, wanted) && (wanted.flags == 0 || entry.flags == wanted.flags);
}

}  // namespace

template <Side Us>
bool MovePicker<Us>::TakeCapture(Move wanted, Move* move) {
    RankedMove* const entry =
        LatestOf(moves_->captures, moves_->capture_count, [wanted](Move candidate) {
            return Matches(candidate, wanted);
        });
    if (entry) HandOut(entry, move);
    return entry != nullptr;
}

template <Side Us>
bool MovePicker<Us>::TakeQuiet(Move wanted, Move* move) {
    RankedMove* const promotion =
        LatestOf(moves_->promotions, moves_->promotion_count, [wanted](Move candidate) {
            return Matches(candidate, wanted);
        });
    if (promotion) {
        HandOut(promotion, move);
        return true;
    }
    std::uint8_t flags = 0;
    if (!IsQuietMove<Us>(*moves_, wanted.from, wanted.to, &flags)) return false;
    if (wanted.flags != 0 && wanted.flags != flags) return false;
    for (unsigned i = 0; i < quiets_taken_; ++i) {
        if (SameSquares(taken_[i], wanted)) return false;
    }
    *move = {wanted.from, wanted.to, flags, 0};
    taken_[quiets_taken_++] = *move;
    return true;
}

template <Side Us>
bool MovePicker<Us>::TakeRootLine(bool captures_only, Move* move) {
    bool& follow = think_controller.FollowLineFlag;
    if (!follow) return false;
    if (ply_ >= kUsedLineMoves || IsEmpty(LineTable[0][static_cast<unsigned>(ply_)])) {
        follow = false;
        return false;
    }
    const Move wanted = LineTable[0][static_cast<unsigned>(ply_)];
    if (captures_only && wanted.capture == 0) return false;
    return Take(wanted, move);
}

template <Side Us>
bool MovePicker<Us>::TakeRecapture(Move* move) {
    const Square target = game_record.top->move.to & kSquareBits;
    RankedMove* const entry = LatestOf(moves_->captures,
                                       moves_->capture_count,
                                       [target](Move candidate) { return candidate.to == target; });
    if (entry) HandOut(entry, move);
    return entry != nullptr;
}

template <Side Us>
bool MovePicker<Us>::TakePacked(TableMove packed, bool captures_only, Move* move) {
    if (packed == 0) return false;
    Move wanted = UnpackMove(packed);
    if (position.Board[wanted.from] == 0) return false;
    wanted.capture = position.Board[wanted.to];
    if (captures_only && wanted.capture == 0) return false;
    return Take(wanted, move);
}

template <Side Us>
bool MovePicker<Us>::TakePromotion(Move* move) {
    if (!moves_->has_promotion) return false;
    RankedMove* entry = LatestOf(moves_->captures, moves_->capture_count, [](Move candidate) {
        return (candidate.flags & kPromotionBits) != 0;
    });
    if (!entry) {
        entry = LatestOf(moves_->promotions, moves_->promotion_count, [](Move) { return true; });
    }
    if (entry) HandOut(entry, move);
    return entry != nullptr;
}

template <Side Us>
bool MovePicker<Us>::TakeBestCapture(Move* move) {
    RankedMove* best = nullptr;
    int best_rank = 0;
    for (unsigned i = 0; i < static_cast<unsigned>(moves_->capture_count); ++i) {
        RankedMove& entry = moves_->captures[i];
        if (entry.move.flags == 0) continue;
        const int rank = entry.value * 0x10000 + entry.place;
        if (!best || rank > best_rank) {
            best = &entry;
            best_rank = rank;
        }
    }
    if (best) HandOut(best, move);
    return best != nullptr;
}

/// Takes the quiet moves that earlier stages handed out off the sort.
template <Side Us>
void MovePicker<Us>::ForgetTaken() {
    for (unsigned k = 0; k < quiets_taken_; ++k) {
        for (unsigned i = 0; i < static_cast<unsigned>(moves_->rest_count); ++i) {
            if (moves_->rest[i] == taken_[k]) moves_->keys[i] = 0;
        }
    }
}

/// Leaves only quiet checks among the keys to hand out. The others are counted; where a move to
/// hand out may end the node before them, they are kept behind with their keys.
template <Side Us>
void MovePicker<Us>::SeparatePassedOver() {
    const auto captures = static_cast<unsigned>(moves_->rest_count);
    CollectQuietChecks<Us, KeyBy::History>(moves_, view_);
    ForgetTaken();
    active_ = moves_->rest_count;
    bool any_active = captures != 0;
    for (unsigned i = captures; i < static_cast<unsigned>(active_); ++i) {
        any_active |= moves_->keys[i] != 0;
    }
    if (!any_active) {
        passed_over_ = CountOtherQuiets<Us>(*moves_, view_);
        for (unsigned k = 0; k < quiets_taken_; ++k) {
            const Move taken = taken_[k];
            const bool counted =
                IsLegal<Us>(taken, view_, false) && !QuietMoveChecks<Us>(taken, view_);
            if (counted) --passed_over_;
        }
        return;
    }
    const auto first = static_cast<unsigned>(active_);
    CollectQuiets<Us>(moves_, view_.evasions);
    ForgetTaken();
    for (unsigned i = first; i < static_cast<unsigned>(moves_->rest_count); ++i) {
        const Move move = moves_->rest[i];
        if (QuietMoveChecks<Us>(move, view_) || !IsLegal<Us>(move, view_, false)) {
            moves_->keys[i] = 0;
        }
    }
}

template <Side Us>
void MovePicker<Us>::SortRemaining() {
    unsigned count = 0;
    for (unsigned i = 0; i < static_cast<unsigned>(moves_->capture_count); ++i) {
        const RankedMove& entry = moves_->captures[i];
        if (entry.move.flags == 0) continue;
        const std::int32_t key = OrderKey(entry.value, HistoryOf<Us>(entry.move));
        moves_->rest[count] = entry.move;
        moves_->keys[count] = SortKey(key, kCapturePlace + entry.place, count);
        ++count;
    }
    moves_->rest_count = static_cast<int>(count);
    if (alpha_ && *alpha_ >= pass_level_) {
        SeparatePassedOver();
        return;
    }
    CollectQuiets<Us>(moves_, view_.evasions);
    ForgetTaken();
    active_ = moves_->rest_count;
}

template <Side Us>
int MovePicker<Us>::PassedOver(bool ended_early) const {
    int count = passed_over_;
    if (active_ == moves_->rest_count) return count;
    for (unsigned i = static_cast<unsigned>(active_); i < static_cast<unsigned>(moves_->rest_count);
         ++i) {
        const std::uint64_t key = moves_->keys[i];
        count += key != 0 && (!ended_early || key > last_key_) ? 1 : 0;
    }
    return count;
}

template <Side Us>
bool MovePicker<Us>::TakeBestRemaining(Move* move) {
    std::uint64_t best = 0;
    for (unsigned i = 0; i < static_cast<unsigned>(active_); ++i) {
        best = std::max(best, moves_->keys[i]);
    }
    if (best == 0) return false;
    const auto index = static_cast<std::uint16_t>(best);
    moves_->keys[index] = 0;
    last_key_ = best;
    *move = moves_->rest[index];
    return true;
}

template <Side Us>
bool MovePicker<Us>::NextMove(Move* move) {
    for (;;) {
        const Stage stage = *stage_;
        switch (stage) {
            case StageEnd: return false;
            case StageRootLine:
            case StageRootLineCapture:
                ++stage_;
                if (TakeRootLine(stage == StageRootLineCapture, move)) return true;
                break;
            case StageRecapture:
                ++stage_;
                if (TakeRecapture(move)) return true;
                break;
            case StageHashMove:
                ++stage_;
                if (TakePacked(hash_move_, false, move)) return true;
                break;
            case StageNewestKiller:
            case StageNewestKillerCapture: {
                ++stage_;
                const TableMove killer = KillerTable[static_cast<unsigned>(ply_)].newest;
                if (TakePacked(killer, stage == StageNewestKillerCapture, move)) return true;
                break;
            }
            case StageOlderKiller:
            case StageOlderKillerCapture: {
                ++stage_;
                const TableMove killer = KillerTable[static_cast<unsigned>(ply_)].older;
                if (TakePacked(killer, stage == StageOlderKillerCapture, move)) return true;
                break;
            }
            case StagePromotions:
                if (TakePromotion(move)) return true;
                ++stage_;
                break;
            case StageCaptures:
                if (TakeBestCapture(move)) return true;
                ++stage_;
                if (*stage_ == StageChecks) {
                    CollectQuietChecks<Us, KeyBy::Place>(moves_, view_);
                    active_ = moves_->rest_count;
                }
                break;
            case StageSort:
                ++stage_;
                SortRemaining();
                break;
            case StageRemaining: return TakeBestRemaining(move);
            case StageChecks:
                if (TakeBestRemaining(move)) return true;
                ++stage_;
                break;
        }
    }
}

template class MovePicker<White>;
template class MovePicker<Black>;

}  // namespace torval

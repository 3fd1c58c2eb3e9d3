#include "search/move_picker.h"

#include <algorithm>

#include "platform/controller.h"

namespace torval {

namespace {

/// Gives a capture out of the node's array.
void HandOut(CaptureMove* entry, Move* move) {
    *move = entry->move;
    entry->move.flags = 0;
}

bool SameSquares(Move a, Move b) { return a.from == b.from && a.to == b.to; }

/// Whether an entry is the move a candidate names; a candidate's flags of 0 leave them open.
bool Matches(Move entry, Move wanted) {
    return SameSquares(entry, wanted) && (wanted.flags == 0 || entry.flags == wanted.flags);
}

}  // namespace

template <Side Us>
bool MovePicker<Us>::TakeCapture(Move wanted, Move* move) {
    for (int i = moves_->capture_count - 1; i >= 0; --i) {
        CaptureMove& entry = moves_->captures[static_cast<unsigned>(i)];
        if (entry.move.flags == 0 || !Matches(entry.move, wanted)) continue;
        HandOut(&entry, move);
        return true;
    }
    return false;
}

template <Side Us>
bool MovePicker<Us>::TakeQuiet(Move wanted, Move* move) {
    for (int i = moves_->promotion_count - 1; i >= 0; --i) {
        Move& entry = moves_->promotions[static_cast<unsigned>(i)];
        if (entry.flags == 0 || !Matches(entry, wanted)) continue;
        *move = entry;
        entry.flags = 0;
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
    for (int i = moves_->capture_count - 1; i >= 0; --i) {
        CaptureMove& entry = moves_->captures[static_cast<unsigned>(i)];
        if (entry.move.flags == 0 || entry.move.to != target) continue;
        HandOut(&entry, move);
        return true;
    }
    return false;
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
    for (int i = moves_->capture_count - 1; i >= 0; --i) {
        CaptureMove& entry = moves_->captures[static_cast<unsigned>(i)];
        if (!(entry.move.flags & kPromotionBits)) continue;
        HandOut(&entry, move);
        return true;
    }
    for (int i = moves_->promotion_count - 1; i >= 0; --i) {
        Move& entry = moves_->promotions[static_cast<unsigned>(i)];
        if (entry.flags == 0) continue;
        *move = entry;
        entry.flags = 0;
        return true;
    }
    return false;
}

template <Side Us>
bool MovePicker<Us>::TakeBestCapture(Move* move) {
    CaptureMove* best = nullptr;
    for (int i = moves_->capture_count - 1; i >= 0; --i) {
        CaptureMove& entry = moves_->captures[static_cast<unsigned>(i)];
        if (entry.move.flags != 0 && (!best || entry.value > best->value)) best = &entry;
    }
    if (!best) return false;
    HandOut(best, move);
    return true;
}

template <Side Us>
void MovePicker<Us>::SortRemaining() {
    CollectQuiets<Us>(moves_, view_.evasions);
    int count = 0;
    for (int i = 0; i < moves_->capture_count; ++i) {
        const CaptureMove& entry = moves_->captures[static_cast<unsigned>(i)];
        if (entry.move.flags == 0) continue;
        const std::int32_t key = OrderKey(entry.value, HistoryOf<Us>(entry.move));
        moves_->keys[static_cast<unsigned>(count++)] =
            SortKey(key, kCapturePlace + static_cast<unsigned>(i));
    }
    for (unsigned i = 0; i < static_cast<unsigned>(moves_->rest_count); ++i) {
        const Move move = moves_->rest[i];
        bool taken = false;
        for (unsigned k = 0; k < quiets_taken_; ++k) taken |= SameSquares(taken_[k], move);
        if (taken) continue;
        moves_->keys[static_cast<unsigned>(count++)] = SortKey(OrderKey(0, HistoryOf<Us>(move)), i);
    }
    keys_ = count;
}

template <Side Us>
bool MovePicker<Us>::TakeBestRemaining(Move* move) {
    std::uint64_t best = 0;
    int at = 0;
    for (int i = 0; i < keys_; ++i) {
        const std::uint64_t key = moves_->keys[static_cast<unsigned>(i)];
        if (key > best) {
            best = key;
            at = i;
        }
    }
    if (best == 0) return false;
    moves_->keys[static_cast<unsigned>(at)] = moves_->keys[static_cast<unsigned>(--keys_)];
    const unsigned place = static_cast<std::uint32_t>(best) - 1;
    *move =
        place >= kCapturePlace ? moves_->captures[place - kCapturePlace].move : moves_->rest[place];
    return true;
}

template <Side Us>
bool MovePicker<Us>::TakeCheck(Move* move) {
    if (moves_->rest_count == 0) return false;
    *move = moves_->rest[static_cast<unsigned>(--moves_->rest_count)];
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
                if (*stage_ == StageChecks) CollectQuietChecks<Us>(moves_, view_);
                break;
            case StageSort:
                ++stage_;
                SortRemaining();
                break;
            case StageRemaining: return TakeBestRemaining(move);
            case StageChecks:
                if (TakeCheck(move)) return true;
                ++stage_;
                break;
        }
    }
}

template class MovePicker<White>;
template class MovePicker<Black>;

}  // namespace torval

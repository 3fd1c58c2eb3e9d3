#include "apps/uci/uci_game.h"

#include <algorithm>
#include <cstdint>

#include "apps/text/fen.h"
#include "apps/text/moves.h"
#include "apps/text/text.h"

namespace torval {

namespace {

/// The record holds 400 plies and no computation fits after the last; a few are kept free.
constexpr int kLastPly = 392;

/// What stays in the record when no move of it was irreversible: draws are found in these.
constexpr std::size_t kKeptPlies = 150;

bool IsDoubleStep(const EVAR& move) {
    constexpr int kTwoRanks = 32;
    const int step = (move.to & kSquareBits) - (move.from & kSquareBits);
    return (move.flags & kTypeBits) == Pawn && (step == kTwoRanks || step == -kTwoRanks);
}

bool IsIrreversible(const EVAR& move) {
    return move.capture != 0 || (move.flags & kTypeBits) == Pawn;
}

}  // namespace

CHSBRD ProtocolGame::Board() const {
    CHSBRD board{};
    engine_->get_Position(&board);
    return board;
}

const EVAR* ProtocolGame::LastMove() const {
    if (!played_.empty()) return &played_.back().move;
    return set_up_step_ ? &*set_up_step_ : nullptr;
}

void ProtocolGame::Renew() {
    engine_->NewGame();
    fen_ = kStartFen;
    set_up_step_.reset();
    played_.clear();
    base_ = 0;
}

std::string ProtocolGame::SetUp(const std::string& fen) {
    if (fen == kStartFen) {
        Renew();
        return {};
    }
    std::string problem;
    const std::optional<FenPosition> position = ParseFen(fen, &problem);
    if (!position) return "position refused: " + problem;
    if (engine_->put_Position(&position->board) != S_OK) return "position refused by the engine";
    fen_ = fen;
    set_up_step_.reset();
    played_.clear();
    base_ = 0;
    MOVES made;
    if (position->double_step.empty()) return {};
    if (engine_->DoMove(position->double_step.c_str(), &made) != S_OK) {
        fen_.reset();
        return "position refused: en passant square";
    }
    set_up_step_ = made.MOVES[0];
    return {};
}

bool ProtocolGame::TakeBack(std::size_t count) {
    if (count == 0) return true;
    if (engine_->MoveBack(static_cast<std::int32_t>(count)) != S_OK) return false;
    played_.resize(played_.size() - count);
    return true;
}

std::string ProtocolGame::Play(const std::string& text) {
    MOVES made;
    if (!IsCoordinateText(text) || engine_->DoMove(EntryText(text).c_str(), &made) != S_OK) {
        return "move " + std::to_string(played_.size() + 1) + " " + Quote(text) + " is not legal";
    }
    played_.push_back({text, made.MOVES[0]});
    return {};
}

/// Sets up a later position of the list and plays on from there.
bool ProtocolGame::MakeRoom() {
    std::size_t begin = played_.size();
    while (begin > base_ && !IsIrreversible(played_[begin - 1].move)) --begin;
    // A set-up position offers no en passant capture, so a double step is played, not set up.
    if (begin > base_ && IsDoubleStep(played_[begin - 1].move)) --begin;
    if (begin <= base_) begin = played_.size() - std::min(kKeptPlies, played_.size() - base_);
    const std::vector<Played> again(played_.begin() + static_cast<std::ptrdiff_t>(begin),
                                    played_.end());
    if (!TakeBack(again.size())) return false;
    const CHSBRD board = Board();
    if (engine_->put_Position(&board) != S_OK) return false;
    base_ = played_.size();
    return std::ranges::all_of(again,
                               [this](const Played& move) { return Play(move.text).empty(); });
}

std::string ProtocolGame::Set(const std::string& fen, const std::vector<std::string>& moves) {
    const auto same = [](const Played& played, const std::string& text) {
        return played.text == text;
    };
    const auto common =
        static_cast<std::size_t>(std::ranges::mismatch(played_, moves, same).in1 - played_.begin());
    if (fen_ != fen || common < base_ || !TakeBack(played_.size() - common)) {
        if (std::string problem = SetUp(fen); !problem.empty()) return problem;
    }
    for (std::size_t i = played_.size(); i < moves.size(); ++i) {
        if (std::string problem = Play(moves[i]); !problem.empty()) return problem;
        if (Board().ply_no < kLastPly || MakeRoom()) continue;
        fen_.reset();
        return "the game is too long for the engine";
    }
    return {};
}

}  // namespace torval

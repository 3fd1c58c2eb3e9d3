// The position of the protocol, kept in the engine's game record.
//
// Purpose  a list of moves that continues the last one, or differs at its end, is entered from
//          where it differs, so that the engine keeps what it has learnt. A game longer than the
//          engine's record restarts in the record after its last capture or pawn move: no position
//          before that can occur again.
// Thread   the session's. No computation may run.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "torval/engine.h"

namespace torval {

class ProtocolGame {
public:
    /// The engine must outlive this; its game is the initial position after the first Set.
    explicit ProtocolGame(IChessEngine2* engine) : engine_(engine) {}

    /// Makes the engine forget everything and sets up the initial position.
    void Renew();

    /// Sets up the position. Returns what is wrong with it, or an empty text. A position that
    /// cannot be set up changes nothing; a move that cannot be played ends the list.
    std::string Set(const std::string& fen, const std::vector<std::string>& moves);

    /// Whether the engine's position is one that was set here.
    bool IsSet() const { return fen_.has_value(); }

    /// The engine's position, and the move that led to it; null when that is not known.
    CHSBRD Board() const;
    const EVAR* LastMove() const;

private:
    struct Played {
        std::string text;
        EVAR move;
    };

    std::string SetUp(const std::string& fen);
    std::string Play(const std::string& text);
    bool TakeBack(std::size_t count);
    bool MakeRoom();

    IChessEngine2* engine_;
    std::optional<std::string> fen_;   ///< what the list begins from; none: not known
    std::optional<EVAR> set_up_step_;  ///< the double step that belongs to the position set up
    std::vector<Played> played_;       ///< the whole list, the engine's record being its end
    std::size_t base_ = 0;  ///< moves that are only in the position set up, not in the record
};

}  // namespace torval

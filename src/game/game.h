// The game as the host drives it: new game, set-up, moves entered and taken back.
//
// Owner    game.cpp: the legal move list and the list of alternatives.
// Thread   the host's thread, while no computation runs.
// Errors   a Status; a refused call leaves board, record and flags as they were.
#pragma once

#include <array>
#include <atomic>

#include "board/legality.h"
#include "torval/codes.h"
#include "torval/records.h"

namespace torval {

/// Moves that the engine could have played instead, with their scores.
struct NextBestList {
    static constexpr int kCapacity = 16;
    std::array<Move, kCapacity> moves;
    std::array<std::int16_t, kCapacity> scores;
    int count;
    int current;
};

extern NextBestList next_best_list;

/// Legal moves of the game position, null while a computation has released them.
extern MoveList* legal_moves;

/// Whether there is such a list; for the host's thread while another computes.
extern std::atomic<bool> has_legal_moves;

/// Prepares the engine once: the arena, the transposition table by the settings, a new game.
void InitialiseEngine();

void NewGame();

/// Puts a host's position and starts a game from it.
/// StatusComputerToMove, StatusBusy, StatusBadPosition.
Status SetPosition(const CHSBRD& board);

/// Enters a move given as text. *result holds the moves that fit, after success the move as made.
/// StatusRecordFull, StatusBusy, StatusBadText, StatusNoMove; StatusAmbiguous when several fit.
Status DoMove(const char* text, MOVES* result);

/// Makes a move of legal_moves, its marks cleared, as a game move and judges it. *made is the move
/// with its marks. The list is rebuilt, the host is told.
Outcome MakeGameMove(MoveEntry* entry, Move* made);

/// Takes the last move of the game back on the working board. Its record keeps it, with its marks.
void TakeBackMove();

/// Shows the host the position after moves were taken back.
void CommitTakeBack();

/// Takes back max(count, 1) moves, or as many as there are: StatusTooFewMoves.
/// StatusComputerToMove, StatusBusy.
Status MoveBack(int count);

/// StatusGameRunning when a game runs already.
Status StartGame();
void StopGame();

/// Whether a draw offer is accepted: from the twentieth ply on.
bool VerifyDrawOffer();

/// Rebuilds legal_moves for the working position, at the start of the arena.
void RebuildLegalMoves();

/// Frees legal_moves, so that a computation has the whole arena.
void ReleaseLegalMoves();

}  // namespace torval

// The one position that everything works on, and the game that led to it.
//
// Shape    Board is 8 rows of 16 bytes: columns 0-7 the working board, columns 8-15 the
//          GameSnapshot, a copy of the row as it stood at the last committed change of the game.
// Owner    position.cpp. One position for the whole engine, changed in place by make.h.
// Writers  the thread that computes or, between computations, the host's. `committed`, GameSide,
//          GamePly and the snapshot belong to the host's side: a search never touches them.
// Range    every list entry is an on-board square that holds a man of its side, entry 0 the king,
//          none twice; PieceIndex agrees; bitboards, sums and key are those of the working board.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "board/bitboard.h"
#include "board/keys.h"
#include "board/piece.h"
#include "torval/codes.h"
#include "torval/records.h"

namespace torval {

/// The engine's move has the layout of the interface's.
using Move = EVAR;

/// A move with no squares ends a line.
constexpr bool IsEmpty(Move move) { return move.from == 0 && move.to == 0; }

inline constexpr int kListCapacity = 32;

/// One side's men: entry 0 the king, entries 1 to count the others in the order of generation.
struct PieceList {
    std::array<Square, kListCapacity> squares;
    std::int32_t count;
};

/// A move made, with what it takes to take it back.
struct PlyRecord {
    Move move;
    std::uint8_t CastleState;
    std::uint8_t FiftyCounter;
    std::int16_t line_score;  ///< score of the engine's line that this game move began, else 0
    std::array<std::uint32_t, 2> MaterialWord;
    std::array<std::int32_t, 2> PositionalSum;
    HashKey key;
};
static_assert(sizeof(PlyRecord) == 32);

inline constexpr int kPlyRecords = 432;
inline constexpr int kMaxGamePly = 400;  ///< no move is entered or computed from here on

struct Position {
    alignas(64) std::array<PieceCode, 128> Board;
    std::array<std::uint8_t, 128> PieceIndex;
    std::array<struct PieceList, 2> PieceList;
    std::array<std::array<Bitboard, 8>, 2> pieces;  ///< by side and type; type 0: all men
    std::array<std::uint32_t, 2> MaterialWord;
    std::array<std::int32_t, 2> PositionalSum;
    HashKey key;
    std::uint8_t CastleState;
    std::uint8_t FiftyCounter;
    std::uint8_t SideToMove;
    std::uint8_t GamePhase;  ///< 0 not set, 1 opening, 2 middlegame, 3 endgame, 4 pawnless, 5 pawns
    HashKey GamePositionKey;  ///< of the committed position; a secondary key 0 is stored as 1

    Bitboard Occupied() const { return pieces[White][0] | pieces[Black][0]; }
    Square KingSquare(Side side) const { return PieceList[side].squares[0]; }
};

extern Position position;

/// Piece-square values by side, type and square; filled by the evaluation's set-up.
extern std::array<std::array<std::array<std::int8_t, 128>, 8>, 2> PieceSquareTable;

struct GameRecord {
    std::array<PlyRecord, kPlyRecords> PlyStack = {};  ///< record 0 is the root, its move is empty
    PlyRecord* top = PlyStack.data();                  ///< the last move made
    PlyRecord* game_end = PlyStack.data();  ///< the last game move committed; take-backs leave it
    CHSBRD start = {};                      ///< the set-up that the game began from
    bool start_from_host = false;           ///< false after a new game

    /// The key of the position k plies before the current one, k >= 1.
    HashKey KeyBefore(int k) const { return top[1 - k].key; }
};

extern GameRecord game_record;

/// The game as the host knows it, beside the snapshot half of Board.
struct CommittedState {
    std::uint8_t CastleState;
    std::uint8_t FiftyCounter;
    std::uint8_t SideToMove;
};

extern CommittedState committed;
extern std::atomic<std::uint8_t> GameSide;  ///< the colour the host plays; relaxed, read alone
extern std::atomic<std::uint16_t> GamePly;  ///< 1 at a start with White to move; relaxed

/// Sets the game bits of EngineFlags to 0, FlagHostToMove or FlagEngineToMove, and GameSide with
/// them: the game's side to move, the other one while the engine computes.
void SetGameBits(unsigned game_bit);

/// Own pawns on a file.
inline int PawnFileCounts(Side side, int file) {
    return Count(position.pieces[side][Pawn] & FileMask(file));
}

/// Empties the game record: both marks at the root, which is zeroed.
void ClearGameRecord();

/// The start position on both halves of the board, nothing moved, GamePly 1.
void SetInitialPosition();

/// Checks a host's position and rewrites its piece bytes as full codes.
/// StatusBadPosition: a byte that is no piece, not one king a side, a castling right whose men
/// are not at home, or more men of one side than a list holds.
Status ValidatePosition(CHSBRD* board);

/// Puts a host's position on both halves and starts a game record from it.
/// StatusBadPosition as ValidatePosition; nothing has changed then.
Status LoadPosition(const CHSBRD& board);

/// The committed game position, whatever a search is doing.
void StorePosition(CHSBRD* board);

/// Rebuilds lists, bitboards, sums and key from the working board, CastleState and SideToMove.
void RecomputeState();

/// Makes the working position the one that the host sees.
void CommitSnapshot();

/// Stores the key as that of the committed game position.
void StoreGamePositionKey();

/// The Range line above; for asserts and tests.
bool PositionIsSound();

}  // namespace torval

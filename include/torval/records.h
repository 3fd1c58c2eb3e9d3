// The records that cross the boundary between a host and the engine.
//
// Shape    little-endian, packed with natural alignment; every size and offset is asserted below.
// Units    times in the unit each field names; scores in 1/128 pawn (kPawnUnits).
// Thread   plain data; whoever holds a record owns it.
// Errors   none here: the method that is passed a record refuses it.
// Codes    enumerations and bits named here are in codes.h.
//
// Squares  CHSBRD.board counts 0..63 (8 * rank + file, a1 = 0); a move's squares are 0x88 numbers
//          (16 * rank + file), whose bits 0x08 and 0x80 are free for annotations.
// Pieces   0 empty; else a PieceType with kBlackBit or kWhiteBit. The engine writes further attack
//          bits (32, 64, 128) and reads only the low five.
// Sides    0 White, 1 Black.
#pragma once

#include <cstddef>
#include <cstdint>

namespace torval {

inline constexpr std::int32_t kPawnUnits = 128;        ///< W_INFO.PawnValue
inline constexpr std::int32_t kMateUnits = 10000;      ///< W_INFO.MateValue
inline constexpr std::int32_t kMateDepthUnits = 1000;  ///< W_INFO.MateDepth

/// One move. Two moves are equal when from & 0x77, to & 0x77 and flags & 0x70 agree.
struct EVAR {
    std::uint8_t from;     ///< origin; 0x08: notation needs the file, 0x80: it needs the rank
    std::uint8_t to;       ///< destination; 0x80: gives check, 0x08: (with 0x80) gives mate
    std::uint8_t flags;    ///< type moved; 0x08 en passant, 0x70 promotion type << 4, 0x80 castling
    std::uint8_t capture;  ///< full code of the captured piece, 0 for none

    bool operator==(const EVAR&) const = default;
};
static_assert(sizeof(EVAR) == 4);

/// A position.
struct CHSBRD {
    std::uint8_t board[64];    ///< piece bytes, a1 first, then b1 ... h8
    std::uint8_t castle;       ///< rights lost, CastleBit
    std::uint8_t fifty_moves;  ///< half-moves since the last capture or pawn move
    std::uint8_t ep_flag;      ///< written as 0, ignored on input
    std::uint8_t color;        ///< side to move
    std::uint16_t ply_no;      ///< plies played in the game record
};
static_assert(sizeof(CHSBRD) == 70 && offsetof(CHSBRD, castle) == 64);
static_assert(offsetof(CHSBRD, fifty_moves) == 65 && offsetof(CHSBRD, ep_flag) == 66);
static_assert(offsetof(CHSBRD, color) == 67 && offsetof(CHSBRD, ply_no) == 68);

/// The position after a change of the game, sent with OutputMove.
struct W_BOARD {
    std::uint16_t Mask;   ///< BoardMaskBit
    CHSBRD brd;           ///< the game position after the move
    EVAR move;            ///< the move just made with its annotations; zero without MaskMove
    std::int16_t aScore;  ///< always 0
};
static_assert(sizeof(W_BOARD) == 78 && offsetof(W_BOARD, Mask) == 0);
static_assert(offsetof(W_BOARD, brd) == 2 && offsetof(W_BOARD, move) == 72);
static_assert(offsetof(W_BOARD, aScore) == 76);

/// The result of entering a move.
struct MOVES {
    std::uint16_t iStatus;         ///< an Outcome
    std::uint16_t LastFoundMoves;  ///< legal moves that match the text
    std::uint16_t NmbrOfMoves;     ///< the same number
    EVAR MOVES[256];               ///< the matching moves; after success entry 0 is the move made
};
static_assert(sizeof(MOVES) == 1030 && offsetof(MOVES, iStatus) == 0);
static_assert(offsetof(MOVES, LastFoundMoves) == 2 && offsetof(MOVES, NmbrOfMoves) == 4);
static_assert(offsetof(MOVES, MOVES) == 6);

/// A line of play.
struct MAINVAR {
    std::int16_t iCommand;  ///< a LineKind
    std::int16_t vlen;      ///< moves in bstvar
    std::int16_t depth;     ///< iteration depth; 0 book or alternatives, or kDatabaseDepth
    std::int16_t score;     ///< for the side to move, 1/128 pawn
    EVAR bstvar[32];        ///< the moves; entries beyond vlen are unspecified
};
static_assert(sizeof(MAINVAR) == 136 && offsetof(MAINVAR, iCommand) == 0);
static_assert(offsetof(MAINVAR, vlen) == 2 && offsetof(MAINVAR, depth) == 4);
static_assert(offsetof(MAINVAR, score) == 6 && offsetof(MAINVAR, bstvar) == 8);

/// The playing level. Times in seconds.
struct LEVEL {
    std::uint16_t mode;   ///< a LevelMode
    std::int16_t depth1;  ///< modes 0, 3: last iteration; else a cap on the depth when not 0
    std::int16_t depth2;  ///< depth below which the capture search stops (negative), 0 none
    std::uint16_t time1;
    std::uint16_t moves1;
    std::uint16_t time2;
    std::uint16_t moves2;
    std::uint16_t elorating;  ///< & 0x3000 == 0x2000 forbids pondering that was not asked for
    std::uint8_t randomness;  ///< stored only
    std::uint8_t agression;   ///< stored only
    std::uint8_t spare[6];    ///< stored only
};
static_assert(sizeof(LEVEL) == 24 && offsetof(LEVEL, mode) == 0 && offsetof(LEVEL, depth1) == 2);
static_assert(offsetof(LEVEL, depth2) == 4 && offsetof(LEVEL, time1) == 6);
static_assert(offsetof(LEVEL, moves1) == 8 && offsetof(LEVEL, time2) == 10);
static_assert(offsetof(LEVEL, moves2) == 12 && offsetof(LEVEL, elorating) == 14);
static_assert(offsetof(LEVEL, randomness) == 16 && offsetof(LEVEL, agression) == 17);
static_assert(offsetof(LEVEL, spare) == 18);

/// Both clocks, in milliseconds.
struct CLOCKS {
    std::uint16_t Command;  ///< ClocksBit: on put, which to set; on output, which changed
    std::int32_t wtime;
    std::int32_t btime;
};
static_assert(sizeof(CLOCKS) == 12 && offsetof(CLOCKS, Command) == 0);
static_assert(offsetof(CLOCKS, wtime) == 4 && offsetof(CLOCKS, btime) == 8);

/// Search statistics.
struct B_STATS {
    std::uint16_t over_flow;         ///< always 0
    std::uint16_t fail_high_or_low;  ///< always 0
    std::uint32_t cut_offa;          ///< always 0
    std::uint32_t cut_offb;          ///< always 0
    std::uint32_t AvgNodesPerSec;    ///< of the current or last computation
    std::uint32_t MaxNodesPerSec;    ///< highest AvgNodesPerSec since the component was loaded
    std::uint32_t analize_cnt;       ///< nodes of the current or last computation
    std::uint32_t Qanalized;         ///< of these, nodes of the capture search
    std::uint32_t Collisions;        ///< always 0
    std::uint32_t Transpositions;    ///< always 0
    std::uint32_t Totalpositions;    ///< always 0
    std::uint32_t TotalErrors;       ///< always 0
};
static_assert(sizeof(B_STATS) == 44 && offsetof(B_STATS, over_flow) == 0);
static_assert(offsetof(B_STATS, fail_high_or_low) == 2 && offsetof(B_STATS, cut_offa) == 4);
static_assert(offsetof(B_STATS, cut_offb) == 8 && offsetof(B_STATS, AvgNodesPerSec) == 12);
static_assert(offsetof(B_STATS, MaxNodesPerSec) == 16 && offsetof(B_STATS, analize_cnt) == 20);
static_assert(offsetof(B_STATS, Qanalized) == 24 && offsetof(B_STATS, Collisions) == 28);
static_assert(offsetof(B_STATS, Transpositions) == 32 && offsetof(B_STATS, Totalpositions) == 36);
static_assert(offsetof(B_STATS, TotalErrors) == 40);

/// A book move.
struct BMOVE {
    EVAR move;
    std::int8_t score;
    std::uint8_t flag;  ///< the book's flags, BookMoveFlag among them
};
static_assert(sizeof(BMOVE) == 6 && offsetof(BMOVE, move) == 0);
static_assert(offsetof(BMOVE, score) == 4 && offsetof(BMOVE, flag) == 5);

struct W_BOOKMOVES {
    std::uint16_t iStatus;  ///< StatusOk: the books were asked; StatusComputerToMove: not now
    std::uint16_t NmbrOfMoves;
    BMOVE MOVES[32];
};
static_assert(sizeof(W_BOOKMOVES) == 196 && offsetof(W_BOOKMOVES, iStatus) == 0);
static_assert(offsetof(W_BOOKMOVES, NmbrOfMoves) == 2 && offsetof(W_BOOKMOVES, MOVES) == 4);

/// A book move with its game counts.
struct BMOVE2 {
    EVAR move;
    std::int8_t score;
    std::uint8_t flag;
    std::int32_t totalplayed;
    std::int32_t winwhite;
    std::int32_t winblack;
};
static_assert(sizeof(BMOVE2) == 20 && offsetof(BMOVE2, move) == 0);
static_assert(offsetof(BMOVE2, score) == 4 && offsetof(BMOVE2, flag) == 5);
static_assert(offsetof(BMOVE2, totalplayed) == 8 && offsetof(BMOVE2, winwhite) == 12);
static_assert(offsetof(BMOVE2, winblack) == 16);

struct W_BOOKMOVES2 {
    std::uint16_t iStatus;
    std::uint16_t NmbrOfMoves;
    BMOVE2 MOVES[32];
};
static_assert(sizeof(W_BOOKMOVES2) == 644 && offsetof(W_BOOKMOVES2, iStatus) == 0);
static_assert(offsetof(W_BOOKMOVES2, NmbrOfMoves) == 2 && offsetof(W_BOOKMOVES2, MOVES) == 4);

/// The engine's description of itself.
struct W_INFO {
    std::int8_t Revision[2];  ///< 5, 0
    std::uint8_t transp;      ///< 255 when the transposition table is in use, else 0
    std::uint8_t brain;       ///< low byte of the engine option word
    std::uint16_t memtype;    ///< never written
    std::uint16_t TranspMax;  ///< transposition table size in kilobytes
    std::uint8_t book;        ///< low byte of the book option word
    std::uint8_t SeedRnd;     ///< 0
    std::uint16_t RandMargin;
    B_STATS Stats;
    std::uint16_t PawnValue;
    std::uint16_t MateValue;
    std::uint16_t MateDepth;
    std::int8_t MainBook[256];  ///< zero-terminated
    std::int8_t UserBook[256];  ///< zero-terminated
};
static_assert(sizeof(W_INFO) == 576 && offsetof(W_INFO, Revision) == 0);
static_assert(offsetof(W_INFO, transp) == 2 && offsetof(W_INFO, brain) == 3);
static_assert(offsetof(W_INFO, memtype) == 4 && offsetof(W_INFO, TranspMax) == 6);
static_assert(offsetof(W_INFO, book) == 8 && offsetof(W_INFO, SeedRnd) == 9);
static_assert(offsetof(W_INFO, RandMargin) == 10 && offsetof(W_INFO, Stats) == 12);
static_assert(offsetof(W_INFO, PawnValue) == 56 && offsetof(W_INFO, MateValue) == 58);
static_assert(offsetof(W_INFO, MateDepth) == 60 && offsetof(W_INFO, MainBook) == 62);
static_assert(offsetof(W_INFO, UserBook) == 318);

}  // namespace torval

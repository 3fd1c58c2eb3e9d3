// The numbers that methods, records and callbacks carry, by name.
//
// Shape    plain enumerations: an enumerator compares with the field or answer that holds it.
// Thread   constant data; any thread.
#pragma once

#include <cstdint>

namespace torval {

// ---- Answers of methods --------------------------------------------------------------------------

/// What the engine's methods return besides the E_ codes of base.h. A refused call has changed
/// nothing unless docs/hosting.md says otherwise.
enum [[nodiscard]] Status : std::int32_t{
    StatusOk = 0,              ///< S_OK
    StatusNegative = 1,        ///< S_FALSE: a negative answer or an empty result
    StatusBadPosition = 5,     ///< the engine does not accept the position
    StatusComputerToMove = 6,  ///< the engine is computing its own move
    StatusBadText = 7,         ///< a text is not a move or a name; malformed parameters
    StatusNoMove = 8,          ///< no legal move fits the text
    StatusAmbiguous = 9,       ///< more than one legal move fits the text
    StatusTooFewMoves = 11,    ///< fewer moves than asked for could be taken back
    StatusGameRunning = 13,
    StatusNotComputing = 14,  ///< the engine is not computing its own move
    StatusBadValue = 15,      ///< level out of range; no such book
    StatusNoAlternative = 20,
    StatusRecordFull = 21,  ///< the game record holds no further move
    StatusBusy = 22,        ///< a computation is running
};

/// Results of opening a book: what SelectBook returns besides StatusBadText.
enum BookStatus : std::int32_t {
    BookOpened = 0,
    BookNoMemory = 3,
    BookNotReadable = 16,  ///< result of AddBookMoves and DelBookMoves: the book is closed
    BookNotOpened = 17,    ///< no such file, or it cannot be written
    BookNotABook = 18,
};

// ---- A game and its messages ---------------------------------------------------------------------

/// MOVES::iStatus: what an entered move did to the game.
enum Outcome : std::uint16_t {
    OutcomeGoesOn = 0,
    OutcomeMate = 6,
    OutcomeRepetition = 10,
    OutcomeFiftyMoves = 13,
    OutcomeMaterial = 14,
};

/// Numbers of OutputMsg. The outcomes, stalemate and a lost clock end the game.
enum MessageNumber : std::int32_t {
    MsgMate = OutcomeMate,  ///< p1: the side mated
    MsgStalemate = 7,       ///< when the engine is asked for a move
    MsgRepetition = OutcomeRepetition,
    MsgFiftyMoves = OutcomeFiftyMoves,
    MsgMaterial = OutcomeMaterial,
    MsgBookNotReadable = 16,  ///< txt: the book, here and below
    MsgBookNotWritten = 17,
    MsgBookDamaged = 18,
    MsgVolumesWanted = 20,  ///< p2: first character of the Thompson path; txt: digits of volumes
    MsgTimeForfeit = 21,    ///< p1: the side that ran out of time
    MsgNoDatabaseMove = 22,
    MsgThreadStarted = 50,  ///< txt: the version
};

// ---- Moves and positions -------------------------------------------------------------------------

enum PieceType : std::uint8_t { NoType, Pawn, Knight, Bishop, Rook, Queen, King };

inline constexpr std::uint8_t kTypeBits = 0x07;  ///< of a piece byte and of EVAR::flags
inline constexpr std::uint8_t kBlackBit = 0x08;  ///< in a piece byte
inline constexpr std::uint8_t kWhiteBit = 0x10;  ///< in a piece byte

inline constexpr std::uint8_t kSquareBits = 0x77;      ///< of EVAR::from and EVAR::to
inline constexpr std::uint8_t kFileNeeded = 0x08;      ///< in EVAR::from, for a writer of moves
inline constexpr std::uint8_t kRankNeeded = 0x80;      ///< in EVAR::from
inline constexpr std::uint8_t kCheckMark = 0x80;       ///< in EVAR::to
inline constexpr std::uint8_t kMateMark = 0x08;        ///< in EVAR::to, beside kCheckMark
inline constexpr std::uint8_t kEnPassantFlags = 0x09;  ///< EVAR::flags of such a capture
inline constexpr std::uint8_t kCastlingFlags = 0x86;   ///< EVAR::flags of castling
inline constexpr std::uint8_t kCastlingBit = 0x80;     ///< in EVAR::flags
inline constexpr std::uint8_t kPromotionBits = 0x70;   ///< in EVAR::flags: the new type
inline constexpr int kPromotionShift = 4;              ///< and where its bits begin

/// Bits of CHSBRD::castle, each set once a right is gone.
enum CastleBit : std::uint8_t {
    CastleH1Moved = 0x01,
    CastleE1Moved = 0x02,
    CastleA1Moved = 0x04,
    CastleWhiteDone = 0x08,
    CastleH8Moved = 0x10,
    CastleE8Moved = 0x20,
    CastleA8Moved = 0x40,
    CastleBlackDone = 0x80,
};

/// Bits of W_BOARD::Mask.
enum BoardMaskBit : std::uint16_t {
    MaskBoard = 1,         ///< brd is valid: always
    MaskMove = 2,          ///< move is valid
    MaskAlternatives = 4,  ///< there are alternatives to it
};

// ---- Lines, levels and clocks --------------------------------------------------------------------

/// MAINVAR::iCommand.
enum LineKind : std::int16_t {
    LineBest = 1,          ///< a new best line of the engine's own computation
    LinePondered = 2,      ///< a new best line while pondering or analysing
    LineAlternatives = 3,  ///< moves to choose from, the current one first
    LineFinal = 4,         ///< the result of a computation
};

/// MAINVAR::depth and OutputNextMove for a result of the Thompson databases, without a search.
inline constexpr int kDatabaseDepth = 99;

/// LEVEL::mode.
enum LevelMode : std::uint16_t {
    LevelDepth = 0,
    LevelTournament = 1,  ///< moves in a period
    LevelMoveTime = 2,    ///< the same time for each move
    LevelPlies = 3,       ///< as LevelDepth
    LevelAverage = 4,     ///< time per move on average
    LevelIncrement = 5,   ///< time for the game, plus an increment per move
    LevelInfinite = 6,
};

/// Bits of CLOCKS::Command: which clocks to take, or which have changed.
enum ClocksBit : std::uint16_t { ClocksWhite = 1, ClocksBlack = 2, ClocksBoth = 3 };

/// Completion of GetProgress for a level without a time limit.
inline constexpr std::uint16_t kCompletionUnknown = 65535;

// ---- Opening books -------------------------------------------------------------------------------

/// The books of AddBookMoves and DelBookMoves.
enum BookIndex : unsigned { MainBook = 0, UserBook = 1 };

/// Bits of BMOVE::flag and BMOVE2::flag.
enum BookMoveFlag : std::uint8_t {
    BookMoveFromUser = 0x20,  ///< from the user book
    BookMoveExcluded = 0x40,  ///< not to be played
};

/// In the flags of AddBookMoves: a mark for the move, from White's point of view, and above it
/// the winner of a game to be counted.
inline constexpr std::int32_t kBookMarkBits = 0xC0;
inline constexpr std::int32_t kBookMarkBetter = 0x40;  ///< 1000 more
inline constexpr std::int32_t kBookMarkWorse = 0xC0;   ///< 1000 less
inline constexpr int kBookResultShift = 8;             ///< 1 White won, 2 Black won
inline constexpr std::int32_t kHighestBookScore = 127;

// ---- Controls of the settings pages --------------------------------------------------------------

enum EnginePageControl : std::uint32_t {
    kThreadMarginEdit = 204,
    kTableSizeList = 211,
    kThompsonPathEdit = 212,
    kLowPriorityBox = 213,
    kNalimovPathEdit = 214,
    kCacheSizeEdit = 215,
};

enum BookPageControl : std::uint32_t {
    kBookMarginEdit = 205,
    kFirstBookMode = 206,  ///< a button for each BookChoice
    kLastBookMode = 209,
    kScoreConfidenceEdit = 210,
};

}  // namespace torval

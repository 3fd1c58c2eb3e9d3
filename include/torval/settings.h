// The engine's settings: their layout in the stream in which they persist, and the parameters that
// change some of them while the engine exists.
//
// Shape    a stream is a SettingsStreamHead, without the bytes after its last field, and the
//          Nalimov path with its terminating zero. Little-endian; every offset is asserted below.
// Thread   plain data; whoever holds a record owns it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "torval/records.h"

namespace torval {

/// Bits of SettingsBlock::TranspFlags.
enum TranspFlagBit : std::uint32_t { TranspInUse = 1 };

/// Bits of SettingsBlock::BookUse.
enum BookUseBit : std::uint16_t {
    BookUseMain = 1,
    BookUseUser = 2,
    BookUseDatabases = 4,  ///< probing and the root probe of the endgame databases
    BookUseBoth = 128,     ///< take the moves of both books, not of the first that has any
};

/// Bits of SettingsBlock::BrainFlags.
enum BrainFlagBit : std::uint16_t {
    BrainUnused = 1,             ///< no effect
    BrainReportPonderMoves = 2,  ///< OutputNextMove also while pondering
    BrainNoFiftyMoves = 4,       ///< do not report the fifty-move draw
    BrainLowPriority = 8,        ///< compute at low thread priority
};

/// Bits of SettingsBlock::ClockFlags.
enum ClockFlagBit : std::uint32_t { ClockReportForfeit = 4 };

/// SettingsBlock::BookMode: how a book move is chosen.
enum BookChoice : std::uint32_t {
    ChooseBest = 0,
    ChooseAsPlayed = 1,  ///< as often as the book has seen it played
    ChooseByScore = 2,
    ChooseEvenly = 3,
};

struct SettingsBlock {
    LEVEL Level;
    std::uint32_t TranspFlags;
    std::uint16_t BookUse;
    std::uint16_t BrainFlags;
    std::uint32_t TranspKB;      ///< table size in kilobytes, taken at engine initialisation
    std::uint32_t RandMargin;    ///< book margin
    std::uint32_t BookPlyLimit;  ///< above 1: no book once this many plies are played
    std::uint32_t ClockFlags;
    std::uint32_t ThreadMargin;  ///< threat margin in score units, 0 off
    std::uint32_t stored_52;
    std::uint32_t stored_56;
    std::uint32_t LateThreadMargin;  ///< margin near the target time
    std::uint16_t LateMarginMs;      ///< how near, in ms
    std::uint16_t padding_66;
    std::uint32_t NullMoveReduction;
    std::uint32_t CheckExtensionPly;
    std::uint32_t QuiescenceCheckPlies;
    std::uint32_t RootSwitchMargin;
    std::uint32_t RootSwitchDepth;
    std::uint32_t PawnPushDepth;
    std::uint32_t stored_92;
    std::uint16_t ClockInterval;  ///< seconds between clock notifications, 0 none
    char MainBookName[256];
    char UserBookName[256];
    std::uint16_t padding_610;
    std::uint32_t ScoreConfidence;
    std::uint32_t BookMode;  ///< a BookChoice
};
static_assert(sizeof(SettingsBlock) == 620);
static_assert(offsetof(SettingsBlock, TranspFlags) == 24 && offsetof(SettingsBlock, BookUse) == 28);
static_assert(offsetof(SettingsBlock, BrainFlags) == 30 && offsetof(SettingsBlock, TranspKB) == 32);
static_assert(offsetof(SettingsBlock, RandMargin) == 36);
static_assert(offsetof(SettingsBlock, BookPlyLimit) == 40);
static_assert(offsetof(SettingsBlock, ClockFlags) == 44);
static_assert(offsetof(SettingsBlock, ThreadMargin) == 48);
static_assert(offsetof(SettingsBlock, LateThreadMargin) == 60);
static_assert(offsetof(SettingsBlock, LateMarginMs) == 64);
static_assert(offsetof(SettingsBlock, NullMoveReduction) == 68);
static_assert(offsetof(SettingsBlock, CheckExtensionPly) == 72);
static_assert(offsetof(SettingsBlock, QuiescenceCheckPlies) == 76);
static_assert(offsetof(SettingsBlock, RootSwitchMargin) == 80);
static_assert(offsetof(SettingsBlock, RootSwitchDepth) == 84);
static_assert(offsetof(SettingsBlock, PawnPushDepth) == 88);
static_assert(offsetof(SettingsBlock, stored_92) == 92);
static_assert(offsetof(SettingsBlock, ClockInterval) == 96);
static_assert(offsetof(SettingsBlock, MainBookName) == 98);
static_assert(offsetof(SettingsBlock, UserBookName) == 354);
static_assert(offsetof(SettingsBlock, ScoreConfidence) == 612);
static_assert(offsetof(SettingsBlock, BookMode) == 616);

/// Room for the paths of the endgame databases, with the terminating zero.
inline constexpr std::size_t kThompsonPathSize = 20;
inline constexpr std::size_t kNalimovPathSize = 1024;

inline constexpr char kSettingsMagic[4] = {'Q', 'V', 'R', 'T'};
/// The version that is written, and the oldest that is read. Streams of versions before the newest
/// end after the Thompson path, or before it.
inline constexpr std::uint32_t kSettingsVersion = 258;
inline constexpr std::uint32_t kOldestSettingsVersion = 256;

/// A settings stream up to the Nalimov path.
struct SettingsStreamHead {
    char Magic[4];
    std::uint32_t Version;
    SettingsBlock Block;
    char ThompsonPath[kThompsonPathSize];
    std::uint32_t CacheSizeMB;        ///< for blocks of the Nalimov databases
    std::uint16_t NalimovPathLength;  ///< with its zero; one that is read is below kNalimovPathSize
};
static_assert(offsetof(SettingsStreamHead, Version) == 4);
static_assert(offsetof(SettingsStreamHead, Block) == 8);
static_assert(offsetof(SettingsStreamHead, ThompsonPath) == 628);
static_assert(offsetof(SettingsStreamHead, CacheSizeMB) == 648);
static_assert(offsetof(SettingsStreamHead, NalimovPathLength) == 652);

/// Where the Nalimov path begins.
inline constexpr std::size_t kNalimovPathAt =
    offsetof(SettingsStreamHead, NalimovPathLength) + sizeof(SettingsStreamHead::NalimovPathLength);
static_assert(kNalimovPathAt == 654);

/// Identifiers of SetParameters. An entry is its length in bytes (with this one), the identifier and
/// its data.
enum ParameterId : std::uint8_t {
    ParameterUnusedOn = 1,
    ParameterUnusedOff = 2,
    ParameterTableOn = 3,  ///< when it has a size
    ParameterTableOff = 4,
    ParameterMainBookOn = 5,
    ParameterMainBookOff = 6,
    ParameterTableSize = 10,     ///< signed 16 bits, in kilobytes; before the first Start
    ParameterPieceLetters = 12,  ///< two bytes and six letters; without effect
    ParameterUserBookOn = 14,
    ParameterUserBookOff = 15,
    ParameterPonderMovesOff = 16,  ///< OutputNextMove while pondering as the event mask has it
    ParameterPonderMovesOn = 17,   ///< or always
    ParameterBothBooksOff = 18,    ///< moves of the first book that has any
    ParameterBothBooksOn = 19,     ///< moves of both
    ParameterDatabasesOn = 20,
    ParameterDatabasesOff = 21,
    ParameterFiftyMovesOn = 22,   ///< fifty-move draws are announced
    ParameterFiftyMovesOff = 23,  ///< or not
    ParameterClockInterval = 26,  ///< unsigned 16 bits, in seconds; before the first Start
    ParameterThompsonPath = 27,   ///< up to 19 characters
    ParameterNone = 28,           ///< accepted, without effect
};

}  // namespace torval

// The layout of opening book files: header, entries, moves and scores.
//
// Shape    a file is a row of blocks of equal size, all numbers little-endian. Block 0 begins with
//          the header, an index of 16-bit block numbers starts at the header's index block, the
//          rest are data blocks: next link, previous link, then records up to a zero secondary key.
//          A record is a secondary key (2 bytes), a primary key (4) and entries of 4 bytes (BK) or
//          16 bytes (BX: with game counts); the last entry carries kLastEntry.
//          docs/formats/book.md draws all of it.
// Thread   constant rules; any thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "board/generate.h"

namespace torval {

constexpr std::uint16_t Load16(const std::uint8_t* bytes) {
    return static_cast<std::uint16_t>(bytes[0] | bytes[1] << 8);
}
constexpr std::uint32_t Load32(const std::uint8_t* bytes) {
    return Load16(bytes) | std::uint32_t{Load16(bytes + 2)} << 16;
}
constexpr void Store16(std::uint8_t* bytes, std::uint32_t value) {
    bytes[0] = static_cast<std::uint8_t>(value);
    bytes[1] = static_cast<std::uint8_t>(value >> 8);
}
constexpr void Store32(std::uint8_t* bytes, std::uint32_t value) {
    Store16(bytes, value);
    Store16(bytes + 2, value >> 16);
}

inline constexpr std::size_t kBookHeaderSize = 34;
inline constexpr std::size_t kBlockLinks = 4;  ///< bytes of a data block before its records
inline constexpr std::size_t kRecordKeys = 6;  ///< bytes of a record before its entries
inline constexpr std::size_t kPlainEntrySize = 4;
inline constexpr std::size_t kStatisticsEntrySize = 16;
inline constexpr int kMostEntries = 20;           ///< moves read or added in one position
inline constexpr unsigned kMostBlocks = 0xFFFE;   ///< a file with so many blocks does not grow
inline constexpr std::uint8_t kVersion3 = 0x33;   ///< from this version on the keys are others
inline constexpr std::uint8_t kLastEntry = 0x80;  ///< in an entry's flags: ends the record
inline constexpr std::uint8_t kExcluded = BookMoveExcluded;  ///< in an entry's flags
inline constexpr int kExcludedPenalty = 1000;  ///< of an excluded move when scores are compared

/// The header, kept as the bytes of the file so that fields without a meaning here survive.
struct BookHeader {
    std::array<std::uint8_t, kBookHeaderSize> bytes = {};

    bool MagicIsValid() const { return bytes[0] == 'B' && (bytes[1] == 'K' || bytes[1] == 'X'); }
    bool HasStatistics() const { return bytes[1] == 'X'; }
    std::uint8_t VersionMajor() const { return bytes[2]; }
    std::uint16_t BlockSize() const { return Load16(&bytes[4]); }
    std::uint16_t Blocks() const { return Load16(&bytes[6]); }
    std::uint16_t IndexBlock() const { return Load16(&bytes[14]); }
    std::uint16_t Slots() const { return Load16(&bytes[16]); }
    std::uint32_t Mask() const { return Load32(&bytes[22]); }
    std::uint32_t Positions() const { return Load32(&bytes[26]); }
    std::uint32_t Entries() const { return Load32(&bytes[30]); }

    void SetBlocks(std::uint32_t blocks) { Store16(&bytes[6], blocks); }
    void SetPositions(std::uint32_t positions) { Store32(&bytes[26], positions); }
    void SetEntries(std::uint32_t entries) { Store32(&bytes[30], entries); }
};

/// A move as an entry names it.
struct BookMove {
    std::uint8_t from;
    std::uint8_t to;  ///< StoredDestination

    bool operator==(const BookMove&) const = default;
};

constexpr BookMove EncodeBookMove(Move move) { return {move.from, StoredDestination(move)}; }

/// Origin, destination and, for a promotion, the flags; the capture is not stored.
constexpr Move DecodeBookMove(BookMove stored) {
    Move move = {.from = stored.from, .to = stored.to, .flags = 0, .capture = 0};
    if (stored.to & 0x80) {
        const int rank = (stored.from & 0xF0) == 0x60 ? 0x70 : 0x00;
        move.to = static_cast<std::uint8_t>(rank | (stored.to & 7));
        move.flags = static_cast<std::uint8_t>((stored.to & kPromotionBits) | Pawn);
    }
    return move;
}

/// An entry in the shape of the larger variant; a BK file has no counts.
struct BookEntry {
    BookMove move;
    std::int8_t score;    ///< for the side to move
    std::uint8_t flags;   ///< kLastEntry, kExcluded; others as found
    std::uint32_t white;  ///< games won by White
    std::uint32_t black;  ///< games won by Black
    std::uint32_t games;  ///< games played

    /// What the entry counts for among the moves of its position.
    int EffectiveScore() const { return score - (flags & kExcluded ? kExcludedPenalty : 0); }
};

constexpr BookEntry LoadEntry(const std::uint8_t* bytes, bool has_statistics) {
    BookEntry entry = {.move = {bytes[0], bytes[1]},
                       .score = static_cast<std::int8_t>(bytes[2]),
                       .flags = bytes[3],
                       .white = 0,
                       .black = 0,
                       .games = 0};
    if (has_statistics) {
        entry.white = Load32(bytes + 4);
        entry.black = Load32(bytes + 8);
        entry.games = Load32(bytes + 12);
    }
    return entry;
}

constexpr void StoreEntry(std::uint8_t* bytes, const BookEntry& entry, bool has_statistics) {
    bytes[0] = entry.move.from;
    bytes[1] = entry.move.to;
    bytes[2] = static_cast<std::uint8_t>(entry.score);
    bytes[3] = entry.flags;
    if (has_statistics) {
        Store32(bytes + 4, entry.white);
        Store32(bytes + 8, entry.black);
        Store32(bytes + 12, entry.games);
    }
}

/// The score that an entry's games give the side to move; the stored one while there are none.
/// `confidence` counts as that many drawn games.
constexpr std::int8_t StatisticsScore(const BookEntry& entry, std::uint32_t confidence, Side side) {
    if (entry.games == 0) return entry.score;
    const double balance = (double{1} * entry.white - entry.black) * 100;
    const auto score = static_cast<std::int64_t>(balance / (double{1} * entry.games + confidence));
    return static_cast<std::int8_t>(side == White ? score : -score);
}

/// The key under which a file of this version stores the position on the board: that of the
/// committed game position, or (version 3) one made anew from the men and CastleRights4.
HashKey BookKey(std::uint8_t version_major);

}  // namespace torval

// Why a compressed database file, or a block of one, could not be read.
//
// Shape    0 is success. Otherwise the low 8 bits are the class, by which the registration chooses
//          its words, and the bits above tell the place: which check it was.
// Thread   constant data; any thread.
#pragma once

#include <cstdint>

namespace torval {

enum [[nodiscard]] ErrorCode : std::int32_t{ErrorNone = 0};

enum class ErrorClass : std::int32_t {
    Read = 2,         ///< the file is too short, cannot be read, or is of another kind
    OutOfMemory = 5,  ///< the memory for the header or the decoder cannot be had
    FileBroken = 6,   ///< the bytes contradict each other
    BadCall = 7,      ///< a block or size out of range, or no decoder to work with
};

/// The numbers show in messages, so they stay what they are; new places go to the end.
enum class ErrorPlace : std::int32_t {
    FixedHeader = 1,    ///< fewer than 80 bytes
    Banner = 2,         ///< no text of 58 characters with its line end and four zero bytes
    HeaderSize = 3,     ///< less than 84, or less than the fields take
    BlockBits = 4,      ///< a block size above 65536
    DistanceCount = 5,  ///< other than 24
    FormatMark = 6,
    HeaderBytes = 7,  ///< the header is longer than the file
    HeaderChecksum = 8,
    Distance = 9,          ///< a match distance of 0
    LengthTables = 10,     ///< the two codes in which the code lengths are written
    CodeLengths = 11,      ///< the code lengths run past 1024 symbols or past the header
    BlockTable = 12,       ///< the code lengths of the block alphabet are no complete code
    HeaderMemory = 13,     ///< memory for header or info
    BlockNumber = 14,      ///< not below the number of blocks
    BlockSize = 15,        ///< a buffer, or the decode state, is for smaller blocks
    StateMissing = 16,     ///< a block is to be read and there is no decode state
    StateDamaged = 17,     ///< the decode state's marker is gone
    StateMemory = 18,      ///< memory for the decode state
    BlockSeek = 19,        ///< the file cannot be positioned at the block
    BlockBytes = 20,       ///< the file ends within the block, or cannot be read
    BlockInput = 21,       ///< decoding needs more than the block's compressed bytes
    MatchStart = 22,       ///< a match begins before the block
    CompressedSum = 23,    ///< checksum of the block's compressed bytes
    DecompressedSum = 24,  ///< checksum of the block
};

constexpr ErrorCode MakeError(ErrorClass error, ErrorPlace place) {
    return static_cast<ErrorCode>(static_cast<std::int32_t>(place) << 8 |
                                  static_cast<std::int32_t>(error));
}

constexpr ErrorClass ClassOf(ErrorCode code) { return static_cast<ErrorClass>(code & 0xFF); }
constexpr ErrorPlace PlaceOf(ErrorCode code) { return static_cast<ErrorPlace>(code >> 8); }

}  // namespace torval

// The compressed form of a database file: a header with an index of blocks, then the blocks.
//
// Shape    numbers are big-endian. A block is 2^b bytes of entries, the last one may be shorter; each
//          is packed for itself, as literals and matches at one of 24 distances, both symbols of one
//          prefix code for the whole file. docs/formats/tablebase.md has it byte by byte.
// Errors   an ErrorCode. Whatever the bytes are, nothing is read or written outside the buffers, and
//          results change on success only; a block's buffer is the exception.
// Thread   reading a header and DecodeBlock: any. The decode state: the thread that probes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "egtb/nalimov/error_code.h"
#include "egtb/nalimov/prefix_code.h"
#include "platform/disk_file.h"

namespace torval {

/// What our own files begin with. A reader takes any text of this form: every compressor writes its
/// own one there.
inline constexpr std::string_view kBannerText = "Torval endgame tablebase, block-compressed";
inline constexpr std::size_t kBannerTextBytes = 58;  ///< printable characters, padded with spaces
inline constexpr std::size_t kBannerBytes = 64;      ///< with CR LF and four zero bytes

inline constexpr std::size_t kFixedHeaderBytes = 80;
inline constexpr std::size_t kChecksumBytes = 4;
inline constexpr std::uint32_t kFormatMark = 0x004001F5;
inline constexpr int kLargestBlockBits = 16;
inline constexpr std::size_t kDistances = 24;

/// The block size of all database files that the engine uses, compressed or not.
inline constexpr int kBlockBits = 13;
inline constexpr std::uint32_t kBlockBytes = 1U << kBlockBits;

/// How far behind a block its decoder may write: matches are copied in pieces of 16 bytes.
inline constexpr std::size_t kSpareBytes = 36;

// Match symbols: for each distance 32 length codes; the first name a length each, the others a
// range of lengths that further bits choose from.
inline constexpr int kLiterals = 256;
inline constexpr int kLengthCodes = 32;
inline constexpr int kSingleLengths = 15;
static_assert(kLiterals + kLengthCodes * static_cast<int>(kDistances) == kBlockSymbols);

constexpr int FurtherBits(int length_code) {
    return length_code < kSingleLengths ? 0 : length_code - (kSingleLengths - 1);
}
constexpr std::uint32_t ShortestMatch(int length_code) {
    if (length_code < kSingleLengths) return static_cast<std::uint32_t>(length_code + 1);
    return (1U << FurtherBits(length_code)) + (kSingleLengths - 1);
}
static_assert(ShortestMatch(14) == 15 && ShortestMatch(15) == 16 && ShortestMatch(16) == 18);

struct BlockChecksums {
    std::uint32_t decompressed;
    std::uint32_t compressed;
};

/// What the header of one file says.
struct CompressedFileInfo {
    int block_bits = 0;
    std::uint32_t block_size = 0;  ///< 2^block_bits
    std::uint32_t last_size = 0;   ///< of the last block decompressed, 1 to block_size
    std::uint32_t blocks = 0;
    std::array<std::uint32_t, kDistances> distances{};  ///< each at least 1
    std::vector<std::uint64_t> offsets;  ///< of the blocks in the file, and of the last one's end
    std::vector<BlockChecksums> checksums;  ///< for each block, or none when they are not retained
    BlockTable table;

    std::uint32_t SizeOf(std::uint32_t block) const {
        return block + 1 == blocks ? last_size : block_size;
    }
    std::uint32_t CompressedSizeOf(std::uint32_t block) const {
        return static_cast<std::uint32_t>(offsets[block + 1] - offsets[block]);
    }
    /// Bytes that all blocks decompress to.
    std::uint64_t DataBytes() const {
        if (blocks == 0) return 0;
        return (std::uint64_t{blocks} - 1) * block_size + last_size;
    }
};

enum class BlockSums { Skip, Retain };

/// Reads the header from bytes that begin with it; more may follow.
ErrorCode ParseCompressedHeader(std::span<const std::uint8_t> bytes,
                                BlockSums sums,
                                std::unique_ptr<CompressedFileInfo>* info);

/// Reads the header of a file positioned at its start.
ErrorCode ReadCompressedHeader(DiskFile& file,
                               BlockSums sums,
                               std::unique_ptr<CompressedFileInfo>* info);

/// Decompresses one block from its compressed bytes into the beginning of `out`, which has room for
/// kSpareBytes more than the block. Checks the block's checksums when they were retained.
ErrorCode DecodeBlock(const CompressedFileInfo& info,
                      std::uint32_t block,
                      std::span<const std::uint8_t> compressed,
                      std::span<std::uint8_t> out);

/// What reading a block needs besides its destination: room for its compressed bytes. One per
/// process, since only one block is decoded at a time.
struct DecodeState {
    static constexpr std::uint32_t kMarker = 0x79A3F29D;

    std::uint32_t marker = kMarker;  ///< looked at in debug builds: has somebody written over it?
    std::uint32_t block_size = 0;
    std::unique_ptr<std::uint8_t[]> input;  ///< block_size bytes
};

/// None while no compressed file is registered.
extern std::unique_ptr<DecodeState>& decode_state;

/// Makes decode_state ready for blocks of this size, 1 to 65536, in place of an earlier one.
ErrorCode AllocateDecodeState(std::uint32_t block_size);

/// Reads a block through decode_state; `out` as for DecodeBlock.
ErrorCode ReadBlock(DiskFile& file,
                    const CompressedFileInfo& info,
                    std::uint32_t block,
                    std::span<std::uint8_t> out);

}  // namespace torval

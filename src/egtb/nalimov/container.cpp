#include "egtb/nalimov/container.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <new>

#include "egtb/nalimov/bit_reader.h"
#include "egtb/nalimov/checksum.h"

namespace torval {

// Never destroyed: a host may leave its program while the engine's thread reads blocks.
std::unique_ptr<DecodeState>& decode_state = *new std::unique_ptr<DecodeState>;

namespace {

constexpr std::size_t kSmallestHeader = kFixedHeaderBytes + kChecksumBytes;

constexpr std::size_t kHeaderSizeAt = 64;
constexpr std::size_t kBlockBitsAt = 70;
constexpr std::size_t kDistanceCountAt = 71;
constexpr std::size_t kBlockCountAt = 72;
constexpr std::size_t kFormatMarkAt = 76;

constexpr ErrorCode Broken(ErrorPlace place) { return MakeError(ErrorClass::FileBroken, place); }

std::uint32_t NumberAt(std::span<const std::uint8_t> bytes, std::size_t at) {
    return std::uint32_t{bytes[at]} << 24 | std::uint32_t{bytes[at + 1]} << 16 |
           std::uint32_t{bytes[at + 2]} << 8 | std::uint32_t{bytes[at + 3]};
}

bool IsBanner(std::span<const std::uint8_t> bytes) {
    constexpr std::array<std::uint8_t, kBannerBytes - kBannerTextBytes> kEnd = {'\r', '\n'};
    const auto text = bytes.first(kBannerTextBytes);
    const auto end = bytes.subspan(kBannerTextBytes, kEnd.size());
    return std::ranges::all_of(text, [](std::uint8_t c) { return c >= ' ' && c <= '~'; }) &&
           std::ranges::equal(end, kEnd);
}

/// Judges the first 80 bytes.
ErrorCode CheckFixedHeader(std::span<const std::uint8_t> bytes) {
    if (!IsBanner(bytes)) return MakeError(ErrorClass::Read, ErrorPlace::Banner);
    if (NumberAt(bytes, kHeaderSizeAt) < kSmallestHeader) return Broken(ErrorPlace::HeaderSize);
    if (bytes[kBlockBitsAt] > kLargestBlockBits) return Broken(ErrorPlace::BlockBits);
    if (bytes[kDistanceCountAt] != kDistances) return Broken(ErrorPlace::DistanceCount);
    if (NumberAt(bytes, kFormatMarkAt) != kFormatMark) return Broken(ErrorPlace::FormatMark);
    return ErrorNone;
}

/// Reads what lies between the first 80 bytes and the checksum, both of which are good.
ErrorCode ParseFields(std::span<const std::uint8_t> header,
                      BlockSums sums,
                      CompressedFileInfo& info) {
    const int bits = header[kBlockBitsAt];
    const std::uint32_t blocks = NumberAt(header, kBlockCountAt);
    const std::uint64_t fields_at = kFixedHeaderBytes + std::uint64_t{blocks} * 8;
    const std::uint64_t field_bits =
        (std::uint64_t{blocks} + 1 + kDistances) * header[kBlockBitsAt];
    const std::uint64_t lengths_at = fields_at + (field_bits + 7) / 8;
    // Only now is the number of blocks known to be one that memory can be taken for.
    if (lengths_at > header.size() - kChecksumBytes) return Broken(ErrorPlace::HeaderSize);

    info.block_bits = bits;
    info.block_size = 1U << bits;
    info.blocks = blocks;
    if (sums == BlockSums::Retain) {
        info.checksums.reserve(blocks);
        for (std::size_t at = kFixedHeaderBytes; at < fields_at; at += 8) {
            info.checksums.push_back({NumberAt(header, at), NumberAt(header, at + 4)});
        }
    }

    BitReader fields(header.subspan(fields_at, lengths_at - fields_at));
    const auto take_size = [&] {
        const std::uint32_t size = fields.Take(bits);
        return size == 0 ? info.block_size : size;
    };
    info.offsets.reserve(std::size_t{blocks} + 1);
    info.offsets.push_back(header.size());
    for (std::uint32_t block = 0; block < blocks; ++block) {
        info.offsets.push_back(info.offsets.back() + take_size());
    }
    info.last_size = take_size();
    for (std::uint32_t& distance : info.distances) {
        distance = fields.Take(bits);
        // No byte lies before itself.
        if (distance == 0) return Broken(ErrorPlace::Distance);
    }

    BitReader codes(header.subspan(lengths_at, header.size() - kChecksumBytes - lengths_at));
    std::array<std::uint8_t, kBlockSymbols> lengths;
    switch (ReadCodeLengths(codes, lengths)) {
        case LengthsAnswer::Good: break;
        case LengthsAnswer::BadTables: return Broken(ErrorPlace::LengthTables);
        case LengthsAnswer::BadLengths: return Broken(ErrorPlace::CodeLengths);
    }
    return BuildDecodeTable(lengths, &info.table) ? ErrorNone : Broken(ErrorPlace::BlockTable);
}

ErrorCode ParseHeader(std::span<const std::uint8_t> header,
                      BlockSums sums,
                      std::unique_ptr<CompressedFileInfo>* info) {
    const std::size_t summed = header.size() - kChecksumBytes;
    if (ChecksumOf(header.first(summed)) != NumberAt(header, summed)) {
        return Broken(ErrorPlace::HeaderChecksum);
    }
    try {
        auto read = std::make_unique<CompressedFileInfo>();
        if (const ErrorCode error = ParseFields(header, sums, *read)) return error;
        *info = std::move(read);
    } catch (const std::bad_alloc&) {
        return MakeError(ErrorClass::OutOfMemory, ErrorPlace::HeaderMemory);
    }
    return ErrorNone;
}

// Matches are copied in pieces whose size the compiler knows; the last one may pass the match's end
// by up to kPiece - 1 bytes, which the next symbol or nobody overwrites.
constexpr std::uint32_t kPiece = 16;
static_assert(kPiece - 1 <= kSpareBytes);

/// Copies a match one piece after the other. `distance` is at least the size of a piece.
template <std::uint32_t kBytes>
void CopyPieces(std::uint8_t* to, std::uint32_t distance, std::uint32_t length) {
    const std::uint8_t* const end = to + length;
    do {
        std::memcpy(to, to - distance, kBytes);
        to += kBytes;
    } while (to < end);
}

void CopyMatch(std::uint8_t* to, std::uint32_t distance, std::uint32_t length) {
    if (distance >= kPiece) {
        CopyPieces<kPiece>(to, distance, length);
        return;
    }
    if (distance == 1) {
        std::memset(to, to[-1], length);
        return;
    }
    // What repeats every `distance` bytes also repeats every multiple of it: once a few bytes stand,
    // the source lies far enough behind for whole pieces.
    constexpr std::uint32_t kSmallPiece = 8;
    const std::uint32_t reach = (kSmallPiece + distance - 1) / distance * distance;
    const std::uint32_t singly = std::min(length, reach - distance);
    for (std::uint32_t at = 0; at < singly; ++at) to[at] = *(to + at - distance);
    if (singly < length) CopyPieces<kSmallPiece>(to + singly, reach, length - singly);
}

ErrorCode DecodeSymbols(const CompressedFileInfo& info,
                        std::span<const std::uint8_t> compressed,
                        std::uint8_t* const begin,
                        std::uint32_t size) {
    // A copy on the stack: its fields can live in registers.
    BitReader reader(compressed);
    std::uint8_t* out = begin;
    std::uint8_t* const end = begin + size;
    while (out < end) {
        reader.Refill();
        int symbol = info.table.TakeSymbol(reader);
        if (symbol < kLiterals) {
            *out++ = static_cast<std::uint8_t>(symbol);
            continue;
        }
        symbol -= kLiterals;
        const int code = symbol % kLengthCodes;
        const std::uint32_t distance =
            info.distances[static_cast<std::size_t>(symbol) / kLengthCodes];
        std::uint32_t length = ShortestMatch(code);
        if (code >= kSingleLengths) length += reader.TakeReady(FurtherBits(code));
        if (distance > static_cast<std::size_t>(out - begin)) return Broken(ErrorPlace::MatchStart);
        length = std::min(length, static_cast<std::uint32_t>(end - out));
        CopyMatch(out, distance, length);
        out += length;
    }
    return reader.Overran() ? Broken(ErrorPlace::BlockInput) : ErrorNone;
}

}  // namespace

ErrorCode ParseCompressedHeader(std::span<const std::uint8_t> bytes,
                                BlockSums sums,
                                std::unique_ptr<CompressedFileInfo>* info) {
    if (bytes.size() < kFixedHeaderBytes) {
        return MakeError(ErrorClass::Read, ErrorPlace::FixedHeader);
    }
    if (const ErrorCode error = CheckFixedHeader(bytes)) return error;
    const std::uint32_t size = NumberAt(bytes, kHeaderSizeAt);
    if (size > bytes.size()) return MakeError(ErrorClass::Read, ErrorPlace::HeaderBytes);
    return ParseHeader(bytes.first(size), sums, info);
}

ErrorCode ReadCompressedHeader(DiskFile& file,
                               BlockSums sums,
                               std::unique_ptr<CompressedFileInfo>* info) {
    std::array<std::uint8_t, kFixedHeaderBytes> fixed;
    if (file.Read(fixed) != fixed.size()) {
        return MakeError(ErrorClass::Read, ErrorPlace::FixedHeader);
    }
    if (const ErrorCode error = CheckFixedHeader(fixed)) return error;
    const std::uint32_t size = NumberAt(fixed, kHeaderSizeAt);
    // Before memory is taken for it: a damaged size can be up to 4 GB.
    if (size > file.Size()) return MakeError(ErrorClass::Read, ErrorPlace::HeaderBytes);
    try {
        std::vector<std::uint8_t> header(size);
        std::ranges::copy(fixed, header.begin());
        const auto rest = std::span(header).subspan(fixed.size());
        if (file.Read(rest) != rest.size()) {
            return MakeError(ErrorClass::Read, ErrorPlace::HeaderBytes);
        }
        return ParseHeader(header, sums, info);
    } catch (const std::bad_alloc&) {
        return MakeError(ErrorClass::OutOfMemory, ErrorPlace::HeaderMemory);
    }
}

ErrorCode DecodeBlock(const CompressedFileInfo& info,
                      std::uint32_t block,
                      std::span<const std::uint8_t> compressed,
                      std::span<std::uint8_t> out) {
    if (block >= info.blocks) return MakeError(ErrorClass::BadCall, ErrorPlace::BlockNumber);
    const std::uint32_t size = info.SizeOf(block);
    if (out.size() < size + kSpareBytes || compressed.size() != info.CompressedSizeOf(block)) {
        return MakeError(ErrorClass::BadCall, ErrorPlace::BlockSize);
    }
    const BlockChecksums* const sums = info.checksums.empty() ? nullptr : &info.checksums[block];
    if (sums != nullptr && ChecksumOf(compressed) != sums->compressed) {
        return Broken(ErrorPlace::CompressedSum);
    }
    if (compressed.size() == size) {
        std::memcpy(out.data(), compressed.data(), size);
    } else if (const ErrorCode error = DecodeSymbols(info, compressed, out.data(), size)) {
        return error;
    }
    if (sums != nullptr && ChecksumOf(out.first(size)) != sums->decompressed) {
        return Broken(ErrorPlace::DecompressedSum);
    }
    return ErrorNone;
}

ErrorCode AllocateDecodeState(std::uint32_t block_size) {
    if (block_size == 0 || block_size > 1U << kLargestBlockBits) {
        return MakeError(ErrorClass::BadCall, ErrorPlace::BlockSize);
    }
    try {
        auto state = std::make_unique<DecodeState>();
        state->block_size = block_size;
        state->input = std::make_unique<std::uint8_t[]>(block_size);
        decode_state = std::move(state);
    } catch (const std::bad_alloc&) {
        return MakeError(ErrorClass::OutOfMemory, ErrorPlace::StateMemory);
    }
    return ErrorNone;
}

ErrorCode ReadBlock(DiskFile& file,
                    const CompressedFileInfo& info,
                    std::uint32_t block,
                    std::span<std::uint8_t> out) {
    if (!decode_state) return MakeError(ErrorClass::BadCall, ErrorPlace::StateMissing);
#ifndef NDEBUG
    if (decode_state->marker != DecodeState::kMarker) {
        return MakeError(ErrorClass::BadCall, ErrorPlace::StateDamaged);
    }
#endif
    if (block >= info.blocks) return MakeError(ErrorClass::BadCall, ErrorPlace::BlockNumber);
    if (info.block_size > decode_state->block_size) {
        return MakeError(ErrorClass::BadCall, ErrorPlace::BlockSize);
    }
    const std::span<std::uint8_t> compressed(decode_state->input.get(),
                                             info.CompressedSizeOf(block));
    if (!file.Seek(info.offsets[block])) {
        return MakeError(ErrorClass::Read, ErrorPlace::BlockSeek);
    }
    if (file.Read(compressed) != compressed.size()) {
        return MakeError(ErrorClass::Read, ErrorPlace::BlockBytes);
    }
    return DecodeBlock(info, block, compressed, out);
}

}  // namespace torval

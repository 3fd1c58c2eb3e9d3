// Whatever bytes arrive as a compressed database file, reading stays inside its buffers and gives
// the same result twice.
//
// Input    the first byte chooses. Even: the rest is a file. Odd: the rest is what follows the first
//          80 bytes, which are put in front with a good header size; the second byte is the number
//          of blocks. In both the header gets the checksum that fits, or no input would pass it.

#include <cstdlib>
#include <vector>

#include "egtb/nalimov/checksum.h"
#include "egtb/nalimov/container.h"

namespace {

using namespace torval;

using Bytes = std::vector<std::uint8_t>;

void Require(bool holds) {
    if (!holds) std::abort();
}

void PutNumber(Bytes& bytes, std::size_t at, std::size_t number) {
    for (std::size_t i = 0; i < 4; ++i) {
        bytes[at + i] = static_cast<std::uint8_t>(number >> (24 - 8 * i));
    }
}

Bytes WithFixedHeader(const std::uint8_t* data, std::size_t size) {
    Bytes file(kBannerText.begin(), kBannerText.end());
    file.resize(kBannerTextBytes, ' ');
    file.insert(file.end(), {'\r', '\n', 0, 0, 0, 0});
    file.resize(kFixedHeaderBytes);
    file[70] = kBlockBits;
    file[71] = kDistances;
    file[75] = size == 0 ? 0 : data[0] % 4;
    PutNumber(file, 76, kFormatMark);
    if (size > 1) file.insert(file.end(), data + 1, data + size);
    // Half of the rest is header, half blocks.
    PutNumber(file, 64, kFixedHeaderBytes + (file.size() - kFixedHeaderBytes) / 2);
    return file;
}

void Seal(Bytes& file) {
    if (file.size() < kFixedHeaderBytes) return;
    std::size_t size = 0;
    for (std::size_t i = 64; i < 68; ++i) size = size << 8 | file[i];
    if (size < kFixedHeaderBytes + kChecksumBytes || size > file.size()) return;
    PutNumber(
        file, size - kChecksumBytes, ChecksumOf(std::span(file).first(size - kChecksumBytes)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    Bytes file =
        data[0] % 2 == 0 ? Bytes(data + 1, data + size) : WithFixedHeader(data + 1, size - 1);
    Seal(file);
    std::unique_ptr<CompressedFileInfo> info;
    const ErrorCode error = ParseCompressedHeader(file, BlockSums::Skip, &info);
    Require((error == ErrorNone) == (info != nullptr));
    if (!info) {
        Require(ClassOf(error) == ErrorClass::Read || ClassOf(error) == ErrorClass::FileBroken);
        return 0;
    }
    Require(info->offsets.size() == std::size_t{info->blocks} + 1);
    for (std::uint32_t block = 0; block < info->blocks && block < 8; ++block) {
        if (info->offsets[block + 1] > file.size()) break;
        // Copies of exactly their size, so that access beyond them is detected.
        const Bytes compressed(
            file.begin() + static_cast<std::ptrdiff_t>(info->offsets[block]),
            file.begin() + static_cast<std::ptrdiff_t>(info->offsets[block + 1]));
        Bytes first(info->SizeOf(block) + kSpareBytes, 0x55);
        Bytes second(first.size(), 0xAA);
        const ErrorCode answer = DecodeBlock(*info, block, compressed, first);
        Require(DecodeBlock(*info, block, compressed, second) == answer);
        if (answer != ErrorNone) continue;
        first.resize(info->SizeOf(block));
        second.resize(info->SizeOf(block));
        Require(first == second);
    }
    return 0;
}

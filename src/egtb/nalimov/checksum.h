// The 32-bit checksum that guards header and blocks of a compressed database file.
//
// Shape    one table of 256 words and a shift for each byte; starts at 0, nothing is inverted.
// Caution  the table takes the polynomial where the lowest bit is clear. The CRC-32 that everybody
//          knows takes it where the bit is set, so no library function gives these sums.
// Thread   constant data; any thread.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace torval {

inline constexpr auto kChecksumTable = [] {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t i = 0; i < table.size(); ++i) {
        std::uint32_t word = i;
        for (int step = 0; step < 8; ++step) {
            word = (word & 1) != 0 ? word >> 1 : (word >> 1) ^ 0xEDB88320;
        }
        table[i] = word;
    }
    return table;
}();
// The bits of 255 leave one by one and all of them are set; 127 leaves a clear one for the last step.
static_assert(kChecksumTable[255] == 0 && kChecksumTable[127] == 0xEDB88320);

constexpr std::uint32_t ChecksumOf(std::span<const std::uint8_t> bytes) {
    std::uint32_t sum = 0;
    for (const std::uint8_t byte : bytes) sum = kChecksumTable[(sum ^ byte) & 0xFF] ^ (sum >> 8);
    return sum;
}

}  // namespace torval

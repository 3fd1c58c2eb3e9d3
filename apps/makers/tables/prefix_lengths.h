// Prefix codes from the writer's side: the length of each symbol's code word, and the words.
//
// Thread   no shared state; any thread.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace torval {

/// Bits, the most significant of each byte first; the last byte ends in zeros.
class BitWriter {
public:
    /// 0 to 32 bits, of which value has no more.
    void Put(std::uint32_t value, int bits);
    std::vector<std::uint8_t> TakeBytes();

private:
    std::vector<std::uint8_t> bytes_;
    std::uint64_t buffer_ = 0;
    int count_ = 0;
};

/// The lengths with which symbols that occur this often take the fewest bits, none above `longest`.
/// 0 for symbols that do not occur; 1 for a symbol that occurs alone. 2^longest is at least the
/// number of symbols.
std::vector<std::uint8_t> CodeLengthsFor(std::span<const std::uint64_t> counts, int longest);

/// A symbol and how it is written.
struct CodeWord {
    std::uint32_t bits = 0;
    int length = 0;
};

/// The canonical code words of these lengths; no bits for a symbol that occurs alone.
std::vector<CodeWord> CodeWordsOf(std::span<const std::uint8_t> lengths);

/// Writes the code lengths of the block alphabet in the shorter of the forms that a reader accepts.
void WriteCodeLengths(BitWriter& writer, std::span<const std::uint8_t> lengths);

}  // namespace torval

// One file of a Thompson database, which gives the value of a position by its number.
//
// Shape    big-endian 32-bit numbers: K, m, the m common values, the lengths and entries of the
//          trees B and C, the positions of a block, the number of blocks, and the bit at which each
//          block begins after the header; then the blocks, most significant bit of a byte first.
//          A leaf of tree B is K digits in base m + 1, the highest first; a digit below m is a
//          common value, the digit m a value that follows by tree C.
// Errors   a file that cannot be opened or whose header is damaged stays closed; a value that cannot
//          be read is absent. Damaged data causes neither an access outside the buffers nor an
//          endless loop.
// Thread   one at a time.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/disk_file.h"

namespace torval {

inline constexpr std::uint32_t kThompsonLeaf = 0x800000;  ///< marks a tree's entry as a leaf
inline constexpr int kLongestThompsonCode = 64;           ///< bits of a symbol
/// Values of a leaf of tree B. A leaf has 31 bits, so that further digits could only be zero.
inline constexpr std::uint32_t kMostThompsonDigits = 32;

struct ThompsonHeader {
    std::uint32_t values_per_leaf = 0;         ///< K, 1 to kMostThompsonDigits
    std::vector<std::uint32_t> common_values;  ///< A
    std::vector<std::uint32_t> value_tree;     ///< B
    std::vector<std::uint32_t> rare_tree;      ///< C
    std::uint32_t positions_per_block = 0;     ///< P, at least 1
    std::vector<std::uint64_t> block_starts;   ///< D, in bits from the start of the file
};

class ThompsonFile {
public:
    /// Opens a file for reading. False when there is none, its header is cut short or makes no
    /// sense, or the memory for it cannot be had.
    bool Open(const std::string& name);

    /// Closes the file. The next read opens it again by its name.
    void Close() { file_.Close(); }

    /// Closes the file and forgets it.
    void Forget();

    bool IsOpen() const { return file_.IsOpen(); }
    const std::string& Name() const { return name_; }
    const ThompsonHeader& Header() const { return header_; }

    /// The value of the position with this number; none after an error.
    std::optional<std::uint8_t> ReadValue(std::uint32_t position);

    /// Reads the values of a block from its start, as many as `values` holds. How many were read:
    /// fewer when an error ended it.
    std::size_t ReadBlock(std::size_t block, std::span<std::uint8_t> values);

private:
    bool ReadHeader();
    bool MayRead(std::size_t block);

    std::string name_;
    DiskFile file_;
    ThompsonHeader header_;
};

}  // namespace torval

// A book file without positions, to be filled.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace torval {

struct NewBook {
    bool has_statistics = false;  ///< a BX file
    char version_major = '2';     ///< from '3' on the other keys
    char version_minor = '0';
    std::uint16_t block_size = 512;  ///< at least 64
    std::uint16_t slots = 1024;      ///< of the index; a power of two, at most 32768
    std::string_view comment = {};   ///< cut to what block 1 holds
};

/// The bytes of the file: header, comment block, index.
std::vector<std::uint8_t> EmptyBook(const NewBook& book);

}  // namespace torval

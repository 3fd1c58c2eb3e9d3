#include "book/new_book.h"

#include <algorithm>

#include "book/book_format.h"

namespace torval {

std::vector<std::uint8_t> EmptyBook(const NewBook& book) {
    constexpr std::uint16_t kIndexBlock = 2;
    const std::size_t size = book.block_size;
    const std::size_t blocks = kIndexBlock + (2 * std::size_t{book.slots} + size - 1) / size;
    std::vector<std::uint8_t> bytes(blocks * size);
    bytes[0] = 'B';
    bytes[1] = book.has_statistics ? 'X' : 'K';
    bytes[2] = static_cast<std::uint8_t>(book.version_major);
    bytes[3] = static_cast<std::uint8_t>(book.version_minor);
    Store16(&bytes[4], book.block_size);
    Store16(&bytes[6], static_cast<std::uint32_t>(blocks));
    Store16(&bytes[14], kIndexBlock);
    Store16(&bytes[16], book.slots);
    Store32(&bytes[22], book.slots - 1U);
    const auto comment = book.comment.substr(0, size - kBlockLinks - 1);
    std::ranges::copy(comment, bytes.begin() + static_cast<std::ptrdiff_t>(size + kBlockLinks));
    return bytes;
}

}  // namespace torval

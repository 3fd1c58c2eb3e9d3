// A book file put together in memory from positions and their moves.
//
// Shape    header, comment in block 1, index from block 2, then the chains in the order of their
//          slots; a chain's records are in the order in which they were added, each in its first
//          block with room. The index is the smallest power of two that gives a slot three quarters
//          of a block on average, so most lookups read one block and a chain has room to grow; it
//          has 16 slots at least and 32768 at most.
// Memory   twice the file, which is 32 MB at most with blocks of 512 bytes and 64 MB with 1024.
// Thread   pure data.
#pragma once

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "book/book_format.h"

namespace torval {

struct BookShape {
    bool has_statistics = false;
    char version_major = '2';
    char version_minor = '0';
    std::string comment = {};

    std::uint16_t BlockSize() const { return has_statistics ? 1024 : 512; }
};

/// More positions than the blocks of a file hold.
class BookTooLarge : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class BookImage {
public:
    explicit BookImage(BookShape shape);

    /// Adds a position that was not added before, with its moves in the order in which the engine
    /// is to find them. Of more than kMostEntries those with the most games are kept; a position
    /// without moves is left out. Throws BookTooLarge.
    void Add(HashKey key, std::span<const BookEntry> entries);

    std::size_t Positions() const { return starts_.size(); }
    std::size_t Entries() const { return entries_; }

    /// The bytes of the file. Throws BookTooLarge.
    std::vector<std::uint8_t> Build() const;

private:
    std::span<const std::uint8_t> Record(std::size_t number) const;
    std::uint32_t SlotsFor() const;

    BookShape shape_;
    std::vector<std::uint8_t> records_;
    std::vector<std::uint32_t> starts_;  ///< of the records
    std::size_t entries_ = 0;
};

}  // namespace torval

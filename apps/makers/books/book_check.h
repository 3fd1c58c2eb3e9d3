// Whether a book file is sound: every block, link, record and counter in it.
//
// Method   the file is read directly, without the engine's lookup: each chain once from its slot
//          on, block by block. A block that does not belong to the chain ends it.
// Memory   8 bytes for each position and a few for each block.
// Thread   any; no position is needed.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "book/book_format.h"

namespace torval {

struct BookReport {
    std::vector<std::string> faults;  ///< the first kMostFaults of them
    std::size_t fault_count = 0;

    BookHeader header;
    std::string comment;  ///< of block 1, without what cannot be printed
    std::uint64_t file_size = 0;
    std::size_t chains = 0;
    std::size_t longest_chain = 0;  ///< in blocks
    std::size_t data_blocks = 0;    ///< that chains lead to
    std::size_t data_bytes = 0;     ///< of their records
    std::size_t positions = 0;
    std::size_t entries = 0;
    std::size_t most_entries = 0;  ///< in one position

    bool IsWhole() const { return fault_count == 0; }
};

inline constexpr std::size_t kMostFaults = 100;

using RecordVisitor = std::function<void(HashKey key, std::span<const BookEntry> entries)>;

/// Reads the whole file and calls `visit`, when there is one, for each record in the order of the
/// slots. Throws InputError for a file that cannot be read or that is not a book at all.
BookReport CheckBook(const std::string& path, const RecordVisitor& visit = {});

}  // namespace torval

// The blocks of database files that were read last, in memory.
//
// Shape    an area handed over by the registration, cut into slots of 8260 bytes, one block each. A
//          slot is known by its number, from 1; 0 stands for none. A slot is free, or it stands in
//          the recency list and in the chain of its block's bucket.
// Owner    block_cache.cpp; the area stays the caller's and outlives its use.
// Thread   the thread that probes.
#pragma once

#include <cstddef>
#include <cstdint>

#include "egtb/nalimov/container.h"
#include "egtb/nalimov/values.h"

namespace torval {

struct CacheSlot {
    std::int32_t ClassId;
    std::int32_t side;  ///< whose file the block is from: 0 for a class with equal sides
    std::uint32_t block;
    std::uint32_t size;   ///< bytes of the block; fewer than 8192 at the end of a file
    std::uint32_t older;  ///< recency list
    std::uint32_t newer;
    std::uint32_t next;  ///< chain; of a free slot the next free one
    std::uint32_t previous;
    std::uint8_t data[kBlockBytes + kSpareBytes];
};
static_assert(sizeof(CacheSlot) == 8260 && alignof(CacheSlot) == 4);

struct BlockCache {
    std::byte* area = nullptr;
    std::uint32_t slots = 0;
    std::uint32_t used = 0;    ///< slots 1 to used have been taken since the reset
    std::uint32_t free = 0;    ///< the first of those that were released
    std::uint32_t newest = 0;  ///< most recently used
    std::uint32_t oldest = 0;
};

extern BlockCache block_cache;

/// Closes all files and lays the slots out in `area`, which is aligned for a CacheSlot and keeps its
/// place until the next call. False, and no slots, when `size` bytes are fewer than 32.
bool InitBlockCache(std::byte* area, std::uint64_t size);

/// Closes all files, frees all slots and empties every chain. Nothing when there are no slots.
void ResetBlockCache();

/// Byte `offset` (0 to 8191) of a block, -128 to 127, from the cache or from the file of that side;
/// kUnknownValue when it cannot be read or is past the file's end. A file that cannot be opened
/// or read is forgotten: its name becomes empty.
int ReadTablebaseByte(int class_id, int side, std::uint32_t block, std::uint32_t offset);

/// Whether lists, chains and free slots fit together, for tests.
bool BlockCacheIsSound();

}  // namespace torval

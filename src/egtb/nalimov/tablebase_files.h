// Which database file each side of a material class is read from.
//
// Shape    one record for each class and side to move. A class with equal men on both sides has a
//          file for side 0 alone; its record of side 1 stays empty.
// Owner    tablebase_files.cpp. The registration fills name, compressed and buckets.
// Writers  the registration; the block cache opens files, keeps the bucket heads, and forgets the name
//          of a file that cannot be read.
// Range    an open file has a name. buckets, once there, stay until the cache is reset: they lead to
//          slots of the cache, also after the name has been forgotten.
// Thread   one: the thread that probes, or the registration while nobody probes.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "egtb/nalimov/classes.h"
#include "egtb/nalimov/container.h"
#include "platform/disk_file.h"

namespace torval {

inline constexpr std::size_t kBuckets = 32;

/// For each block number modulo 32 the first slot of the chain, 0 for an empty chain.
using BucketHeads = std::array<std::uint32_t, kBuckets>;

struct TablebaseFiles {
    std::string name;  ///< full path; empty while the side is not available
    DiskFile file;     ///< opened by the first read of a block
    std::unique_ptr<CompressedFileInfo> compressed;  ///< none for an uncompressed file
    std::unique_ptr<BucketHeads> buckets;            ///< none while nothing was ever registered
};

using TablebaseFilesOfClasses = std::array<std::array<TablebaseFiles, 2>, kClasses>;

extern TablebaseFilesOfClasses& tablebase_files;

/// Closes every open file; the next read of one of its blocks opens it again.
void CloseTablebaseFiles();

}  // namespace torval

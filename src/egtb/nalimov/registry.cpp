#include "egtb/nalimov/registry.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <span>
#include <utility>
#include <vector>

#include "egtb/nalimov/block_cache.h"
#include "egtb/nalimov/container.h"
#include "egtb/nalimov/index.h"
#include "egtb/nalimov/lengths.h"
#include "egtb/nalimov/search_list.h"
#include "egtb/nalimov/tablebase_files.h"
#include "platform/drives.h"
#include "platform/files.h"
#include "platform/process.h"
#include "state/flags.h"
#include "state/settings.h"

namespace torval {

int MaxTablebaseMen = 0;

namespace {

constexpr std::uint64_t kMegabyte = 1'048'576;
constexpr std::uint32_t kLongestChecked = 0x7FFFFFFF;
constexpr unsigned kDriveLetters = 26;

struct Registry {
    /// Classes of which a file has been registered, since the process started.
    std::array<bool, kClasses> known = {};
    std::array<bool, kDriveLetters> drive_missing = {};
    std::array<bool, kDriveLetters> drive_checked = {};
    bool compressed = false;  ///< a compressed file has been registered
    std::unique_ptr<CacheSlot[]> area;
};

// Never destroyed: a host may leave its program while the engine's thread probes.
Registry& registry = *new Registry;

/// A line for the standard output.
template <typename... Values>
std::string Line(const char* format, Values... values) {
    const int length = std::snprintf(nullptr, 0, format, values...);
    std::string text(static_cast<std::size_t>(length), '\0');
    std::snprintf(text.data(), text.size() + 1, format, values...);
    return text;
}

void Fail(const std::string& line) {
    std::fputs(line.c_str(), stdout);
    std::fflush(stdout);
    end_process(1);
}

/// Whether the directory's drive, if it names one, can be searched.
bool DriveIsThere(std::string_view directory) {
    if (directory.size() < 2 || directory[1] != ':') return true;
    const auto lower = std::tolower(static_cast<unsigned char>(directory[0]));
    const auto drive = static_cast<unsigned>(lower - 'a');
    if (drive >= kDriveLetters) return true;
    if (registry.drive_missing[drive]) return false;
    if (registry.drive_checked[drive]) return true;
    const std::uint32_t mask = drive_source.mask();
    if (mask != 0 && (mask >> drive & 1) == 0) return false;
    if (!drive_source.is_ready(directory[0])) {
        registry.drive_missing[drive] = true;
        return false;
    }
    registry.drive_checked[drive] = true;
    return true;
}

/// The names that a class file can have, the uncompressed one first.
std::vector<std::string> NamesFor(int class_id, int side) {
    const std::string name(kTablebaseClasses[static_cast<std::size_t>(class_id)].Name());
    const std::string suffix = side == 0 ? "nbw" : "nbb";
    struct Form {
        const char* before;
        const char* behind;
    };
    std::vector<std::string> names;
    for (const auto& [before, behind] : {Form{".", ""},
                                         Form{".", ".emd"},
                                         Form{"_", ".emd"},
                                         Form{"_", "_emd"},
                                         Form{"", ".emd"}}) {
        std::string file = name;
        file.append(before).append(suffix).append(behind);
        names.push_back(std::move(file));
    }
    return names;
}

std::string UnreadableLine(const std::string& name, ErrorCode error) {
    std::string line = "*** Unable to read " + name + " - ";
    switch (ClassOf(error)) {
        case ErrorClass::Read: return line.append("read error\n");
        case ErrorClass::OutOfMemory: return line.append("out of memory\n");
        case ErrorClass::FileBroken: return line.append("file broken\n");
        default: return line.append(Line("error %d\n", static_cast<int>(error)));
    }
}

/// Empty when the length is right.
std::string LengthLine(const std::string& name, std::uint32_t expected, std::uint64_t found) {
    if (expected == 0 || found == expected) return {};
    const auto wanted = static_cast<unsigned long>(expected);
    return Line("*** %s corrupted %lu %lu %lu\n",
                name.c_str(),
                wanted,
                wanted,
                static_cast<unsigned long>(found));
}

/// Entries of a compressed file.
std::uint64_t EntriesOf(const CompressedFileInfo& info, bool wide) {
    return wide ? info.DataBytes() / 2 : info.DataBytes();
}

/// What is wrong with the open file of a class, as a line; empty for nothing. Reads the header of a
/// compressed one.
std::string Examine(const FoundFile& found,
                    int class_id,
                    int side,
                    DiskFile* file,
                    std::unique_ptr<CompressedFileInfo>* info) {
    const auto id = static_cast<std::size_t>(class_id);
    const bool wide = kTablebaseClasses[id].HasWideEntries();
    const std::uint32_t expected = kEntryCounts[id][static_cast<std::size_t>(side)];
    if (!found.is_compressed) {
        if (wide || expected > kLongestChecked) return {};
        const std::uint64_t size = file->Size();
        if (!file->Seek(size)) return "*** Seek in " + found.name + " failed\n";
        return LengthLine(found.name, expected, size);
    }
    const ErrorCode error = ReadCompressedHeader(*file, BlockSums::Skip, info);
    if (error != ErrorNone) return UnreadableLine(found.name, error);
    if ((*info)->block_size != kBlockBytes) {
        return Line("*** %s: Unsupported block size %d\n",
                    found.name.c_str(),
                    static_cast<int>((*info)->block_size));
    }
    return LengthLine(found.name, expected, EntriesOf(**info, wide));
}

void ForgetFiles() {
    for (auto& sides : tablebase_files) {
        for (TablebaseFiles& files : sides) {
            files.name.clear();
            files.compressed.reset();
            files.buckets.reset();
        }
    }
    decode_state.reset();
}

/// As many slots as the settings ask for, or the most of them that can be had. The area fills as blocks
/// are read, so more than half of the machine's memory is never promised.
void LayOutCache() {
    const std::uint64_t wanted = std::uint64_t{ReadSetting(CacheSizeMB)} * kMegabyte;
    registry.area.reset();
    std::uint64_t slots = std::min(wanted, MemoryOfMachine() / 2) / sizeof(CacheSlot);
    for (; slots > 0; slots /= 2) {
        registry.area.reset(new (std::nothrow) CacheSlot[slots]);
        if (!registry.area) continue;
        InitBlockCache(reinterpret_cast<std::byte*>(registry.area.get()),
                       slots * sizeof(CacheSlot));
        return;
    }
}

bool IsToStop() { return AnyFlag(FlagAbort); }

/// Whether the directory holds a file that can be the class's, by one of its names.
bool MayHoldClass(const DirectoryNames& names, int class_id, int side) {
    return std::ranges::any_of(NamesFor(class_id, side),
                               [&](const std::string& name) { return names.MayHold(name); });
}

/// Registers what the directories hold; the highest class found. Stops early when it is to.
int RegisterFiles(std::span<const std::string> directories) {
    int highest = 0;
    SeenDirectories seen;
    for (const std::string& directory : directories) {
        if (!DriveIsThere(directory) || !seen.IsNew(directory)) continue;
        const DirectoryNames names(directory, IsToStop);
        if (IsToStop()) break;
        if (names.IsEmpty()) continue;
        for (int id = 1; id < kClasses; ++id) {
            const int sides = SidesOf(id);
            for (int side = 0; side < sides; ++side) {
                if (!MayHoldClass(names, id, side)) continue;
                if (RegisterTablebaseFile(directory, id, side)) highest = std::max(highest, id);
            }
        }
    }
    return highest;
}

int MenOfClass(int class_id) {
    if (class_id >= kFirstSixMen) return 6;
    if (class_id >= kFirstFiveMen) return 5;
    if (class_id >= kFirstFourMen) return 4;
    return class_id >= 1 ? 3 : 0;
}

}  // namespace

bool InitTablebases() {
    const std::vector<std::string> directories = TablebaseDirectories(ReadSettingText(NalimovPath));
    BuildIndexTables();
    registry.drive_missing = {};
    registry.drive_checked = {};
    // Closes the files. Blocks in the cache would refer to files that are forgotten.
    InitBlockCache(nullptr, 0);
    ForgetFiles();
    MaxTablebaseMen = 0;
    int highest = 0;
    try {
        highest = RegisterFiles(directories);
    } catch (const std::bad_alloc&) {
        ForgetFiles();
        throw;
    }
    if (registry.compressed) {
        const ErrorCode error = AllocateDecodeState(kBlockBytes);
        if (error != ErrorNone) {
            Fail(
                Line("*** Cannot allocate decode block: error code %d\n", static_cast<int>(error)));
        }
    }
    MaxTablebaseMen = MenOfClass(highest);
    LayOutCache();
    return !IsToStop();
}

FoundFile FindTablebaseFile(std::string_view directory, int class_id, int side) {
    FoundFile found;
    DiskFile file;
    for (const std::string& name : NamesFor(class_id, side)) {
        std::string path = NativeName(JoinName(directory, name));
        if (file.Open(path, DiskAccess::ReadOnly)) {
            found.name = std::move(path);
            break;
        }
        found.is_compressed = true;
    }
    if (!found.name.empty()) found.problem = Examine(found, class_id, side, &file, &found.info);
    return found;
}

bool RegisterTablebaseFile(std::string_view directory, int class_id, int side) {
    const auto id = static_cast<std::size_t>(class_id);
    const auto file_side = static_cast<std::size_t>(FileSideOf(class_id, side));
    TablebaseFiles& files = tablebase_files[id][file_side];
    if (!files.name.empty()) return true;
    if (!DriveIsThere(directory)) return false;
    FoundFile found = FindTablebaseFile(directory, class_id, side);
    if (found.name.empty()) return false;
    if (!found.problem.empty()) Fail(found.problem);
    if (found.is_compressed) registry.compressed = true;
    registry.known[id] = true;
    if (!files.buckets) {
        files.buckets.reset(new (std::nothrow) BucketHeads{});
        if (!files.buckets) {
            Fail(Line("*** Cannot allocate %d bytes of memory\n",
                      static_cast<int>(sizeof(BucketHeads))));
        }
    }
    files.name = std::move(found.name);
    files.compressed = std::move(found.info);
    return true;
}

int LookupClass(const MenCounts& white, const MenCounts& black) {
    const int id = ClassFor(white, black);
    const auto at = static_cast<std::size_t>(std::abs(id));
    if (!registry.known[at]) return 0;
    // Equal men with pawns: registered both ways at one place, the exchanged one last.
    return white == black && !kTablebaseClasses[at].IsSymmetric() ? -id : id;
}

}  // namespace torval

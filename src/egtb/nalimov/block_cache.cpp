#include "egtb/nalimov/block_cache.h"

#include <algorithm>
#include <cassert>
#include <limits>
#include <new>

#include "egtb/nalimov/tablebase_files.h"

namespace torval {

BlockCache block_cache;

namespace {

constexpr std::uint64_t kSmallestArea = 32;

CacheSlot& SlotAt(std::uint32_t number) {
    assert(number >= 1 && number <= block_cache.slots);
    return *std::launder(reinterpret_cast<CacheSlot*>(block_cache.area + std::uint64_t{number - 1} *
                                                                             sizeof(CacheSlot)));
}

std::uint32_t& HeadOf(const CacheSlot& slot) {
    const auto id = static_cast<std::size_t>(slot.ClassId);
    const auto side = static_cast<std::size_t>(slot.side);
    return (*tablebase_files[id][side].buckets)[slot.block % kBuckets];
}

void LeaveRecency(const CacheSlot& slot) {
    (slot.newer != 0 ? SlotAt(slot.newer).older : block_cache.newest) = slot.older;
    (slot.older != 0 ? SlotAt(slot.older).newer : block_cache.oldest) = slot.newer;
}

void BecomeNewest(std::uint32_t number) {
    CacheSlot& slot = SlotAt(number);
    slot.newer = 0;
    slot.older = block_cache.newest;
    (slot.older != 0 ? SlotAt(slot.older).newer : block_cache.oldest) = number;
    block_cache.newest = number;
}

void LeaveChain(const CacheSlot& slot) {
    (slot.previous != 0 ? SlotAt(slot.previous).next : HeadOf(slot)) = slot.next;
    if (slot.next != 0) SlotAt(slot.next).previous = slot.previous;
}

void LeadChain(std::uint32_t number) {
    CacheSlot& slot = SlotAt(number);
    std::uint32_t& head = HeadOf(slot);
    slot.previous = 0;
    slot.next = head;
    if (head != 0) SlotAt(head).previous = number;
    head = number;
}

/// A free slot, or the one whose block was not used for longest. It stands in no list.
std::uint32_t TakeSlot() {
    if (const std::uint32_t number = block_cache.free) {
        block_cache.free = SlotAt(number).next;
        return number;
    }
    if (block_cache.used < block_cache.slots) {
        const std::uint32_t number = ++block_cache.used;
        new (block_cache.area + std::uint64_t{number - 1} * sizeof(CacheSlot)) CacheSlot;
        return number;
    }
    const std::uint32_t number = block_cache.oldest;
    LeaveRecency(SlotAt(number));
    LeaveChain(SlotAt(number));
    return number;
}

bool OpenFile(TablebaseFiles& files) {
    if (files.file.IsOpen() || files.file.Open(files.name, DiskAccess::ReadOnly)) return true;
    // The process may have as many files open as it is allowed.
    CloseTablebaseFiles();
    return files.file.Open(files.name, DiskAccess::ReadOnly);
}

bool ReadUncompressed(TablebaseFiles& files, CacheSlot& slot) {
    if (!files.file.Seek(std::uint64_t{slot.block} * kBlockBytes)) return false;
    const std::size_t read = files.file.Read({slot.data, kBlockBytes});
    // The last block of a file is as short as the file's length makes it.
    if (read < kBlockBytes && files.file.ReadFailed()) return false;
    slot.size = static_cast<std::uint32_t>(read);
    return true;
}

bool FillSlot(TablebaseFiles& files, CacheSlot& slot) {
    if (!OpenFile(files)) return false;
    if (!files.compressed) return ReadUncompressed(files, slot);
    if (ReadBlock(files.file, *files.compressed, slot.block, slot.data) != ErrorNone) return false;
    slot.size = files.compressed->SizeOf(slot.block);
    return true;
}

int EntryAt(const CacheSlot& slot, std::uint32_t offset) {
    return offset < slot.size ? static_cast<std::int8_t>(slot.data[offset]) : kUnknownValue;
}

}  // namespace

bool InitBlockCache(std::byte* area, std::uint64_t size) {
    CloseTablebaseFiles();
    block_cache = {};
    if (size < kSmallestArea) return false;
    assert(reinterpret_cast<std::uintptr_t>(area) % alignof(CacheSlot) == 0);
    block_cache.area = area;
    block_cache.slots = static_cast<std::uint32_t>(std::min<std::uint64_t>(
        size / sizeof(CacheSlot), std::numeric_limits<std::uint32_t>::max()));
    ResetBlockCache();
    return true;
}

void ResetBlockCache() {
    if (block_cache.slots == 0) return;
    CloseTablebaseFiles();
    // Slots are laid down when they are first taken, so a large area costs memory only as it fills.
    block_cache.used = 0;
    block_cache.free = 0;
    block_cache.newest = 0;
    block_cache.oldest = 0;
    for (auto& sides : tablebase_files) {
        for (TablebaseFiles& files : sides) {
            if (files.buckets) files.buckets->fill(0);
        }
    }
}

int ReadTablebaseByte(int class_id, int side, std::uint32_t block, std::uint32_t offset) {
    assert(offset < kBlockBytes);
    TablebaseFiles& files =
        tablebase_files[static_cast<std::size_t>(class_id)][static_cast<std::size_t>(side)];
    if (block_cache.slots == 0 || !files.buckets) return kUnknownValue;

    for (std::uint32_t number = (*files.buckets)[block % kBuckets]; number != 0;) {
        CacheSlot& slot = SlotAt(number);
        if (slot.block == block) {
            if (number != block_cache.newest) {
                LeaveRecency(slot);
                BecomeNewest(number);
            }
            if (slot.previous != 0) {
                LeaveChain(slot);
                LeadChain(number);
            }
            return EntryAt(slot, offset);
        }
        number = slot.next;
    }

    // Once forgotten, a file must not cost a slot for every position that asks for it.
    if (files.name.empty()) return kUnknownValue;

    const std::uint32_t number = TakeSlot();
    CacheSlot& slot = SlotAt(number);
    slot.ClassId = class_id;
    slot.side = side;
    slot.block = block;
    if (!FillSlot(files, slot)) {
        files.name.clear();
        files.file.Close();
        slot.next = block_cache.free;
        block_cache.free = number;
        return kUnknownValue;
    }
    BecomeNewest(number);
    LeadChain(number);
    return EntryAt(slot, offset);
}

bool BlockCacheIsSound() {
    std::uint32_t listed = 0;
    std::uint32_t newer = 0;
    for (std::uint32_t number = block_cache.newest; number != 0; number = SlotAt(number).older) {
        if (SlotAt(number).newer != newer || ++listed > block_cache.used) return false;
        newer = number;
    }
    std::uint32_t chained = 0;
    for (std::size_t id = 0; id < tablebase_files.size(); ++id) {
        for (std::size_t side = 0; side < 2; ++side) {
            if (!tablebase_files[id][side].buckets) continue;
            for (const std::uint32_t& head : *tablebase_files[id][side].buckets) {
                std::uint32_t previous = 0;
                for (std::uint32_t number = head; number != 0; number = SlotAt(number).next) {
                    const CacheSlot& slot = SlotAt(number);
                    if (++chained > block_cache.used || slot.previous != previous) return false;
                    if (&HeadOf(slot) != &head) return false;
                    previous = number;
                }
            }
        }
    }
    std::uint32_t free = 0;
    for (std::uint32_t number = block_cache.free; number != 0; number = SlotAt(number).next) {
        if (++free > block_cache.used) return false;
    }
    return newer == block_cache.oldest && listed == chained && listed + free == block_cache.used;
}

}  // namespace torval

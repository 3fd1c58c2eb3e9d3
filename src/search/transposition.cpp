#include "search/transposition.h"

#include <cstring>
#include <memory>
#include <new>

namespace torval {

TranspositionTable transposition_table;

namespace {

// Never destroyed: a host may leave its program while the engine's thread searches.
std::unique_ptr<TTEntry[]>& table_memory = *new std::unique_ptr<TTEntry[]>;

}  // namespace

void AllocateTranspositionTable() {
    constexpr std::uint64_t kKilobyte = 1024;
    SettingsBlock& settings = settings_block;
    transposition_table = {};
    table_memory.reset();
    // A page may have put a negative number here; it asks for no table.
    const auto kilobytes = static_cast<std::int32_t>(settings.TranspKB);
    std::uint32_t entries = 0;
    if (kilobytes > 0) {
        entries = kMaxTableEntries;
        while (sizeof(TTEntry) * entries > static_cast<std::uint64_t>(kilobytes) * kKilobyte) {
            entries /= 2;
        }
    }
    if (entries != 0) table_memory.reset(new (std::nothrow) TTEntry[entries]());
    if (!table_memory) {
        settings.TranspFlags &= ~static_cast<std::uint32_t>(TranspInUse);
        return;
    }
    transposition_table = {.entries = table_memory.get(), .mask = entries - 1};
    settings.TranspKB = static_cast<std::uint32_t>(sizeof(TTEntry) * entries / kKilobyte);
}

void ClearTT() {
    if (!transposition_table.entries) return;
    std::memset(static_cast<void*>(transposition_table.entries),
                0,
                sizeof(TTEntry) * (std::size_t{transposition_table.mask} + 1));
}

}  // namespace torval

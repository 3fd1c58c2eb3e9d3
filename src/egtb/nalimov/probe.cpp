#include "egtb/nalimov/probe.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <new>

#include "board/generate.h"
#include "board/position.h"
#include "egtb/nalimov/block_cache.h"
#include "egtb/nalimov/index.h"
#include "egtb/nalimov/lengths.h"
#include "egtb/nalimov/registry.h"
#include "egtb/nalimov/tablebase_files.h"
#include "state/controller.h"
#include "state/flags.h"
#include "state/settings.h"
#include "torval/en_passant.h"

namespace torval {

namespace {

constexpr int kLookUpPly = 10;  ///< new material is looked up so near the root
constexpr int kManyMenPly = 6;  ///< more than three men are probed so near the root

struct MaterialCache {
    /// Men besides the kings that a file covers; negative without one.
    int piece_limit = -1;
    std::uint32_t signature = 0xFFFFFFFF;
    int men = 0;       ///< with the signature: four knights have the fields of one bishop
    int class_id = 0;  ///< negative when Black is the class's first side
};

MaterialCache cache;
EndgameProbe probe;

bool initialised = false;  ///< databases have been looked for

/// The settings have changed during a computation.
std::atomic<bool> renewal_waits = false;

MenCounts CountsOf(std::uint32_t word) {
    MenCounts counts = {};
    counts[Pawn] = static_cast<std::uint8_t>(PawnsIn(word));
    counts[Knight] = static_cast<std::uint8_t>(KnightsIn(word));
    counts[Bishop] = static_cast<std::uint8_t>(BishopsIn(word));
    counts[Rook] = static_cast<std::uint8_t>(RooksIn(word));
    counts[Queen] = static_cast<std::uint8_t>(word >> 28);
    return counts;
}

/// The position on the board, which has no more men than a class, as its class sees it.
ClassPosition AsClassSees(bool exchanged) {
    std::array<SideMen, 2> sides;
    for (const Side side : {White, Black}) {
        const PieceList& list = position.PieceList[side];
        SideMen& men = sides[side];
        men.king = static_cast<std::uint8_t>(IndexOf(list.squares[0]));
        for (int i = 1; i <= list.count; ++i) {
            const Square square = list.squares[static_cast<std::size_t>(i)];
            men.type[men.count] = TypeOf(position.Board[square]);
            men.square[men.count++] = static_cast<std::uint8_t>(IndexOf(square));
        }
    }
    const auto passed = EnPassantSquare(game_record.top->move,
                                        position.SideToMove,
                                        [](Square square) { return position.Board[square]; });
    return SeenByClass(sides, passed ? IndexOf(*passed) : kNoEnPassant, exchanged);
}

/// False: a request to stop came first.
bool FindDatabases() {
    const bool complete = InitTablebases();
    cache.piece_limit = MaxTablebaseMen - 2;
    initialised = true;
    return complete;
}

}  // namespace

void InitialiseDatabases() { (void)FindDatabases(); }

void RenewDatabases() {
    if (AnyFlag(FlagBusy)) {
        renewal_waits.store(true, std::memory_order_release);
        return;
    }
    if (!initialised) return;
    renewal_waits.store(false, std::memory_order_relaxed);
    InitialiseDatabases();
}

void TakeUpRenewal() {
    if (!renewal_waits.exchange(false, std::memory_order_acquire)) return;
    bool complete = false;
    try {
        complete = FindDatabases();
    } catch (const std::bad_alloc&) {
        // This computation goes on without databases.
    }
    // What was not found yet waits for the next one.
    if (!complete) renewal_waits.store(true, std::memory_order_release);
}

EndgameProbe* CheckTablebaseAvailable() {
    if (!(ReadSetting(settings_block.BookUse) & BookUseDatabases)) return nullptr;
    const int men = position.PieceList[White].count + position.PieceList[Black].count;
    if (men > cache.piece_limit) return nullptr;
    const std::uint32_t white = position.MaterialWord[White];
    const std::uint32_t black = position.MaterialWord[Black];
    const std::uint32_t signature = (white & 0xFFFF0000) | black >> 16;
    const int ply = think_controller.SearchPly;
    if (signature != cache.signature || men != cache.men) {
        if (ply > kLookUpPly) return nullptr;
        cache.signature = signature;
        cache.men = men;
        const MenCounts of_white = CountsOf(white);
        const MenCounts of_black = CountsOf(black);
        const bool told_apart = CountOf(of_white) + CountOf(of_black) == men;
        cache.class_id = told_apart ? LookupClass(of_white, of_black) : 0;
        return cache.class_id != 0 ? &probe : nullptr;
    }
    const bool too_deep = men >= 2 && ply > kManyMenPly;
    return cache.class_id == 0 || too_deep ? nullptr : &probe;
}

EvalResult EndgameProbe::ProbeTablebase(int, int, int) {
    const bool exchanged = cache.class_id < 0;
    const int id = exchanged ? -cache.class_id : cache.class_id;
    const int side = exchanged ? position.SideToMove ^ 1 : position.SideToMove;
    const auto file_side = static_cast<std::size_t>(FileSideOf(id, side));
    found = !tablebase_files[static_cast<std::size_t>(id)][file_side].name.empty();
    if (!found) return {};
    const auto index = IndexOf(id, side, AsClassSees(exchanged));
    const TablebaseValue value = index ? ReadTablebaseValue(id, side, *index) : kUnknownValue;
    // Without a value the evaluation goes on as if there were no database.
    found = value != kUnknownValue;
    return ToEngineScore(value, think_controller.SearchPly);
}

TablebaseValue ReadTablebaseValue(int class_id, int side, std::uint64_t index) {
    const int file_side = FileSideOf(class_id, side);
    const TablebaseFiles& files =
        tablebase_files[static_cast<std::size_t>(class_id)][static_cast<std::size_t>(file_side)];
    if (block_cache.slots == 0 || !files.buckets) return kUnknownValue;
    return TablebaseValueFrom(
        class_id, file_side, index, [=](std::uint32_t block, std::uint32_t offset) {
            return ReadTablebaseByte(class_id, file_side, block, offset);
        });
}

EvalResult ToEngineScore(TablebaseValue value, int ply) {
    constexpr int kUnknownScore = -20000;
    int score = 0;
    if (value == kUnknownValue) {
        score = kUnknownScore;
    } else if (value > 0) {
        score = 2 * value - ply + 10003;
    } else if (value < 0) {
        score = ply + 2 * value - 10004;
    }
    return {static_cast<std::int16_t>(score), kExact};
}

namespace tablebase_entry {

bool IsBehindEnd(int class_id, int file_side, std::uint64_t index) {
    return index >=
           kEntryCounts[static_cast<std::size_t>(class_id)][static_cast<std::size_t>(file_side)];
}

bool HasWideEntries(int class_id) {
    return kTablebaseClasses[static_cast<std::size_t>(class_id)].HasWideEntries();
}

bool IsKnownBad(int class_id, int file_side, std::uint64_t index) {
    constexpr std::uint64_t kBad[] = {
        0x0362BC7C, 0x0362DE44, 0x03637648, 0x03639810, 0x038D4F29, 0x040A2CAB, 0x043C778C};
    return class_id == kFirstFiveMen && file_side == 1 &&
           std::ranges::find(kBad, index) != std::end(kBad);
}

}  // namespace tablebase_entry

}  // namespace torval

// Counts every use of operator new in this program, to show that a search uses none.

#include <atomic>
#include <cstdlib>
#include <memory>
#include <new>

#include "search/engine_test.h"

// Seen inlined, these operators look to the compiler like new matched with free.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif

namespace {

std::atomic<std::uint64_t> allocations = 0;

void* Allocate(std::size_t size) noexcept {
    allocations.fetch_add(1, std::memory_order_relaxed);
    return std::malloc(size == 0 ? 1 : size);
}

void* AllocateOrThrow(std::size_t size) {
    void* const memory = Allocate(size);
    if (!memory) throw std::bad_alloc();
    return memory;
}

}  // namespace

void* operator new(std::size_t size) { return AllocateOrThrow(size); }
void* operator new[](std::size_t size) { return AllocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }

namespace torval {

namespace {

class NoAllocationTest : public EngineTest {};

TEST_F(NoAllocationTest, ASearchAllocatesNothing) {
    const std::uint64_t before = allocations.load();
    const auto one = std::make_unique<int>(1);
    ASSERT_GT(allocations.load(), before) << "the count works";
    settings_block.Level.depth1 = 5;
    for (const char* fen : {kStartFen,
                            "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
                            "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1"}) {
        SetUpPosition(fen);
        ASSERT_TRUE(SkipList.empty());
        MAINVAR line;
        const std::uint64_t start = allocations.load();
        const Status status = ComputeMove(&line);
        const std::uint64_t end = allocations.load();
        EXPECT_EQ(status, StatusOk);
        EXPECT_EQ(end, start) << fen;
        EXPECT_GT(think_controller.statistics.analize_cnt.load(), 1000U);
        ClearFlags(FlagBusy);
    }
}

}  // namespace

}  // namespace torval

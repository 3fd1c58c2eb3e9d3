// A search allocates nothing.

#include <memory>

#include "search/engine_test.h"
#include "support/allocations.h"

namespace torval {

namespace {

class NoAllocationTest : public EngineTest {};

TEST_F(NoAllocationTest, ASearchAllocatesNothing) {
    const std::uint64_t before = AllocationCount();
    const auto one = std::make_unique<int>(1);
    ASSERT_GT(AllocationCount(), before) << "the count works";
    settings_block.Level.depth1 = 5;
    for (const char* fen : {kStartFen,
                            "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
                            "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1"}) {
        SetUpPosition(fen);
        ASSERT_TRUE(SkipList.empty());
        MAINVAR line;
        const std::uint64_t start = AllocationCount();
        const Status status = ComputeMove(&line);
        const std::uint64_t end = AllocationCount();
        EXPECT_EQ(status, StatusOk);
        EXPECT_EQ(end, start) << fen;
        EXPECT_GT(think_controller.statistics.analize_cnt.load(), 1000U);
        ClearFlags(FlagBusy);
    }
}

}  // namespace

}  // namespace torval

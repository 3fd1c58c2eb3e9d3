// Leaf counts against published numbers.
#include "apps/cli/perft.h"

#include <gtest/gtest.h>

#include "apps/makers/set_up.h"
#include "apps/text/fen.h"
#include "apps/text/moves.h"
#include "game/game.h"
#include "state/settings.h"

namespace torval {
namespace {

void Put(const char* fen) {
    SetDefaultSettings();
    InitialiseEngine();
    std::string error;
    ASSERT_TRUE(SetUpFen(fen, &error)) << error;
}

struct PerftCase {
    const char* name;
    const char* fen;
    int depth;
    std::uint64_t leaves;
};
class PerftTest : public testing::TestWithParam<PerftCase> {};

TEST_P(PerftTest, CountsWhatIsPublished) {
    Put(GetParam().fen);
    EXPECT_EQ(Perft(GetParam().depth), GetParam().leaves);
    EXPECT_TRUE(PositionIsSound());
    if (GetParam().depth == 0) return;
    std::uint64_t sum = 0;
    for (const auto& [move, leaves] : PerftDivide(GetParam().depth)) sum += leaves;
    EXPECT_EQ(sum, GetParam().leaves);
}

constexpr const char* kBusy =
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1";

INSTANTIATE_TEST_SUITE_P(
    Published,
    PerftTest,
    testing::Values(PerftCase{"NoMoveMade", kStartFen, 0, 1},
                    PerftCase{"Start", kStartFen, 4, 197281},
                    PerftCase{"EveryKindOfMove", kBusy, 3, 97862},
                    PerftCase{
                        "PinsAlongTheRank", "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1", 5, 674624},
                    PerftCase{"PromotionsAndChecks",
                              "r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq - 0 1",
                              4,
                              422333},
                    PerftCase{"Underpromotion",
                              "rnbq1k1r/pp1Pbppp/2p5/8/2B5/8/PPP1NnPP/RNBQK2R w KQ - 1 8",
                              3,
                              62379},
                    PerftCase{"EnPassantOnOffer", "k7/8/8/3Pp3/8/8/8/K7 w - e6", 1, 5},
                    PerftCase{"EnPassantOpensTheRank", "8/8/8/K2Pp2r/8/8/8/7k w - e6", 1, 6},
                    PerftCase{"EnPassantTakesTheChecker", "8/8/8/2k5/3Pp3/8/8/4K3 b - d3", 1, 9},
                    PerftCase{"Mated", "R6k/8/6K1/8/8/8/8/8 b - -", 3, 0}),
    [](const auto& test) { return test.param.name; });

TEST(Perft, LeavesOutTheCaptureOfAKing) {
    // White is to move and could take the king on e8 with the rook.
    Put("4k3/8/8/8/8/8/8/K3R3 w - -");
    std::uint64_t moves = 0;
    for (const auto& [move, leaves] : PerftDivide(1)) {
        EXPECT_NE(CoordinateText(move), "e1e8");
        moves += leaves;
    }
    EXPECT_EQ(moves, 15U);
    EXPECT_EQ(Perft(1), moves);
}

}  // namespace
}  // namespace torval

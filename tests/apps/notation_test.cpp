// Moves and scores as text.
#include "apps/cli/notation.h"

#include <gtest/gtest.h>

#include "apps/makers/set_up.h"
#include "board/legality.h"
#include "game/game.h"
#include "state/settings.h"

namespace torval {
namespace {

class NotationTest : public testing::Test {
protected:
    void Put(const char* fen) {
        SetDefaultSettings();
        InitialiseEngine();
        std::string error;
        ASSERT_TRUE(SetUpFen(fen, &error)) << error;
    }
    static Move Legal(std::string_view coordinates) {
        for (MoveEntry* entry = EntryAt(legal_moves->quiet_head); entry;
             entry = NextEntry(*entry)) {
            if (Coordinates(entry->move) == coordinates) return entry->move;
        }
        ADD_FAILURE() << coordinates << " is not legal";
        return {};
    }
};

struct MoveCase {
    const char* name;
    const char* fen;
    const char* coordinates;
    const char* text;
};
class AlgebraicTest : public NotationTest, public testing::WithParamInterface<MoveCase> {};

TEST_P(AlgebraicTest, WritesWhatAPersonWould) {
    Put(GetParam().fen);
    EXPECT_EQ(Algebraic(Legal(GetParam().coordinates)), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Notation,
    AlgebraicTest,
    testing::Values(
        MoveCase{"Pawn", "4k3/8/8/8/8/8/4P3/4K3 w - -", "e2e4", "e4"},
        MoveCase{"PawnTakes", "4k3/8/8/3p4/4P3/8/8/4K3 w - -", "e4d5", "exd5"},
        MoveCase{"EnPassant", "4k3/8/8/3Pp3/8/8/8/4K3 w - e6", "d5e6", "dxe6"},
        MoveCase{"Piece", "4k3/8/8/8/8/8/8/1N2K3 w - -", "b1c3", "Nc3"},
        MoveCase{"PieceTakesWithCheck", "4k3/3p4/8/1B6/8/8/8/4K3 w - -", "b5d7", "Bxd7+"},
        MoveCase{"TwoFiles", "4k3/8/8/8/8/5N2/8/1N2K3 w - -", "b1d2", "Nbd2"},
        MoveCase{"TwoRanksOneFile", "4k3/8/8/R7/8/8/8/R3K3 w - -", "a1a3", "R1a3"},
        MoveCase{"ThreeQueensNeedBoth", "8/7k/8/8/Q2Q4/8/8/Q3K3 w - -", "a4d1", "Qa4d1"},
        MoveCase{"FileGoesBeforeRank", "8/8/8/7k/4Q3/8/8/Q3K3 w - -", "a1b1", "Qab1"},
        MoveCase{"PinnedOneDoesNotCount", "4r2k/8/8/8/8/4N3/8/1N2K3 w - -", "b1d2", "Nd2"},
        MoveCase{"BishopsOfOneColour", "8/7k/8/8/8/B7/8/2B1K3 w - -", "c1b2", "Bcb2"},
        MoveCase{"OtherTypesDoNotCount", "7k/8/8/8/8/8/3B4/R3K3 w - -", "a1c1", "Rc1"},
        MoveCase{"Short", "4k3/8/8/8/8/8/8/4K2R w K -", "e1g1", "O-O"},
        MoveCase{"LongWithCheck", "3k4/8/8/8/8/8/8/R3K3 w Q -", "e1c1", "O-O-O+"},
        MoveCase{"Promotion", "8/P6k/8/8/8/8/8/4K3 w - -", "a7a8n", "a8=N"},
        MoveCase{"PromotionTakesWithCheck", "1r5k/P7/8/8/8/8/8/4K3 w - -", "a7b8q", "axb8=Q+"},
        MoveCase{"BlackPromotes", "4k3/8/8/8/8/8/p7/7K b - -", "a2a1r", "a1=R+"},
        MoveCase{"Mate", "6k1/5ppp/8/8/8/8/8/3RK3 w - -", "d1d8", "Rd8#"},
        MoveCase{"StalemateIsNoMate", "7k/5K2/8/8/8/8/8/6Q1 w - -", "g1g6", "Qg6"}),
    [](const auto& test) { return test.param.name; });

TEST_F(NotationTest, AlgebraicLineFollowsTheMovesAndPutsEverythingBack) {
    Put("r3k2r/8/8/3Pp3/8/8/8/R3K2R w KQkq e6");
    const Move take = Legal("a1a8");
    const std::vector<Move> line = {take,
                                    {0x74, 0x64, King, 0},
                                    {0x70, 0x77, Rook, CodeOf(Black, Rook)},
                                    {0x64, 0x53, King, 0}};
    const Position before = position;
    const PlyRecord* const top = game_record.top;
    const PlyRecord above = *(top + 1);
    const std::vector<std::string> texts = AlgebraicLine(line);
    // The rook on h1 can also take on h8: the file is shared with none, so the file tells.
    EXPECT_EQ(texts, (std::vector<std::string>{"Rxa8+", "Ke7", "Raxh8", "Kd6"}));
    EXPECT_EQ(position.Board, before.Board);
    EXPECT_EQ(position.key, before.key);
    EXPECT_EQ(position.PieceList[Black].squares, before.PieceList[Black].squares)
        << "a search underway depends on this order";
    EXPECT_EQ(game_record.top, top);
    EXPECT_EQ((top + 1)->move, above.move);
    EXPECT_TRUE(PositionIsSound());
}

TEST_F(NotationTest, WritesScriptForms) {
    EXPECT_EQ(EvarHex({0x84, 0x9B, 0x86, 0xD5}), "849b86d5");
    EXPECT_EQ(Coordinates({0x8E, 0xFC, 0x51, 0}), "g1e8q") << "marks are no part of a square";
    EXPECT_EQ(SquareName(0x77), "h8");
}

TEST(ScoreTextTest, TellsPawnsFromMates) {
    EXPECT_EQ(ScoreText(0), "+0.00");
    EXPECT_EQ(ScoreText(44), "+0.34");
    EXPECT_EQ(ScoreText(-192), "-1.50");
    EXPECT_EQ(ScoreText(8999), "+70.30");
    EXPECT_EQ(ScoreText(10000), "mate in 1");
    EXPECT_EQ(ScoreText(9998), "mate in 2");
    EXPECT_EQ(ScoreText(-9999), "mated in 1");
    EXPECT_EQ(ScoreText(-9997), "mated in 2");
    EXPECT_EQ(ScoreText(19500), "+152.34") << "an evaluation beyond the mate scores";
}

}  // namespace
}  // namespace torval

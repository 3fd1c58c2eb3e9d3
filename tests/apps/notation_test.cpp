// Moves and scores as text.
#include "apps/cli/notation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "apps/makers/set_up.h"
#include "apps/makers/tables/position_values.h"
#include "apps/text/game_text.h"
#include "apps/text/moves.h"
#include "apps/text/san.h"
#include "board/legality.h"
#include "egtb/nalimov/index.h"
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
            if (CoordinateText(entry->move) == coordinates) return entry->move;
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
        MoveCase{"PawnTakes", "4k3/8/8/3p4/4P3/8/8/4K3 w - -", "e4d5", "exd5"},
        MoveCase{"EnPassant", "4k3/8/8/3Pp3/8/8/8/4K3 w - e6", "d5e6", "dxe6"},
        MoveCase{"ThreeQueensNeedBoth", "8/7k/8/8/Q2Q4/8/8/Q3K3 w - -", "a4d1", "Qa4d1"},
        MoveCase{"PinnedOneDoesNotCount", "4r2k/8/8/8/8/4N3/8/1N2K3 w - -", "b1d2", "Nd2"},
        MoveCase{"OtherTypesDoNotCount", "7k/8/8/8/8/8/3B4/R3K3 w - -", "a1c1", "Rc1"},
        MoveCase{"LongWithCheck", "3k4/8/8/8/8/8/8/R3K3 w Q -", "e1c1", "O-O-O+"},
        MoveCase{"PromotionTakesWithCheck", "1r5k/P7/8/8/8/8/8/4K3 w - -", "a7b8q", "axb8=Q+"},
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
    // The rook on h1 can also capture on h8: no other rook is on this file, so the file is enough.
    EXPECT_EQ(texts, (std::vector<std::string>{"Rxa8+", "Ke7", "Raxh8", "Kd6"}));
    EXPECT_EQ(position.Board, before.Board);
    EXPECT_EQ(position.key, before.key);
    EXPECT_EQ(position.PieceList[Black].squares, before.PieceList[Black].squares)
        << "a search underway depends on this order";
    EXPECT_EQ(game_record.top, top);
    EXPECT_EQ((top + 1)->move, above.move);
    EXPECT_TRUE(PositionIsSound());
}

TEST_F(NotationTest, DatabasesNameTheSameMoves) {
    BuildIndexTables();
    for (const char* fen : {"8/7k/8/8/Q2Q4/8/8/Q3K3 w - - 0 1",
                            "4k3/8/8/R7/8/8/8/R3K3 w - - 0 1",
                            "8/8/8/k2pP2R/8/8/8/4K3 w - d6 0 1",
                            "1r2k3/P1P5/8/8/8/8/8/4K3 w - - 0 1",
                            "8/8/8/8/1n1n4/8/5n2/K2k4 b - - 0 1"}) {
        Put(fen);
        CHSBRD board;
        StorePosition(&board);
        std::vector<std::string> expected;
        for (MoveEntry* entry = EntryAt(legal_moves->quiet_head); entry;
             entry = NextEntry(*entry)) {
            expected.push_back(Algebraic(entry->move));
        }
        const auto small = SmallBoardOf(board, PassedSquare(board, game_record.top->move));
        ASSERT_TRUE(small) << fen;
        std::vector<std::string> names;
        for (const MoveValue& value :
             MoveValues(*small, [](int, int, std::uint64_t) { return kUnknownValue; })) {
            names.push_back(value.move);
        }
        EXPECT_THAT(names, testing::UnorderedElementsAreArray(expected)) << fen;
    }
}

TEST(San, NamesTheFileElseTheRankElseBoth) {
    struct Row {
        std::vector<std::uint8_t> others;
        const char* text;
    };
    for (const Row& row : {Row{{}, "Qa7"},
                           Row{{0x25}, "Qda7"},
                           Row{{0x37}, "Qda7"},
                           Row{{0x13}, "Q4a7"},
                           Row{{0x13, 0x25}, "Q4a7"},
                           Row{{0x37, 0x25}, "Qda7"},
                           Row{{0x13, 0x37}, "Qd4a7"}}) {
        SanMove move = {.type = 5, .from = 0x33, .to = 0x60, .takes = false};
        move.TellFrom(row.others);
        EXPECT_EQ(WriteSan(move), row.text);
    }
}

TEST_F(NotationTest, WritesScriptForms) {
    EXPECT_EQ(EvarHex({0x84, 0x9B, 0x86, 0xD5}), "849b86d5");
    EXPECT_EQ(CoordinateText({0x8E, 0xFC, 0x51, 0}), "g1e8q") << "marks are no part of a square";
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

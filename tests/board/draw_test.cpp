#include "board/draw.h"

#include "board/make.h"
#include "support/board_fixture.h"

namespace torval {
namespace {

class DrawStatusTest : public BoardTest {
protected:
    static constexpr const char* kThereAndBack = "g1f3 g8f6 f3g1 f6g8 ";
};

TEST_F(DrawStatusTest, NeedsMoreThanOneMinorPieceASide) {
    const std::pair<const char*, DrawResult> rows[] = {
        {"7k/8/8/8/8/8/8/K7", DrawMaterial},
        {"7k/8/8/8/8/8/8/KN6", DrawMaterial},
        {"7k/8/8/8/8/8/8/KB6", DrawMaterial},
        {"6nk/8/8/8/8/8/8/KB6", DrawMaterial},
        {"7k/8/8/8/8/8/8/KNN5", NoDraw},
        {"7k/8/8/8/8/8/P7/K7", NoDraw},
        {"7k/7p/8/8/8/8/8/KN6", NoDraw},
        {"7k/8/8/8/8/8/8/KR6", NoDraw},
    };
    for (const auto& [board, expected] : rows) {
        const std::string fen = std::string(board) + " w - - 0 1";
        for (const std::string& side : {fen, Mirrored(fen)}) {
            PutFen(side);
            EXPECT_EQ(DrawStatus(0), expected) << side;
            EXPECT_EQ(DrawStatus(9), expected) << side;
        }
    }
}

TEST_F(DrawStatusTest, FindsTheThirdOccurrence) {
    ASSERT_TRUE(Play(kThereAndBack));
    EXPECT_EQ(DrawStatus(0), NoDraw);
    ASSERT_TRUE(Play("g1f3 g8f6 f3g1"));
    EXPECT_EQ(DrawStatus(0), NoDraw) << "seen twice before, but with the other side to move";
    ASSERT_TRUE(Play("f6g8"));
    EXPECT_EQ(DrawStatus(0), DrawRepetition);
    EXPECT_EQ(DrawStatus(2), DrawRepetition);
    EXPECT_EQ(DrawStatus(3), DrawRepetition) << "4 and 8 plies back";
    position.FiftyCounter = 7;
    EXPECT_EQ(DrawStatus(2), DrawRepetition) << "8 plies back is the last one looked at";
    EXPECT_EQ(DrawStatus(3), NoDraw);
    position.FiftyCounter = 6;
    EXPECT_EQ(DrawStatus(2), NoDraw);
    position.FiftyCounter = 2;
    EXPECT_FALSE(CountRepetitions());
}

TEST_F(DrawStatusTest, SeesOnlyFourAndEightPliesBackDeepInASearch) {
    PutFen("4k3/7p/8/8/8/8/7P/4K3 w - - 0 1");
    ASSERT_TRUE(Play("e1d1 e8d8 d1e1 d8e8 e1d1 e8d8 d1d2 d8d7 d2e1 d7e8"));
    EXPECT_EQ(DrawStatus(2), DrawRepetition) << "6 and 10 plies back";
    EXPECT_EQ(DrawStatus(3), NoDraw);
}

TEST_F(DrawStatusTest, TellsPositionsWithOtherCastlingRightsApart) {
    PutFen("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1");
    ASSERT_TRUE(Play("a1b1 a8b8 b1a1 b8a8 a1b1 a8b8 b1a1 b8a8"));
    EXPECT_EQ(DrawStatus(0), NoDraw) << "the first of the three had all rights";
    ASSERT_TRUE(Play("a1b1 a8b8 b1a1 b8a8"));
    EXPECT_EQ(DrawStatus(0), DrawRepetition);
}

TEST_F(DrawStatusTest, CountsAHundredPliesBeforeRepetitionAndAfterMaterial) {
    ASSERT_TRUE(Play(std::string(kThereAndBack) + kThereAndBack));
    position.FiftyCounter = 99;
    EXPECT_EQ(DrawStatus(3), DrawRepetition);
    position.FiftyCounter = 100;
    EXPECT_EQ(DrawStatus(0), DrawFiftyMoves);
    EXPECT_EQ(DrawStatus(3), DrawFiftyMoves);
    position.FiftyCounter = 255;
    EXPECT_EQ(DrawStatus(3), DrawFiftyMoves);
    PutFen("7k/8/8/8/8/8/8/K7 w - - 0 1");
    position.FiftyCounter = 100;
    EXPECT_EQ(DrawStatus(0), DrawMaterial);
}

TEST_F(DrawStatusTest, ForgetsWhatLiesBehindAPawnMoveOrACapture) {
    ASSERT_TRUE(Play(std::string(kThereAndBack) + "e2e4 e7e5 " + kThereAndBack));
    EXPECT_EQ(DrawStatus(0), NoDraw);
    ASSERT_TRUE(Play(kThereAndBack));
    EXPECT_EQ(DrawStatus(0), DrawRepetition);
}

}  // namespace
}  // namespace torval

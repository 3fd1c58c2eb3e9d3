#include "board/legality.h"

#include "board/make.h"
#include "game/game.h"
#include "support/board_fixture.h"

namespace torval {
namespace {

class FilterLegalTest : public BoardTest {};

TEST_F(FilterLegalTest, PutsCapturesBehindQuietMovesAndKeepsBothOrders) {
    PutFen("4k3/8/8/3p1p2/4P3/8/8/4K3 w - - 0 1");
    MoveList& list = GenerateMoves();
    FilterLegal(&list);
    EXPECT_EQ(TextsOf(list.quiet_head), Words("e4e5 e1d2 e1e2 e1f2 e1f1 e1d1 e4f5 e4d5"))
        << "chains read from the last entry to the first";
    EXPECT_EQ(list.count, 8);
}

TEST_F(FilterLegalTest, KeepsTheMoveThatMayBePlayedAgain) {
    MOVES result;
    ASSERT_EQ(DoMove("e4", &result), StatusOk);
    ASSERT_EQ(MoveBack(1), StatusOk);
    ReleaseMoves(GenerateLegal());
    EXPECT_EQ(TextOf(game_record.top[1].move), "e2e4");
    EXPECT_EQ(game_record.top[1].key, position.key);
}

TEST_F(FilterLegalTest, MarksDiscoveredCastlingPromotionAndEnPassantChecks) {
    struct Row {
        const char* fen;
        const char* before;
        const char* move;
    };
    const Row rows[] = {
        {"4k3/8/8/8/4N3/8/8/K3R3 w - - 0 1", "", "e4c3"},
        {"5k2/8/8/8/8/8/8/4K2R w K - 0 1", "", "e1g1"},
        {"7k/P7/8/8/8/8/8/K7 w - - 0 1", "", "a7a8r"},
        {"6k1/3p4/8/4P3/8/8/B7/K7 b - - 0 1", "d7d5", "e5d6"},
    };
    for (const Row& row : rows) {
        PutFen(row.fen);
        ASSERT_TRUE(Play(row.before));
        EXPECT_TRUE(LegalMove(row.move).to & kCheckMark) << row.fen;
    }
    PutFen("7k/P7/8/8/8/8/8/K7 w - - 0 1");
    EXPECT_FALSE(LegalMove("a7a8n").to & kCheckMark);
}

TEST_F(FilterLegalTest, FindsAMoveWhateverItsMarks) {
    const MoveList& legal = GenerateLegal();
    const MoveEntry* entry = FindMove(legal, {0x14 | kFileNeeded, 0x34 | kCheckMark, Pawn, 0});
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(TextOf(entry->move), "e2e4");
    EXPECT_EQ(FindMove(legal, {0x14, 0x44, Pawn, 0}), nullptr);
}

TEST(CompareMoves, OrdersByOriginDestinationAndPromotionOnly) {
    const Move queen = {0x64, 0x74, 0x51, 0};
    const Move knight = {0x64, 0x74, 0x21, 0};
    EXPECT_TRUE(CompareMoves(queen, knight) > 0);
    EXPECT_TRUE(CompareMoves(knight, queen) < 0);
    Move marked = queen;
    marked.from |= kFileNeeded | kRankNeeded;
    marked.to |= kCheckMark | kMateMark;
    marked.capture = 9;
    EXPECT_TRUE(CompareMoves(queen, marked) == 0);
    EXPECT_TRUE(CompareMoves({0x01, 0x22, 2, 0}, {0x02, 0x20, 2, 0}) < 0) << "origin first";
    EXPECT_TRUE(CompareMoves({0x01, 0x22, 2, 0}, {0x01, 0x20, 2, 0}) > 0);
    EXPECT_TRUE(CompareMoves({0x04, 0x06, 0x86, 0}, {0x04, 0x06, 0x06, 0}) == 0);
}

TEST_F(FilterLegalTest, LeavesMarkAmbiguityToSayWhatNotationNeeds) {
    struct Row {
        const char* name;
        const char* fen;
        const char* move;
        int marks;
    };
    const Row rows[] = {
        {"Knights On Two Files", "7k/8/8/8/8/8/8/KN3N2 w - - 0 1", "b1d2", kFileNeeded},
        {"Rooks On One File", "7k/8/8/R7/8/8/8/R5K1 w - - 0 1", "a1a3", kRankNeeded},
        {"Queens On One Rank", "7k/8/8/8/8/8/8/QK2Q3 w - - 0 1", "e1e5", kFileNeeded},
        {"Bishops Never", "7k/8/8/8/8/8/8/KB3B2 w - - 0 1", "f1d3", 0},
        {"Other Destination", "7k/8/8/8/8/8/8/KN3N2 w - - 0 1", "f1g3", 0},
        {"Other Type", "7k/8/8/8/8/8/8/K2QR3 w - - 0 1", "e1e2", 0},
        {"Other Is Pinned", "r6k/8/8/8/8/8/N7/K3N3 w - - 0 1", "e1c2", 0},
        {"Pawns Never", "7k/8/8/3p4/2P1P3/8/8/K7 w - - 0 1", "c4d5", 0},
        {"Promotion Is APawn Move", "7k/P7/8/8/8/8/8/R6K w - - 0 1", "a7a8r", 0},
    };
    for (const Row& row : rows) {
        PutFen(row.fen);
        const MoveList& legal = GenerateLegal();
        MoveEntry* const entry = FindMove(legal, LegalMove(row.move));
        ASSERT_NE(entry, nullptr) << row.name;
        MarkAmbiguity(legal, entry);
        EXPECT_EQ(entry->move.from & ~kSquareBits, row.marks) << row.name;
    }
}

}  // namespace
}  // namespace torval

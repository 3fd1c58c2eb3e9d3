#include "search/transposition.h"

#include "search/engine_test.h"

namespace torval {

namespace {

class TranspositionTest : public EngineTest {
protected:
    /// Puts an entry for the working position.
    static TTEntry& Put(unsigned bound, int depth, int score) {
        TTEntry& entry = TableEntry(position.key);
        entry = {.lock = PrimaryKey(position.key),
                 .move = kMove,
                 .age = 1,
                 .depth_and_bound = static_cast<std::uint8_t>(bound | static_cast<unsigned>(depth)),
                 .score = static_cast<std::int16_t>(score)};
        return entry;
    }
    static constexpr TableMove kMove = 0x3414;  // e2e4
};

TEST_F(TranspositionTest, TakesTheLargestPowerOfTwoThatFits) {
    struct Row {
        std::int32_t kilobytes;
        std::uint32_t entries, rounded;
    };
    for (const Row& row : {Row{1024, 65536, 640},
                           Row{640, 65536, 640},
                           Row{639, 32768, 320},
                           Row{1, 64, 0},
                           Row{2000, 131072, 1280},
                           Row{4000, 262144, 2560}}) {
        settings_block.TranspKB = static_cast<std::uint32_t>(row.kilobytes);
        AllocateTranspositionTable();
        ASSERT_NE(transposition_table.entries, nullptr);
        EXPECT_EQ(transposition_table.mask, row.entries - 1) << row.kilobytes;
        EXPECT_EQ(settings_block.TranspKB, row.rounded) << row.kilobytes;
        EXPECT_TRUE(TableInUse());
    }
    for (const std::int32_t none : {0, -1, -1024}) {
        SetDefaultSettings();
        settings_block.TranspKB = static_cast<std::uint32_t>(none);
        AllocateTranspositionTable();
        EXPECT_EQ(transposition_table.entries, nullptr) << none;
        EXPECT_FALSE(TableInUse()) << none;
        NewGame();
        EXPECT_EQ(SearchTo(3).depth, 3) << "a search does without";
    }
}

TEST_F(TranspositionTest, PacksMovesInTwoBytes) {
    struct Row {
        const char* reason;
        Move move;
        TableMove packed;
        std::uint8_t flags;
    };
    for (const Row& row :
         {Row{"quiet", {0x14, 0x34, Pawn, 0}, 0x3414, 0},
          Row{"castling leaves its flags open", {0x04, 0x06, kCastlingFlags, 0}, 0x0604, 0},
          Row{"white queen", {0x63, 0x72, 0x51, 0x4C}, 0xD263, 0x51},
          Row{"white knight on h8", {0x67, 0x77, 0x21, 0}, 0xA767, 0x21},
          Row{"black rook", {0x16, 0x06, 0x41, 0}, 0xC616, 0x41},
          Row{"black bishop on a1", {0x11, 0x00, 0x31, 0x54}, 0xB011, 0x31}}) {
        EXPECT_EQ(PackMove(row.move), row.packed) << row.reason;
        const Move back = UnpackMove(row.packed);
        EXPECT_EQ(back, (Move{row.move.from, row.move.to, row.flags, 0})) << row.reason;
    }
}

TEST_F(TranspositionTest, ProbesByBoundAndDepth) {
    struct Row {
        const char* reason;
        unsigned bound;
        int depth, score;
        bool answered;
        int alpha, beta;  // after the probe
    };
    // Every probe is for depth 4 and the window 10..50.
    for (const Row& row : {Row{"exact", 0, 4, 30, true, 10, 50},
                           Row{"exact outside the window", 0, 5, 90, true, 10, 50},
                           Row{"too shallow", 0, 3, 30, false, 10, 50},
                           Row{"lower at beta", BoundLower, 4, 50, true, 10, 50},
                           Row{"lower inside raises alpha", BoundLower, 4, 49, false, 49, 50},
                           Row{"lower below alpha", BoundLower, 4, 5, false, 10, 50},
                           Row{"upper at alpha", BoundUpper, 4, 10, true, 10, 50},
                           Row{"upper inside lowers beta", BoundUpper, 31, 11, false, 10, 11},
                           Row{"upper above beta", BoundUpper, 4, 60, false, 10, 50},
                           Row{"upper too shallow", BoundUpper, 3, 5, false, 10, 50}}) {
        Put(row.bound, row.depth, row.score);
        int alpha = 10;
        int beta = 50;
        const TableProbe probe = ProbeTT(4, &alpha, &beta, 2);
        EXPECT_EQ(probe.answered, row.answered) << row.reason;
        EXPECT_EQ(alpha, row.alpha) << row.reason;
        EXPECT_EQ(beta, row.beta) << row.reason;
        EXPECT_EQ(probe.hash_move, kMove) << row.reason;
        if (row.answered) {
            EXPECT_EQ(probe.score, row.score) << row.reason;
        } else {
            EXPECT_TRUE(probe.may_store) << row.reason;
            EXPECT_EQ(probe.depth, 4) << row.reason;
            EXPECT_EQ(probe.alpha, row.alpha) << row.reason;
        }
    }
}

TEST_F(TranspositionTest, KeepsMatesAsSeenFromThePosition) {
    for (const int sign : {1, -1}) {
        ClearTT();
        int alpha = -20000;
        int beta = 20000;
        const TableProbe probe = ProbeTT(2, &alpha, &beta, 1);
        ASSERT_TRUE(probe.may_store);
        StoreTT(sign * 9995, kMove, beta, 1, probe);
        EXPECT_EQ(TableEntry(position.key).score, sign * 9996);
        EXPECT_EQ(ProbeTT(2, &alpha, &beta, 3).score, sign * 9993);
    }
    int alpha = -20000;
    int beta = 20000;
    StoreTT(8999, kMove, beta, 5, ProbeTT(9, &alpha, &beta, 5));
    EXPECT_EQ(ProbeTT(9, &alpha, &beta, 1).score, 8999) << "no mate, no distance";
}

TEST_F(TranspositionTest, StoresTheBoundAgainstTheWindowOfTheProbe) {
    struct Row {
        const char* reason;
        int score;
        unsigned bound;
    };
    for (const Row& row : {Row{"at beta", 50, BoundLower},
                           Row{"inside", 49, 0},
                           Row{"above the raised alpha", 31, 0},
                           Row{"at the raised alpha", 30, BoundUpper}}) {
        Put(BoundLower, 4, 30);
        int alpha = 10;
        int beta = 50;
        const TableProbe probe = ProbeTT(4, &alpha, &beta, 2);
        StoreTT(row.score, 0x2110, beta, 2, probe);
        const TTEntry& entry = TableEntry(position.key);
        EXPECT_EQ(entry.depth_and_bound, 4 | row.bound) << row.reason;
        EXPECT_EQ(entry.move, 0x2110) << row.reason;
        EXPECT_EQ(entry.lock, PrimaryKey(position.key)) << row.reason;
    }
}

TEST_F(TranspositionTest, KeepsOnlyDeeperResultsOfTheSameAge) {
    struct Row {
        const char* reason;
        std::uint32_t other_lock;
        std::uint8_t age;
        int depth;
        bool may_store, hit;
    };
    for (const Row& row : {Row{"deeper, same age", 1, 1, 5, false, false},
                           Row{"equally deep", 1, 1, 4, true, false},
                           Row{"deeper, older", 1, 7, 5, true, false},
                           Row{"age 0 is empty", 0, 0, 9, true, false},
                           Row{"the position itself", 0, 7, 3, true, true}}) {
        TTEntry& entry = Put(0, row.depth, 30);
        entry.lock ^= row.other_lock;
        entry.age = row.age;
        int alpha = 10;
        int beta = 50;
        const TableProbe probe = ProbeTT(4, &alpha, &beta, 2);
        EXPECT_FALSE(probe.answered) << row.reason;
        EXPECT_EQ(probe.may_store, row.may_store) << row.reason;
        EXPECT_EQ(probe.hash_move, row.hit ? kMove : 0) << row.reason;
        EXPECT_EQ(LookupTTMove(), row.hit ? kMove : 0) << row.reason;
    }
    Put(0, 9, 30);
    GamePly.store(256);
    int alpha = 10;
    int beta = 50;
    StoreTT(20, kMove, beta, 0, ProbeTT(10, &alpha, &beta, 0));
    EXPECT_EQ(LookupTTMove(), 0) << "what is stored at ply 256 has age 0";
}

TEST_F(TranspositionTest, IndexesByTheSecondaryKeyFirst) {
    settings_block.TranspKB = 1280;
    AllocateTranspositionTable();
    ASSERT_EQ(transposition_table.mask, 0x1FFFFU);
    const HashKey key = HashKey{0x1234} << 32 | 0xABCD8777;
    EXPECT_EQ(&TableEntry(key) - transposition_table.entries, (0xABCD8777 & 0x18000) | 0x1234);
}

TEST_F(TranspositionTest, IsEmptyAfterANewGameAndASetUp) {
    for (const bool new_game : {true, false}) {
        Put(0, 9, 30);
        ASSERT_EQ(LookupTTMove(), kMove);
        if (new_game) {
            NewGame();
        } else {
            SetUpPosition(kStartFen);
        }
        EXPECT_EQ(LookupTTMove(), 0);
    }
}

}  // namespace

}  // namespace torval

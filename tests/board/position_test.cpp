#include "board/position.h"

#include <algorithm>

#include "board/make.h"
#include "game/game.h"
#include "support/board_fixture.h"

namespace torval {
namespace {

CHSBRD Stored() {
    CHSBRD board;
    StorePosition(&board);
    return board;
}

bool Same(const CHSBRD& a, const CHSBRD& b) {
    return std::ranges::equal(a.board, b.board) && a.castle == b.castle &&
           a.fifty_moves == b.fifty_moves && a.ep_flag == b.ep_flag && a.color == b.color &&
           a.ply_no == b.ply_no;
}

std::string ListText(Side side) {
    std::string text;
    const auto& list = position.PieceList[side];
    for (int i = 0; i <= list.count; ++i) {
        const Square square = list.squares[static_cast<unsigned>(i)];
        text += {static_cast<char>('a' + FileOf(square)), static_cast<char>('1' + RankOf(square))};
        text += i < list.count ? " " : "";
    }
    return text;
}

class PositionTest : public BoardTest {};

TEST_F(PositionTest, StartsWithTheMenInOrder) {
    EXPECT_EQ(ListText(White), "e1 a1 b1 c1 d1 f1 g1 h1 a2 b2 c2 d2 e2 f2 g2 h2");
    EXPECT_EQ(ListText(Black), "e8 a7 b7 c7 d7 e7 f7 g7 h7 a8 b8 c8 d8 f8 g8 h8");
    EXPECT_EQ(position.MaterialWord[White], 0x12A81380U);
    EXPECT_EQ(position.MaterialWord[Black], 0x12A81380U);
    const CHSBRD board = Stored();
    const std::uint8_t first_rank[] = {84, 50, 147, 213, 246, 147, 50, 84};
    const std::uint8_t last_rank[] = {76, 42, 139, 205, 238, 139, 42, 76};
    EXPECT_TRUE(std::equal(first_rank, first_rank + 8, board.board));
    EXPECT_TRUE(std::equal(last_rank, last_rank + 8, board.board + 56));
    EXPECT_EQ(std::ranges::count(board.board, 17), 8);
    EXPECT_EQ(std::ranges::count(board.board, 9), 8);
    EXPECT_EQ(board.castle, 0);
    EXPECT_EQ(board.color, White);
    EXPECT_EQ(board.ply_no, 0);
    EXPECT_FALSE(game_record.start_from_host);
}

TEST_F(PositionTest, TakesBackWhatItStored) {
    ASSERT_TRUE(Play("e2e4 e7e5 e1e2"));
    CommitSnapshot();
    CHSBRD board = Stored();
    ASSERT_EQ(SetPosition(board), StatusOk);
    board.fifty_moves = 0;  // a set-up begins a new count
    board.ply_no = 1;       // Black to move
    EXPECT_TRUE(Same(Stored(), board));
    EXPECT_EQ(GamePly.load(), 2);
    EXPECT_EQ(GameSide.load(), Black);
    EXPECT_TRUE(game_record.start_from_host);
}

TEST_F(PositionTest, IgnoresTheCountersOfASetUp) {
    CHSBRD board = Stored();
    board.fifty_moves = 90;
    board.ep_flag = 5;
    board.ply_no = 17;
    ASSERT_EQ(LoadPosition(board), StatusOk);
    EXPECT_EQ(position.FiftyCounter, 0);
    EXPECT_EQ(Stored().ep_flag, 0);
    EXPECT_EQ(Stored().ply_no, 0);
    EXPECT_TRUE(Same(game_record.start, board)) << "the record as given is the game's start";
}

TEST_F(PositionTest, ShowsTheCommittedGameWhileMovesAreTried) {
    PutFen("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1");
    const CHSBRD before = Stored();
    ASSERT_TRUE(Play("e1g1 e8d8 a1a8"));
    EXPECT_TRUE(Same(Stored(), before));
    CommitSnapshot();
    const CHSBRD after = Stored();
    EXPECT_EQ(after.castle, 0x2F);
    EXPECT_EQ(after.color, Black);
    EXPECT_EQ(after.board[56], 84);
    EXPECT_EQ(after.fifty_moves, 0);
}

TEST_F(PositionTest, ReadsTheLowFiveBitsOfEveryByte) {
    for (int byte = 0; byte < 256; ++byte) {
        CHSBRD board = Stored();
        board.board[27] = static_cast<std::uint8_t>(byte);
        const int low = byte & 31;
        // Another king is refused as a second one.
        const bool accepted = byte == 0 || (low >= 9 && low <= 13) || (low >= 17 && low <= 21);
        EXPECT_EQ(ValidatePosition(&board), accepted ? StatusOk : StatusBadPosition) << byte;
        if (!accepted || byte == 0) continue;
        constexpr int kFull[] = {9, 42, 139, 76, 205, 0, 0, 0, 17, 50, 147, 84, 213};
        EXPECT_EQ(board.board[27], kFull[low - 9]) << byte;
    }
}

struct Edit {
    int offset;  ///< in the start position's CHSBRD: 64 the castling byte, 67 the side
    int byte;
};
struct SetUpCase {
    const char* name;
    std::vector<Edit> edits;
    bool accepted;
};
void PrintTo(const SetUpCase& c, std::ostream* out) { *out << c.name; }

class SetUpTest : public BoardTest, public testing::WithParamInterface<SetUpCase> {};

TEST_P(SetUpTest, IsAcceptedOrChangesNothing) {
    ASSERT_TRUE(Play("e2e4"));
    CHSBRD board = Stored();
    for (const Edit& edit : GetParam().edits) {
        reinterpret_cast<std::uint8_t*>(&board)[edit.offset] = static_cast<std::uint8_t>(edit.byte);
    }
    CHSBRD checked = board;
    const Status expected = GetParam().accepted ? StatusOk : StatusBadPosition;
    EXPECT_EQ(ValidatePosition(&checked), expected);
    const CHSBRD shown = Stored();
    const HashKey key = position.key;
    EXPECT_EQ(LoadPosition(board), expected);
    if (!GetParam().accepted) {
        EXPECT_TRUE(Same(Stored(), shown));
        EXPECT_EQ(position.key, key);
        EXPECT_EQ(game_record.top, game_record.PlyStack.data() + 1);
    }
    EXPECT_TRUE(PositionIsSound());
}

INSTANTIATE_TEST_SUITE_P(
    Board,
    SetUpTest,
    testing::Values(SetUpCase{"Unchanged", {}, true},
                    SetUpCase{"NoBlackKing", {{60, 0}, {64, 255}}, false},
                    SetUpCase{"NoWhiteKing", {{4, 0}, {64, 255}}, false},
                    SetUpCase{"TwoWhiteKings", {{30, 22}}, false},
                    SetUpCase{"TwoBlackKings", {{30, 14}}, false},
                    SetUpCase{"A1RookMissing", {{0, 0}}, false},
                    SetUpCase{"A1RightGone", {{0, 0}, {64, 4}}, true},
                    SetUpCase{"H1RookMissing", {{7, 0}}, false},
                    SetUpCase{"H1RightGone", {{7, 0}, {64, 1}}, true},
                    SetUpCase{"A8RookMissing", {{56, 0}}, false},
                    SetUpCase{"A8RightGone", {{56, 0}, {64, 64}}, true},
                    SetUpCase{"H8RookMissing", {{63, 0}}, false},
                    SetUpCase{"H8RightGone", {{63, 0}, {64, 16}}, true},
                    SetUpCase{"RookOfTheOtherColour", {{63, 20}}, false},
                    SetUpCase{"WhiteKingNotAtHome", {{4, 0}, {20, 22}}, false},
                    SetUpCase{"WhiteKingRightGone", {{4, 0}, {20, 22}, {64, 2}}, true},
                    SetUpCase{"BlackKingNotAtHome", {{60, 0}, {40, 14}}, false},
                    SetUpCase{"BlackKingRightGone", {{60, 0}, {40, 14}, {64, 32}}, true},
                    SetUpCase{"CastledBitsAreNotChecked", {{64, 0x88}}, true},
                    SetUpCase{"PawnsOnOuterRanks", {{1, 17}, {2, 9}, {57, 9}, {58, 17}}, true},
                    SetUpCase{"SideWithoutAColour", {{67, 2}}, false}),
    [](const auto& test) { return test.param.name; });

TEST_F(PositionTest, TakesThirtyTwoMenOfASide) {
    for (const int men : {32, 33}) {
        CHSBRD board{};
        std::fill_n(board.board, men - 1, std::uint8_t{21});
        board.board[62] = 22;
        board.board[63] = 14;
        board.castle = 0xFF;
        EXPECT_EQ(SetPosition(board), men == 32 ? StatusOk : StatusBadPosition);
        EXPECT_TRUE(PositionIsSound());
    }
}

TEST_F(PositionTest, SumsThePackedWordsPlainly) {
    // Four knights carry into the bishops' field; nothing is clipped.
    PutFen("4k3/8/8/8/8/8/NNNN4/4K3 w - - 0 1");
    EXPECT_EQ(position.MaterialWord[White], 0x00400600U);
    EXPECT_EQ(position.MaterialWord[Black], 0U);
    PutFen("qrbnk3/p7/8/8/8/8/8/4K3 w - - 0 1");
    EXPECT_EQ(position.MaterialWord[Black], 0x11510000U + 1152 + 640 + 384 + 384 + 128);
}

// ---- Keys ------------------------------------------------------------------------------------

/// The generator of the key tables, checked against its published first value.
std::uint64_t Mix(std::uint64_t* state) {
    std::uint64_t z = *state += 0x9E3779B97F4A7C15;
    z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9;
    z = (z ^ z >> 27) * 0x94D049BB133111EB;
    return z ^ z >> 31;
}

TEST(KeyTables, DrawTheStatedSeedsInOrder) {
    std::uint64_t published = 0;
    ASSERT_EQ(Mix(&published), 0xE220A8397B1DCDAFU);
    std::uint64_t pieces = 0x544F5256414C0001;
    std::uint64_t castling = 0x544F5256414C0002;
    std::uint64_t checks = 0x544F5256414C0003;
    for (unsigned i = 0; i < 1024; ++i) {
        const bool no_man = i % 8 == 0 || i % 8 == 7;
        EXPECT_EQ(PieceKeyTable[i], no_man ? 0 : Mix(&pieces) >> 33) << i;
        const std::uint64_t check = Mix(&checks) >> 49;
        EXPECT_EQ(CheckKeyTable[i], check != 0 ? check : Mix(&checks) >> 49) << i;
        EXPECT_NE(CheckKeyTable[i], 0) << i;
        EXPECT_LT(CheckKeyTable[i], 1 << 15) << i;
    }
    for (unsigned state = 0; state < 256; ++state) {
        const bool white_gone = (state & 2) || (state & 8);
        const bool black_gone = (state & 32) || (state & 128);
        const std::uint64_t expected = white_gone && black_gone ? 0 : Mix(&castling) >> 33;
        EXPECT_EQ(CastleKeyTable[state], expected) << state;
        EXPECT_EQ(CastleKeyTable[state] == 0, white_gone && black_gone) << state;
    }
}

TEST_F(PositionTest, KeysAreThoseOfItsMenItsCastlingAndItsSide) {
    for (const char* side : {"w", "b"}) {
        PutFen(std::string("7k/8/8/3q4/8/8/8/4K2R ") + side + " K - 0 1");
        // Rank * 128 + file * 8 + 64 for Black + type: k h8, q d5, K e1, R h1.
        constexpr unsigned kEntries[] = {
            7 * 128 + 7 * 8 + 64 + 6, 4 * 128 + 3 * 8 + 64 + 5, 4 * 8 + 6, 7 * 8 + 4};
        constexpr unsigned kRightsLost = 0x74;
        std::uint32_t primary = CastleKeyTable[kRightsLost];
        std::uint16_t secondary = 0;
        for (const unsigned entry : kEntries) {
            primary ^= PieceKeyTable[entry];
            secondary = static_cast<std::uint16_t>(secondary ^ CheckKeyTable[entry]);
        }
        EXPECT_EQ(PrimaryKey(position.key), *side == 'w' ? primary : ~primary);
        EXPECT_EQ(SecondaryKey(position.key), secondary);
        EXPECT_EQ(position.GamePositionKey, position.key);
    }
}

TEST_F(PositionTest, StoresASecondaryKeyOfZeroAsOne) {
    position.key = 0x12345678;
    StoreGamePositionKey();
    EXPECT_EQ(position.GamePositionKey, 0x112345678U);
}

}  // namespace
}  // namespace torval

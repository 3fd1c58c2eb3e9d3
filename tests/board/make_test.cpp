#include "board/make.h"

#include <algorithm>

#include "board/legality.h"
#include "game/game.h"
#include "support/board_fixture.h"

namespace torval {
namespace {

using Squares = std::vector<Square>;

Squares ListOf(Side side) {
    const auto& list = position.PieceList[side];
    return {list.squares.begin(), list.squares.begin() + list.count + 1};
}

Squares Sorted(Squares squares) {
    std::ranges::sort(squares);
    return squares;
}

Square SquareNamed(std::string_view name) {
    return static_cast<Square>(16 * (name[1] - '1') + name[0] - 'a');
}

Squares SquaresNamed(std::string_view names) {
    Squares squares;
    for (const std::string& name : Words(names)) squares.push_back(SquareNamed(name));
    return squares;
}

/// Everything that making a move updates and that has one correct value for a board.
void ExpectSameState(const Position& a, const Position& b) {
    EXPECT_EQ(a.Board, b.Board);
    EXPECT_EQ(a.pieces, b.pieces);
    EXPECT_EQ(PrimaryKey(a.key), PrimaryKey(b.key));
    EXPECT_EQ(SecondaryKey(a.key), SecondaryKey(b.key));
    EXPECT_EQ(a.MaterialWord, b.MaterialWord);
    EXPECT_EQ(a.PositionalSum, b.PositionalSum);
    EXPECT_EQ(a.CastleState, b.CastleState);
    EXPECT_EQ(a.FiftyCounter, b.FiftyCounter);
    EXPECT_EQ(a.SideToMove, b.SideToMove);
    EXPECT_EQ(a.GamePhase, b.GamePhase);
    for (const Side side : {White, Black}) {
        EXPECT_EQ(a.PieceList[side].count, b.PieceList[side].count);
    }
}

/// Compares the working position with one computed from scratch from the board.
void ExpectSameAsRecomputed() {
    EXPECT_TRUE(PositionIsSound());
    const Position made = position;
    const std::array<Squares, 2> lists = {ListOf(White), ListOf(Black)};
    RecomputeState();
    ExpectSameState(made, position);
    for (const Side side : {White, Black}) EXPECT_EQ(Sorted(lists[side]), Sorted(ListOf(side)));
    position = made;
}

Square TakenSquare(Move move, int mover) {
    if (move.flags != kEnPassantFlags) return move.to;
    return static_cast<Square>(mover == White ? move.to - 16 : move.to + 16);
}

/// Makes and takes back a move of the working position, checking both.
void CheckMove(Move move) {
    const Position before = position;
    const PlyRecord* const top = game_record.top;
    const Side us = position.SideToMove == White ? White : Black;
    std::array<Squares, 2> lists = {ListOf(White), ListOf(Black)};

    MakeMove(move);
    ExpectSameAsRecomputed();
    EXPECT_EQ(game_record.top, top + 1);
    EXPECT_EQ(position.SideToMove, !us);
    EXPECT_EQ(PrimaryKey(position.key) >> 31, us == White ? 1U : 0U);
    const bool resets = move.capture != 0 || (move.flags & 7) == Pawn;
    EXPECT_EQ(position.FiftyCounter, resets ? 0 : before.FiftyCounter + 1);
    // The mover keeps its place; a captured man leaves a gap, which is closed.
    Squares mine = lists[us];
    std::ranges::replace(mine, move.from, move.to);
    Squares theirs = lists[!us];
    if (move.capture) std::erase(theirs, TakenSquare(move, us));
    if (move.flags != kCastlingFlags) {
        EXPECT_EQ(ListOf(us), mine);
    }
    EXPECT_EQ(ListOf(!us), theirs);

    UnmakeMove();
    ExpectSameState(before, position);
    EXPECT_TRUE(PositionIsSound());
    EXPECT_EQ(game_record.top, top);
    EXPECT_EQ(ListOf(us), lists[us]);
    if (move.capture) theirs.push_back(TakenSquare(move, us));
    EXPECT_EQ(ListOf(!us), theirs) << "a man taken comes back at the end";
    const Position unmade = position;

    if (!move.capture) return;
    position = before;
    MoveToListEnd(!us, TakenSquare(move, us));
    EXPECT_TRUE(PositionIsSound());
    EXPECT_EQ(position.PieceList[!us].squares, unmade.PieceList[!us].squares);
}

class MakeMoveTest : public BoardTest {};

TEST_F(MakeMoveTest, KeepsEveryFieldInStepInRandomGames) {
    WalkRandomGames(140 / kSlowdown, [](const slow::Chess& chess) {
        ExpectSameAsRecomputed();
        for (int index = 0; index < 64; ++index) {
            const char man = chess.At({index / 8, index % 8});
            ASSERT_EQ(LetterOf(position.Board[SquareAt(index)]), man) << index;
        }
        for (int file = 0; file < 8; ++file) {
            const auto pawns = [&](char pawn) {
                int count = 0;
                for (int rank = 0; rank < 8; ++rank) count += chess.At({rank, file}) == pawn;
                return count;
            };
            EXPECT_EQ(PawnFileCounts(White, file), pawns('P'));
            EXPECT_EQ(PawnFileCounts(Black, file), pawns('p'));
        }
        const MoveList& list = GenerateLegal();
        const auto legal = MovesOf(list.quiet_head);
        ReleaseMoves(list);
        for (const Move move : legal) {
            SCOPED_TRACE(TextOf(move));
            CheckMove(Plain(move));
            if (testing::Test::HasFailure()) return;
        }
    });
}

TEST_F(MakeMoveTest, SetsACastlingBitForEveryRightLost) {
    struct Row {
        const char* name;
        const char* side;
        const char* moves;
        int state;
    };
    const Row rows[] = {
        {"white short", " w", "e1g1", 0x0B},
        {"white long", " w", "e1c1", 0x0E},
        {"black short", " b", "e8g8", 0xB0},
        {"black long", " b", "e8c8", 0xE0},
        {"white king", " w", "e1e2", 0x02},
        {"black king", " b", "e8e7", 0x20},
        {"a1 rook", " w", "a1b1", 0x04},
        {"h1 rook", " w", "h1g1", 0x01},
        {"a8 rook", " b", "a8b8", 0x40},
        {"h8 rook", " b", "h8g8", 0x10},
        {"only the origin counts", " w", "a1a8", 0x04},
        {"nothing comes back", " w", "e1e2 e8d8 e2e1 d8e8", 0x22},
        {"both castled", " w", "e1g1 e8c8", 0xEB},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        PutFen(std::string("r3k2r/8/8/8/8/8/8/R3K2R") + row.side + " KQkq - 0 1");
        EXPECT_TRUE(Play(row.moves));
        EXPECT_EQ(position.CastleState, row.state);
        ExpectSameAsRecomputed();
    }
}

TEST_F(MakeMoveTest, KeysAPositionWithoutCastlingAlikeHoweverItWasLost) {
    PutFen("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1");
    ASSERT_TRUE(Play("e1g1 e8c8"));
    const HashKey castled = position.key;
    PutFen("2kr3r/8/8/8/8/8/8/R4RK1 w - - 0 1");
    EXPECT_EQ(position.key, castled);
}

TEST_F(MakeMoveTest, KeepsListPlacesThroughCastlingPromotionAndEnPassant) {
    PutFen("r3k2r/p6p/8/8/8/8/P6P/R3K2R w KQkq - 0 1");  // trying captures reorders lists
    ASSERT_TRUE(Play("e1c1 e8g8"));
    EXPECT_EQ(ListOf(White), SquaresNamed("c1 d1 h1 a2 h2"));
    EXPECT_EQ(ListOf(Black), SquaresNamed("g8 a7 h7 a8 f8"));
    PutFen("n3k3/1P1p4/8/4P3/8/8/8/N3K2N b - - 0 1");
    ASSERT_TRUE(Play("d7d5 e5d6 e8d7 b7a8q"));
    EXPECT_EQ(ListOf(White), SquaresNamed("e1 a1 h1 d6 a8"));
    EXPECT_EQ(ListOf(Black), SquaresNamed("d7"));
    for (int i = 0; i < 4; ++i) UnmakeMove();
    EXPECT_EQ(ListOf(White), SquaresNamed("e1 a1 h1 e5 b7"));
    EXPECT_EQ(ListOf(Black), SquaresNamed("e8 a8 d7"));
}

TEST_F(MakeMoveTest, CountsReversibleMovesOverEightBits) {
    PutFen("4k3/8/8/8/8/8/8/4K2R w K - 0 1");
    ASSERT_TRUE(Play("e1g1"));
    EXPECT_EQ(position.FiftyCounter, 1) << "castling is no pawn move";
    position.FiftyCounter = 255;
    ASSERT_TRUE(Play("e8d8"));
    EXPECT_EQ(position.FiftyCounter, 0);
}

TEST_F(MakeMoveTest, NullMovePassesTheTurnAndTwiceIsNothing) {
    const Position before = position;
    NullMove();
    EXPECT_EQ(position.SideToMove, Black);
    EXPECT_EQ(PrimaryKey(position.key), ~PrimaryKey(before.key));
    EXPECT_EQ(SecondaryKey(position.key), SecondaryKey(before.key));
    EXPECT_EQ(game_record.top, game_record.PlyStack.data());
    ExpectSameAsRecomputed();
    NullMove();
    ExpectSameState(before, position);
}

TEST_F(MakeMoveTest, RedoPlaysTheKeptMovesUpToTheEndOfTheGame) {
    // A double step, en passant, castling, captures with check, a promotion and a quiet move.
    PutFen("r3k2r/3p4/8/4P3/8/8/p7/4K2R b Kkq - 0 1");
    MOVES result;
    std::vector<Position> states;
    for (const char* move : {"d7d5", "e5d6", "0-0-0", "0-0", "a2a1Q", "f1a1", "a8a1"}) {
        if (DoMove(move, &result) == StatusOk) states.push_back(position);
    }
    ASSERT_EQ(states.size(), 6U) << "all but the last, since the rook is gone from a8";
    EXPECT_FALSE(RedoMove()) << "nothing was taken back";
    ExpectSameState(states.back(), position);
    ASSERT_EQ(MoveBack(6), StatusOk);
    for (const Position& state : states) {
        PlyRecord* const next = game_record.top + 1;
        const Move kept = next->move;
        next->move = Plain(kept);
        ASSERT_TRUE(RedoMove());
        EXPECT_EQ(game_record.top, next);
        next->move = kept;
        EXPECT_EQ(position.pieces, state.pieces);
        EXPECT_EQ(position.key, state.key);
        EXPECT_EQ(position.CastleState, state.CastleState);
        EXPECT_EQ(position.FiftyCounter, state.FiftyCounter);
        ExpectSameAsRecomputed();
    }
    const HashKey key = position.key;
    EXPECT_FALSE(RedoMove());
    EXPECT_EQ(position.key, key);
}

}  // namespace
}  // namespace torval

#include "game/game.h"

#include <algorithm>

#include "board/make.h"
#include "state/controller.h"
#include "state/flags.h"
#include "state/notify.h"
#include "state/settings.h"
#include "support/board_fixture.h"

namespace torval {
namespace {

struct SentMessage {
    int id;
    int p1;
    bool operator==(const SentMessage&) const = default;
};

std::vector<SentMessage> messages;
std::vector<W_BOARD> boards;
std::vector<CLOCKS> clocks;

class GameTest : public BoardTest {
protected:
    GameTest() {
        messages.clear();
        boards.clear();
        clocks.clear();
        notification_sink.output_msg = [](int id, int p1, int, const char*) {
            messages.push_back({id, p1});
        };
        notification_sink.output_move = [](const W_BOARD& board) { boards.push_back(board); };
        notification_sink.output_clocks = [](const CLOCKS& both) { clocks.push_back(both); };
    }

    /// Enters moves; all but the last must be accepted. The last one's answer.
    Status Enter(std::string_view moves) {
        Status status = StatusOk;
        for (const std::string& text : Words(moves)) {
            EXPECT_EQ(status, StatusOk) << "before " << text;
            boards.clear();
            messages.clear();
            status = DoMove(text.c_str(), &result);
        }
        return status;
    }

    /// As if this many reversible plies had led here, through positions that do not recur.
    static void PretendPlies(int plies) {
        std::fill_n(game_record.PlyStack.begin() + 1, plies, PlyRecord{});
        game_record.top = game_record.PlyStack.data() + plies;
        position.FiftyCounter = static_cast<std::uint8_t>(plies);
    }

    MOVES result{};
};

TEST_F(GameTest, ShowsEveryMoveToTheHost) {
    ASSERT_EQ(Enter("e4"), StatusOk);
    ASSERT_EQ(boards.size(), 1U);
    EXPECT_EQ(boards[0].Mask, 3);
    EXPECT_EQ(boards[0].move, (Move{0x14, 0x34, Pawn, 0}));
    EXPECT_EQ(boards[0].brd.ply_no, 1);
    EXPECT_EQ(boards[0].brd.color, Black);
    EXPECT_EQ(boards[0].aScore, 0);
    EXPECT_EQ(clocks.back().Command, 3);
    ASSERT_EQ(Enter("e5"), StatusOk);
    EXPECT_EQ(result.iStatus, OutcomeGoesOn);
    EXPECT_EQ(result.LastFoundMoves, 1);
    EXPECT_EQ(result.NmbrOfMoves, 1);
    CHSBRD board;
    StorePosition(&board);
    EXPECT_EQ(board.ply_no, 2);
    EXPECT_EQ(board.board[28], 17);
    EXPECT_EQ(board.board[36], 9);
    EXPECT_EQ(board.board[12] + board.board[52], 0);
    EXPECT_TRUE(AnyFlag(FlagHostToMove));
    EXPECT_EQ(GameSide.load(), White);
    EXPECT_EQ(game_record.game_end, game_record.top);
    EXPECT_EQ(position.GamePositionKey, position.key);
}

TEST_F(GameTest, MarksMovesForNotation) {
    PutFen("7k/8/8/8/8/8/8/KN3N2 w - - 0 1");
    ASSERT_EQ(Enter("Nbd2"), StatusOk);
    EXPECT_EQ(result.MOVES[0].from, 0x01 | kFileNeeded);
    EXPECT_EQ(game_record.top->move, result.MOVES[0]);
    EXPECT_EQ(boards.back().move, result.MOVES[0]);
    ASSERT_EQ(MoveBack(1), StatusOk) << "marks do not disturb taking back";
    EXPECT_TRUE(PositionIsSound());
    EXPECT_EQ(game_record.top[1].move, result.MOVES[0]) << "the record keeps them";
}

TEST_F(GameTest, ReportsAnOutcomeOnceAndEndsTheGame) {
    constexpr const char* kNewGame = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";
    constexpr const char* kBackRank = "6k1/5ppp/8/8/8/8/8/K3R3 w - - 0 1";
    constexpr const char* kRook = "7k/8/8/8/8/8/P7/KR6 w - - 0 1";
    constexpr const char* kRepetition = "Nf3 Nf6 Ng1 Ng8 Nf3 Nf6 Ng1 Ng8";
    constexpr int kMate = kCheckMark | kMateMark;
    struct Row {
        const char* name;
        const char* fen;
        int plies;
        const char* moves;
        SentMessage message;  // id 0: none
        int marks;            // of the last move's destination
    };
    const Row rows[] = {
        {"black mates", kNewGame, 0, "f3 e5 g4 Qh4", {OutcomeMate, White}, kMate},
        {"white mates", kBackRank, 0, "Re8", {OutcomeMate, Black}, kMate},
        {"mate before fifty moves", kBackRank, 99, "Re8", {OutcomeMate, Black}, kMate},
        {"only check", "6k1/5pp1/8/8/8/8/8/K3R3 w - - 0 1", 0, "Re8", {}, kCheckMark},
        {"stalemate unseen", "7k/8/5QK1/8/8/8/8/8 w - - 0 1", 0, "Qf7", {}, 0},
        {"material", "7k/8/8/8/8/8/1p6/KN6 w - - 0 1", 0, "Kxb2", {OutcomeMaterial, 0}, 0},
        {"repetition", kNewGame, 0, kRepetition, {OutcomeRepetition, 0}, 0},
        {"not yet thrice", kNewGame, 0, "Nf3 Nf6 Ng1 Ng8 Nf3 Nf6 Ng1", {}, 0},
        {"fifty moves", kRook, 99, "Rb2", {OutcomeFiftyMoves, 0}, 0},
        {"one ply before fifty moves", kRook, 98, "Rb2", {}, 0},
        {"pawn move begins again", kRook, 99, "a3", {}, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        PutFen(row.fen);
        PretendPlies(row.plies);
        EXPECT_EQ(StartGame(), StatusOk);
        EXPECT_EQ(Enter(row.moves), StatusOk);
        const bool goes_on = row.message.id == 0;
        EXPECT_EQ(result.iStatus, row.message.id);
        EXPECT_EQ(result.MOVES[0].to & ~kSquareBits, row.marks);
        EXPECT_EQ(messages, goes_on ? std::vector<SentMessage>{} : std::vector{row.message});
        EXPECT_EQ(AnyFlag(FlagHostToMove), goes_on);
        EXPECT_EQ(StartGame(), goes_on ? StatusGameRunning : StatusOk);
    }
}

TEST_F(GameTest, EndsSilentlyAfterFiftyMovesWhenAskedTo) {
    settings_block.BrainFlags |= BrainNoFiftyMoves;
    PutFen("7k/8/8/8/8/8/8/KR6 w - - 0 1");
    PretendPlies(99);
    ASSERT_EQ(Enter("Rb2"), StatusOk);
    EXPECT_EQ(result.iStatus, OutcomeGoesOn);
    EXPECT_TRUE(messages.empty());
    EXPECT_FALSE(AnyFlag(FlagHostToMove | FlagEngineToMove));
}

TEST_F(GameTest, RefusesMovesAndChangesNothing) {
    PutFen("7k/8/8/8/8/5N2/8/KN6 w - - 0 1");
    boards.clear();
    struct Row {
        const char* text;
        Status status;
        void (*hinder)();
    };
    const auto nothing = [] {};
    const Row rows[] = {
        {"", StatusBadText, nothing},
        {"N", StatusBadText, nothing},
        {"Nzz9", StatusBadText, nothing},
        {"Ne8", StatusNoMove, nothing},
        {"Nd2", StatusAmbiguous, nothing},
        {"Nbd2", StatusNoMove, ReleaseLegalMoves},
        {"Nbd2", StatusBusy, [] { SetFlag(FlagBusy); }},
        {"Nbd2", StatusRecordFull, [] { GamePly = 400; }},
    };
    for (const Row& row : rows) {
        row.hinder();
        const auto flags = EngineFlags.load();
        const HashKey key = position.key;
        EXPECT_EQ(DoMove(row.text, &result), row.status) << row.text;
        EXPECT_EQ(position.key, key);
        EXPECT_EQ(game_record.top, game_record.PlyStack.data());
        EXPECT_EQ(EngineFlags.load(), flags);
        EXPECT_TRUE(boards.empty());
        EXPECT_TRUE(PositionIsSound());
        if (row.status == StatusAmbiguous) {
            EXPECT_EQ(result.LastFoundMoves, 2);
            EXPECT_EQ(result.NmbrOfMoves, 2);
            const std::set<std::string> found = {TextOf(result.MOVES[0]), TextOf(result.MOVES[1])};
            EXPECT_EQ(found, (std::set<std::string>{"b1d2", "f3d2"}));
        }
        ClearFlags(FlagBusy);
        GamePly = 1;
        RebuildLegalMoves();
    }
    EXPECT_EQ(Enter("Nbd2"), StatusOk) << "the list is whole after all refusals";
    NewGame();
    GamePly = 399;
    EXPECT_EQ(Enter("e4"), StatusOk);
    EXPECT_EQ(Enter("e5"), StatusRecordFull);
}

TEST_F(GameTest, RefusesASetUpAndChangesNothing) {
    ASSERT_EQ(Enter("e4"), StatusOk);
    CHSBRD board;
    StorePosition(&board);
    CHSBRD bad = board;
    bad.board[0] = 0;
    const HashKey key = position.key;
    boards.clear();
    EXPECT_EQ(SetPosition(bad), StatusBadPosition);
    SetFlag(FlagBusy);
    EXPECT_EQ(SetPosition(board), StatusBusy);
    EXPECT_EQ(MoveBack(1), StatusBusy);
    ClearFlags(FlagHostToMove);
    SetFlag(FlagEngineToMove);
    EXPECT_EQ(SetPosition(board), StatusComputerToMove);
    EXPECT_EQ(MoveBack(1), StatusComputerToMove);
    EXPECT_EQ(StartGame(), StatusGameRunning);
    EXPECT_EQ(position.key, key);
    EXPECT_EQ(game_record.top, game_record.PlyStack.data() + 1);
    EXPECT_TRUE(boards.empty());
    ClearFlags(FlagBusy | FlagEngineToMove);
}

TEST_F(GameTest, StartsANewCountAtASetUp) {
    CHSBRD board;
    StorePosition(&board);
    board.fifty_moves = 99;
    ASSERT_EQ(SetPosition(board), StatusOk);
    ASSERT_EQ(boards.size(), 1U);
    EXPECT_EQ(boards[0].Mask, 1);
    EXPECT_TRUE(IsEmpty(boards[0].move));
    ASSERT_EQ(Enter("Nf3"), StatusOk);
    EXPECT_EQ(result.iStatus, OutcomeGoesOn);
    EXPECT_EQ(position.FiftyCounter, 1);
}

TEST_F(GameTest, TakesBackAsManyMovesAsAskedOrAsThereAre) {
    const HashKey start = position.key;
    ASSERT_EQ(Enter("e4 d5 exd5"), StatusOk);
    PlyRecord* const end = game_record.game_end;
    EXPECT_EQ(MoveBack(0), StatusOk) << "0 takes back one";
    EXPECT_EQ(GamePly.load(), 3);
    EXPECT_EQ(GameSide.load(), White);
    EXPECT_EQ(MoveBack(-3), StatusOk) << "so does less";
    EXPECT_EQ(GamePly.load(), 2);
    EXPECT_EQ(game_record.game_end, end) << "taken-back moves stay in the record";
    ASSERT_EQ(Enter("d5 exd5"), StatusOk);
    boards.clear();
    EXPECT_EQ(MoveBack(5), StatusTooFewMoves);
    ASSERT_EQ(boards.size(), 1U);
    EXPECT_EQ(boards[0].Mask, 1);
    EXPECT_EQ(boards[0].brd.ply_no, 0);
    EXPECT_EQ(boards[0].brd.board[12], 17);
    EXPECT_EQ(position.key, start);
    EXPECT_EQ(position.PieceList[White].squares[1], 0x00) << "lists are in board order again";
    EXPECT_EQ(MoveBack(1), StatusTooFewMoves);
    EXPECT_EQ(MoveBack(1), StatusTooFewMoves);
    EXPECT_EQ(Enter("e4"), StatusOk);
}

TEST_F(GameTest, KeepsTheLineThatTheHostFollows) {
    MAINVAR line{};
    line.iCommand = 4;
    line.vlen = 3;
    line.depth = 5;
    line.score = 40;
    line.bstvar[0] = {0x14, 0x34 | kCheckMark, Pawn, 0};
    line.bstvar[1] = {0x64, 0x44, Pawn, 0};
    line.bstvar[2] = {0x06, 0x25, Knight, 0};
    const MAINVAR& kept = think_controller.line;
    think_controller.line = line;
    ASSERT_EQ(Enter("e4"), StatusOk);
    EXPECT_EQ(kept.vlen, 2);
    EXPECT_EQ(kept.depth, 4);
    EXPECT_EQ(kept.score, -40);
    EXPECT_EQ(kept.bstvar[0], line.bstvar[1]);
    EXPECT_EQ(kept.bstvar[1], line.bstvar[2]);
    EXPECT_EQ(game_record.top->line_score, 40);
    think_controller.line.depth = 0;
    ASSERT_EQ(Enter("e5"), StatusOk);
    EXPECT_EQ(kept.vlen, 1);
    EXPECT_EQ(kept.depth, 0);
    EXPECT_EQ(kept.score, 40);
    EXPECT_EQ(game_record.top->line_score, 0) << "no longer the line of the engine's own move";
    ASSERT_EQ(Enter("d4"), StatusOk);
    EXPECT_EQ(kept.vlen, 0) << "another move than expected";
    think_controller.line = line;
    ASSERT_EQ(MoveBack(1), StatusOk);
    EXPECT_EQ(kept.vlen, 0);
}

TEST_F(GameTest, TellsWhetherThereAreAlternatives) {
    const Move e4 = {0x14, 0x34, Pawn, 0};
    const Move d4 = {0x13, 0x33, Pawn, 0};
    const NextBestList two = {{d4, e4}, {}, 2, 1};
    next_best_list = two;
    ASSERT_EQ(Enter("e4"), StatusOk);
    EXPECT_EQ(boards.back().Mask, 7);
    ASSERT_EQ(MoveBack(1), StatusOk);
    EXPECT_EQ(next_best_list.count, 0);
    next_best_list = two;
    ASSERT_EQ(Enter("d4"), StatusOk);
    EXPECT_EQ(boards.back().Mask, 3) << "not the current one";
    NewGame();
    next_best_list = {{e4}, {}, 1, 0};
    ASSERT_EQ(Enter("e4"), StatusOk);
    EXPECT_EQ(boards.back().Mask, 3) << "a single move is no alternative";
}

TEST_F(GameTest, StartsAndStops) {
    EXPECT_EQ(StartGame(), StatusOk);
    EXPECT_TRUE(AnyFlag(FlagHostToMove));
    EXPECT_EQ(StartGame(), StatusGameRunning);
    StopGame();
    EXPECT_FALSE(AnyFlag(FlagHostToMove | FlagEngineToMove));
    EXPECT_EQ(StartGame(), StatusOk);
    NewGame();
    EXPECT_FALSE(AnyFlag(FlagHostToMove));
}

TEST_F(GameTest, AcceptsDrawOffersFromTheTwentiethPly) {
    ASSERT_EQ(Enter("a3 a6 b3 b6 c3 c6 d3 d6 e3 e6 f3 f6 g3 g6 h3 h6 a4 a5"), StatusOk);
    EXPECT_EQ(GamePly.load(), 19);
    EXPECT_FALSE(VerifyDrawOffer());
    ASSERT_EQ(Enter("b4"), StatusOk);
    EXPECT_TRUE(VerifyDrawOffer());
}

}  // namespace
}  // namespace torval

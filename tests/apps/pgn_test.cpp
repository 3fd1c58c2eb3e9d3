// Moves, positions and games as text: written from records, read back, and loaded by the engine.
#include "apps/text/pgn.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <sstream>

#include "apps/cli/positions.h"
#include "apps/host/session.h"
#include "apps/text/fen.h"
#include "apps/text/game_text.h"
#include "apps/text/moves.h"
#include "apps/text/san.h"
#include "board/legality.h"
#include "game/game.h"

namespace torval {
namespace {

CHSBRD BoardOf(const char* fen) {
    std::string error;
    const auto parsed = ParseFen(fen, &error);
    EXPECT_TRUE(parsed) << error;
    return parsed->board;
}

struct AlgebraicCase {
    const char* name;
    const char* fen;
    EVAR move;
    const char* text;
};
class AlgebraicTextTest : public testing::TestWithParam<AlgebraicCase> {};

TEST_P(AlgebraicTextTest, FollowsTheAnnotations) {
    EXPECT_EQ(AlgebraicText(GetParam().move, BoardOf(GetParam().fen)), GetParam().text);
}

constexpr const char* kTwoBishops = "7k/8/8/8/8/8/3B4/B3K3 w - - 0 1";
constexpr const char* kBishopAndPawn = "7k/8/8/8/8/2n5/1P1B4/4K3 w - - 0 1";

INSTANTIATE_TEST_SUITE_P(
    GameText,
    AlgebraicTextTest,
    testing::Values(AlgebraicCase{"Pawn", kStartFen, {0x14, 0x34, 1, 0}, "e4"},
                    AlgebraicCase{"PawnTakes", kStartFen, {0x34, 0x43, 1, 9}, "exd5"},
                    AlgebraicCase{"EnPassant", kStartFen, {0x44, 0x53, 0x09, 9}, "exd6"},
                    AlgebraicCase{"Promotion", kStartFen, {0x64, 0x74, 0x51, 0}, "e8=Q"},
                    AlgebraicCase{"PromotionMates", kStartFen, {0x64, 0xFB, 0x21, 76}, "exd8=N#"},
                    AlgebraicCase{"Castles", kStartFen, {0x04, 0x06, 0x86, 0}, "O-O"},
                    AlgebraicCase{
                        "CastlesLongWithCheck", kStartFen, {0x04, 0x82, 0x86, 0}, "O-O-O+"},
                    AlgebraicCase{"Knight", kStartFen, {0x06, 0x25, 2, 0}, "Nf3"},
                    AlgebraicCase{"FileNeeded", kStartFen, {0x09, 0x13, 2, 0}, "Nbd2"},
                    AlgebraicCase{"RankNeeded", kStartFen, {0x80, 0x20, 4, 0}, "R1a3"},
                    AlgebraicCase{"BothNeeded", kStartFen, {0xBB, 0x13, 5, 0}, "Qd4d2"},
                    AlgebraicCase{"BishopAlone", kBishopAndPawn, {0x13, 0x31, 3, 0}, "Bb4"},
                    AlgebraicCase{"BishopOrPawn", kBishopAndPawn, {0x13, 0x22, 3, 42}, "Bd2xc3"},
                    AlgebraicCase{"TwoBishops", kTwoBishops, {0x13, 0x22, 3, 0}, "Bd2c3"}),
    [](const auto& test) { return test.param.name; });

struct FenCase {
    const char* name;
    const char* fen;
    const char* move;
    const char* expected;
};
class FenTextTest : public testing::TestWithParam<FenCase> {};

TEST_P(FenTextTest, WritesThePositionAfterAMove) {
    Session session({});
    session.Load(SettingsImage::Defaults());
    session.Start(0);
    CHSBRD board = BoardOf(GetParam().fen);
    ASSERT_EQ(session.engine()->put_Position(&board), S_OK);
    MOVES made;
    ASSERT_EQ(session.engine()->DoMove(GetParam().move, &made), S_OK);
    session.engine()->get_Position(&board);
    EXPECT_EQ(FenText(board, &made.MOVES[0], {board.fifty_moves, board.ply_no / 2 + 1}),
              GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    GameText,
    FenTextTest,
    testing::Values(FenCase{"NobodyCanTake",
                            kStartFen,
                            "e4",
                            "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - 0 1"},
                    FenCase{"EnPassant",
                            "4k3/8/8/8/3p4/8/4P3/4K3 w - - 0 1",
                            "e4",
                            "4k3/8/8/8/3pP3/8/8/4K3 b - e3 0 1"},
                    FenCase{"RightsAndCounter",
                            "r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1",
                            "Ra4",
                            "r3k2r/8/8/8/R7/8/8/4K2R b Kkq - 1 1"}),
    [](const auto& test) { return test.param.name; });

TEST(ReadPgn, SkipsWhatIsNoMove) {
    std::string error;
    const auto game = ReadPgn(
        "%a line for others\n[Event \"A \\\"cup\\\"\"]\n[Result \"0-1\"]\n\n"
        "1.f3 {weak} $2 (1. e4 e5 (1... c5 {sharp)}) 2. Nf3) 1... e5 ; to the end of the line 2. "
        "e4\n"
        "2.g4?? Qh4#! 0-1\n[Event \"another\"]\n",
        &error);
    ASSERT_TRUE(game) << error;
    EXPECT_THAT(game->moves, testing::ElementsAre("f3", "e5", "g4", "Qh4#"));
    EXPECT_EQ(game->result, "0-1");
    EXPECT_EQ(game->tags.at(0).second, "A \"cup\"");
}

TEST(ReadPgn, KeepsCastlingWithZeros) {
    std::string error;
    const auto game = ReadPgn("12. 0-0 0-0-0 1/2-1/2", &error);
    ASSERT_TRUE(game) << error;
    EXPECT_THAT(game->moves, testing::ElementsAre("0-0", "0-0-0"));
    EXPECT_EQ(game->result, "1/2-1/2");
}

TEST(ReadPgn, RefusesWhatHasNoEnd) {
    for (const char* text :
         {"", "1. e4 {no end", "1. e4 (1. d4", "1. e4 )", "[Event \"x]\n", "[]"}) {
        std::string error;
        EXPECT_FALSE(ReadPgn(text, &error)) << text;
        EXPECT_NE(error, "") << text;
    }
}

TEST(ReadPgn, SurvivesEveryCut) {
    const std::string text =
        "[Event \"x\"]\n[FEN \"8/8/8/8/8/8/8/8 w - - 0 1\"]\n\n1. e4 {c} (1. d4 $1) e5 ;x\n2. Nf3 "
        "*\n";
    for (std::size_t length = 0; length <= text.size(); ++length) {
        std::string error;
        ReadPgn(std::string_view(text).substr(0, length), &error);
    }
}

TEST(WritePgn, IsReadBackAsItWas) {
    PgnGame game;
    game.tags = {{"Event", "x"},
                 {"Site", "?"},
                 {"Date", "2000.01.01"},
                 {"Round", "?"},
                 {"White", "back\\slash"},
                 {"Black", "quo\"te"},
                 {"Note", "more"}};
    game.fen = "4k3/8/8/8/8/8/4p3/4K3 b - - 0 1";
    for (int i = 0; i < 60; ++i) game.moves.emplace_back("Nb1d2");
    game.result = "1/2-1/2";
    const std::string text = WritePgn(game);
    std::string error;
    EXPECT_EQ(ReadPgn(text, &error), game) << error;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80u);
    EXPECT_THAT(text, testing::HasSubstr("\n1... Nb1d2 2. Nb1d2 Nb1d2"));
}

struct EnterCase {
    const char* name;
    const char* fen;
    const char* move;
    const char* played;
};
class EnterPgnMoveTest : public testing::TestWithParam<EnterCase> {};

TEST_P(EnterPgnMoveTest, ReadsWhatOthersWrite) {
    const EnterCase& c = GetParam();
    Session session({});
    session.Load(SettingsImage::Defaults());
    session.Start(0);
    const CHSBRD board = BoardOf(c.fen);
    ASSERT_EQ(session.engine()->put_Position(&board), S_OK);
    MOVES made{};
    ASSERT_EQ(EnterPgnMove(session.engine(), c.move, &made), S_OK);
    EXPECT_EQ(CoordinateText(made.MOVES[0]), c.played);
}

INSTANTIATE_TEST_SUITE_P(
    Pgn,
    EnterPgnMoveTest,
    testing::Values(
        EnterCase{"BishopNotPawn", kBishopAndPawn, "Bxc3", "d2c3"},
        EnterCase{"PawnNotBishop", kBishopAndPawn, "bxc3", "b2c3"},
        EnterCase{"BishopByItsRank", "7k/8/8/B7/8/2n5/1P6/B3K3 w - - 0 1", "B5xc3", "a5c3"},
        EnterCase{"LongPromotion", "3r3k/4P3/8/8/8/8/8/4K3 w - - 0 1", "e7xd8=Q+", "e7d8q"},
        EnterCase{"MarksMissing", "6k1/8/6K1/8/8/8/8/R7 w - - 0 1", "Ra8", "a1a8"}),
    [](const auto& test) { return test.param.name; });

/// Positions rich in what makes notation hard, played on at random.
class RandomGameTest : public testing::TestWithParam<const char*> {};

TEST_P(RandomGameTest, EveryMoveWrittenFindsItselfAgain) {
    constexpr unsigned kSeed = 20240607;
    std::mt19937 random(kSeed);
    StartEngine();
    for (int game = 0; game < 15; ++game) {
        const CHSBRD start = BoardOf(GetParam());
        ASSERT_EQ(SetPosition(start), StatusOk);
        for (int ply = 0; ply < 120; ++ply) {
            std::vector<std::string> moves;
            for (MoveEntry* entry = EntryAt(legal_moves->quiet_head); entry;
                 entry = NextEntry(*entry)) {
                moves.push_back(EntryText(CoordinateText(entry->move)));
            }
            if (moves.empty()) break;
            CHSBRD before;
            StorePosition(&before);
            MOVES made;
            const std::string& chosen = moves[random() % moves.size()];
            ASSERT_EQ(DoMove(chosen.c_str(), &made), StatusOk) << chosen << " seed " << kSeed;
            const EVAR move = made.MOVES[0];
            const std::string text = AlgebraicText(move, before);
            ASSERT_EQ(MoveBack(1), StatusOk);
            ASSERT_EQ(DoMove(text.c_str(), &made), StatusOk)
                << text << " for " << chosen << " in " << FenText(before, nullptr, {});
            EXPECT_TRUE(SameMove(made.MOVES[0], move)) << text << " for " << chosen;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Pgn,
                         RandomGameTest,
                         testing::Values(kStartFen,
                                         "8/PPPP1k2/8/8/8/8/2K1pppp/8 w - - 0 1",
                                         "k7/8/B1B1B3/1P1P4/B1B1B3/1P1P1N1N/R2Q1Q1R/K7 w - - 0 1",
                                         "r3k2r/1b1b4/8/1p1p4/8/2P1P3/1P6/R3K2R b KQkq - 0 1"));

}  // namespace
}  // namespace torval

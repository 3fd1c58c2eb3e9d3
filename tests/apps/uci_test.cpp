// Dialogues as a chess program has them. Nothing here depends on how long anything takes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "apps/cli/positions.h"
#include "engine/notifications.h"
#include "support/uci_dialogue.h"

namespace torval {
namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

constexpr const char* kMove = "bestmove [a-h][1-8][a-h][1-8][nbrq]?( ponder .*)?";

/// Other tests leave the one engine of this process with tables and listeners of their own.
struct FreshEngine {
    FreshEngine() {
        StartEngine();
        InstallNotifications();
    }
};

class Uci : public testing::Test {
protected:
    // Before the dialogue, whose thread uses the engine from its first moment on.
    FreshEngine fresh;

    std::string Go(const std::string& position, const std::string& go) {
        dialogue.Send("position " + position);
        dialogue.Send(go);
        return dialogue.Until("bestmove");
    }

    UciDialogue dialogue;
};

TEST_F(Uci, ShakesHands) {
    dialogue.Send("uci");
    (void)dialogue.Until("uciok");
    EXPECT_EQ(dialogue.lines().front(), "id name Torval");
    EXPECT_EQ(dialogue.lines()[1], "id author The Torval authors");
    EXPECT_EQ(dialogue.Count("option name Hash type spin default 16 min 1 max 160"), 1);
    EXPECT_EQ(dialogue.Count("option name Ponder type check"), 1);
    EXPECT_EQ(dialogue.Count("option name "), static_cast<long>(dialogue.lines().size()) - 3);
    dialogue.Ready();
}

TEST_F(Uci, AnswersEveryDepthWithALine) {
    EXPECT_THAT(Go("startpos", "go depth 5"), MatchesRegex(kMove));
    for (const char* depth : {"1", "3", "5"}) {
        EXPECT_GE(dialogue.Count("info depth " + std::string(depth) + " score cp "), 1);
    }
    EXPECT_THAT(dialogue.lines()[dialogue.lines().size() - 2],
                ContainsRegex("^info depth 5 score cp -?[0-9]+ nodes [0-9]+ nps [0-9]+ time "
                              "[0-9]+ pv [a-h][1-8][a-h][1-8]"));
}

TEST_F(Uci, SearchesFromTheStartWithoutAPosition) {
    dialogue.Send("go depth 2");
    EXPECT_THAT(dialogue.Until("bestmove"), MatchesRegex(kMove));
}

TEST_F(Uci, IsReadyWhileItSearches) {
    dialogue.Send("go infinite");
    dialogue.Ready();
    EXPECT_EQ(dialogue.Count("bestmove"), 0);
    dialogue.Send("stop");
    EXPECT_THAT(dialogue.Until("bestmove"), MatchesRegex(kMove));
    dialogue.Send("stop");
    dialogue.Send("ponderhit");
    dialogue.Ready();
    EXPECT_EQ(dialogue.Count("bestmove"), 1) << "nothing is left to stop";
}

struct GoCase {
    const char* name;
    const char* go;
};
class UciGoTest : public Uci, public testing::WithParamInterface<GoCase> {};

TEST_P(UciGoTest, EndsByItselfWithOneMove) {
    EXPECT_THAT(Go("startpos moves e2e4 e7e5 g1f3", GetParam().go), MatchesRegex(kMove));
    dialogue.Ready();
    EXPECT_EQ(dialogue.Count("bestmove"), 1);
}

INSTANTIATE_TEST_SUITE_P(
    Limits,
    UciGoTest,
    testing::Values(GoCase{"MoveTime", "go movetime 20"},
                    GoCase{"NoMoveTime", "go movetime 0"},
                    GoCase{"Clock", "go wtime 300 btime 300 winc 5 binc 5"},
                    GoCase{"ClockOfOneMove", "go wtime 100 btime 100 movestogo 1"},
                    GoCase{"ClockRunOut", "go wtime -5 btime -5"},
                    GoCase{"Nodes", "go nodes 2000"},
                    GoCase{"MateThatIsNotThere", "go mate 1"},
                    GoCase{"NoDepth", "go depth 0"},
                    GoCase{"HugeNumbers", "go depth 1 movetime 99999999999999999999999999"},
                    GoCase{"UnknownWords", "go quickly depth 2 please"},
                    GoCase{"NumberMissing", "go nodes depth 2"},
                    GoCase{"DepthAndTime", "go depth 30 movetime 20"}),
    [](const auto& test) { return test.param.name; });

TEST_F(Uci, MateAndStalemateHaveNoMove) {
    EXPECT_EQ(Go("fen R6k/8/6K1/8/8/8/8/8 b - - 0 1", "go depth 3"), "bestmove (none)");
    EXPECT_EQ(dialogue.Count("info depth 0 score mate 0"), 1);
    dialogue.Forget();
    EXPECT_EQ(Go("fen 7k/5Q2/6K1/8/8/8/8/8 b - - 0 1", "go movetime 20"), "bestmove (none)");
    EXPECT_EQ(dialogue.Count("info depth 0 score cp 0"), 1);
    EXPECT_EQ(Go("startpos moves f2f3 e7e5 g2g4 d8h4", "go wtime 9 btime 9"), "bestmove (none)");
    EXPECT_THAT(Go("startpos", "go depth 1"), MatchesRegex(kMove)) << "the next game goes on";
}

TEST_F(Uci, MateIsStillSilentWhenInfinite) {
    dialogue.Send("position fen R6k/8/6K1/8/8/8/8/8 b - - 0 1");
    dialogue.Send("go infinite");
    dialogue.Ready();
    EXPECT_EQ(dialogue.Count("bestmove"), 0);
    dialogue.Send("stop");
    EXPECT_EQ(dialogue.Until("bestmove"), "bestmove (none)");
}

TEST_F(Uci, AKingThatCanBeTakenDoesNotHangIt) {
    EXPECT_THAT(Go("fen 4k3/8/8/8/8/8/4R3/4K3 w - - 0 1", "go depth 3"), StartsWith("bestmove "));
}

TEST_F(Uci, CountsMovesToMate) {
    (void)Go("fen k7/8/8/8/8/8/7R/K5R1 w - -", "go mate 2");
    EXPECT_THAT(dialogue.lines()[dialogue.lines().size() - 2], HasSubstr(" score mate 2 "));
    dialogue.Forget();
    (void)Go("fen 8/8/8/8/8/5k2/8/r6K w - - 0 1", "go depth 4");
    EXPECT_THAT(dialogue.lines()[dialogue.lines().size() - 2], HasSubstr(" score mate -2 "));
}

TEST_F(Uci, SearchesOnlyTheMovesAskedFor) {
    EXPECT_THAT(Go("startpos", "go searchmoves a2a3 depth 3"), StartsWith("bestmove a2a3"));
    EXPECT_THAT(Go("startpos", "go depth 3 searchmoves h7h5 h2h4"), StartsWith("bestmove h2h4"));
    EXPECT_THAT(Go("startpos", "go depth 3"), Not(StartsWith("bestmove h2h4"))) << "once only";
    EXPECT_THAT(Go("startpos", "go searchmoves e2e5 depth 3"), MatchesRegex(kMove))
        << "a wish that cannot be met is void";
    EXPECT_THAT(Go("fen 8/P6k/8/8/8/8/8/K7 w - -", "go searchmoves a7a8n depth 3"),
                StartsWith("bestmove a7a8n"));
    EXPECT_THAT(Go("fen 4k3/8/8/8/8/8/8/4K2R w K -", "go searchmoves e1g1 depth 3"),
                StartsWith("bestmove e1g1"));
}

TEST_F(Uci, PlaysPromotionsCastlingAndEnPassant) {
    EXPECT_EQ(Go("fen 8/P6k/8/8/8/8/8/K7 w - - 0 1 moves a7a8b h7g7 a8h1 g7h7",
                 "go searchmoves h1a8 depth 1"),
              "bestmove h1a8");
    EXPECT_THAT(
        Go("startpos moves e2e4 a7a6 e4e5 d7d5 e5d6 a6a5 g1f3 a5a4 f1e2 a4a3 e1g1", "go depth 2"),
        MatchesRegex(kMove));
    EXPECT_THAT(Go("fen rnbqkbnr/1pp1pppp/p7/3pP3/8/8/PPPP1PPP/RNBQKBNR w KQkq d6 0 3",
                   "go searchmoves e5d6 depth 1"),
                StartsWith("bestmove e5d6"));
    EXPECT_EQ(dialogue.Count("info string"), 0);
}

TEST_F(Uci, SaysWhichMoveOrPositionIsWrong) {
    EXPECT_THAT(Go("startpos moves e2e4 e2e4 e7e5", "go depth 1"), MatchesRegex(kMove));
    EXPECT_EQ(dialogue.Count("info string move 2 'e2e4' is not legal"), 1);
    EXPECT_THAT(Go("startpos moves e4", "go depth 1"), MatchesRegex(kMove));
    EXPECT_EQ(dialogue.Count("info string move 1 'e4' is not legal"), 1);
    EXPECT_THAT(Go("fen 8/8/8/8/8/8/8/8 w - -", "go depth 1"), MatchesRegex(kMove));
    EXPECT_EQ(dialogue.Count("info string position refused: board"), 1);
}

TEST_F(Uci, PondersUntilTheMoveIsPlayed) {
    dialogue.Send("position startpos moves e2e4 e7e5");
    dialogue.Send("go ponder wtime 50 btime 50");
    dialogue.Ready();
    EXPECT_EQ(dialogue.Count("bestmove"), 0);
    dialogue.Send("ponderhit");
    EXPECT_THAT(dialogue.Until("bestmove"), MatchesRegex(kMove));
    dialogue.Send("go ponder wtime 50 btime 50");
    dialogue.Send("stop");
    EXPECT_THAT(dialogue.Until("bestmove"), MatchesRegex(kMove));
    // A search that is over before the move is played keeps its answer until then.
    // In a new game: what is known of an old one may be deeper already, and gets no line.
    dialogue.Send("ucinewgame");
    dialogue.Send("go ponder depth 1");
    (void)dialogue.Until("info depth 1 ");
    dialogue.Forget();
    dialogue.Ready();
    EXPECT_EQ(dialogue.Count("bestmove"), 0);
    dialogue.Send("ponderhit");
    EXPECT_THAT(dialogue.Until("bestmove"), MatchesRegex(kMove));
}

TEST_F(Uci, EveryGoIsAnsweredInTurn) {
    for (const char* next : {"go infinite",
                             "position startpos moves d2d4",
                             "ucinewgame",
                             "setoption name Clear Hash",
                             "go depth 1",
                             "stop"}) {
        dialogue.Forget();
        dialogue.Send("go infinite");
        dialogue.Send(next);
        dialogue.Ready();
        EXPECT_EQ(dialogue.Count("bestmove"), 1) << next;
        dialogue.Send("stop");
        dialogue.Ready();
        EXPECT_EQ(dialogue.Count("bestmove"), std::string_view(next).starts_with("go") ? 2 : 1)
            << next;
    }
}

TEST_F(Uci, TakesTheTablesSizeUntilAPositionIsSet) {
    for (const char* line : {"stop", "ucinewgame", "debug off"}) {
        dialogue.Ready();
        dialogue.Send(line);
        dialogue.Send("setoption name Hash value 8");
    }
    dialogue.Ready();
    EXPECT_EQ(dialogue.Count("info string"), 0);
    dialogue.Send("position startpos");
    dialogue.Send("setoption name Hash value 4");
    dialogue.Ready();
    EXPECT_EQ(dialogue.Count("info string Hash stays at "), 1);
}

TEST_F(Uci, TakesOptionsDuringASearch) {
    dialogue.Send("go infinite");
    dialogue.Send("setoption name hash value 32");
    dialogue.Send("setoption name Null Move Reduction value 99");
    dialogue.Send("setoption name Use Hash Table value maybe");
    dialogue.Send("setoption name No Such Thing value 1");
    dialogue.Send("setoption");
    dialogue.Send("setoption name Move Overhead value 10");
    dialogue.Ready();
    EXPECT_EQ(dialogue.Count("bestmove"), 0);
    EXPECT_EQ(dialogue.Count("info string Hash stays at "), 1);
    EXPECT_EQ(dialogue.Count("info string Null Move Reduction lies between 1 and 10"), 1);
    EXPECT_EQ(dialogue.Count("info string Use Hash Table is either"), 1);
    EXPECT_EQ(dialogue.Count("info string there is no option 'No Such Thing'"), 1);
    dialogue.Send("stop");
    (void)dialogue.Until("bestmove");
    EXPECT_THAT(Go("startpos", "go depth 3"), MatchesRegex(kMove));
}

/// The nodes of the last `info` line.
std::string NodesOf(const UciDialogue& dialogue) {
    const std::string& line = dialogue.lines()[dialogue.lines().size() - 2];
    const std::size_t begin = line.find(" nodes ");
    return line.substr(begin, line.find(" nps ") - begin);
}

TEST_F(Uci, OptionsChangeTheNextSearch) {
    (void)Go("startpos", "go depth 6");
    const std::string with_table = NodesOf(dialogue);
    dialogue.Send("setoption name Use Hash Table value false");
    dialogue.Send("ucinewgame");
    (void)Go("startpos", "go depth 6");
    EXPECT_NE(NodesOf(dialogue), with_table);
    dialogue.Send("setoption name Use Hash Table value true");
    dialogue.Send("ucinewgame");
    (void)Go("startpos", "go depth 6");
    EXPECT_EQ(NodesOf(dialogue), with_table);
}

TEST_F(Uci, IgnoresWhatItDoesNotKnow) {
    dialogue.SendRaw("\n\r\n  \t \nxyzzy\nregister later\n\x01\x02\xFF\n");
    dialogue.SendRaw(std::string(1, '\0') + "\n");
    dialogue.Send("position");
    dialogue.Send("position fen");
    dialogue.Send("joho debug on");
    dialogue.Send("xyzzy");
    dialogue.Send("debug off");
    dialogue.Ready();
    EXPECT_EQ(dialogue.Count("info string nothing known in 'xyzzy'"), 1);
    EXPECT_EQ(dialogue.Count("info string position refused"), 1) << "an empty one";
    EXPECT_EQ(dialogue.lines().size(), 3U);
}

TEST_F(Uci, ReadsCarriageReturnsPiecesAndLongLines) {
    dialogue.SendRaw("position startpos moves e2e4\r\ngo de");
    dialogue.SendRaw("pth 2\r\n");
    EXPECT_THAT(dialogue.Until("bestmove"), MatchesRegex(kMove));
    dialogue.Send("go depth 2 " + std::string(200000, 'x') + " " + std::string(200000, ' '));
    EXPECT_THAT(dialogue.Until("bestmove"), MatchesRegex(kMove));
    dialogue.Forget();
    dialogue.Send(std::string(3 << 20, ' ') + "go depth 1");
    dialogue.Ready();
    EXPECT_EQ(dialogue.Count("bestmove"), 0) << "too long to be a command";
    dialogue.SendRaw("go depth 1");
    dialogue.End();
    EXPECT_EQ(dialogue.Count("bestmove"), 1) << "a last line without an end";
}

std::string Repeat(const std::string& text, int times) {
    std::string repeated;
    for (int i = 0; i < times; ++i) repeated += text;
    return repeated;
}

TEST_F(Uci, PlaysGamesLongerThanTheRecord) {
    const std::string round = " g1f3 g8f6 f3g1 f6g8";
    // Nothing irreversible at all, then a double step where the record is full.
    EXPECT_THAT(Go("startpos moves" + Repeat(round, 120), "go depth 1"), MatchesRegex(kMove));
    const std::string start =
        "startpos moves e2e4" + Repeat(" g8f6 g1f3 f6g8 f3g1", 40) + " g8f6 e4e5";
    const std::string line = start + Repeat(" f6g8 g1f3 g8f6 f3g1", 56) + " d7d5";
    EXPECT_THAT(Go(line, "go searchmoves e5d6 depth 1"), StartsWith("bestmove e5d6"));
    const std::string longer = line + " e5d6" + Repeat(" f6g8 g1f3 g8f6 f3g1", 40) + " d8d6";
    EXPECT_THAT(Go(longer, "go depth 1"), MatchesRegex(kMove));
    // Back to before what was set up in between.
    EXPECT_THAT(Go(start, "go depth 1"), MatchesRegex(kMove));
    EXPECT_EQ(dialogue.Count("info string"), 0);
}

TEST_F(Uci, FollowsAGameBackAndForth) {
    for (const char* moves : {"", " e2e4", " e2e4 e7e5", " e2e4 c7c5 g1f3", " e2e4", " d2d4"}) {
        EXPECT_THAT(Go("startpos moves" + std::string(moves), "go depth 2"), MatchesRegex(kMove));
    }
    EXPECT_EQ(Go("startpos moves e2e4 e7e5", "go searchmoves g1f3 depth 1").substr(0, 13),
              "bestmove g1f3");
    EXPECT_EQ(dialogue.Count("info string"), 0);
}

TEST_F(Uci, TheEndOfInputStopsTheSearch) {
    dialogue.Send("go infinite");
    dialogue.End();
    EXPECT_EQ(dialogue.Count("bestmove"), 1);
}

TEST_F(Uci, QuitStopsTheSearch) {
    dialogue.Send("go ponder wtime 1000 btime 1000");
    dialogue.Send("quit");
    dialogue.Send("uci");
    dialogue.End();
    EXPECT_EQ(dialogue.Count("bestmove"), 1);
    EXPECT_EQ(dialogue.Count("uciok"), 0) << "nothing is read after quit";
}

TEST_F(Uci, AClosedOutputEndsIt) {
    dialogue.Send("go infinite");
    (void)dialogue.Until("info");
    dialogue.Send("isready");
    dialogue.Send("isready");
    dialogue.CloseOutput();
}

}  // namespace
}  // namespace torval

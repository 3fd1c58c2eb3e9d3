// Whole sessions with the terminal host, as scripts: commands in, answers and exit code out.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>
#include <ext/stdio_filebuf.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <thread>

#include "apps/play/front_ends.h"
#include "apps/play/history.h"
#include "apps/play/level_text.h"
#include "apps/play/screen.h"
#include "apps/text/text.h"
#include "platform/tick.h"
#include "support/run_command.h"
#include "support/uci_dialogue.h"

namespace torval {
namespace {

using testing::HasSubstr;
using testing::Not;

Ran Play(const std::string& script, std::vector<std::string> options = {}) {
    options.insert(options.begin(), {"play", "--ascii", "--book=none"});
    return Torval(options, script);
}

/// A clock that goes on only when it is told to.
class HeldClock {
public:
    HeldClock() {
        tick_source = {[] { return now.load(); }, [](std::uint32_t) { std::this_thread::yield(); }};
    }
    ~HeldClock() { tick_source = kSystemTicks; }
    HeldClock(const HeldClock&) = delete;
    HeldClock& operator=(const HeldClock&) = delete;

    void Pass(std::uint32_t ms) { now += ms; }

private:
    static inline std::atomic<std::uint32_t> now = 0;
};

/// A path in the test's own folder.
std::string FileFor(const char* name) { return testing::TempDir() + "torval_play_" + name; }

TEST(Play, PlaysFoolsMateToTheEnd) {
    const Ran played = Play("auto off\nf3\ne7e5\ng2-g4\nQh4\nmoves\n");
    EXPECT_EQ(played.code, 0) << played.err;
    EXPECT_EQ(played.out,
              "The engine moves only on 'go'.\n1. f3\nOpening: A00 Barnes Opening\n1... e5\n2. g4\n"
              "2... Qh4#\nCheckmate. Black wins.\nOpening: A00 Barnes Opening: Fool's Mate\n"
              "1. f3 e5 2. g4 Qh4#\n");
}

TEST(Play, AnswersEachMoveAndMates) {
    const Ran played = Play("fen k7/8/1K6/8/8/8/8/6R1 b - - 0 1\nlevel depth 3\nKb8\n");
    EXPECT_EQ(played.code, 0) << played.err;
    EXPECT_THAT(played.out, HasSubstr("1... Kb8\n2. Rg8#"));
    EXPECT_THAT(played.out, HasSubstr("Checkmate. White wins."));
}

struct EndCase {
    const char* name;
    const char* script;
    const char* sentence;
};
class EndTest : public testing::TestWithParam<EndCase> {};

TEST_P(EndTest, IsToldInASentence) {
    const Ran played = Play(std::string("level depth 2\n") + GetParam().script);
    EXPECT_EQ(played.code, 0) << played.err;
    EXPECT_THAT(played.out, HasSubstr(GetParam().sentence));
    EXPECT_EQ(Play(std::string("level depth 2\n") + GetParam().script + "\ngo").code, 1);
}

INSTANTIATE_TEST_SUITE_P(
    Play,
    EndTest,
    testing::Values(
        EndCase{"StalemateBeforeTheEnginesAnswer",
                "fen 7k/8/6K1/8/8/8/8/5Q2 w - - 0 1\nQf7",
                "Stalemate: the game is drawn."},
        EndCase{
            "StalemateByHand", "auto off\nfen 7k/8/6K1/8/8/8/8/5Q2 w - - 0 1\nQf7", "Stalemate"},
        EndCase{"StalemateSetUp", "fen 7k/5Q2/6K1/8/8/8/8/8 b - - 0 1", "Stalemate"},
        EndCase{"MateSetUp", "fen 7k/6Q1/6K1/8/8/8/8/8 b - - 0 1", "Checkmate. White wins."},
        EndCase{"NoMaterialSetUp", "fen 4kb2/8/8/8/8/8/8/4K1N1 w - - 3 9", "Neither side can mate"},
        EndCase{"FiftyMovesSetUp", "fen 7k/8/6K1/8/8/8/8/6Q1 w - - 100 90", "Fifty moves without"},
        EndCase{"FiftyMovesButMate", "fen 7k/6Q1/6K1/8/8/8/8/8 b - - 120 90", "Checkmate."},
        EndCase{"FiftyMovesByHand",
                "auto off\nfen 4k3/8/8/8/8/8/4P3/4K3 w - - 97 90\nKd2\nKd8\nKe1",
                "91. Ke1\nFifty moves without"},
        EndCase{"FiftyMovesByTheEngine",
                "fen 7k/8/5K2/8/8/8/8/6Q1 w - - 98 80\nKe6",
                ", depth 2)\nFifty moves without"},
        EndCase{"MateAtTheFiftiethMove",
                "auto off\nfen 7k/8/6K1/8/8/8/8/5Q2 w - - 99 80\nQf8",
                "Qf8#\nCheckmate. White wins."},
        EndCase{"NoMaterial", "fen 7k/8/8/8/8/8/1p6/K5B1 w - - 0 1\nKxb2", "Neither side can mate"},
        EndCase{"Repetition",
                "auto off\nNf3\nNf6\nNg1\nNg8\nNf3\nNf6\nNg1\nNg8",
                "The position is repeated"},
        EndCase{"DrawAgreed",
                "auto off\ne4\ne5\nNf3\nNc6\nBb5\na6\nBa4\nNf6\nO-O\nBe7\nRe1\nb5\nBb3\nd6\nc3\n"
                "O-O\nh3\nNb8\nd4\ndraw",
                "The engine accepts: the game is drawn."}),
    [](const auto& test) { return test.param.name; });

struct ForfeitCase {
    const char* name;
    std::vector<const char*> commands;
    const char* sentence;
};
class ForfeitTest : public testing::TestWithParam<ForfeitCase> {};

TEST_P(ForfeitTest, IsToldInASentenceAndEndsTheGame) {
    HeldClock clock;
    Player player({});
    player.Execute("auto off");
    player.Execute("level game in 60");
    for (const char* command : GetParam().commands) {
        EXPECT_TRUE(player.Execute(command).accepted) << command;
    }
    EXPECT_FALSE(player.IsOver());
    constexpr int kPatience = 10000;
    for (int i = 0; i < kPatience && !player.IsOver(); ++i) {
        clock.Pass(1000);
        player.Wait(-1, 1);
        player.CurrentView();
    }
    EXPECT_THAT(player.TakeNews(), testing::ElementsAre(GetParam().sentence));
    EXPECT_THAT(player.Execute("stop").lines, testing::ElementsAre("the engine is not thinking"));
    EXPECT_THAT(player.Execute("a6").lines, testing::Contains(HasSubstr("the game is over")));
    EXPECT_THAT(player.Execute("back").lines,
                testing::Contains(HasSubstr("The clock that ran out stands still")));
    EXPECT_FALSE(player.IsOver());
}

INSTANTIATE_TEST_SUITE_P(
    Play,
    ForfeitTest,
    testing::Values(
        ForfeitCase{"White", {"e4", "e5"}, "White has run out of time. Black wins."},
        ForfeitCase{"Black", {"e4"}, "Black has run out of time. White wins."},
        ForfeitCase{"Pondering", {"e4", "ponder on"}, "Black has run out of time. White wins."},
        ForfeitCase{"Analysing", {"e4", "analyse"}, "Black has run out of time. White wins."}),
    [](const auto& test) { return test.param.name; });

struct RefusedCommand {
    const char* name;
    const char* script;
    const char* reason;
};
class RefusedCommandTest : public testing::TestWithParam<RefusedCommand> {};

TEST_P(RefusedCommandTest, IsReportedAndTheRestCarriedOut) {
    const Ran played = Play(std::string(GetParam().script) + "\nclock\n");
    EXPECT_EQ(played.code, 1);
    EXPECT_THAT(played.err, HasSubstr(GetParam().reason));
    EXPECT_THAT(played.err, HasSubstr("torval: a command was refused\n"));
    EXPECT_THAT(played.out, HasSubstr("White 0:00, Black 0:0"));
}

INSTANTIATE_TEST_SUITE_P(
    Play,
    RefusedCommandTest,
    testing::Values(
        RefusedCommand{"IllegalMove", "e5", "line 1: 'e5' is not a legal move"},
        RefusedCommand{"NoMove", "\nfly", "line 2: 'fly' is neither a move nor a command"},
        RefusedCommand{"NoCommand", "fly away", "there is no command 'fly'"},
        RefusedCommand{"Ambiguous", "fen 7k/8/8/8/8/8/8/KN3N2 w - - 0 1\nNd2", "Nb1d2"},
        RefusedCommand{"BadFen", "fen 8/8 w - -", "board: 2 ranks"},
        RefusedCommand{"PawnOnItsLastRank",
                       "fen P3k3/8/8/8/8/8/8/4K3 w - - 0 1",
                       "line 1: board: a pawn is on rank 8"},
        RefusedCommand{"PawnBehindItsFirst",
                       "fen 4k3/8/8/8/8/8/8/P3K3 w - - 0 1",
                       "board: a pawn is on rank 1"},
        RefusedCommand{"KingThatCanBeTaken",
                       "fen 4k3/8/8/8/8/8/4R3/4K3 w - - 0 1",
                       "side to move: White could take the king of Black"},
        RefusedCommand{"KingsTooClose",
                       "fen 4k3/4K3/8/8/8/8/8/8 b - - 0 1",
                       "side to move: Black could take the king of White"},
        RefusedCommand{"NothingToTakeBack", "back", "fewer moves"},
        RefusedCommand{"BackNowhere", "back 0", "usage: back"},
        RefusedCommand{"NoHint", "hint", "no hint"},
        RefusedCommand{"NoAlternative", "next", "no alternative"},
        RefusedCommand{"NotThinking", "now", "not thinking"},
        RefusedCommand{"NothingToStop", "stop", "not thinking"},
        RefusedCommand{"LevelOutOfRange", "level depth 30 x", "not understood from 'x' on"},
        RefusedCommand{"LevelTooShort", "level increment 5 0", "out of range"},
        RefusedCommand{"NoFile", "load game /nowhere/x.pgn", "cannot be read"},
        RefusedCommand{"NoFolder", "save game /nowhere/x.pgn", "cannot be written"},
        RefusedCommand{"NoSetting", "settings 9 1", "there is no setting 9"},
        RefusedCommand{"SettingNoNumber", "settings 204 x", "does not take 'x'"},
        RefusedCommand{"SettingNoValue", "settings 204", "setting 204 needs a value"},
        RefusedCommand{"SettingNoItem", "settings 211 1 kb", "one of 0 kb, 320 kb"},
        RefusedCommand{"SwitchedAskew", "ponder perhaps", "usage: ponder on|off"}),
    [](const auto& test) { return test.param.name; });

TEST(Play, TakesBack) {
    const Ran played = Play("auto off\ne4\ne5\nback\nc5\nback 2\nfen\n");
    EXPECT_EQ(played.code, 0) << played.err;
    EXPECT_THAT(played.out,
                HasSubstr("1... c5\nOpening: B20 Sicilian Defense\nBack at the start.\n"));
    EXPECT_THAT(played.out, HasSubstr("Back to 1. e4\nOpening: B00 King's Pawn Game\n"));
    EXPECT_THAT(played.out, HasSubstr("RNBQKBNR w KQkq - 0 1\n"));
    EXPECT_THAT(Play("level depth 1\ne4\nback\n").out, HasSubstr("Back at the start."));
}

TEST(Play, ObeysWhileTheEngineThinks) {
    const Ran played = Play("level infinite\ngo\ne4\nback\nlevel move 1\nnow\nmoves\n");
    EXPECT_EQ(played.code, 1);
    EXPECT_THAT(played.err, HasSubstr("line 3: the engine is thinking about its move"));
    EXPECT_THAT(played.err, HasSubstr("torval: 3 commands were refused"));
    EXPECT_THAT(played.out, HasSubstr("\n1. "));
    const Ran stopped = Play("level infinite\ngo\nstop\nmoves\ngo\nnew\nanalyse\nstop\ngo\n");
    EXPECT_EQ(stopped.code, 0) << stopped.err;
    EXPECT_THAT(stopped.out, HasSubstr("Stopped.\nNo moves yet.\n"));
}

/// Both outputs of a script that comes through a pipe.
class FromPipe : public testing::Test {
protected:
    UciDialogue dialogue{[](int input, int output) {
        __gnu_cxx::stdio_filebuf<char> buffer(dup(output), std::ios::out);
        std::ostream out(&buffer);
        Console console{std::cin, out, out, false};
        Player player({});
        PlayScript(player, console, input);
    }};
};

TEST_F(FromPipe, LetsTheEngineThinkWhileNoLineIsThere) {
    // A single move is answered after three iterations, at this level too.
    dialogue.Send("level infinite\nfen k7/8/8/8/8/8/5r2/7K w - - 0 1\ngo");
    EXPECT_THAT(dialogue.Until("1. "), testing::EndsWith(", depth 3)"));
    dialogue.SendRaw("mo");
    dialogue.SendRaw("ves\r\n");
    EXPECT_EQ(dialogue.Until("1. "), "1. Kg1");
}

TEST_F(FromPipe, CountsALineThatIsTooLongAndTakesALastOneWithoutAnEnd) {
    dialogue.SendRaw(std::string(3 << 20, ' ') + "e4\n#\nfly\nauto off\ne4");
    dialogue.End();
    EXPECT_THAT(dialogue.lines(),
                testing::ElementsAre("line 1: the line is too long",
                                     HasSubstr("line 3: 'fly' is neither"),
                                     HasSubstr("The engine moves only"),
                                     "1. e4",
                                     HasSubstr("Opening: ")));
}

TEST(Play, PondersBetweenTheMoves) {
    const Ran played = Play("level depth 2\nponder on\ne4\nhint\nponder off\nback\nd4\n");
    EXPECT_THAT(played.out, HasSubstr("Back at the start.\n1. d4\n1... ")) << played.err;
}

TEST(Play, SavesAndLoadsAGame) {
    const std::string file = FileFor("game.pgn");
    const std::string fen = "r3k3/PPb5/8/3pP3/8/1B6/1B6/4K2R w Kq d6 0 1";
    const Ran saved = Play("auto off\nfen " + fen +
                           "\nexd6\nBxd6\nbxa8=N\nKd7\nO-O\nBe7\nNc7\nKxc7\na8=Q\nsave game " +
                           file + "\nmoves\nfen\n");
    EXPECT_EQ(saved.code, 0) << saved.err;
    const Ran loaded = Play("load game " + file + "\nmoves\nfen\n");
    EXPECT_EQ(loaded.code, 0) << loaded.err;
    EXPECT_THAT(loaded.out, HasSubstr("1... d5 2. exd6 Bxd6 3. bxa8=N Kd7 4. O-O Be7"));
    const std::string moves = loaded.out.substr(loaded.out.find("1... "));
    EXPECT_TRUE(saved.out.ends_with(moves)) << saved.out;
    std::filesystem::remove(file);
}

TEST(Play, ReplacesAFileWhenThatIsWanted) {
    struct Row {
        const char* script;  ///< FILE stands for a file that is there
        bool asks;
        bool replaced;
        const char* last;  ///< reply
    };
    const std::string file = FileFor("there");
    for (const Row& row :
         {Row{"save game FILE", false, false, "' is there already; 'save game --force FILE' rep"},
          Row{"save settings FILE", false, false, "'save settings --force FILE' replaces it"},
          Row{"save game --force FILE", false, true, "Game saved."},
          Row{"save game --force FILE\ne4\nsave game FILE", false, true, "Game saved."},
          Row{"save game --force FILE\nnew\nsave game FILE", false, true, "is there already"},
          Row{"save game --force FILE\nsave settings FILE", false, true, "is there already"},
          Row{"save game FILE", true, false, "Replace it? (y/n)"},
          Row{"save game FILE\ny", true, true, "Game saved."},
          Row{"save settings FILE\nyes", true, true, "Settings saved."},
          Row{"save game FILE\nn", true, false, "stays as it is."},
          Row{"save game FILE\n", true, false, "stays as it is."},
          Row{"save game FILE\nfen\ny", true, false, "neither a move nor a command"},
          Row{"save game", true, false, "usage: save game|settings [--force] FILE"},
          Row{"save game --force", true, false, "usage: save"}}) {
        SCOPED_TRACE(row.script);
        std::ofstream(file) << "old";
        PlayOptions options;
        options.asks = row.asks;
        Player player(options);
        player.Execute("auto off");
        std::string script = row.script;
        for (std::size_t at; (at = script.find(" FILE")) != script.npos;) {
            script.replace(at, 5, " " + file);
        }
        std::istringstream lines(script + "\n");
        std::string reply;
        for (std::string line; std::getline(lines, line);) {
            const Reply answer = player.Execute(line);
            reply = answer.lines.empty() ? "" : answer.lines.back();
        }
        std::string text;
        std::ifstream(file) >> text;
        EXPECT_EQ(text != "old", row.replaced);
        EXPECT_THAT(reply, HasSubstr(row.last));
    }
    std::filesystem::remove(file);
}

TEST(Play, CountsOnFromAFen) {
    const std::string file = FileFor("counted.pgn");
    const Ran played = Play(
        "auto off\nfen 4k3/8/8/8/8/8/4P3/4K2R b K - 47 60\nKd7\nO-O\nfen\nKd8\n"
        "e3\nfen\nback\nfen\nsave game " +
        file + "\n");
    EXPECT_EQ(played.code, 0) << played.err;
    EXPECT_THAT(played.out,
                testing::AllOf(
                    HasSubstr("60... Kd7\n61. O-O\n8/3k4/8/8/8/8/4P3/5RK1 b - - 49 61\n61... Kd8"),
                    HasSubstr("62. e3\n3k4/8/8/8/8/4P3/8/5RK1 b - - 0 62\n"),
                    HasSubstr("Back to 61... Kd8\n3k4/8/8/8/8/8/4P3/5RK1 w - - 50 62\n")));
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    EXPECT_THAT(text.str(),
                HasSubstr("[FEN \"4k3/8/8/8/8/8/4P3/4K2R b K - 47 60\"]\n\n"
                          "60... Kd7 61. O-O Kd8 *\n"));
    EXPECT_THAT(Play("load game " + file + "\nfen\n").out,
                testing::EndsWith("\n3k4/8/8/8/8/8/4P3/5RK1 w - - 50 62\n"));
    // What is played on after a hundred half-moves ends as its last move does.
    std::ofstream(file) << "[FEN \"7k/8/6K1/8/8/8/8/5Q2 w - - 99 80\"]\n\n80. Qf2 Kg8 81. Qf7+ Kh8 "
                           "82. Qf8# 1-0\n";
    EXPECT_EQ(Play("load game " + file + "\n").out,
              "Game loaded: 5 half-moves.\nCheckmate. White wins.\n");
    std::filesystem::remove(file);
    // The double step that an en passant square tells of is a move of the game, and a pawn's.
    EXPECT_THAT(Play("fen 4k3/8/8/3Pp3/8/8/8/4K3 w - e6 7 30\nmoves\nfen\n").out,
                HasSubstr("29... e5\n4k3/8/8/3Pp3/8/8/8/4K3 w - e6 0 30\n"));
}

TEST(Play, NamesTheOpeningInTheGamesFile) {
    const std::string file = FileFor("named.pgn");
    const auto tags_of = [&file](const std::string& script, const char* force = "") {
        EXPECT_EQ(Play(script + "\nsave game " + force + file).code, 0);
        std::ostringstream text;
        text << std::ifstream(file).rdbuf();
        std::filesystem::remove(file);
        return text.str();
    };
    // Named by the last named position, also behind it and when that was reached another way.
    EXPECT_THAT(tags_of("auto off\nd4\nc6\ne4\nd5\ne5\na5\na4"),
                HasSubstr("[ECO \"B12\"]\n[Opening \"Caro-Kann Defense: Advance Variation\"]\n"));
    // A loaded game that goes on gets its new name; one without a name has no such tag.
    std::ofstream(file) << "[ECO \"A00\"]\n[Opening \"x\"]\n[Variation \"y\"]\n\n1. e4 c6 *\n";
    const std::string renamed = tags_of("auto off\nload game " + file + "\nd4\nd5\ne5", "--force ");
    EXPECT_THAT(renamed, HasSubstr("[ECO \"B12\"]"));
    EXPECT_THAT(renamed, Not(HasSubstr("Variation \"y\"")));
    EXPECT_THAT(tags_of("fen 4k3/8/8/8/8/8/4P3/4K3 w - - 0 1"), Not(HasSubstr("ECO")));
}

TEST(Play, HintsAsMovesAreWritten) {
    EXPECT_THAT(Play("f3\nhint\n").out, HasSubstr("Perhaps e4.\n"));
}

/// A game with an illegal move, which is refused only when half of it has been entered.
class BadGameTest : public testing::Test {
protected:
    BadGameTest() { std::ofstream(file_) << "1. e4 e5 2. Ke3 *\n"; }
    ~BadGameTest() override { std::filesystem::remove(file_); }

    std::string file_ = FileFor("bad.pgn");
};

TEST_F(BadGameTest, KeepsTheGame) {
    const Ran played = Play("auto off\nd4\nload game " + file_ + "\nmoves\nd5\nback 2\n");
    EXPECT_THAT(played.err, HasSubstr("torval: a command was refused"));
    EXPECT_THAT(played.err, HasSubstr("move 3 'Ke3' cannot be played"));
    EXPECT_THAT(played.out,
                HasSubstr("1. d4\n1... d5\nOpening: D00 Queen's Pawn Game\nBack at the start.\n"));
}

TEST_F(BadGameTest, LetsTheClockRunOnOrStand) {
    HeldClock clock;
    Player player({});
    player.Execute("level game in 600");
    player.Execute("auto off");
    for (const char* before : {"", "d4"}) {
        player.Execute(before);
        EXPECT_FALSE(player.Execute("load game " + file_).accepted);
        clock.Pass(2000);
        const bool runs = before[0] != '\0';
        EXPECT_EQ(player.Execute("clock").lines[0],
                  runs ? "White 10:00, Black 9:58" : "White 10:00, Black 10:00");
    }
}

TEST_F(BadGameTest, LetsTheEngineThinkOn) {
    const Ran thinking = Play("level infinite\ngo\nload game " + file_ + "\nnow\nmoves\n");
    EXPECT_THAT(thinking.err, HasSubstr("torval: a command was refused"));
    EXPECT_THAT(thinking.out, HasSubstr("\n1. "));
    const Ran analysing = Play("analyse\nload game " + file_ + "\nstop\n");
    EXPECT_THAT(analysing.err, HasSubstr("torval: a command was refused"));
}

TEST(Play, SavesAndLoadsSettings) {
    const std::string file = FileFor("settings");
    EXPECT_EQ(Play("settings 204 77\nlevel increment 60 2\nsave settings " + file).code, 0);
    const Ran loaded = Play("settings\nload settings " + file + "\nsettings\nlevel\nclock\n");
    EXPECT_EQ(loaded.code, 0) << loaded.err;
    EXPECT_THAT(loaded.out, HasSubstr("204  Thread margin: 0\n"));
    EXPECT_THAT(loaded.out, HasSubstr("204  Thread margin: 77\n"));
    EXPECT_THAT(loaded.out, HasSubstr("Level: 1:00 and 2 s a move.\nWhite 1:00, Black 1:00\n"));
    std::filesystem::remove(file);
}

TEST(Play, ShowsTheSettingsInDutch) {
    const Ran played = Play("settings\nsettings 206\nsettings 213 on\n", {"--language", "nl"});
    EXPECT_EQ(played.code, 0) << played.err;
    EXPECT_THAT(played.out, HasSubstr("204  Thread marge: 0\n"));
    EXPECT_THAT(played.out, HasSubstr("206  (x) Altijd beste zet\n213  [x] Engine heeft"));
}

TEST(Play, LongAnswersFitATerminal) {
    for (const char* command :
         {"help\n", "help book\n", "help tb\n", "help level\n", "settings\n", "settings nl\n"}) {
        std::istringstream answer(Play(command).out);
        int lines = 0;
        for (std::string line; std::getline(answer, line); ++lines) {
            EXPECT_LE(line.size(), 79u) << line;
        }
        EXPECT_LE(lines, 23) << command;
        EXPECT_GE(lines, 8) << command;
    }
}

TEST(Wrapped, BreaksAtBlanksAndNowhereElse) {
    const std::vector<std::string> lines = {
        "one two three", "", "incomprehensible it is", "fits it"};
    EXPECT_THAT(
        Wrapped(lines, 7),
        testing::ElementsAre("one two", "three", "", "incomprehensible", "it is", "fits it"));
}

struct HistoryCase {
    const char* name;
    const char* state_home;
    const char* home;
    const char* file;
};
class HistoryFileTest : public testing::TestWithParam<HistoryCase> {};

TEST_P(HistoryFileTest, IsTheUsersOwn) {
    EXPECT_EQ(HistoryFile(GetParam().state_home, GetParam().home), GetParam().file);
}

INSTANTIATE_TEST_SUITE_P(
    Play,
    HistoryFileTest,
    testing::Values(HistoryCase{"Named", "/state", "/home/me", "/state/torval/history"},
                    HistoryCase{
                        "Usual", nullptr, "/home/me", "/home/me/.local/state/torval/history"},
                    HistoryCase{"Empty", "", "/home/me", "/home/me/.local/state/torval/history"},
                    HistoryCase{"Relative", "x", "/me", "/me/.local/state/torval/history"},
                    HistoryCase{"Homeless", nullptr, nullptr, ""}),
    [](const auto& test) { return test.param.name; });

struct LevelCase {
    const char* name;
    const char* words;
    const char* numbers;
    const char* text;
};
class LevelTest : public testing::TestWithParam<LevelCase> {};

TEST_P(LevelTest, IsReadFromWordsAndNumbers) {
    for (const char* form : {GetParam().words, GetParam().numbers}) {
        LEVEL level{};
        std::string error;
        ASSERT_TRUE(ReadLevel(SplitWords(form), &level, &error)) << error;
        EXPECT_EQ(LevelText(level), GetParam().text);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Play,
    LevelTest,
    testing::Values(
        LevelCase{"Depth", "depth 8", "0 8", "depth 8"},
        LevelCase{"Plies", "plies 8", "3 8", "depth 8"},
        LevelCase{
            "Game", "game 40 moves in 300", "1 40 300", "40 moves in 5:00, then 40 moves in 5:00"},
        LevelCase{"Periods",
                  "game 40 moves in 300 then 20 moves in 60",
                  "1 40 300 20 60",
                  "40 moves in 5:00, then 20 moves in 1:00"},
        LevelCase{"Rest",
                  "game 40 moves in 300 then in 600",
                  "1 40 300 0 600",
                  "40 moves in 5:00, then 10:00 for the rest"},
        LevelCase{"WholeGame", "game in 300", "1 0 300", "whole game in 5:00"},
        LevelCase{"Move", "move 5", "2 5", "0:05 a move"},
        LevelCase{"Average",
                  "average 10 depth 7",
                  "4 10 depth 7",
                  "0:10 a move on average, depth 7 at most"},
        LevelCase{"Increment", "increment 3600 2", "5 3600 2", "1:00:00 and 2 s a move"},
        LevelCase{"Infinite", "infinite", "6", "infinite"}),
    [](const auto& test) { return test.param.name; });

TEST(Screen, FitsItsFrame) {
    View view;
    view.thinking = "Thinking: " + std::string(300, 'x');
    view.level = std::string(100, 'y');
    view.moves.assign(200, "100. Qa1xb2+ Qh8xg7+");
    for (const bool ascii : {false, true}) {
        view.style.ascii = ascii;
        const auto lines = ScreenLines(view);
        EXPECT_EQ(lines.size(), kScreenLines);
        for (const std::string& line : lines) EXPECT_LE(Columns(line), kScreenWidth) << line;
    }
}

TEST(Player, TellsAForeseenMoveFromABookMove) {
    constexpr int kPatience = 10000;
    Player player({});
    player.Execute("book off");
    player.Execute("level depth 1");
    player.Execute("analyse");
    // Deep enough that the answer needs no search of its own.
    const std::string deep = "Thinking: depth ";
    int depth = 0;
    for (int i = 0; i < kPatience && depth < 5; ++i) {
        player.Wait(-1, 10);
        const std::string thinking = player.CurrentView().thinking;
        if (thinking.starts_with(deep)) depth = std::stoi(thinking.substr(deep.size()));
    }
    ASSERT_GE(depth, 5);
    const std::string hint = player.Execute("hint").lines[0];
    const std::size_t begin = hint.find(' ') + 1;
    ASSERT_TRUE(player.Execute(hint.substr(begin, hint.size() - begin - 1)).accepted) << hint;
    while (player.IsMoveDue()) player.Wait(-1, -1);
    const std::vector<std::string> news = player.TakeNews();
    ASSERT_EQ(news.size(), 1U);
    EXPECT_THAT(news[0], testing::Not(HasSubstr("book")));
    EXPECT_THAT(news[0], testing::AnyOf(HasSubstr(", foreseen)"), HasSubstr(", depth ")));
}

TEST(Player, CallsNothingABookMoveWithoutABook) {
    // No iteration at all: depth and score are 0, as a book move's are.
    const Ran played = Play("level depth 0\ne4\n");
    EXPECT_THAT(played.out, HasSubstr("(+0.00, depth 0)\n"));
}

TEST(Player, CompletesCommandsAndTheirWords) {
    EXPECT_THAT(Player::Completions(""), testing::Contains("analyse"));
    EXPECT_THAT(Player::Completions("level "), testing::Contains("increment"));
    EXPECT_THAT(Player::Completions("settings "), testing::ElementsAre("en", "nl"));
    EXPECT_THAT(Player::Completions("save game "), testing::IsEmpty());
}

}  // namespace
}  // namespace torval

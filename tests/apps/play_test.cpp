// The terminal host where time, questions and the screen play a part.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "apps/play/history.h"
#include "apps/play/level_text.h"
#include "apps/play/player.h"
#include "apps/play/screen.h"
#include "apps/text/text.h"
#include "platform/tick.h"

namespace torval {
namespace {

using testing::HasSubstr;

/// A clock that advances only when told to.
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

TEST(Play, AsksBeforeItReplacesAFile) {
    struct Row {
        const char* script;  ///< FILE stands for an existing file
        bool replaced;
        const char* last;  ///< reply
    };
    const std::string file = FileFor("there");
    for (const Row& row : {Row{"save game FILE", false, "Replace it? (y/n)"},
                           Row{"save game FILE\ny", true, "Game saved."},
                           Row{"save settings FILE\nyes", true, "Settings saved."},
                           Row{"save game FILE\nn", false, "stays as it is."},
                           Row{"save game FILE\n", false, "stays as it is."},
                           Row{"save game FILE\nfen\ny", false, "neither a move nor a command"}}) {
        SCOPED_TRACE(row.script);
        std::ofstream(file) << "old";
        PlayOptions options;
        options.asks = true;
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

/// A game with an illegal move, which is refused only after half of it has been entered.
class BadGameTest : public testing::Test {
protected:
    BadGameTest() { std::ofstream(file_) << "1. e4 e5 2. Ke3 *\n"; }
    ~BadGameTest() override { std::filesystem::remove(file_); }

    std::string file_ = FileFor("bad.pgn");
};

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

TEST(Player, CompletesCommandsAndTheirWords) {
    EXPECT_THAT(Player::Completions(""), testing::Contains("analyse"));
    EXPECT_THAT(Player::Completions("level "), testing::Contains("increment"));
    EXPECT_THAT(Player::Completions("settings "), testing::ElementsAre("en", "nl"));
    EXPECT_THAT(Player::Completions("save game "), testing::IsEmpty());
}

}  // namespace
}  // namespace torval

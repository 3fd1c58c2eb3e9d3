// Which book move is played: weights and draws, limits, and what the engine makes of the choice.

#include <cmath>
#include <map>

#include "apps/text/moves.h"
#include "book/book_fixture.h"
#include "book/learn.h"
#include "book/select.h"
#include "platform/random.h"
#include "search/root.h"

namespace torval {

namespace {

using Weights = std::map<std::string, int>;

constexpr std::int32_t kExclude = 0xC0;

class SelectTest : public BookTest {
protected:
    void SetUp() override {
        BookTest::SetUp();
        UseFakeTicks(0);
        rand_state = 1;
    }

    std::string NewFile(const std::string& name, const NewBook& book = {}) const {
        const std::string path = Path(name);
        WriteBytes(path, EmptyBook(book));
        return path;
    }

    /// Stores a first move of the game with White's score; leaves a new game.
    static void Store(BookIndex book, const std::string& move, int score, int flags = 0) {
        NewGame();
        Play(move);
        ASSERT_EQ(AddBookMoves(book, 1, score, flags), StatusOk);
        NewGame();
    }

    /// The book moves placed in front, in order, each followed by a blank and its score.
    static std::vector<std::string> Select() {
        MoveList& root = GenerateLegal();
        const std::uint32_t count = SelectBookMoves(&root);
        EXPECT_EQ(count, root.chosen_count);
        std::vector<std::string> chosen;
        const MoveEntry* entry = EntryAt(root.quiet_head);
        for (std::uint32_t i = 0; i < count; ++i, entry = NextEntry(*entry)) {
            chosen.push_back(CoordinateText(entry->move) + " " +
                             std::to_string(RootResult(*entry).score));
        }
        EXPECT_EQ(MovesOf(root.quiet_head).size(), static_cast<std::size_t>(root.count));
        ReleaseMoves(root);
        return chosen;
    }

    /// Draws often and compares how often each move came first with its share of the weights.
    static void ExpectFirstMoves(const Weights& weights) {
        constexpr int kDraws = 4000;
        constexpr double kDeviations = 5;
        int total = 0;
        for (const auto& [move, weight] : weights) total += weight;
        std::map<std::string, int> drawn;
        for (int i = 0; i < kDraws; ++i) {
            const auto chosen = Select();
            ASSERT_EQ(chosen.size(), weights.size());
            ++drawn[chosen[0]];
        }
        for (const auto& [move, count] : drawn) EXPECT_TRUE(weights.contains(move)) << move;
        for (const auto& [move, weight] : weights) {
            const double share = double(weight) / total;
            EXPECT_NEAR(drawn[move],
                        kDraws * share,
                        kDeviations * std::sqrt(kDraws * share * (1 - share)) + 1e-9)
                << move;
        }
    }
};

TEST_F(SelectTest, DrawsByTheWeightsOfTheMode) {
    ASSERT_EQ(Open(NewFile("a.bk")), BookOpened);
    Store(MainBook, "e2e4", 30);
    Store(MainBook, "d2d4", 30);
    Store(MainBook, "c2c4", 0);
    Store(MainBook, "b2b4", -20);
    Store(MainBook, "a2a4", 99, kExclude);
    struct Case {
        std::uint32_t mode, margin;
        Weights weights;
    };
    const Case cases[] = {
        {0, 40, {{"e2e4 30", 50}, {"d2d4 30", 50}}},
        {1, 40, {{"e2e4 30", 50}, {"d2d4 30", 50}, {"c2c4 0", 50}}},
        {2, 40, {{"e2e4 30", 100}, {"d2d4 30", 100}, {"c2c4 0", 70}}},
        {2, 50, {{"e2e4 30", 100}, {"d2d4 30", 100}, {"c2c4 0", 70}, {"b2b4 -20", 50}}},
        {3, 29, {{"e2e4 30", 50}, {"d2d4 30", 50}}},
        {3, 30, {{"e2e4 30", 50}, {"d2d4 30", 50}, {"c2c4 0", 50}}},
        {3, 0xFFFFFFFF, {{"e2e4 30", 50}, {"d2d4 30", 50}, {"c2c4 0", 50}, {"b2b4 -20", 50}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE("mode " + std::to_string(c.mode) + " margin " + std::to_string(c.margin));
        settings_block.BookMode = c.mode;
        settings_block.RandMargin = c.margin;
        ExpectFirstMoves(c.weights);
    }
}

TEST_F(SelectTest, PlaysAsOftenAsTheGamesOfAStatisticsBook) {
    ASSERT_EQ(Open(NewFile("a.bx", {.has_statistics = true, .block_size = 1024})), BookOpened);
    constexpr int kWhiteWon = 0x100;
    for (int i = 0; i < 9; ++i) Store(MainBook, "e2e4", 0, i < 6 ? kWhiteWon : 0);
    for (int i = 0; i < 3; ++i) Store(MainBook, "d2d4", 0);
    settings_block.BookMode = 1;
    ExpectFirstMoves({{"e2e4 10", 9}, {"d2d4 0", 3}});  // 600 / (9 + 50) truncated
    settings_block.BookMode = 0;
    ExpectFirstMoves({{"e2e4 10", 9}});
    settings_block.BookMode = 2;
    ExpectFirstMoves({{"e2e4 10", 20}, {"d2d4 0", 10}});
}

TEST_F(SelectTest, NothingToDraw) {
    ASSERT_EQ(Open(NewFile("a.bk")), BookOpened);
    Store(MainBook, "e2e4", 12);
    Store(MainBook, "d2d4", 12);
    settings_block.BookMode = 2;
    EXPECT_TRUE(Select().empty()) << "equal scores have no weight";
    settings_block.BookMode = 3;
    EXPECT_EQ(Select().size(), 2U);
    Play("a2a3");
    EXPECT_TRUE(Select().empty());
    NewGame();
    settings_block.BookUse = 0;
    EXPECT_TRUE(Select().empty());
}

TEST_F(SelectTest, AllExcludedMeansNoMove) {
    ASSERT_EQ(Open(NewFile("a.bk")), BookOpened);
    Store(MainBook, "e2e4", 12, kExclude);
    for (std::uint32_t mode = 0; mode < 4; ++mode) {
        settings_block.BookMode = mode;
        EXPECT_TRUE(Select().empty()) << mode;
    }
}

TEST_F(SelectTest, TheUserBookHidesTheMainBookUnlessBothAreAskedFor) {
    ASSERT_EQ(Open(NewFile("a.bk"), NewFile("b.bk")), BookOpened);
    Store(MainBook, "e2e4", 1);
    Store(UserBook, "d2d4", 2);
    EXPECT_EQ(Select(), (std::vector<std::string>{"d2d4 2"}));
    settings_block.BookUse = BookUseMain | BookUseUser | BookUseBoth;
    ExpectFirstMoves({{"e2e4 1", 50}, {"d2d4 2", 50}});
    EXPECT_EQ(Moves(), (std::vector<std::string>{"d2d4 2 a0", "e2e4 1 80"}));
    settings_block.BookUse = BookUseMain;
    EXPECT_EQ(Select(), (std::vector<std::string>{"e2e4 1"}));
}

TEST_F(SelectTest, NotBeyondThePlyLimit) {
    ASSERT_EQ(Open(NewFile("a.bk")), BookOpened);
    NewGame();
    Play("e2e4 e7e5 g1f3");
    ASSERT_EQ(AddBookMoves(MainBook, kAllPlies, 5, 0), StatusOk);
    NewGame();
    Play("e2e4 e7e5");  // game ply 3
    for (const auto& [limit, moves] : {std::pair{0U, 1U}, {1U, 1U}, {2U, 0U}, {3U, 1U}}) {
        settings_block.BookPlyLimit = limit;
        EXPECT_EQ(Select().size(), moves) << limit;
    }
}

TEST_F(SelectTest, TheDrawsAreThoseOfTheGenerator) {
    ASSERT_EQ(Open(NewFile("a.bk")), BookOpened);
    for (const char* move : {"e2e4", "d2d4", "c2c4"}) Store(MainBook, move, 0);
    UseFakeTicks(77777);
    rand_state = 1;
    // By hand: 41 and 18467 are the first two numbers from state 1, 6334 and 26500 the next.
    std::vector<std::string> left = {"e2e4 0", "d2d4 0", "c2c4 0"};
    std::vector<std::string> expected;
    for (const std::uint32_t r : {41U * 32768 + 18467, 6334U * 32768 + 26500}) {
        const std::size_t at = (r + 77777) % (left.size() * 50) / 50;
        expected.push_back(left[at]);
        left.erase(left.begin() + static_cast<std::ptrdiff_t>(at));
    }
    expected.push_back(left[0]);
    EXPECT_EQ(Select(), expected);
}

TEST_F(SelectTest, TheEnginePlaysTheChoiceAndOffersTheOthers) {
    ASSERT_EQ(Open(NewFile("a.bk")), BookOpened);
    Store(MainBook, "e2e4", 30);
    Store(MainBook, "d2d4", 10);
    static std::vector<MAINVAR> lines;
    lines.clear();
    notification_sink.output_main_var = [](const MAINVAR& line) { lines.push_back(line); };
    settings_block.BookMode = 3;
    think_controller.book_ply = 0;
    const SearchRecord record = SearchTo(3);
    EXPECT_EQ(record.depth, 0);
    EXPECT_EQ(record.score, 0);
    EXPECT_EQ(record.nodes, 0U);
    EXPECT_EQ(think_controller.book_ply, 1);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].iCommand, 3);
    EXPECT_EQ(lines[0].vlen, 2);
    EXPECT_EQ(record.line[0], Hex(lines[0].bstvar[0]));
    EXPECT_EQ(lines[0].score, record.line[0] == "14340100" ? 30 : 10);
    EXPECT_EQ(next_best_list.count, 2);
    // The search decides where the book ends.
    NewGame();
    Play("a2a3");
    EXPECT_EQ(SearchTo(3).depth, 3);
}

TEST_F(SelectTest, DamageLeavesWhatWasGathered) {
    const std::string user = NewFile("user.bk");
    ASSERT_EQ(Open(NewFile("main.bk"), user), BookOpened);
    Store(MainBook, "e2e4", 1);
    Store(UserBook, "d2d4", 2);
    CloseBooks();
    // The main book's data block is cut off.
    Bytes bytes = ReadBytes(Path("main.bk"));
    bytes.resize(bytes.size() - 1);
    WriteBytes(Path("main.bk"), bytes);
    ASSERT_EQ(Open(Path("main.bk"), user), BookOpened);
    settings_block.BookUse = BookUseMain | BookUseUser | BookUseBoth;
    EXPECT_EQ(Select(), (std::vector<std::string>{"d2d4 2"}));
    EXPECT_EQ(text_messages, (std::vector<TextMessage>{{16, Path("main.bk")}}));
    text_messages.clear();
    EXPECT_EQ(Moves(), (std::vector<std::string>{"d2d4 2 a0"}));
    EXPECT_EQ(text_messages, (std::vector<TextMessage>{{16, Path("main.bk")}}));
}

}  // namespace

}  // namespace torval

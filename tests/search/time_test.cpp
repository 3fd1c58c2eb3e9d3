#include "search/time.h"

#include "search/engine_test.h"

namespace torval {

namespace {

class TimeTest : public EngineTest {
protected:
    void SetUp() override {
        EngineTest::SetUp();
        UseFakeTicks(100000);
        think_controller.start_tick = fake_now;
        game_clocks.last_tick = fake_now;
        notification_sink.output_msg = [](int id, int p1, int, const char*) {
            sent_messages.push_back({id, p1});
        };
        notification_sink.output_clocks = [](const CLOCKS& clocks) {
            sent_clocks.push_back(clocks.Command);
        };
    }
    void TearDown() override {
        EngineFlags.store(0);
        EngineTest::TearDown();
    }
};

TEST_F(TimeTest, BudgetsEveryLevel) {
    struct Row {
        const char* reason;
        LEVEL level;
        int ply;
        std::int32_t own;
        int book_ply;
        std::uint32_t target, longest;
    };
    const LEVEL forty = LevelOf(1, 0, 300, 40);
    const LEVEL game = LevelOf(1, 0, 600);
    const LEVEL rest = LevelOf(1, 0, 300, 40, 600);
    const LEVEL periods = LevelOf(1, 0, 300, 40, 600, 20);
    const LEVEL increment = LevelOf(5, 0, 60, 0, 2);
    constexpr std::uint32_t kNone = kNoTimeLimit;
    for (const Row& row :
         {Row{"fixed depth", LevelOf(0, 5, 9), 1, 9000, 0, kNone, kNone},
          Row{"fixed depth, other mode", LevelOf(3, 5, 9), 1, 9000, 0, kNone, kNone},
          Row{"infinite", LevelOf(6, 5, 9), 1, 9000, 0, kNone, kNone},
          Row{"per move", LevelOf(2, 0, 5), 1, 0, 0, 5000, 5000},
          Row{"average", LevelOf(4, 0, 5), 1, 0, 0, 5000, 15000},
          Row{"40 moves in 5 minutes", forty, 1, 300000, 0, 7200, 21600},
          Row{"the last move of 40", forty, 79, 10000, 0, 8000, 8000},
          Row{"six moves to go", forty, 69, 20000, 0, 8000 / 6, 3 * (8000 / 6)},
          Row{"five moves to go", forty, 71, 20000, 0, 8000 / 5, 8000 / 5},
          Row{"at most twice the nominal time", forty, 79, 200000, 0, 15000, 15000},
          Row{"no time left", forty, 1, 0, 0, 2000, 6000},
          Row{"no reserve at 2200", forty, 1, 2200, 0, 55, 165},
          Row{"a reserve above 2200", forty, 1, 2201, 0, 5, 15},
          Row{"the small reserve at 15000", forty, 1, 15000, 0, 325, 975},
          Row{"the large reserve above 15000", forty, 1, 15001, 0, 75, 225},
          Row{"a whole game, move 1", game, 1, 600000, 0, 588000 / 59, 3 * (588000 / 59)},
          Row{"a whole game, move 49", game, 97, 100000, 0, 8000, 24000},
          Row{"a whole game, move 50", game, 99, 100000, 0, 8800, 26400},
          Row{"a whole game, move 60", game, 119, 100000, 0, 8800, 26400},
          Row{"the rest of the game", rest, 81, 600000, 0, 588000 / 19, 3 * (588000 / 19)},
          Row{"a second period begins", periods, 81, 600000, 0, 29400, 88200},
          Row{"its last move", periods, 119, 50000, 0, 38000, 38000},
          Row{"a third period begins", periods, 121, 600000, 0, 29400, 88200},
          Row{"at the book ply", forty, 11, 100000, 11, 2514, 7542},
          Row{"just out of the book", forty, 11, 100000, 10, 5028, 15084},
          Row{"three moves out", forty, 11, 100000, 4, 5028, 15084},
          Row{"four moves out", forty, 11, 100000, 3, 3771, 11313},
          Row{"five moves out", forty, 11, 100000, 1, 3771, 11313},
          Row{"six moves out", forty, 13, 100000, 1, 2588, 7764},
          Row{"out of the book at ply 29", forty, 29, 100000, 28, 6768, 20304},
          Row{"out of the book at ply 31", forty, 31, 100000, 30, 3520, 10560},
          Row{"out of the book, capped", forty, 11, 300000, 10, 15000, 45000},
          Row{"increment", increment, 19, 60000, 0, 2960, 11840},
          Row{"increment, little left", increment, 19, 1000, 0, 1000, 1000},
          Row{"increment, some left", increment, 19, 9000, 0, 2140, 7000},
          Row{"increment, nothing left", increment, 19, 0, 0, 2000, 2000}}) {
        for (const std::uint32_t spent : {0U, 130U}) {
            settings_block.Level = row.level;
            GamePly.store(static_cast<std::uint16_t>(row.ply));
            game_clocks.wtime = row.own;
            think_controller.book_ply = static_cast<std::uint16_t>(row.book_ply);
            think_controller.start_tick = fake_now - spent;
            const auto later = [spent](std::uint32_t ms) {
                return ms == kNoTimeLimit ? ms : ms + spent;
            };
            EngineFlags.store(FlagEngineToMove);
            ComputeBudget();
            EXPECT_EQ(think_controller.budget.TargetTime, later(row.target)) << row.reason;
            EXPECT_EQ(think_controller.budget.MaxTime, later(row.longest)) << row.reason;
            EngineFlags.store(FlagHostToMove);
            ComputeBudget();
            EXPECT_EQ(think_controller.budget.TargetTime, kNoTimeLimit) << row.reason;
            EXPECT_EQ(think_controller.budget.MaxTime, kNoTimeLimit) << row.reason;
        }
    }
}

TEST_F(TimeTest, ChoosesTheThreatMarginByTheTimeLeft) {
    struct Row {
        int margin, late_ms, expected;
    };
    settings_block.Level = LevelOf(2, 0, 5);
    EngineFlags.store(FlagEngineToMove);
    for (const Row& row :
         {Row{0, 30, 0}, Row{-1, 6000, 0}, Row{250, 5000, 250}, Row{250, 5001, 800}}) {
        settings_block.ThreadMargin = static_cast<std::uint32_t>(row.margin);
        settings_block.LateMarginMs = static_cast<std::uint16_t>(row.late_ms);
        ComputeBudget();
        EXPECT_EQ(think_controller.ThreatMargin, row.expected);
    }
}

TEST_F(TimeTest, AllowsIterationsByLevel) {
    struct Row {
        int mode, depth1, depth;
        std::uint32_t last_ms;
        bool allowed;
    };
    // The limit that an iteration of 307 ms just allows.
    think_controller.budget.TargetTime = 307 / 4 + 3 * 307;
    for (const Row& row : {Row{0, 5, 5, 9999, true},
                           Row{0, 5, 6, 0, false},
                           Row{3, 5, 6, 0, false},
                           Row{0, 0, 1, 0, false},
                           Row{2, 0, 29, 9999, true},
                           Row{2, 0, 30, 0, false},
                           Row{2, 4, 4, 9999, true},
                           Row{2, 4, 5, 0, false},
                           Row{1, 0, 2, 307, true},
                           Row{1, 0, 2, 308, false},
                           Row{4, 0, 29, 307, true},
                           Row{4, 0, 30, 0, false},
                           Row{5, 3, 3, 307, true},
                           Row{5, 3, 4, 0, false},
                           Row{5, 0, 9, 308, false},
                           Row{6, 5, 29, 9999, true},
                           Row{6, 5, 30, 0, false}}) {
        settings_block.Level = LevelOf(row.mode, row.depth1, 5);
        think_controller.last_iteration_ms = row.last_ms;
        EngineFlags.store(FlagEngineToMove);
        EXPECT_EQ(MayIterate(row.depth), row.allowed)
            << "mode " << row.mode << " depth " << row.depth << " last " << row.last_ms;
        EngineFlags.store(FlagHostToMove);
        EXPECT_EQ(MayIterate(row.depth), row.depth < 30);
    }
    think_controller.last_iteration_ms = 0xF0000000U;
    settings_block.Level = LevelOf(1, 0, 5);
    EngineFlags.store(FlagEngineToMove);
    EXPECT_FALSE(MayIterate(2)) << "the sum does not wrap";
}

struct ChargeCase {
    const char* name;
    int mode, game_bit, black_to_move;
    std::int32_t white, black;
    std::uint32_t ms;
    std::int32_t white_after, black_after;
    std::vector<SentMessage> messages;
    std::vector<std::uint16_t> clocks;
    bool running = true;
};

class ChargeTest : public TimeTest, public testing::WithParamInterface<ChargeCase> {};

TEST_P(ChargeTest, MovesTheClockOfTheSideToMove) {
    const ChargeCase& c = GetParam();
    SetUpPosition(c.black_to_move ? "4k3/8/8/8/8/8/8/4K3 b - - 0 1"
                                  : "4k3/8/8/8/8/8/8/4K3 w - - 0 1");
    settings_block.Level = LevelOf(c.mode, 0, 60);
    settings_block.ClockInterval = 5;
    SetGameBits(static_cast<unsigned>(c.game_bit));
    game_clocks.wtime = c.white;
    game_clocks.btime = c.black;
    game_clocks.last_tick = fake_now;
    sent_clocks.clear();
    fake_now += c.ms;
    ClockTick();
    EXPECT_EQ(game_clocks.wtime, c.white_after);
    EXPECT_EQ(game_clocks.btime, c.black_after);
    EXPECT_EQ(sent_messages, c.messages);
    EXPECT_EQ(sent_clocks, c.clocks);
    EXPECT_EQ(AnyFlag(FlagHostToMove | FlagEngineToMove), c.running && c.game_bit != 0);
}

INSTANTIATE_TEST_SUITE_P(
    Ticks,
    ChargeTest,
    testing::Values(
        ChargeCase{"UpForTheHost", 0, FlagHostToMove, 0, 6000, 1, 500, 6500, 1, {}, {}},
        ChargeCase{"UpForTheEngine", 2, FlagEngineToMove, 0, 6000, 1, 500, 6500, 1, {}, {}},
        ChargeCase{"BlackForTheHost", 0, FlagHostToMove, 1, 1, 6000, 500, 1, 6500, {}, {}},
        ChargeCase{"BlackForTheEngine", 6, FlagEngineToMove, 1, 1, 6000, 500, 1, 6500, {}, {}},
        ChargeCase{"NoGame", 0, 0, 0, 6000, 6000, 500, 6000, 6000, {}, {}},
        ChargeCase{"TooSoon", 0, FlagHostToMove, 0, 6000, 1, 199, 6000, 1, {}, {}},
        ChargeCase{"SoonEnough", 0, FlagHostToMove, 0, 6000, 1, 200, 6200, 1, {}, {}},
        ChargeCase{"LongestGap", 0, FlagHostToMove, 0, 0, 1, 11999, 11999, 1, {}, {}},
        ChargeCase{"TooLongAGap", 0, FlagHostToMove, 0, 6000, 1, 12000, 6000, 1, {}, {}},
        ChargeCase{"Down", 1, FlagHostToMove, 0, 7000, 9000, 500, 6500, 9000, {}, {}},
        ChargeCase{"DownForTheEngine", 5, FlagEngineToMove, 1, 1, 9000, 500, 1, 8500, {}, {}},
        ChargeCase{"TellsEveryInterval", 0, FlagHostToMove, 0, 4900, 1, 200, 5100, 1, {}, {1}},
        ChargeCase{"TellsForBlack", 0, FlagHostToMove, 1, 1, 4900, 200, 1, 5100, {}, {2}},
        ChargeCase{"Forfeit",
                   5,
                   FlagHostToMove,
                   0,
                   500,
                   9000,
                   500,
                   0,
                   9000,
                   {{MsgTimeForfeit, 0}},
                   {1},
                   false},
        ChargeCase{"ForfeitOfBlack",
                   1,
                   FlagHostToMove,
                   1,
                   9000,
                   400,
                   500,
                   9000,
                   0,
                   {{MsgTimeForfeit, 1}},
                   {2},
                   false},
        ChargeCase{"OneMillisecondLeft", 1, FlagHostToMove, 0, 501, 9000, 500, 1, 9000, {}, {1}},
        ChargeCase{
            "NoForfeitOfTheEngine", 1, FlagEngineToMove, 0, 400, 9000, 500, 0, 9000, {}, {1}},
        ChargeCase{"NoForfeitWhenBothAreOut", 1, FlagHostToMove, 0, 400, 0, 500, 0, 0, {}, {1}},
        ChargeCase{"OutAlready", 1, FlagHostToMove, 0, 0, 9000, 500, 0, 9000, {}, {}}),
    [](const auto& test) { return test.param.name; });

TEST_F(TimeTest, ChargesEachIntervalOnce) {
    settings_block.Level = LevelOf(0, 5, 0);
    SetGameBits(FlagHostToMove);
    game_clocks.wtime = 0;
    const auto tick_after = [](std::uint32_t ms) {
        fake_now += ms;
        ClockTick();
        return game_clocks.wtime.load();
    };
    EXPECT_EQ(tick_after(250), 250);
    EXPECT_EQ(tick_after(150), 250) << "too soon";
    EXPECT_EQ(tick_after(150), 550) << "but not lost";
    EXPECT_EQ(tick_after(13000), 550) << "nobody pays for a gap";
    EXPECT_EQ(tick_after(200), 750) << "which is over";
    settings_block.Level = LevelOf(5, 0, 60);
    settings_block.ClockFlags = 0;
    game_clocks.wtime = 100;
    game_clocks.btime = 100;
    EXPECT_EQ(tick_after(200), 0);
    EXPECT_TRUE(sent_messages.empty()) << "reports no forfeit unless asked to";
    EXPECT_TRUE(AnyFlag(FlagHostToMove));
}

TEST_F(TimeTest, StopsTheSearchWhenItsTimeIsUp) {
    struct Row {
        const char* reason;
        std::uint32_t elapsed, target, longest;
        bool settled;
        int line_length;
        EngineFlag game_bit;
        bool stops;
    };
    for (const Row& row :
         {Row{"before the target", 999, 1000, 3000, true, 1, FlagEngineToMove, false},
          Row{"at the target, settled", 1000, 1000, 3000, true, 1, FlagEngineToMove, true},
          Row{"at the target, unsettled", 1000, 1000, 3000, false, 1, FlagEngineToMove, false},
          Row{"at the limit", 3000, 1000, 3000, false, 1, FlagEngineToMove, true},
          Row{"no move yet", 3000, 1000, 3000, true, 0, FlagEngineToMove, false},
          Row{"no limit", 3000, 1000, kNoTimeLimit, true, 1, FlagEngineToMove, false},
          Row{"the host to move", 3000, 1000, 3000, true, 1, FlagHostToMove, false}}) {
        EngineFlags.store(0);
        settings_block.Level = LevelOf(2, 0, 5);
        SetGameBits(row.game_bit);
        think_controller.start_tick = fake_now - row.elapsed;
        think_controller.budget.TargetTime = row.target;
        think_controller.budget.MaxTime = row.longest;
        think_controller.settled = row.settled;
        think_controller.line.vlen = static_cast<std::int16_t>(row.line_length);
        PublishLine();
        game_clocks.last_tick = fake_now - 200;
        ClockTick();
        EXPECT_EQ(AnyFlag(FlagMoveNow), row.stops) << row.reason;
    }
}

TEST_F(TimeTest, KeepsTheNodeRate) {
    SearchStatistics& statistics = think_controller.statistics;
    statistics.MaxNodesPerSec = 0;
    const auto rate = [&](std::uint32_t nodes, std::uint32_t elapsed, bool busy) {
        EngineFlags.store(busy ? FlagBusy : 0);
        statistics.analize_cnt = nodes;
        think_controller.start_tick = fake_now - elapsed;
        game_clocks.last_tick = fake_now - 200;
        ClockTick();
        return statistics.AvgNodesPerSec.load();
    };
    EXPECT_EQ(rate(1000, 299, true), 5000U) << "whole tenths of a second";
    EXPECT_EQ(rate(900, 300, true), 3000U);
    EXPECT_EQ(statistics.MaxNodesPerSec, 5000U);
    EXPECT_EQ(rate(90000, 99, true), 3000U) << "too early to tell";
    EXPECT_EQ(rate(90000, 500, false), 3000U) << "nobody computes";
}

TEST_F(TimeTest, AddsTimeAfterAMove) {
    struct Row {
        const char* reason;
        LEVEL level;
        int ply, mover;
        std::int32_t added;
    };
    const LEVEL periods = LevelOf(1, 0, 300, 40, 600, 20);
    for (const Row& row :
         {Row{"before the time control", periods, 77, White, 0},
          Row{"move 40 of White", periods, 79, White, 600000},
          Row{"move 40 of Black", periods, 80, Black, 600000},
          Row{"move 41", periods, 81, White, 0},
          Row{"move 60", periods, 119, White, 600000},
          Row{"one further period only", LevelOf(1, 0, 300, 40, 600), 119, White, 0},
          Row{"a whole game", LevelOf(1, 0, 300, 0, 600, 20), 39, White, 0},
          Row{"increment", LevelOf(5, 0, 60, 0, 2), 8, Black, 2000},
          Row{"other modes", LevelOf(4, 0, 60, 0, 2), 8, Black, 0}}) {
        settings_block.Level = row.level;
        GamePly.store(static_cast<std::uint16_t>(row.ply));
        game_clocks.wtime = game_clocks.btime = 1000;
        sent_clocks.clear();
        ChargeMoveMade(row.mover);
        EXPECT_EQ(game_clocks.wtime, 1000 + (row.mover == White ? row.added : 0)) << row.reason;
        EXPECT_EQ(game_clocks.btime, 1000 + (row.mover == Black ? row.added : 0)) << row.reason;
        EXPECT_EQ(sent_clocks, std::vector<std::uint16_t>{3}) << row.reason;
    }
}

TEST_F(TimeTest, TellsHowMuchOfTheTimeIsUsed) {
    struct Row {
        int mode;
        std::uint32_t elapsed, target, longest;
        int completion;
    };
    for (const Row& row : {Row{4, 500, 1000, 3000, 40},
                           Row{4, 999, 1000, 3000, 79},
                           Row{1, 1000, 1000, 3000, 80},
                           Row{5, 2000, 1000, 3000, 90},
                           Row{5, 3000, 1000, 3000, 100},
                           Row{1, 900, 0, 3000, 65535},
                           Row{5, 1000, 1000, 1000, 100},
                           Row{2, 500, 1000, 1000, 50},
                           Row{2, 1000, 1000, 1000, 100},
                           Row{2, 1500, 1000, 1000, 100},
                           Row{2, 500, 0, 0, 65535},
                           Row{0, 500, 1000, 1000, 65535},
                           Row{3, 500, 1000, 1000, 65535},
                           Row{6, 500, 1000, 1000, 65535}}) {
        settings_block.Level = LevelOf(row.mode, 0, 5);
        think_controller.start_tick = fake_now - row.elapsed;
        think_controller.budget.TargetTime = row.target;
        think_controller.budget.MaxTime = row.longest;
        EngineFlags.store(FlagEngineToMove);
        EXPECT_EQ(Completion(), row.completion) << "mode " << row.mode << " at " << row.elapsed;
        EngineFlags.store(FlagHostToMove);
        EXPECT_EQ(Completion(), 100);
    }
}

TEST_F(TimeTest, ExtendsTheTargetHalfWay) {
    think_controller.budget.TargetTime = 7200;
    think_controller.budget.MaxTime = 21601;
    ExtendTarget();
    EXPECT_EQ(think_controller.budget.TargetTime, 14400U);
    EXPECT_EQ(think_controller.budget.MaxTime, 21601U);
}

TEST_F(TimeTest, ResetsTheClocksByTheLevel) {
    for (const int mode : {0, 1, 2, 3, 4, 5, 6}) {
        settings_block.Level = LevelOf(mode, 5, 70);
        game_clocks.wtime = game_clocks.btime = 7;
        ResetClocks();
        const int expected = mode == 1 || mode == 5 ? 70000 : 0;
        EXPECT_EQ(game_clocks.wtime, expected) << mode;
        EXPECT_EQ(game_clocks.btime, expected) << mode;
    }
}

}  // namespace

}  // namespace torval

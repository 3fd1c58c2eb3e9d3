#include "game/think.h"

#include <fstream>
#include <nlohmann/json.hpp>
#include <set>

#include "board/attack.h"
#include "eval/evaluate.h"
#include "search/engine_test.h"
#include "search/line_builder.h"
#include "search/lines.h"
#include "search/root.h"
#include "search/search.h"
#include "search/transposition.h"

namespace torval {

namespace {

class ThinkTest : public EngineTest {
protected:
    void SetUp() override {
        EngineTest::SetUp();
        notification_sink.output_msg = [](int id, int p1, int, const char*) {
            sent_messages.push_back({id, p1});
        };
    }

    /// A search of the working position as its node at this distance from the root.
    static EvalResult SearchAt(int ply, int depth, int alpha = -20000, int beta = 20000) {
        think_controller.SearchPly = ply;
        const EvalResult result = Search(depth, alpha, beta, InCheck(position.SideToMove) ? 1 : 0);
        EXPECT_EQ(think_controller.SearchPly, ply);
        EXPECT_EQ(think_controller.QuiescencePly, 0);
        think_controller.SearchPly = 0;
        return result;
    }
};

struct MateCase {
    const char* fen;
    int moves, depth;
};

class MateTest : public ThinkTest, public testing::WithParamInterface<MateCase> {};

TEST_P(MateTest, IsFoundForBothColoursWithItsExactScore) {
    const MateCase& c = GetParam();
    SetUpPosition(c.fen);
    const CHSBRD board = StoredPosition();
    for (const CHSBRD& side : {board, Mirrored(board)}) {
        ASSERT_EQ(SetPosition(side), StatusOk);
        const SearchRecord record = SearchTo(c.depth);
        EXPECT_EQ(record.score, 10000 - 2 * (c.moves - 1)) << record;
        ASSERT_GE(record.vlen, 1);
        // A line that a table answer cut short does not show the mate.
        if (record.vlen < 2 * c.moves - 1) continue;
        const Move last = think_controller.line.bstvar[record.vlen - 1];
        EXPECT_EQ(last.to & 0x88, 0x88) << "the mate is marked " << record;
        for (int i = 0; i + 1 < record.vlen; ++i) {
            EXPECT_EQ(think_controller.line.bstvar[i].to & 0x08, 0) << "and no move before it";
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Moves,
    MateTest,
    testing::Values(MateCase{"k7/8/1K6/8/8/8/8/7R w - - 0 1", 1, 3},
                    MateCase{"6k1/5ppp/8/8/8/8/8/3R2K1 w - - 0 1", 1, 4},
                    MateCase{"3R4/8/8/2p3K1/2p5/5B2/R1pPNB2/1b1k4 w - - 0 1", 2, 4},
                    MateCase{"8/5R2/2K1P3/4k3/8/b1PPpp1B/5p2/8 w - - 0 1", 2, 4},
                    MateCase{"n1N3br/2p1Bpkr/1pP2R1b/pP3Pp1/P5P1/1P1p4/p2P4/K7 w - - 0 1", 2, 4},
                    MateCase{"rn2N3/8/4R2b/B3R3/3kP1N1/K2n4/8/1q6 w - - 0 1", 2, 4},
                    MateCase{"2q5/4B2p/7n/4p1pk/P2n1b2/R3P2P/2r3P1/1Q3R1K b - - 0 1", 3, 6},
                    MateCase{"8/4p3/7R/n7/rp6/kp5Q/8/1K6 w - - 0 1", 3, 6},
                    MateCase{"1B5b/1p1N4/1Pp5/2P3p1/K1pk3p/2N5/2nP1p2/1b3B2 w - - 0 1", 4, 6},
                    MateCase{"2b1B3/6pN/4k2p/8/3K2p1/B2p2Np/3rp2r/8 w - - 0 1", 4, 6},
                    MateCase{"2n5/8/2P2K2/pP1N4/2PkNp2/3B4/4P2b/8 w - - 0 1", 4, 6},
                    MateCase{"R1K4B/4ppRB/N2pnk2/1p1q2r1/2p2pb1/4p3/P2b4/2rn2N1 w - - 0 1", 4, 5}),
    [](const auto& test) {
        return "In" + std::to_string(test.param.moves) + "Number" + std::to_string(test.index);
    });

TEST_F(ThinkTest, ScoresMatesByTheDistanceFromTheRoot) {
    SetUpPosition("3R2k1/5ppp/8/8/8/8/8/6K1 b - - 0 1");
    for (const int depth : {-2, 0, 1, 3}) {
        ClearTT();
        EXPECT_EQ(SearchAt(2, depth), (EvalResult{2 - 10000, 0})) << "mated at distance 3";
    }
    SetUpPosition("7k/5Q2/8/8/8/8/8/K7 b - - 0 1");
    EXPECT_EQ(SearchAt(1, 1), (EvalResult{0, 0})) << "stalemate";
    ClearTT();
    EXPECT_LT(SearchAt(1, 0).score, -1000) << "which the capture search does not see";
    SetUpPosition("6k1/5ppp/8/8/8/8/r7/1q4K1 w - - 0 1");
    const SearchRecord lost = SearchTo(4);
    EXPECT_EQ(lost.vlen, 0) << "mated at the root: " << lost;
    EXPECT_TRUE(sent_messages.empty());
    EXPECT_FALSE(AnyFlag(FlagHostToMove | FlagEngineToMove));
}

TEST_F(ThinkTest, AnnouncesStalemateAtTheRoot) {
    SetUpPosition("7k/5Q2/8/8/8/8/8/K7 b - - 0 1");
    ASSERT_EQ(StartGame(), StatusOk);
    EXPECT_EQ(SearchTo(4).vlen, 0);
    EXPECT_EQ(sent_messages, (std::vector<SentMessage>{{MsgStalemate, 0}}));
    EXPECT_FALSE(AnyFlag(FlagHostToMove | FlagEngineToMove));
}

TEST_F(ThinkTest, StopsAtDepthThreeWhenTheBestMoveDrawsByRule) {
    SetUpPosition("7k/8/8/8/8/8/6q1/K6R b - - 0 1");
    position.FiftyCounter = 100;
    EXPECT_EQ(SearchAt(0, 5), (EvalResult{0, kExact}));
    EXPECT_EQ(SearchAt(4, -3), (EvalResult{0, kExact}));
    SetUpPosition("k7/p7/8/8/8/1r6/r7/7K w - - 0 1");
    position.FiftyCounter = 99;
    SearchRecord record = SearchTo(6);
    EXPECT_EQ(record.score, 0) << "every move but one of Black's pawn is the hundredth";
    EXPECT_EQ(record.depth, 3);
    // Black, without a queen, repeats the position for the third time.
    SetUpPosition("rnb1kbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
    Play("g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1");
    record = SearchTo(6);
    EXPECT_EQ(record.line[0], "55760200");
    EXPECT_EQ(record.score, 0);
    EXPECT_EQ(record.depth, 3);
}

TEST_F(ThinkTest, DrawsScoresTowardsZeroNearADraw) {
    struct Row {
        const char* reason;
        const char* moves;
        int fifty, lazy, score;
    };
    constexpr const char* kOnward = "g1f3 g8f6 b1c3 b8c6 f3d4 f6d5 c3e4 c6e5 e4c3 d5f6 d4f3 e5g6";
    constexpr const char* kBack = "g1f3 g8f6 f3g1 f6g8";
    settings_block.Level.depth2 = -1;
    for (const Row& row : {Row{"80 plies", kOnward, 80, 100, 100},
                           Row{"81 plies", kOnward, 81, 100, 80},
                           Row{"90 plies", kOnward, 90, 100, 28},
                           Row{"99 plies, negative", kOnward, 99, -100, -17},
                           Row{"mate scores stay", kOnward, 99, 9000, 9000},
                           Row{"came back after four plies", kBack, 4, 101, 50},
                           Row{"came back, negative", kBack, 4, -101, -50}}) {
        NewGame();
        Play(row.moves);
        position.FiftyCounter = static_cast<std::uint8_t>(row.fifty);
        LastPositionalScore = row.lazy;
        EXPECT_EQ(SearchAt(3, -2).score, row.score) << row.reason;
    }
    NewGame();
    settings_block.Level.depth2 = -2;
    LastPositionalScore = 55;
    SetUpPosition("7k/8/8/3p4/4P3/8/8/K7 w - - 0 1");
    LastPositionalScore = 55;
    const auto count = [] { return think_controller.statistics.analize_cnt.load(); };
    const std::uint32_t before = count();
    EXPECT_EQ(SearchAt(3, -3).score, 55);
    EXPECT_EQ(count(), before) << "below the floor no capture is tried";
    EXPECT_GT(SearchAt(3, -2).score, 100);
    EXPECT_GT(count(), before);
}

TEST_F(ThinkTest, TriesQuietChecksOnTheFirstCaptureSearchPlyOnly) {
    SetUpPosition("6k1/5ppp/8/8/8/8/8/3R2K1 w - - 0 1");
    EXPECT_EQ(SearchAt(1, 0).score, 10000 - 2) << "Rd8 mates";
    settings_block.QuiescenceCheckPlies = 0;
    ClearTT();
    EXPECT_LT(SearchAt(1, 0).score, 1000);
}

TEST_F(ThinkTest, ReturnsAlphaOnceItMustStop) {
    for (const EngineFlag flag : {FlagMoveNow, FlagAbort}) {
        SetFlag(flag);
        EXPECT_EQ(SearchAt(1, 4, -37, 90), (EvalResult{-37, 0}));
        ClearFlags(flag);
    }
    think_controller.SearchPly = 31;
    EXPECT_EQ(Search(4, -20000, 20000, 0).score, Evaluate(4, -20000, 20000, 31).score);
    think_controller.SearchPly = 0;
}

TEST_F(ThinkTest, StopsAtDepthThreeWithASingleReply) {
    constexpr const char* kOnlyReply = "k7/8/1K6/8/8/8/8/R1N5 b - - 0 1";
    SetUpPosition(kOnlyReply);
    SearchRecord record = SearchTo(6);
    EXPECT_EQ(record.depth, 3);
    EXPECT_EQ(record.line[0].substr(0, 4), "7071");
    SetUpPosition(kStartFen);
    EXPECT_EQ(SearchTo(5).depth, 5);
}

TEST_F(ThinkTest, LeavesOutTheMovesOfTheSkipList) {
    for (std::size_t kept : {0U, 7U, 19U}) {
        NewGame();
        SkipList = MovesOf(legal_moves->quiet_head);
        ASSERT_EQ(SkipList.size(), 20U);
        const std::string only = Hex(SkipList[kept]);
        SkipList[0].to |= kCheckMark;  // marks do not matter
        SkipList.erase(SkipList.begin() + static_cast<std::ptrdiff_t>(kept));
        const SearchRecord record = SearchTo(4);
        EXPECT_EQ(record.line[0], only);
        EXPECT_EQ(record.depth, 4) << "a single move left is no single reply";
    }
}

/// A settings stream can hold any 32 bits.
TEST_F(ThinkTest, StandsSettingsNearTheEndsOfTheirRange) {
    using Field = std::uint32_t SettingsBlock::*;
    for (const Field field : {&SettingsBlock::NullMoveReduction,
                              &SettingsBlock::CheckExtensionPly,
                              &SettingsBlock::QuiescenceCheckPlies,
                              &SettingsBlock::RootSwitchMargin,
                              &SettingsBlock::RootSwitchDepth,
                              &SettingsBlock::PawnPushDepth,
                              &SettingsBlock::ThreadMargin,
                              &SettingsBlock::LateThreadMargin}) {
        for (const std::uint32_t value : {0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
            SetDefaultSettings();
            settings_block.ThreadMargin = 1;
            settings_block.*field = value;
            SetUpPosition("4k3/pp3p2/8/3n4/3N4/8/PP3P2/4K3 w - - 0 1");
            EXPECT_EQ(SearchTo(5).depth, 5) << value;
        }
    }
}

TEST_F(ThinkTest, RefusesWhileItComputesAndWhenTheRecordIsFull) {
    MAINVAR line;
    SetFlag(FlagEngineToMove);
    EXPECT_EQ(ComputeMove(&line), StatusComputerToMove);
    ClearFlags(FlagEngineToMove);
    GamePly.store(400);
    EXPECT_EQ(ComputeMove(&line), StatusRecordFull);
}

TEST_F(ThinkTest, CanBeStoppedAtEveryLookAtTheClock) {
    constexpr const char* kFen =
        "r1bq1rk1/ppp2ppp/2np1n2/2b1p3/2B1P3/2NP1N2/PPP2PPP/R1BQ1RK1 w - - 0 1";
    static int stop_at;
    static EngineFlag stop_flag;
    int stopped = 0;
    for (const EngineFlag flag : {FlagMoveNow, FlagAbort}) {
        for (stop_at = 1; stop_at < 30; ++stop_at) {
            UseFakeTicks(100000);
            SetUpPosition(kFen);
            const HashKey key = position.key;
            stop_flag = flag;
            fake_looks = 0;
            on_look = [](int look) {
                if (look == stop_at) SetFlag(stop_flag);
            };
            const SearchRecord record = SearchTo(5);
            ASSERT_GE(fake_looks, stop_at) << "the search ended first";
            EXPECT_EQ(position.key, key);
            EXPECT_FALSE(AnyFlag(FlagMoveNow | FlagAbort | FlagEngineToMove));
            EXPECT_TRUE(AnyFlag(FlagHostToMove));
            EXPECT_TRUE(PositionIsSound());
            if (flag == FlagAbort) {
                EXPECT_EQ(record.vlen, 0);
                EXPECT_EQ(think_controller.line.vlen, 0);
            } else {
                ASSERT_GE(record.vlen, 1);
                EXPECT_NE(FindMove(*legal_moves, think_controller.line.bstvar[0]), nullptr);
                stopped += record.depth < 5;
            }
        }
    }
    EXPECT_GT(stopped, 10);
}

TEST_F(ThinkTest, UsesUpTheTimeOfItsLevel) {
    UseFakeTicks(50000);
    settings_block.Level = LevelOf(2, 1, 5);
    const std::uint32_t start = fake_now;
    EXPECT_EQ(Compute().depth, 1);
    EXPECT_EQ(fake_now - start, 5000U) << "a depth cap does not make it move faster";
    UseFakeTicks(50000, 300);
    settings_block.Level = LevelOf(2, 0, 5);
    NewGame();
    const SearchRecord record = Compute();
    EXPECT_GE(record.vlen, 1);
    EXPECT_LT(fake_now, 50000U + 7000U) << "stopped by the clock";
}

TEST_F(ThinkTest, StartsFromTheLineThatTheHostFollowed) {
    static std::vector<int> depths;
    SearchTo(5);
    const MAINVAR line = think_controller.line;
    ASSERT_GE(line.vlen, 5);
    const auto text = [&line](int i) {
        const Move move = Plain(line.bstvar[i]);
        return std::string{static_cast<char>('a' + FileOf(move.from)),
                           static_cast<char>('1' + RankOf(move.from)),
                           static_cast<char>('a' + FileOf(move.to)),
                           static_cast<char>('1' + RankOf(move.to))};
    };
    notification_sink.output_next_move = [](int depth, int, EVAR) { depths.push_back(depth); };
    Play(text(0));
    EXPECT_EQ(think_controller.line.score, -line.score) << "the other side's view";
    EXPECT_EQ(think_controller.line.depth, line.depth - 1);
    Play(text(1));
    EXPECT_EQ(think_controller.line.vlen, line.vlen - 2);
    EXPECT_EQ(think_controller.line.score, line.score);
    SearchTo(5);
    EXPECT_EQ(depths.front(), 3);
    Play("h2h3 h7h6");
    depths.clear();
    SearchTo(2);
    EXPECT_EQ(depths.front(), 1) << "another move";
}

TEST_F(ThinkTest, CountsTheRootMovesDownAndSwitchesByAMargin) {
    static std::vector<std::pair<int, int>> to_go;  // depth and moves to go
    static std::vector<std::pair<int, int>> best;   // depth and score
    notification_sink.output_next_move = [](int depth, int left, EVAR) {
        to_go.emplace_back(depth, left);
    };
    notification_sink.output_main_var = [](const MAINVAR& line) {
        EXPECT_EQ(line.iCommand, 1);
        best.emplace_back(line.depth, line.score);
    };
    int small_steps = 0;
    int switches = 0;
    std::ifstream in(TORVAL_TEST_DATA "/reference/positions.jsonl");
    for (std::string text; std::getline(in, text);) {
        SetUpPosition(nlohmann::json::parse(text)["fen"]);
        const int count = legal_moves->count;
        if (count == 0) continue;
        to_go.clear();
        best.clear();
        const SearchRecord record = SearchTo(5);
        ASSERT_EQ(to_go.size() % static_cast<std::size_t>(count), 0U);
        for (std::size_t i = 0; i < to_go.size(); ++i) {
            EXPECT_EQ(to_go[i].first, 1 + static_cast<int>(i) / count);
            EXPECT_EQ(to_go[i].second, count - static_cast<int>(i) % count);
        }
        ASSERT_FALSE(best.empty());
        EXPECT_EQ(best.back(), (std::pair{record.depth, record.score}));
        for (std::size_t i = 1; i < best.size(); ++i) {
            if (best[i].first != best[i - 1].first) continue;
            const int gain = best[i].second - best[i - 1].second;
            const bool mate = std::abs(best[i - 1].second) >= 9000;
            EXPECT_GT(gain, best[i].first >= 4 && !mate ? 8 : 0) << text;
            small_steps += best[i].first < 4 && gain <= 8;
            switches += best[i].first >= 4;
        }
    }
    EXPECT_GT(small_steps, 0);
    EXPECT_GT(switches, 0);
}

TEST_F(ThinkTest, WidensAWindowThatTheScoreMisses) {
    settings_block.Level = LevelOf(5, 0, 60, 0, 2);
    struct Row {
        const char* reason;
        int mode, depth, alpha, beta;
        std::uint32_t target;
    };
    for (const Row& row : {Row{"full window", 5, 3, -20000, 20000, 1000},
                           Row{"fails low", 5, 3, 900, 1100, 1500},
                           Row{"fails low, tournament", 1, 4, 900, 1100, 1500},
                           Row{"fails low, too shallow", 5, 2, 900, 1100, 1000},
                           Row{"fails low, fixed depth", 0, 3, 900, 1100, 1000},
                           Row{"fails high", 5, 3, -1700, -1500, 1000}}) {
        SetUpPosition("7k/2p5/8/3n4/8/8/3R4/K7 w - - 0 1");
        settings_block.Level.mode = static_cast<std::uint16_t>(row.mode);
        MoveList& list = PrepareRootMoves({});
        think_controller.budget.TargetTime = 1000;
        think_controller.budget.MaxTime = 2000;
        const MoveEntry* best = RootSearch(row.depth, row.alpha, row.beta, &list);
        ASSERT_NE(best, nullptr);
        EXPECT_EQ(Hex(best->move), "1343042a") << row.reason;
        EXPECT_EQ(think_controller.budget.TargetTime.load(), row.target) << row.reason;
        EXPECT_TRUE(think_controller.settled.load()) << row.reason;
        EXPECT_GT(RootResult(*best).score, 400) << row.reason;
        EXPECT_LT(RootResult(*best).score, 700) << row.reason;
        ReleaseMoves(list);
    }
}

TEST_F(ThinkTest, ChecksMarksAndExtendsItsFinalLine) {
    const auto build = [](std::initializer_list<Move> moves) {
        LineTable[0] = {};
        std::copy(moves.begin(), moves.end(), LineTable[0].begin());
        BuildLine();
        std::vector<std::string> line;
        for (int i = 0; i < think_controller.line.vlen; ++i) {
            line.push_back(Hex(think_controller.line.bstvar[i]));
        }
        return line;
    };
    using Texts = std::vector<std::string>;
    constexpr Move kE4 = {0x14, 0x34, Pawn, 0};
    EXPECT_EQ(build({kE4, kE4}), Texts{"14340100"}) << "cut at a move that is not legal";
    int alpha = -20000;
    int beta = 20000;
    StoreTT(0, PackMove(kE4), beta, 0, ProbeTT(1, &alpha, &beta, 0));
    EXPECT_EQ(build({}), Texts{"14340100"}) << "from the table";
    settings_block.TranspFlags &= ~static_cast<std::uint32_t>(TranspInUse);
    EXPECT_EQ(build({}), Texts{});
    constexpr Move kNf3 = {0x06, 0x25, Knight, 0}, kNf6 = {0x76, 0x55, Knight, 0},
                   kNg1 = {0x25, 0x06, Knight, 0}, kNg8 = {0x55, 0x76, Knight, 0};
    EXPECT_EQ(build({kNf3,
                     kNf6,
                     kNg1,
                     kNg8,
                     kNf3,
                     kNf6,
                     kNg1,
                     kNg8,
                     kNf3,
                     kNf6,
                     kNg1,
                     kNg8,
                     kNf3,
                     kNf6,
                     kNg1,
                     kNg8,
                     kNf3,
                     kNf6})
                  .size(),
              16U);
    SetUpPosition("7k/8/8/8/8/8/8/1N1K1NR1 w - - 0 1");
    EXPECT_EQ(build({{0x05, 0x13, Knight, 0}})[0], "0d130200") << "two knights: the file is needed";
    EXPECT_EQ(build({{0x06, 0x76, Rook, 0}})[0], "06f60400") << "check";
}

TEST_F(ThinkTest, IsReproducible) {
    std::vector<std::pair<std::string, int>> tasks;
    std::ifstream in(TORVAL_TEST_DATA "/reference/positions.jsonl");
    for (std::string text; tasks.size() < 20 && std::getline(in, text);) {
        const int depth = 1 + static_cast<int>(tasks.size() % 6);
        tasks.emplace_back(nlohmann::json::parse(text)["fen"], depth);
    }
    ASSERT_EQ(tasks.size(), 20U);
    std::vector<SearchRecord> first;
    for (const auto& [fen, depth] : tasks) {
        SetUpPosition(fen);
        first.push_back(SearchTo(depth));
    }
    NewGame();
    const SearchRecord start = SearchTo(5);
    for (std::size_t i = tasks.size(); i-- > 0;) {
        SetUpPosition(tasks[i].first);
        EXPECT_EQ(SearchTo(tasks[i].second), first[i]) << tasks[i].first;
        if (i % 5 == 0) {
            NewGame();
            EXPECT_EQ(SearchTo(5), start);
        }
    }
}

TEST_F(ThinkTest, SurvivesHostilePositions) {
    TestRandom random;
    int longest = 0;
    for (int round = 0; round < Rounds(60); ++round) {
        CHSBRD board = {};
        if (round == 0) {
            SetUpPosition("R6R/3Q4/1Q4Q1/4Q3/2Q4Q/Q4Q2/pp1Q4/kBNN1KB1 w - - 0 1");
            board = StoredPosition();
        } else {
            board = RandomBoard(&random, 31);
        }
        ASSERT_EQ(SetPosition(board), StatusOk);
        longest = std::max(longest, legal_moves->count);
        // Such trees may have no end in sight, so the clock ends what takes too many nodes.
        UseFakeTicks(100000);
        on_look = [](int look) {
            if (look > (kSanitized ? 20 : 100)) SetFlag(FlagMoveNow);
        };
        const SearchRecord record = SearchTo(4);
        EXPECT_EQ(record.vlen > 0, legal_moves->count > 0);
        ASSERT_TRUE(PositionIsSound());
    }
    EXPECT_GE(longest, 218);
}

}  // namespace

}  // namespace torval

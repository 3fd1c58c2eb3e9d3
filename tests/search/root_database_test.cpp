// The Thompson databases as the root asks them, over files written here.

#include "search/root_database.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "apps/makers/tables/generator.h"
#include "apps/text/moves.h"
#include "board/attack.h"
#include "egtb/thompson/thompson.h"
#include "platform/disk_file.h"
#include "platform/random.h"
#include "search/engine_test.h"
#include "support/thompson_files.h"

namespace torval {

namespace {

namespace fs = std::filesystem;

struct SentLine {
    int depth, score;
    std::string moves;

    bool operator==(const SentLine&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const SentLine& line) {
        return out << line.depth << " " << line.score << " " << line.moves;
    }
};

std::vector<SentLine> sent_lines;
std::vector<std::string> sent_moves;
std::vector<std::string> sent_texts;
int stop_at_move = 0;
EngineFlag stop_by = FlagAbort;
int opened_files = 0;

/// Every position of three men with a rook in which the bare king is to move, and its value.
const ThompsonValues& RookValues() {
    static const ThompsonValues values = [] {
        BuildIndexTables();
        const int krk = FindClass("krk");
        const ClassEntries entries = Generate(krk, TableSet(), [](double) {});
        ThompsonValues found;
        for (std::size_t i = 0; i < entries.side[1].size(); ++i) {
            const std::int8_t entry = entries.side[1][i];
            if (entry >= 0 || entry == kBrokenEntry) continue;
            const auto men = PositionAt(krk, 1, i);
            const std::uint8_t king = men->king[0];
            const auto index = ThompsonIndex(ThompsonType::WithoutPawns,
                                             {king, men->king[1], men->men[0][0], king, king});
            found[*index] = static_cast<std::uint8_t>(kLostNow + WidenEntry(entry) - MatedIn(0));
        }
        return found;
    }();
    return values;
}

class RootDatabaseTest : public EngineTest {
protected:
    void SetUp() override {
        EngineTest::SetUp();
        std::string pattern = "/tmp/tvXXXXXX";  // a path of databases has at most 19 characters
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        folder_ = pattern;
        UsePath(folder_);
        settings_block.BookUse = BookUseDatabases;
        CloseThompsonFiles();
        rand_state = 1;
        sent_lines.clear();
        sent_moves.clear();
        sent_texts.clear();
        stop_at_move = opened_files = 0;
        notification_sink.output_main_var = [](const MAINVAR& line) {
            SentLine sent = {.depth = line.depth, .score = line.score, .moves = {}};
            for (int i = 0; i < line.vlen; ++i) {
                sent.moves += (i ? " " : "") + CoordinateText(Plain(line.bstvar[i]));
            }
            if (line.iCommand == 1) sent_lines.push_back(sent);
        };
        notification_sink.output_next_move = [](int depth, int moves_to_go, EVAR move) {
            if (depth != 99) return;
            sent_moves.push_back(std::to_string(moves_to_go) + " " + CoordinateText(Plain(move)));
            if (static_cast<int>(sent_moves.size()) == stop_at_move) SetFlag(stop_by);
        };
        notification_sink.output_msg = [](int id, int p1, int p2, const char* text) {
            std::ostringstream message;
            message << id << " " << p1 << " " << p2 << " " << text;
            sent_texts.push_back(message.str());
        };
        disk_step_fails = [](DiskStep step) {
            opened_files += step == DiskStep::Open;
            return false;
        };
    }
    void TearDown() override {
        disk_step_fails = nullptr;
        CloseThompsonFiles();
        UsePath("");
        fs::remove_all(folder_);
        EngineTest::TearDown();
    }

    static void UsePath(const std::string& path) { WriteSettingText(ThompsonPath, path); }

    void WriteRookFile() const {
        static const std::string file =
            SparseThompsonFile(ThompsonType::WithoutPawns, RookValues());
        std::ofstream(folder_ + "/RR_R.G", std::ios::binary) << file;
    }
    /// A file with these values of positions given as FEN.
    void Write(const std::string& name, const std::vector<std::pair<const char*, int>>& rows) {
        ThompsonValues values;
        for (const auto& [fen, value] : rows) AddValue(fen, name, value, &values);
        WriteSparseThompson(folder_, name, values);
    }

    /// The value of a position, in a probe of the root that has begun. Files stay open.
    static int ValueNow(const std::string& fen) {
        std::string error;
        EXPECT_EQ(LoadPosition(ParseFen(fen, &error)->board), StatusOk) << fen;
        return ProbeThompson();
    }
    /// Likewise in a probe of its own.
    static int ValueOf(const std::string& fen) {
        BeginThompsonProbe(ReadSettingText(ThompsonPath));
        return ValueNow(fen);
    }
    /// Slots with a file for this one's material, by age; -1 for none.
    static int AgeOf(const std::string& name) {
        const auto places = PlacesOf(*FindThompsonMaterial(name));
        for (const ThompsonSlot& slot : thompson_slots) {
            if (slot.in_use && slot.men == places) return slot.age;
        }
        return -1;
    }

    std::string folder_;
};

TEST_F(RootDatabaseTest, EveryValueOfTheBareKingAgainstARook) {
    WriteRookFile();
    std::ifstream in(TORVAL_TEST_DATA "/reference/thompson/krk_probe.tsv");
    int compared = 0;
    for (std::string line; std::getline(in, line); ++compared) {
        const std::size_t tab = line.find('\t');
        EXPECT_EQ(ValueOf(line.substr(0, tab)), std::stoi(line.substr(tab + 1))) << line;
    }
    EXPECT_EQ(compared, 28);
}

TEST_F(RootDatabaseTest, ScoresOfValues) {
    for (const auto& [value, score] : {std::pair{1, 10001},
                                       {9, 10001},
                                       {10, 10000},
                                       {49, 9922},
                                       {50, 9000},
                                       {199, 8702},
                                       {210, 9000},
                                       {249, 8922},
                                       {250, 9000},
                                       {455, 8590}}) {
        EXPECT_EQ(ThompsonScore(value), score) << value;
    }
}

TEST_F(RootDatabaseTest, BothSidesPicturesAndMenThatAreMissing) {
    // Two queens against one; the second file has a pawn.
    Write("QQ_Q.G",
          {{"8/8/8/3Q4/8/2k5/8/K6q b - - 0 1", 33}, {"8/8/8/8/8/2k5/Q7/K7 b - - 0 1", 60}});
    Write("PR_R.G", {{"8/3k4/8/8/4P3/8/8/K6R b - - 0 1", 17}});
    struct Row {
        const char* fen;
        int value;
    };
    for (const Row& row : {Row{"8/8/8/3Q4/8/2k5/8/K6q b - - 0 1", 33},
                           Row{"k6Q/8/2K5/8/3q4/8/8/8 w - - 0 1", 33},
                           Row{"8/8/8/4Q3/8/5k2/8/q6K b - - 0 1", 33},
                           Row{"8/8/8/3Q4/8/2k5/8/K6q w - - 0 1", kNoThompsonValue},
                           Row{"8/8/8/8/8/2k5/Q7/K7 b - - 0 1", 60},
                           Row{"k7/q7/2K5/8/8/8/8/8 w - - 0 1", 60},
                           Row{"8/3k4/8/8/4P3/8/8/K6R b - - 0 1", 217},
                           Row{"8/4k3/8/8/3P4/8/8/R6K b - - 0 1", 217},
                           Row{"k6r/8/8/4p3/8/8/3K4/8 w - - 0 1", 217},
                           Row{"8/3k4/8/8/4p3/8/8/K6R b - - 0 1", kNoThompsonValue},
                           Row{"8/3k4/8/8/8/8/8/K6R b - - 0 1", kNoThompsonValue},
                           Row{"8/3k2q1/8/8/8/q7/1Q6/KQ6 b - - 0 1", kNoThompsonValue}}) {
        EXPECT_EQ(ValueOf(row.fen), row.value) << row.fen;
    }
}

TEST_F(RootDatabaseTest, PlaysTheLongestMateByARookInItsSixteenMoves) {
    WriteRookFile();
    // No position with the bare king to move is further from its end.
    const auto longest =
        std::ranges::max_element(RookValues(), {}, [](const auto& value) { return value.second; });
    ASSERT_EQ(longest->second, kLostNow + 16);
    const ThompsonSquares squares = ThompsonSquaresAt(ThompsonType::WithoutPawns, longest->first);
    CHSBRD board = {};
    board.castle = 0xFF;
    board.color = Black;
    // The picture of Black to move has the ranks mirrored.
    board.board[squares[0] ^ 56] = CodeOf(White, King);
    board.board[squares[1] ^ 56] = CodeOf(Black, King);
    board.board[squares[2] ^ 56] = CodeOf(White, Rook);
    ASSERT_EQ(SetPosition(board), StatusOk);
    int white_moves = 0;
    for (int ply = 0; ply < 40; ++ply) {
        const bool white = position.SideToMove == White;
        const SearchRecord record = SearchTo(3);
        if (record.vlen == 0) break;
        ASSERT_EQ(record.depth, 99) << "by the databases: " << record;
        white_moves += white;
        const int left = 16 - white_moves;
        EXPECT_EQ(record.score, white ? 10000 - 2 * left : 1 - (10000 - 2 * (left - 1))) << record;
        MOVES result;
        const std::string move = CoordinateText(Plain(think_controller.line.bstvar[0]));
        ASSERT_EQ(DoMove(move.c_str(), &result), StatusOk) << move;
    }
    EXPECT_EQ(white_moves, 16);
    EXPECT_TRUE(InCheck(Black));
}

TEST_F(RootDatabaseTest, FastestMovesAreAllCandidatesInRandomOrder) {
    // Three moves have the lowest value.
    constexpr const char* kRoot = "7k/8/8/6K1/8/8/8/5R2 w - - 0 1";
    Write("RR_R.G",
          {{"7k/8/8/6K1/8/8/5R2/8 b - - 0 1", 12},
           {"7k/8/8/6K1/8/5R2/8/8 b - - 0 1", 12},
           {"7k/8/8/6K1/5R2/8/8/8 b - - 0 1", 12},
           {"7k/8/8/5K2/8/8/8/5R2 b - - 0 1", 14}});
    std::set<std::string> first_moves;
    for (std::uint32_t seed = 1; seed <= 20; ++seed) {
        SetUpPosition(kRoot);
        rand_state = seed;
        sent_lines.clear();
        sent_moves.clear();
        const SearchRecord record = SearchTo(2);
        EXPECT_EQ(record.depth, 99);
        EXPECT_EQ(record.score, 9996);
        ASSERT_EQ(next_best_list.count, 3);
        std::vector<std::string> chosen;
        for (int i = 0; i < 3; ++i) {
            chosen.push_back(CoordinateText(next_best_list.moves[static_cast<unsigned>(i)]));
            EXPECT_EQ(next_best_list.scores[static_cast<unsigned>(i)], 9996);
        }
        first_moves.insert(chosen[0]);
        EXPECT_EQ(sent_lines.back(), (SentLine{99, 9996, chosen[0]}));
        // Taken in the order of the draws, each to the front.
        rand_state = seed;
        std::vector<std::uint32_t> draws;
        while (draws.size() < 3) {
            const std::uint32_t drawn = Rand() % 3;
            if (std::ranges::find(draws, drawn) == draws.end()) draws.push_back(drawn);
        }
        std::vector<std::string> found;  // in the order in which they were reported
        for (const SentLine& line : sent_lines) {
            if (line.score == 9996 && found.size() < 3) found.push_back(line.moves);
        }
        ASSERT_EQ(found.size(), 3U);
        for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(chosen[2 - i], found[draws[i]]) << seed;
        std::ranges::sort(chosen);
        EXPECT_EQ(chosen, (std::vector<std::string>{"f1f2", "f1f3", "f1f4"}));
    }
    EXPECT_EQ(first_moves.size(), 3U);
    // Every legal move was announced, counting down.
    EXPECT_EQ(sent_moves.size(), 22U);
    EXPECT_EQ(sent_moves.front().substr(0, 3), "22 ");
    EXPECT_EQ(sent_moves.back().substr(0, 2), "1 ");
}

TEST_F(RootDatabaseTest, LosesAsLateAsItCan) {
    // Black's king has two moves; White's best answers are known, one of them by a capture's absence.
    constexpr const char* kRoot = "k7/8/1K6/8/8/8/8/7R b - - 0 1";
    Write("RR_R.G",
          {{"1k5R/8/1K6/8/8/8/8/8 b - - 0 1", 10}, {"1k6/7R/1K6/8/8/8/8/8 b - - 0 1", 21}});
    SetUpPosition(kRoot);
    const SearchRecord record = SearchTo(2);
    EXPECT_EQ(record.depth, 99);
    EXPECT_EQ(record.score, 1 - 10000);
    ASSERT_EQ(sent_lines.size(), 2U);
    EXPECT_EQ(sent_lines[0], (SentLine{99, -9999, "a8b8 h1h8"}));
    EXPECT_EQ(sent_lines[1], sent_lines[0]);
    EXPECT_EQ(next_best_list.count, 1);
}

TEST_F(RootDatabaseTest, WithoutADatabaseMoveTheSearchMoves) {
    // Nothing is known but that one move mates, which the file should have reported.
    Write("RR_R.G", {{"7k/8/6K1/8/8/8/5R2/8 b - - 0 1", 12}});
    SetUpPosition("7k/8/6K1/8/8/8/8/5R2 w - - 0 1");
    for (int round = 0; round < 2; ++round) {
        sent_texts.clear();
        opened_files = 0;
        EXPECT_EQ(SearchTo(2).depth, 2);
        EXPECT_EQ(sent_texts, (std::vector<std::string>{"22 0 0 "}));
        EXPECT_EQ(AgeOf("RR_R.G"), ThompsonSlot::kOldest);
        for (const ThompsonSlot& slot : thompson_slots) EXPECT_FALSE(slot.file.IsOpen());
    }
    EXPECT_EQ(opened_files, 1) << "the slot stays and opens its file again";
}

TEST_F(RootDatabaseTest, AMoveThatDoesNotLoseLeavesTheMoveToTheSearch) {
    // One of the king's moves loses by the file; of the other nothing is known.
    Write("RR_R.G", {{"R2k4/8/2K5/8/8/8/8/8 b - - 0 1", 10}});
    SetUpPosition("2k5/8/2K5/8/8/8/8/R7 b - - 0 1");
    EXPECT_EQ(SearchTo(2).depth, 2);
    EXPECT_EQ(sent_texts, (std::vector<std::string>{"22 0 0 "}));
}

TEST_F(RootDatabaseTest, NamesTheVolumesThatItWants) {
    struct Row {
        const char* fen;
        const char* volumes;  ///< empty: no message
    };
    for (const Row& row : {Row{"8/8/8/1r1k4/8/8/8/KQR5 w - - 0 1", "2"},
                           Row{"8/8/8/3k4/8/8/8/KNNN4 w - - 0 1", "3"},
                           Row{"8/8/8/1b1k4/8/8/8/KNN5 b - - 0 1", "3 of 4"},
                           Row{"8/8/8/1q1k4/8/8/8/KQR5 w - - 0 1", "2 of 3 of 4"},
                           Row{"8/8/8/8/3k4/8/8/KR6 w - - 0 1", "2 of 3 of 4"},
                           Row{"8/pp6/8/8/3k4/8/P7/K7 w - - 0 1", ""}}) {
        SetUpPosition(row.fen);
        sent_texts.clear();
        EXPECT_EQ(SearchTo(1).depth, 1) << row.fen;
        std::vector<std::string> expected;
        if (*row.volumes) expected = {std::string("20 0 47 ") + row.volumes};
        EXPECT_EQ(sent_texts, expected) << row.fen;
        EXPECT_TRUE(sent_moves.empty()) << "no move was looked at";
    }
}

TEST_F(RootDatabaseTest, LooksAtNoFileWithoutReason) {
    WriteRookFile();
    constexpr const char* kRook = "8/8/8/8/3k4/8/8/KR6 w - - 0 1";
    struct Row {
        const char* reason;
        std::uint16_t book_use;
        bool path;
        const char* fen;
    };
    for (const Row& row :
         {Row{"no path", BookUseDatabases, false, kRook},
          Row{"switched off", 0, true, kRook},
          Row{"six men", BookUseDatabases, true, "8/8/8/1rnk4/8/8/8/KRR5 w - - 0 1"}}) {
        UsePath(row.path ? folder_ : "");
        SetUpPosition(row.fen);
        settings_block.BookUse = row.book_use;
        opened_files = 0;
        SearchTo(1);
        EXPECT_EQ(opened_files, 0) << row.reason;
        EXPECT_TRUE(sent_texts.empty()) << row.reason;
    }
    // Pondering does not ask either.
    UsePath(folder_);
    settings_block.BookUse = BookUseDatabases;
    SetUpPosition(kRook);
    opened_files = 0;
    stop_at_move = 0;
    UseFakeTicks(0);
    on_look = [](int look) {
        if (look > 20) SetFlag(FlagAbort);
    };
    EXPECT_EQ(Ponder(), StatusOk);
    ClearFlags(FlagBusy);
    EXPECT_EQ(opened_files, 0);
}

TEST_F(RootDatabaseTest, AFileForTheOtherSideAloneIsEnough) {
    // Queen and rook against rook: the file is for the side with the rook alone to move.
    constexpr const char* kRoot = "8/8/8/1r1k4/8/8/8/KQR5 w - - 0 1";
    constexpr const char* kAfter = "8/8/8/1Q1k4/8/8/8/K1R5 b - - 0 1";
    Write("QR_R.G", {{kAfter, 19}});
    SetUpPosition(kRoot);
    const SearchRecord record = SearchTo(1);
    EXPECT_EQ(record.depth, 99);
    EXPECT_EQ(record.score, ThompsonScore(19));
    EXPECT_TRUE(sent_texts.empty());
}

TEST_F(RootDatabaseTest, StopsWhenTheHostSaysSo) {
    WriteRookFile();
    constexpr const char* kRoot = "8/8/8/8/3k4/8/8/KR6 w - - 0 1";
    SetUpPosition(kRoot);
    stop_at_move = 3;
    EXPECT_EQ(SearchTo(2).vlen, 0) << "aborted";
    EXPECT_EQ(sent_moves.size(), 3U);
    sent_moves.clear();
    stop_by = FlagMoveNow;
    SetUpPosition(kRoot);
    const SearchRecord record = SearchTo(2);
    EXPECT_EQ(record.depth, 99) << "the best of what it has seen";
    EXPECT_EQ(sent_moves.size(), 3U);
    stop_by = FlagAbort;
}

TEST_F(RootDatabaseTest, LooksInEveryDirectory) {
    fs::create_directories(folder_ + "/b");
    WriteRookFile();
    fs::rename(folder_ + "/RR_R.G", folder_ + "/b/RR_R.G");
    const fs::path here = fs::current_path();
    fs::current_path(folder_);
    for (const char* path : {";b", "none;b\\", "b/", ";;b;"}) {
        CloseThompsonFiles();
        UsePath(path);
        EXPECT_EQ(ValueOf("8/8/8/8/8/6K1/8/k4R2 b - - 0 1"), 19) << path;
    }
    // The current directory is the empty one.
    fs::rename("b/RR_R.G", "RR_R.G");
    CloseThompsonFiles();
    UsePath("b;;c");
    EXPECT_EQ(ValueOf("8/8/8/8/8/6K1/8/k4R2 b - - 0 1"), 19);
    fs::current_path(here);
}

TEST_F(RootDatabaseTest, TheOldestSlotGivesWay) {
    struct Row {
        const char* name;
        const char* fen;
        int value;  ///< 0: the file has no value for it
    };
    const std::vector<Row> rows = {{"QQ_Q.G", "8/8/8/1q1k4/8/8/8/KQQ5 b - - 0 1", 11},
                                   {"QR_R.G", "8/8/8/1r1k4/8/8/8/KQR5 b - - 0 1", 12},
                                   {"RR_R.G", "8/8/8/1r1k4/8/8/8/KRR5 b - - 0 1", 0},
                                   {"BB_N.G", "8/8/8/1n1k4/8/8/8/KBB5 b - - 0 1", 14},
                                   {"NN_N.G", "8/8/8/1n1k4/8/8/8/KNN5 b - - 0 1", 15},
                                   {"QN_N.G", "8/8/8/1n1k4/8/8/8/KQN5 b - - 0 1", 16},
                                   {"RN_N.G", "8/8/8/1n1k4/8/8/8/KRN5 b - - 0 1", 17}};
    for (const Row& row : rows) Write(row.name, {{row.fen, row.value}});
    const auto ask = [&](std::size_t i) {
        const int known = rows[i].value == 0 ? kNoThompsonValue : rows[i].value;
        EXPECT_EQ(ValueOf(rows[i].fen), known) << rows[i].name;
    };
    CloseThompsonFiles();
    for (std::size_t i = 0; i < 5; ++i) ask(i);
    const auto ages = [&] {
        std::vector<int> found;
        for (const Row& row : rows) found.push_back(AgeOf(row.name));
        return found;
    };
    EXPECT_EQ(ages(), (std::vector<int>{4, 3, 100, 1, 0, -1, -1}));
    ask(5);
    EXPECT_EQ(ages(), (std::vector<int>{5, 4, -1, 2, 1, 0, -1}))
        << "without a value, so the oldest";
    ask(0);
    ask(6);
    EXPECT_EQ(ages(), (std::vector<int>{1, -1, -1, 4, 3, 2, 0}));
    // A material without a file costs the oldest its open file only.
    EXPECT_EQ(ValueOf("8/8/8/1b1k4/8/8/8/KRB5 b - - 0 1"), kNoThompsonValue);
    EXPECT_TRUE(ThompsonFileIsMissing());
    EXPECT_EQ(ages(), (std::vector<int>{2, -1, -1, 5, 4, 3, 1}));
    ask(3);
    // A position that the host sets up closes everything.
    SetUpPosition(rows[0].fen);
    EXPECT_EQ(ages(), (std::vector<int>(7, -1)));
}

TEST_F(RootDatabaseTest, OneVolumeAtATime) {
    constexpr const char* kFirst = "8/8/8/1q1k4/8/8/8/KQQ5 b - - 0 1";
    constexpr const char* kSecond = "8/8/8/3k4/8/8/8/KNNN4 b - - 0 1";
    Write("QQ_Q.G", {{kFirst, 11}});
    Write("NNN_.G", {{kSecond, 12}});
    CloseThompsonFiles();
    EXPECT_EQ(ValueOf(kFirst), 11);
    EXPECT_EQ(ValueNow(kSecond), kNoThompsonValue) << "the other volume is not in the drive";
    EXPECT_TRUE(ThompsonFileIsMissing());
    EXPECT_EQ(ValueOf(kSecond), 12) << "a new probe may find it there";
    EXPECT_EQ(ValueNow(kFirst), 11) << "of a file that is open already";
}

TEST_F(RootDatabaseTest, AFileThatCannotBeReadLeavesItsSlot) {
    constexpr const char* kFen = "8/8/8/8/8/6K1/8/k4R2 b - - 0 1";
    WriteRookFile();
    EXPECT_EQ(ValueOf(kFen), 19);
    EXPECT_EQ(AgeOf("RR_R.G"), 0);
    disk_step_fails = [](DiskStep step) { return step == DiskStep::Read; };
    EXPECT_EQ(ProbeThompson(), kNoThompsonValue);
    EXPECT_FALSE(ThompsonFileIsMissing());
    EXPECT_EQ(AgeOf("RR_R.G"), -1);
    disk_step_fails = nullptr;
    EXPECT_EQ(ProbeThompson(), 19) << "it is opened anew";
    fs::remove(folder_ + "/RR_R.G");
    for (ThompsonSlot& slot : thompson_slots) slot.file.Close();
    EXPECT_EQ(ProbeThompson(), kNoThompsonValue) << "it has vanished";
    EXPECT_EQ(AgeOf("RR_R.G"), -1);
}

}  // namespace

}  // namespace torval

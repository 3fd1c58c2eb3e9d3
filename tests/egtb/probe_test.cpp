// What the evaluation gets from the databases, with files made here.

#include "egtb/nalimov/probe.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "apps/cli/positions.h"
#include "apps/makers/set_up.h"
#include "apps/text/moves.h"
#include "board/make.h"
#include "board/position.h"
#include "egtb/nalimov/lengths.h"
#include "egtb/nalimov/tablebase_files.h"
#include "eval/setup.h"
#include "game/game.h"
#include "game/think.h"
#include "state/controller.h"
#include "state/flags.h"
#include "state/settings.h"
#include "support/made_tables.h"

namespace torval {

namespace {

namespace fs = std::filesystem;

constexpr std::int8_t kMateInSeven = 120;
constexpr std::int8_t kMateInTwentySeven = 100;

int disk_steps = 0;

class ProbeTest : public testing::Test {
protected:
    /// All classes of three men; kpkp with zeros for the tests to change.
    static void SetUpTestSuite() {
        fs::create_directories(Folder());
        const TableSet tables = MakeClassesBefore(kFirstFourMen);
        for (int id = 1; id < kFirstFourMen; ++id) WriteMadeFiles(tables, id, Folder());
        for (std::size_t side = 0; side < 2; ++side) {
            std::ofstream out(FileOf(kFirstFourMen, side));
            out.close();
            fs::resize_file(FileOf(kFirstFourMen, side), kEntryCounts[kFirstFourMen][side]);
        }
    }
    static void TearDownTestSuite() { fs::remove_all(Folder()); }

    ProbeTest() {
        StartEngine();
        std::strcpy(NalimovPath, Folder().c_str());
        UseDatabases(true);
        InitialiseDatabases();
    }
    ~ProbeTest() override {
        disk_step_fails = nullptr;
        think_controller.SearchPly = 0;
        NalimovPath[0] = '\0';
        InitialiseDatabases();
        StartEngine();
    }

    static fs::path Folder() {
        return fs::path(testing::TempDir()) / ("torval_probe_" + std::to_string(getpid()));
    }
    static std::string FileOf(int id, std::size_t side) { return MadeFile(Folder(), id, side); }

    static void UseDatabases(bool use) {
        const int others = settings_block.BookUse & ~BookUseDatabases;
        settings_block.BookUse = static_cast<std::uint16_t>(others | (use ? BookUseDatabases : 0));
    }

    static void SetUpPosition(const std::string& fen) {
        std::string error;
        ASSERT_TRUE(SetUpFen(fen, &error)) << fen << ": " << error;
        think_controller.SearchPly = 0;
    }

    /// The score that the evaluation gets; none without one.
    static std::optional<int> Probe() {
        EndgameProbe* const probe = CheckTablebaseAvailable();
        if (!probe) return std::nullopt;
        const EvalResult result = probe->ProbeTablebase(0, 0, 0);
        if (!probe->found) return std::nullopt;
        EXPECT_EQ(result.flags, kExact);
        return result.score;
    }
};

TEST_F(ProbeTest, ScoresCountThePliesToMate) {
    struct Case {
        int value;
        int ply;
        int score;
    };
    for (const Case& c : {Case{0, 9, 0},
                          Case{32766, 3, 9996},
                          Case{32766, 0, 9999},
                          Case{-32766, 4, -9996},
                          Case{-32766, 0, -10000},
                          Case{-32765, 0, -9998},
                          Case{32640, 2, 10000 - (2 + 2 * 127 - 1)},
                          Case{-32640, 1, -(10000 - (1 + 2 * 126))},
                          Case{32767, 0, -20000}}) {
        const EvalResult result = ToEngineScore(static_cast<TablebaseValue>(c.value), c.ply);
        EXPECT_EQ(result.score, c.score) << c.value;
        EXPECT_EQ(result.flags, kExact) << c.value;
    }
}

/// Values made for this project by a second implementation; half of the rows have the lone king's
/// colours exchanged.
TEST_F(ProbeTest, GivesTheValuesOfAllThreeMenClasses) {
    int rows = 0;
    for (const auto& [fen, value] : ListedValues()) {
        SetUpPosition(fen);
        if (position.PieceList[White].count + position.PieceList[Black].count > 1) continue;
        for (const int ply : {0, 3}) {
            think_controller.SearchPly = ply;
            EXPECT_EQ(Probe(), ToEngineScore(value, ply).score) << fen;
        }
        ++rows;
    }
    EXPECT_GE(rows, 50);
}

TEST_F(ProbeTest, AsksNearTheRootOnly) {
    constexpr const char* kQueen = "8/8/8/8/8/8/1k6/6QK w - - 0 1";
    constexpr const char* kRook = "8/8/8/8/8/8/1k6/6RK w - - 0 1";
    constexpr const char* kPawns = "6k1/8/8/4p3/3P4/8/8/6K1 w - - 0 1";
    struct Case {
        const char* fen;
        int ply;
        bool known;
    };
    // In this order: a looked-up class is kept until the men change.
    for (const Case& c : {Case{kQueen, 0, true},
                          Case{kRook, 11, false},
                          Case{kQueen, 60, true},
                          Case{kRook, 10, true},
                          Case{kRook, 60, true},
                          Case{kPawns, 11, false},
                          Case{kPawns, 10, true},
                          Case{kPawns, 7, false},
                          Case{kPawns, 6, true},
                          Case{"8/8/8/8/8/8/1k5n/6QK w - - 0 1", 0, false},
                          Case{"8/8/8/8/8/8/1k4nn/6QK w - - 0 1", 0, false}}) {
        // Setting up evaluates and so asks, at the root; what it looked up is put back by hand.
        UseDatabases(false);
        SetUpPosition(c.fen);
        UseDatabases(true);
        think_controller.SearchPly = c.ply;
        EXPECT_EQ(CheckTablebaseAvailable() != nullptr, c.known) << c.fen << " " << c.ply;
    }
}

TEST_F(ProbeTest, TheEvaluationKeepsItsFinerKnowledgeForOtherMaterial) {
    constexpr const char* kOpening = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";
    constexpr const char* kPawn = "8/8/8/8/8/1k6/6P1/6K1 w - - 0 1";
    constexpr Square kC5 = 0x42;
    for (const bool covered : {true, false}) {
        UseDatabases(covered);
        SetUpPosition(kOpening);
        const std::int32_t margin = PositionalMargin;
        const std::int32_t isolated = eval_weights.IsolatedPawn;
        SetUpPosition(kPawn);
        EXPECT_EQ(position.GamePhase, PhasePawns);
        EXPECT_EQ(PositionalMargin == margin, covered);
        EXPECT_EQ(eval_weights.IsolatedPawn == isolated, covered);
        EXPECT_EQ(PieceSquareTable[White][Bishop][kC5] == 0, covered) << "an outpost";
        EXPECT_EQ(MobilityTable[White][Rook][0x21], 2 + 4) << "the other king stands there";
        EXPECT_EQ(position.MaterialWord[White] & 0xFFFF, 128U);
    }
}

TEST_F(ProbeTest, TellsEnPassantFromOtherPositions) {
    // Black is the first side of kpkp, whose board is turned over.
    ClassPosition seen;
    seen.king = {6, 62};
    seen.men[0][0] = 28;
    seen.men[1][0] = 27;
    const auto plain = IndexOf(kFirstFourMen, 1, seen);
    seen.en_passant = 20;
    const auto passed = IndexOf(kFirstFourMen, 1, seen);
    ASSERT_TRUE(plain && passed);
    std::fstream file(FileOf(kFirstFourMen, 1), std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(static_cast<std::streamoff>(*passed)).put(kMateInSeven);
    file.seekp(static_cast<std::streamoff>(*plain)).put(kMateInTwentySeven);
    file.close();

    SetUpPosition("6k1/8/8/3Pp3/8/8/8/6K1 w - e6 0 1");
    EXPECT_EQ(Probe(), 10000 - 13);
    NullMove();
    EXPECT_EQ(Probe(), 0) << "the right to take has passed";
    SetUpPosition("6k1/8/8/3Pp3/8/8/8/6K1 w - - 0 1");
    EXPECT_EQ(Probe(), 10000 - 53);
    SetUpPosition("6k1/4p3/8/3P4/8/8/8/6K1 b - - 0 1");
    MOVES made;
    ASSERT_EQ(DoMove("e7e5", &made), StatusOk);
    EXPECT_EQ(Probe(), 10000 - 13);
    SetUpPosition("6k1/4p3/8/2P5/8/8/8/6K1 b - - 0 1");
    ASSERT_EQ(DoMove("e7e5", &made), StatusOk);
    EXPECT_EQ(Probe(), 0) << "no pawn beside it";

    file.open(FileOf(kFirstFourMen, 1), std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(static_cast<std::streamoff>(*plain)).put(kBrokenEntry);
    file.close();
    InitialiseDatabases();
    SetUpPosition("6k1/8/8/3Pp3/8/8/8/6K1 w - - 0 1");
    EXPECT_EQ(Probe(), std::nullopt) << "marked as broken";
}

TEST_F(ProbeTest, CorrectsTheKnownBadEntries) {
    TablebaseFiles& files = tablebase_files[kFirstFiveMen][1];
    files.buckets = std::make_unique<BucketHeads>();
    EXPECT_EQ(ReadTablebaseValue(kFirstFiveMen, 1, 0x03639810), -32639);
    EXPECT_EQ(ReadTablebaseValue(kFirstFiveMen, 1, 0x03639811), kUnknownValue);
}

/// A wide file is not checked when it is registered, so whatever its entries are must be harmless.
TEST_F(ProbeTest, TakesWideEntriesThatCanBeTrue) {
    const int id = FindClass("krnknn");
    constexpr std::pair<std::int16_t, TablebaseValue> kEntries[] = {{0, 0},
                                                                    {32766, 32766},
                                                                    {MatesIn(262), MatesIn(262)},
                                                                    {MatedIn(0), MatedIn(0)},
                                                                    {MatedIn(262), MatedIn(262)},
                                                                    {32767, kUnknownValue},
                                                                    {10000, kUnknownValue},
                                                                    {1, kUnknownValue},
                                                                    {-10000, kUnknownValue},
                                                                    {-32767, kUnknownValue},
                                                                    {-32768, kUnknownValue}};
    std::ofstream out(FileOf(id, 0), std::ios::binary);
    for (const auto& [entry, value] : kEntries) {
        out.put(static_cast<char>(entry & 0xFF)).put(static_cast<char>(entry >> 8));
    }
    out.close();
    InitialiseDatabases();
    std::uint64_t index = 0;
    for (const auto& [entry, value] : kEntries) {
        EXPECT_EQ(ReadTablebaseValue(id, 0, index++), value) << entry;
    }
    EXPECT_EQ(ReadTablebaseValue(id, 0, index), kUnknownValue) << "behind the end";

    // In the material word four knights look like a bishop, and four bishops like a rook.
    for (const char* const fen :
         {"8/8/8/8/8/2k5/8/KNNNN3 w - - 0 1", "8/8/8/8/8/2k5/8/KBBBB3 w - - 0 1"}) {
        SetUpPosition("8/8/8/8/8/2k5/8/KB6 w - - 0 1");
        EXPECT_EQ(Probe(), 0);
        SetUpPosition(fen);
        EXPECT_EQ(Probe(), std::nullopt) << fen;
    }
    fs::remove(FileOf(id, 0));
}

TEST_F(ProbeTest, TouchesNoFileWithoutNeed) {
    disk_step_fails = [](DiskStep) {
        ++disk_steps;
        return false;
    };
    const char* const kFen = "8/8/8/8/8/8/1k6/6QK w - - 0 1";
    UseDatabases(false);
    SetUpPosition(kFen);
    disk_steps = 0;
    EXPECT_EQ(CheckTablebaseAvailable(), nullptr);
    EXPECT_EQ(disk_steps, 0);

    UseDatabases(true);
    EXPECT_NE(Probe(), std::nullopt);
    EXPECT_GT(disk_steps, 0);
    EXPECT_TRUE(tablebase_files[4][0].file.IsOpen() || tablebase_files[5][0].file.IsOpen());
    NewGame();
    EXPECT_FALSE(tablebase_files[5][0].file.IsOpen()) << "a new game closes the files";
}

TEST_F(ProbeTest, AFileThatVanishesIsNoDatabase) {
    fs::rename(FileOf(4, 0), FileOf(4, 0) + ".away");
    SetUpPosition("8/8/8/8/8/8/1k6/6RK w - - 0 1");
    EXPECT_EQ(Probe(), std::nullopt);
    EXPECT_TRUE(tablebase_files[4][0].name.empty());
    fs::rename(FileOf(4, 0) + ".away", FileOf(4, 0));
}

/// From the longest mate both sides play perfectly, so it takes exactly as long.
TEST_F(ProbeTest, TheSearchPlaysTheLongestMate) {
    SetUpPosition("8/8/8/8/8/2k5/1R6/K7 w - - 0 1");
    std::string fen;
    int longest = 0;
    const auto count = kEntryCounts[4][0];
    for (std::uint64_t i = 0; i < count; ++i) {
        const TablebaseValue value = ReadTablebaseValue(4, 0, i);
        if (value <= 0 || value == kUnknownValue || 32767 - value <= longest) continue;
        longest = 32767 - value;
        const ClassPosition at = *PositionAt(4, 0, i);
        CHSBRD board = {};
        board.board[at.king[0]] = CodeOf(White, King);
        board.board[at.king[1]] = CodeOf(Black, King);
        board.board[at.men[0][0]] = CodeOf(White, Rook);
        board.castle = 0xFF;
        board.color = White;
        ASSERT_EQ(SetPosition(board), StatusOk);
    }
    EXPECT_EQ(longest, 16);
    settings_block.Level.mode = 0;
    settings_block.Level.depth1 = 2;
    int plies = 0;
    while (legal_moves->count > 0 && plies < 40) {
        MAINVAR line;
        ASSERT_EQ(ComputeMove(&line), StatusOk);
        ClearFlags(FlagBusy);
        // The search counts from the position after its first move.
        EXPECT_EQ(line.score, (plies % 2 == 0 ? 1 : -1) * (10000 - (30 - plies))) << plies;
        ASSERT_GT(line.vlen, 0);
        const Move best = Plain(line.bstvar[0]);
        if (!legal_moves) RebuildLegalMoves();
        MOVES made;
        ASSERT_EQ(DoMove(CoordinateText(best).c_str(), &made), StatusOk);
        ++plies;
    }
    EXPECT_EQ(plies, 31);
}

}  // namespace

}  // namespace torval

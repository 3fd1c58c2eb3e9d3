// The engine plays positions that the databases know: it never gives away a win or a draw, and it
// wins as fast as possible. The other side defends as well as possible, by the values themselves.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "apps/cli/positions.h"
#include "apps/makers/tables/position_values.h"
#include "apps/makers/tables/table_file.h"
#include "apps/text/moves.h"
#include "egtb/nalimov/lengths.h"
#include "egtb/nalimov/probe.h"
#include "search/engine_test.h"
#include "support/made_tables.h"

namespace torval {

namespace {

class PerfectPlay : public EngineTest {
protected:
    void SetUp() override { StartEngine(); }
    void TearDown() override {
        NalimovPath[0] = '\0';
        InitialiseDatabases();
        EngineTest::TearDown();
    }

    static SmallBoard OnTheBoard() {
        const CHSBRD board = StoredPosition();
        return *SmallBoardOf(board, PassedSquare(board, game_record.top->move));
    }
    static TablebaseValue ValueOnBoard() { return ValueOf(OnTheBoard(), ReadTablebaseValue); }

    /// One of the moves that keep the value, at random.
    static std::string BestDefence(TestRandom* random) {
        const std::vector<MoveValue> moves = MoveValues(OnTheBoard(), ReadTablebaseValue);
        int best = 0;
        for (const MoveValue& move : moves) best += move.value == moves[0].value ? 1 : 0;
        return moves[static_cast<std::size_t>(random->Below(best))].move;
    }

    /// Plays on from the position on the board, the engine for the side to move.
    static void PlayOut(TestRandom* random) {
        constexpr int kEnoughOfADraw = 30;
        const TablebaseValue value = ValueOnBoard();
        const int plies = value == kDrawValue ? kEnoughOfADraw : 2 * (32767 - value) - 1;
        for (int ply = 0; ply < plies; ++ply) {
            if (!legal_moves) RebuildLegalMoves();
            if (value == kDrawValue && legal_moves->count == 0) return;
            ASSERT_GT(legal_moves->count, 0);
            const TablebaseValue before = ValueOnBoard();
            std::string text;
            if (ply % 2 == 0) {
                MAINVAR line;
                ASSERT_EQ(ComputeMove(&line), StatusOk);
                ClearFlags(FlagBusy);
                ASSERT_GT(line.vlen, 0);
                text = EntryText(CoordinateText(line.bstvar[0]));
                if (!legal_moves) RebuildLegalMoves();
            } else {
                text = BestDefence(random);
            }
            MOVES made;
            ASSERT_EQ(DoMove(text.c_str(), &made), StatusOk) << text;
            ASSERT_EQ(ValueBefore(ValueOnBoard()), before) << text << " at ply " << ply;
            if (value == kDrawValue && made.iStatus != 0) return;
        }
        EXPECT_EQ(ValueOnBoard(), value == kDrawValue ? kDrawValue : MatedIn(0));
    }

    /// Random positions of a class that are won, or drawn, with the side that the engine plays to move.
    static void PlayClasses(const MadeTables& tables,
                            const std::vector<std::string>& classes,
                            int wins,
                            int draws) {
        TestRandom random;
        ASSERT_LT(tables.Folder().size(), kNalimovPathSize);
        std::strcpy(NalimovPath, tables.Folder().c_str());
        settings_block.BookUse |= BookUseDatabases;
        settings_block.Level = LevelOf(0, 3, 0);
        InitialiseDatabases();
        for (const std::string& name : classes) {
            const int id = ClassByName(name);
            for (int left[2] = {wins, draws}; left[0] > 0 || left[1] > 0;) {
                const int side = random.Below(2);
                const auto count =
                    kEntryCounts[static_cast<std::size_t>(id)][static_cast<std::size_t>(side)];
                const auto index =
                    static_cast<std::uint64_t>(random.Below(static_cast<int>(count)));
                const auto position = PositionAt(id, side, index);
                if (!position || position->en_passant != kNoEnPassant) continue;
                if (!IsLegal(id, side, *position)) continue;
                const TablebaseValue value = ReadTablebaseValue(id, side, index);
                if (value != kDrawValue && (value < 0 || value == kUnknownValue)) continue;
                int& wanted = left[value == kDrawValue ? 1 : 0];
                if (wanted == 0) continue;
                --wanted;
                const std::string fen = FenOf(SmallBoard::Of(id, side, *position));
                SetUpPosition(fen);
                PlayOut(&random);
                ASSERT_FALSE(HasFatalFailure()) << name << ": " << fen;
            }
        }
    }
};

TEST_F(PerfectPlay, OfThreeMen) {
    const MadeTables tables;
    PlayClasses(tables, {"kqk", "krk"}, Rounds(20), 0);
    PlayClasses(tables, {"kpk"}, Rounds(20), Rounds(20));
}

class SlowPerfectPlay : public PerfectPlay {};

TEST_F(SlowPerfectPlay, OfFourMen) {
    const MadeTables tables({"kbnk", "krkp"});
    PlayClasses(tables, {"kbnk"}, 30, 0);
    PlayClasses(tables, {"krkp"}, 30, 30);
}

}  // namespace

}  // namespace torval

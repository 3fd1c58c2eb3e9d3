// The table of opening names: what it holds, what it answers, and what it refuses.
#include "apps/host/openings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "apps/host/session.h"
#include "apps/text/moves.h"
#include "apps/text/opening_lines.h"
#include "apps/text/text.h"

namespace torval {
namespace {

/// Plays lines as a host does, so that every move is one that the engine takes.
class LinePlayer {
public:
    LinePlayer() : session_({}) {
        session_.Load(SettingsImage::Defaults());
        session_.Start(0);
    }

    CHSBRD BoardAfter(std::string_view moves) {
        session_.engine()->NewGame();
        for (const std::string_view move : SplitWords(moves)) {
            MOVES made;
            if (session_.engine()->DoMove(EntryText(move).c_str(), &made) == S_OK) continue;
            ADD_FAILURE() << move << " of " << moves << " is not legal";
            break;
        }
        CHSBRD board{};
        session_.engine()->get_Position(&board);
        return board;
    }

private:
    Session session_;
};

TEST(BuiltInOpenings, EveryLineIsLegalAndLeadsToItsName) {
    constexpr std::size_t kFewestLines = 3000;
    EXPECT_GE(OpeningLines().size(), kFewestLines);
    std::string error;
    ASSERT_TRUE(OpeningTable::Read(OpeningLines(), &error)) << error;
    EXPECT_EQ(BuiltInOpenings().size(), OpeningLines().size());
    LinePlayer player;
    for (const std::string_view line : OpeningLines()) {
        const std::size_t moves = line.rfind('\t') + 1;
        const Opening* const found = BuiltInOpenings().Find(player.BoardAfter(line.substr(moves)));
        ASSERT_TRUE(found) << line;
        EXPECT_TRUE(line.starts_with(std::string(found->code) + "\t" + std::string(found->name)))
            << line;
    }
}

struct NameCase {
    const char* name;
    const char* moves;
    const char* text;  ///< empty: no name of its own
};
class OpeningNameTest : public testing::TestWithParam<NameCase> {};

TEST_P(OpeningNameTest, BelongsToThePosition) {
    LinePlayer player;
    const Opening* const found = BuiltInOpenings().Find(player.BoardAfter(GetParam().moves));
    EXPECT_EQ(found ? found->Text() : "", GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Openings,
    OpeningNameTest,
    testing::Values(NameCase{"Start", "", ""},
                    NameCase{"CaroKann",
                             "e2e4 c7c6 d2d4 d7d5 e4e5",
                             "B12 Caro-Kann Defense: Advance Variation"},
                    NameCase{"Najdorf",
                             "e2e4 c7c5 g1f3 d7d6 d2d4 c5d4 f3d4 g8f6 b1c3 a7a6",
                             "B90 Sicilian Defense: Najdorf Variation"},
                    NameCase{"NajdorfOtherwise",
                             "g1f3 c7c5 b1c3 d7d6 d2d4 c5d4 f3d4 a7a6 e2e4 g8f6",
                             "B90 Sicilian Defense: Najdorf Variation"},
                    NameCase{"QueensGambitOtherwise", "c2c4 d7d5 d2d4", "D06 Queen's Gambit"},
                    NameCase{"OtherSideToMove", "d2d3 d7d5 d3d4", ""}),
    [](const auto& test) { return test.param.name; });

struct DamagedLine {
    const char* name;
    const char* line;
    const char* reason;
};
class DamagedOpeningTest : public testing::TestWithParam<DamagedLine> {};

TEST_P(DamagedOpeningTest, IsRefusedWithItsNumber) {
    const std::vector<std::string_view> lines = {"B00\tKing's Pawn\te2e4", GetParam().line};
    std::string error;
    EXPECT_FALSE(OpeningTable::Read(lines, &error));
    EXPECT_THAT(error, testing::StartsWith(std::string("line 2: ") + GetParam().reason));
}

INSTANTIATE_TEST_SUITE_P(
    Openings,
    DamagedOpeningTest,
    testing::Values(DamagedLine{"Empty", "", "code, name and moves"},
                    DamagedLine{"OneTab", "A40\td2d4", "code, name and moves"},
                    DamagedLine{"CodeLetter", "F00\tx\td2d4", "'F00' is no code"},
                    DamagedLine{"CodeLength", "A4\tx\td2d4", "'A4' is no code"},
                    DamagedLine{"NoName", "A40\t\td2d4", "the name is empty"},
                    DamagedLine{"Accent", "A40\tR\xC3\xA9ti\td2d4", "the name is empty or not"},
                    DamagedLine{"NoMoves", "A40\tx\t ", "there are no moves"},
                    DamagedLine{"NoCoordinates", "A40\tx\td2d4 Nf6", "move 'Nf6' cannot"},
                    DamagedLine{"EmptySquare", "A40\tx\td3d4", "move 'd3d4' cannot"},
                    DamagedLine{"OtherSide", "A40\tx\td7d5", "move 'd7d5' cannot"},
                    DamagedLine{"OwnMan", "A40\tx\td1d2", "move 'd1d2' cannot"},
                    DamagedLine{"PromotesEarly", "A40\tx\td2d4q", "move 'd2d4q' cannot"},
                    DamagedLine{"Twice",
                                "B00\tx\te2e4 g8f6 g1f3 f6g8 f3g1",
                                "the position has a name already: B00 King's"}),
    [](const auto& test) { return test.param.name; });

TEST(OpeningTable, FollowsWhatChangesMoreThanTwoSquares) {
    // Castling on either side, en passant and a promotion, compared with the engine's own board.
    const std::string moves =
        "e2e4 d7d5 e4e5 f7f5 e5f6 d8d6 g1f3 c8g4 f1e2 b8c6 e1g1 e8c8 f6g7 h7h5 g7h8n";
    const std::string line = "A00\tx\t" + moves;
    const std::vector<std::string_view> lines = {line};
    std::string error;
    const auto table = OpeningTable::Read(lines, &error);
    ASSERT_TRUE(table) << error;
    LinePlayer player;
    EXPECT_TRUE(table->Find(player.BoardAfter(moves)));
    EXPECT_FALSE(table->Find(player.BoardAfter(moves.substr(0, moves.size() - 6))));
}

}  // namespace
}  // namespace torval

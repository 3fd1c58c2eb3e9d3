// The book that is shipped: what it is made of, and what the engine plays from it.

#include "apps/makers/books/opening_graph.h"

#include <gmock/gmock.h>

#include "apps/host/openings.h"
#include "apps/makers/books/book_check.h"
#include "apps/text/moves.h"
#include "apps/text/opening_lines.h"
#include "apps/text/text.h"
#include "book/book_fixture.h"
#include "book/select.h"

namespace torval {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::MatchesRegex;
using testing::Not;
using testing::UnorderedElementsAre;

using Texts = std::vector<std::string>;

Bytes MakeBook(std::span<const std::string_view> lines, std::span<const std::string_view> losses) {
    return OpeningBook(OpeningGraph::Read(lines, losses, '2'), {}).Build();
}

class OpeningBookTest : public BookTest {
protected:
    void Use(const Bytes& bytes) {
        // Making a book has left another position.
        InitialiseEngine();
        WriteBytes(Path("made.bk"), bytes);
        ASSERT_EQ(Open(Path("made.bk")), BookOpened);
    }

    /// What the engine may play after these moves, by its default settings.
    static Texts Played(std::string_view moves) {
        NewGame();
        for (const std::string_view move : SplitWords(moves)) Play(std::string(move));
        MoveList& root = GenerateLegal();
        const std::uint32_t count = SelectBookMoves(&root);
        Texts played;
        const MoveEntry* entry = EntryAt(root.quiet_head);
        for (std::uint32_t i = 0; i < count; ++i, entry = NextEntry(*entry)) {
            played.push_back(CoordinateText(Plain(entry->move)));
        }
        ReleaseMoves(root);
        return played;
    }
};

TEST_F(OpeningBookTest, TheShippedOneIsWholeAndPlaysSensibly) {
    const Bytes bytes = MakeBook(OpeningLines(), OpeningLosses());
    EXPECT_EQ(bytes, MakeBook(OpeningLines(), OpeningLosses()));
    Use(bytes);
    constexpr std::size_t kFewestPositions = 4000;
    const BookReport report = CheckBook(Path("made.bk"));
    EXPECT_THAT(report.faults, testing::IsEmpty());
    EXPECT_GE(report.positions, kFewestPositions);

    EXPECT_THAT(Played(""), UnorderedElementsAre("e2e4", "d2d4", "c2c4", "g1f3"));
    EXPECT_THAT(Played("e2e4"), IsSupersetOf({"e7e5", "c7c5", "e7e6", "c7c6"}));
    EXPECT_THAT(Played("e2e4 e7e5 g1f3 b8c6"), IsSupersetOf({"f1b5", "f1c4"}));
    EXPECT_THAT(Played("e2e4 e7e5 g1f3 b8c6 f1b5 g8f6 e1g1 f6e4"), Contains("d2d4"));
    EXPECT_THAT(Played("d2d4 d7d5"), UnorderedElementsAre("c2c4", "g1f3", "b1c3"));
    // The French Defence by another order of moves than the table has.
    EXPECT_THAT(Played("e2e4 e7e6 d2d4 d7d5"), IsSupersetOf({"b1c3", "e4e5"}));
    EXPECT_THAT(Played("d2d4 e7e6 e2e4 d7d5"), IsSupersetOf({"b1c3", "e4e5"}));
    // A named move that loses at once is in the book, so that it is recognised, but excluded.
    for (const auto& [moves, blunder] : {std::pair{"f2f3 e7e5", "g2g4"},
                                         std::pair{"g2g4 e7e5", "f2f3"},
                                         std::pair{"d2d4 d7d5 c2c4 d5c4 e2e3 e7e5", "d1b3"},
                                         std::pair{"e2e4 e7e5 g1f3 b8c6", "f3e5"}}) {
        EXPECT_THAT(Played(moves), Not(Contains(blunder)));
        EXPECT_THAT(Moves(), Contains(MatchesRegex(blunder + std::string(" .* [4c]0"))));
    }
}

TEST_F(OpeningBookTest, LinesMeetAndLossesCount) {
    const std::string_view lines[] = {"A00\tx\te2e4 e7e5 g1f3",
                                      "A00\tx\te2e4 e7e5 f2f4",
                                      "A00\tx\te2e4 e7e5 f1c4",
                                      "A00\tx\tg1f3 e7e5",
                                      "A00\tx\te2e4 c7c5 d1h5",
                                      "A00\tx\te2e4 c7c5 g1f3",
                                      "A00\tx\te2e4 c7c5 b1c3"};
    const std::string_view losses[] = {"e2e4 e7e5\tf2f4\t60", "e2e4 c7c5\td1h5\t100"};
    Use(MakeBook(lines, losses));
    EXPECT_THAT(Played(""), UnorderedElementsAre("e2e4", "g1f3"));
    // No line has 1. Nf3 e5 2. e4, but two have the positions before and after that move.
    EXPECT_THAT(Played("g1f3 e7e5"), UnorderedElementsAre("e2e4"));
    EXPECT_THAT(Played("e2e4 e7e5"), UnorderedElementsAre("g1f3", "f2f4", "f1c4"));
    EXPECT_THAT(Moves(), UnorderedElementsAre("g1f3 0 00", "f1c4 0 00", "f2f4 -10 80"));
    EXPECT_THAT(Played("e2e4 c7c5"), UnorderedElementsAre("g1f3", "b1c3"));
    EXPECT_THAT(Moves(), Contains("d1h5 -50 c0"));
    EXPECT_THAT(Played("a2a3"), testing::IsEmpty());
}

TEST(OpeningGraph, RefusesWhatCannotBePlayed) {
    const std::string_view line = "A00\tx\te2e4 e7e5";
    struct Case {
        std::string_view line, loss, reason;
    };
    const Case cases[] = {
        {"A00\te2e4", "e2e4\te7e5\t30", "three fields"},
        {"A00\tx\te2e5", "e2e4\te7e5\t30", "'e2e5' is not legal"},
        {line, "e2e4\te7e5", "three fields"},
        {line, "e2e4\te7e6\t30", "no opening has this move"},
        {line, "d2d4\td7d5\t30", "no opening has this move"},
        {line, "e2e4\te7e5\t3x", "'3x' is no loss"},
        {line, "e2e4\te7e5\t-3", "'-3' is no loss"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.reason);
        const std::string_view lines[] = {c.line};
        const std::string_view losses[] = {c.loss};
        try {
            OpeningGraph::Read(lines, losses, '2');
            ADD_FAILURE() << "read";
        } catch (const std::runtime_error& error) {
            EXPECT_THAT(error.what(), HasSubstr(std::string(c.reason)));
        }
    }
}

}  // namespace
}  // namespace torval

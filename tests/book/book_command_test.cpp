// Books made of random games, compared with counts of those games.

#include <gmock/gmock.h>

#include <algorithm>
#include <iomanip>
#include <map>
#include <set>
#include <sstream>

#include "apps/cli/notation.h"
#include "apps/makers/books/book_builder.h"
#include "apps/makers/books/book_check.h"
#include "apps/makers/books/game_stream.h"
#include "apps/makers/set_up.h"
#include "apps/text/moves.h"
#include "apps/text/text.h"
#include "book/book_fixture.h"
#include "support/run_command.h"

namespace torval {

namespace {

using testing::HasSubstr;

Ran Book(const std::string& arguments, const std::string& input = "") {
    std::vector<std::string> words = {"book"};
    // A word in quotes may have blanks.
    std::istringstream split(arguments);
    for (std::string word; split >> std::quoted(word, '\'');) words.push_back(word);
    return Torval(words, input);
}

using Counts = std::array<std::uint32_t, 3>;  // White won, Black won, played
using Tallies = std::map<std::pair<HashKey, std::pair<int, int>>, Counts>;

class BookCommandTest : public BookTest {
protected:
    std::string WriteText(const std::string& name, const std::string& text) {
        WriteBytes(Path(name), Bytes(text.begin(), text.end()));
        return Path(name);
    }
};

/// Random games that meet again and again, as PGN and counted by key and move.
std::string RandomGames(TestRandom* random, int games, int plies, char version, Tallies* tallies) {
    constexpr const char* kResults[] = {"1-0", "0-1", "1/2-1/2", "*"};
    constexpr const char* kFens[] = {"",
                                     "",
                                     "r3k2r/1P4p1/8/8/3Qq3/8/1p4P1/R3K2R b KQkq - 0 1",
                                     "4k3/8/8/8/2pPp3/8/8/4K1NN b - d3 0 1"};
    std::string pgn;
    for (int i = 0; i < games; ++i) {
        const std::string fen = kFens[random->Below(4)];
        std::string error;
        EXPECT_TRUE(SetUpFen(fen.empty() ? kStartFen : fen, &error)) << error;
        const int result = random->Below(4);
        pgn += "[Event \"Game " + std::to_string(i) + " [x]\"]\n";
        pgn += "[Result \"" + std::string(kResults[result]) + "\"]\n";
        if (!fen.empty()) pgn += "[SetUp \"1\"]\n[FEN \"" + fen + "\"]\n";
        pgn += "\n% not a move: e4\n";
        for (int ply = 0; ply < plies && legal_moves->count > 0; ++ply) {
            MoveEntry* entry = EntryAt(legal_moves->quiet_head);
            const int choices = random->Below(3) == 0 ? legal_moves->count : 2;
            for (int n = random->Below(std::min(choices, legal_moves->count)); n > 0; --n) {
                entry = NextEntry(*entry);
            }
            const BookMove move = EncodeBookMove(Plain(entry->move));
            Counts& counts =
                (*tallies)[{BookKey(static_cast<std::uint8_t>(version)), {move.from, move.to}}];
            counts[0] += result == 0 ? 1 : 0;
            counts[1] += result == 1 ? 1 : 0;
            ++counts[2];
            if (ply % 2 == 0) pgn += std::to_string(ply / 2 + 1) + ".";
            pgn += Algebraic(entry->move);
            pgn += random->Below(9) == 0 ? "!? $3 {x} (1. Zz (2. q)\n% ))\n{)}) ;y\n" : "\n";
            Move made;
            entry->move = Plain(entry->move);
            if (MakeGameMove(entry, &made) != OutcomeGoesOn) break;
        }
        pgn += std::string(kResults[result]) + "\n\n";
    }
    return pgn;
}

Tallies ReadTallies(const std::string& path, bool statistics, const Tallies& expected) {
    Tallies found;
    const BookReport report = CheckBook(path, [&](HashKey key, auto entries) {
        for (const BookEntry& entry : entries) {
            const std::pair<HashKey, std::pair<int, int>> id = {key,
                                                                {entry.move.from, entry.move.to}};
            const auto known = expected.find(id);
            if (known == expected.end()) {
                ADD_FAILURE() << "a move that nobody played";
                continue;
            }
            const auto& [white, black, games] = known->second;
            if (statistics) {
                EXPECT_EQ((Counts{entry.white, entry.black, entry.games}), known->second);
            }
            const int balance = 100 * (static_cast<int>(white) - static_cast<int>(black));
            const int score = balance / (static_cast<int>(games) + 50);
            EXPECT_EQ(entry.score, PrimaryKey(key) & 0x80000000 ? -score : score);
            found[id] = known->second;
        }
    });
    EXPECT_TRUE(report.IsWhole()) << testing::PrintToString(report.faults);
    return found;
}

TEST_F(BookCommandTest, GamesBecomeABookAndComeBack) {
    for (const char version : {'2', '3'}) {
        for (const bool statistics : {false, true}) {
            SCOPED_TRACE(std::string("version ") + version + (statistics ? ", BX" : ", BK"));
            TestRandom random(static_cast<std::uint32_t>(version));
            Tallies tallies;
            const std::string pgn = RandomGames(&random, Rounds(150), 20, version, &tallies);
            const std::string games = WriteText("games.pgn", pgn);
            const std::string book = Path("made");
            const Ran ran =
                Book("make --force " + book + " --pgn " + games + " --plies 20 --version " +
                     version + "0 --variant " + (statistics ? "bx" : "bk"));
            EXPECT_EQ(ran.code, 0);
            EXPECT_EQ(ran.err, "");
            EXPECT_THAT(ran.out, HasSubstr("from " + std::to_string(Rounds(150)) + " games"));
            EXPECT_EQ(ReadTallies(book, statistics, tallies).size(), tallies.size());

            // The engine's own lookup finds what was played in the start position.
            ASSERT_EQ(Open(book), BookOpened);
            SetUpPosition(kStartFen);
            const HashKey key = BookKey(static_cast<std::uint8_t>(version));
            std::size_t played = 0;
            for (const auto& [id, counts] : tallies) played += id.first == key ? 1 : 0;
            EXPECT_EQ(Moves().size(), played);
            EXPECT_GT(played, 1U);
        }
    }
}

TEST_F(BookCommandTest, SpilledRunsMakeTheSameBookAsOneBuffer) {
    TestRandom random;
    Tallies tallies;
    const std::string pgn = RandomGames(&random, 40, 12, '2', &tallies);
    const auto build = [&](std::size_t words) {
        BookBuilder builder({.shape = {.has_statistics = true}, .buffer_words = words});
        std::istringstream in(pgn);
        GameStream stream(in, GameStream::Shape::Pgn, 12);
        for (StreamedGame game; stream.Next(&game);) {
            EXPECT_EQ(game.error, "");
            EXPECT_EQ(builder.AddGame(game.fen, game.moves, game.result), std::nullopt);
        }
        return builder.Finish().Build();
    };
    // 5 words: over 64 runs, which are merged in between.
    const Bytes whole = build(1000000);
    EXPECT_EQ(build(5), whole);
    EXPECT_EQ(build(100), whole);
}

TEST_F(BookCommandTest, ExportedLinesAndGamesMakeTheSameBook) {
    TestRandom random;
    std::string lines;
    for (int i = 0; i < 60; ++i) {
        SetUpPosition(kStartFen);
        for (int ply = 0; ply < 8; ++ply) {
            MoveEntry* entry = EntryAt(legal_moves->quiet_head);
            for (int n = random.Below(3); n > 0; --n) entry = NextEntry(*entry);
            lines += CoordinateText(Plain(entry->move)) + (ply < 7 ? " " : "\n");
            Move made;
            entry->move = Plain(entry->move);
            ASSERT_EQ(MakeGameMove(entry, &made), OutcomeGoesOn);
        }
    }
    const std::string first = Path("first");
    ASSERT_EQ(Book("make " + first + " --lines " + WriteText("lines", "# lines\n\n" + lines)).code,
              0);
    const auto moves_of = [](const std::string& path) {
        std::set<std::pair<HashKey, std::pair<int, int>>> moves;
        EXPECT_TRUE(CheckBook(path, [&](HashKey key, auto entries) {
                        for (const BookEntry& e : entries) {
                            moves.insert({key, {e.move.from, e.move.to}});
                        }
                    }).IsWhole());
        return moves;
    };
    const std::string second = Path("second");
    for (const char* form : {"lines", "pgn"}) {
        const std::string text = Book(std::string("export --") + form + " " + first).out;
        EXPECT_EQ(Book("make --force " + second + " --" + form + " -", text).code, 0);
        EXPECT_EQ(moves_of(second), moves_of(first)) << form;
    }
}

TEST_F(BookCommandTest, ABookBeyondTheBlockLimitIsRefused) {
    BookImage image({.has_statistics = true});
    const std::vector<BookEntry> moves(
        25,
        BookEntry{
            .move = {0x14, 0x34}, .score = 0, .flags = 0, .white = 0, .black = 0, .games = 1});
    // Three records of 20 moves fill a block: two blocks for each slot of the largest index.
    while (image.Positions() < 6 * 0x8000) {
        image.Add(HashKey{1 + image.Positions() / 0x8000} << 32 | image.Positions() % 0x8000,
                  moves);
    }
    EXPECT_EQ(image.Entries(), image.Positions() * kMostEntries);
    EXPECT_THROW((void)image.Build(), BookTooLarge);
}

}  // namespace

}  // namespace torval

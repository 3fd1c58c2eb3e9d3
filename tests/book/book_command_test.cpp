// The book command: games in, a book out, and what it shows.

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
#include "apps/text/replace_file.h"
#include "apps/text/text.h"
#include "book/book_fixture.h"
#include "support/run_command.h"

namespace torval {

namespace {

using testing::HasSubstr;
using testing::Not;

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

constexpr const char* kMixedGames = R"([Event "One"]
[Result "1-0"]
[WhiteElo "2400"]
[BlackElo "2300"]

1. e4 e5 2. Nf3 {a comment (with) [stuff] } Nc6 (2... d6 3. d4) 3. Bb5 $1 a6! 4. O-O 1-0 {end}

[Event "Two"]
[Result "0-1"]
[WhiteElo "2400"]
[BlackElo "2100"]

1. e4 c5 2. Nf3 d6 0-1

[Event "Not legal"]

1. e4 e5 2. Ke3 *
[Event "No end {"]

1. Nf3 Nf6 2. e4 {open
[Event "Two men"]
[FEN "4k3/8/8/8/8/8/8/1N2KN2 w - - 0 1"]

1. Nd2 *

[Event "Last"]

1. d4 d5 2. c4 1/2-1/2
)";

TEST_F(BookCommandTest, ShowsAndChangesMoves) {
    const std::string book = Path("mixed");
    const std::string games = WriteText("mixed.pgn", kMixedGames);
    const Ran made = Book("make " + book + " --variant bx --pgn " + games);
    EXPECT_EQ(made.code, 0);
    EXPECT_THAT(made.out, HasSubstr("11 positions, 13 moves"));
    EXPECT_THAT(made.out, HasSubstr("from 3 games"));
    EXPECT_EQ(made.err,
              "torval: 3 games skipped as damaged: " + games + ":15: move 3 'Ke3' is not legal; " +
                  games + ":18: a comment has no end; " + games +
                  ":21: move 1 'Nd2' can mean more than one move\n");

    EXPECT_EQ(Book("moves " + book).out,
              "Move     Score    Games    White    Drawn    Black\n"
              "e4          +0        2        1        0        1\n"
              "d4          +0        1        0        1        0\n");
    EXPECT_EQ(Book("exclude " + book + " --moves 'e4 c5'").code, 0);
    EXPECT_THAT(Book("moves " + book + " --moves e4").out, HasSubstr("excluded"));
    EXPECT_EQ(Book("moves " + book + " --moves a4").out, "no moves\n");
    EXPECT_EQ(Book("delete " + book + " --moves e4").code, 1);

    // The same as a BK book, which a move can be deleted from.
    EXPECT_EQ(Book("make --force " + book + " --pgn - --min-elo 2200", kMixedGames).out,
              book +
                  ": 7 positions, 7 moves, 5120 bytes\n"
                  "from 1 game, 4 left out for their ratings\n");
    EXPECT_EQ(Book("add " + book + " --moves 'e4 e6 d4' --score 20").out,
              book + ": positions 8 (+1), moves 9 (+2)\n");
    EXPECT_EQ(Book("moves " + book + " --moves e4").out,
              "Move     Score\ne5          -1\ne6         -20\n");
    EXPECT_EQ(Book("export " + book).out,
              "1. e4\n  1... e5 2. Nf3 Nc6 3. Bb5 a6 4. O-O\n  1... e6 2. d4\n");
    EXPECT_EQ(Book("exclude " + book + " --moves 'e4 e6'").code, 0);
    EXPECT_EQ(Book("moves " + book + " --moves e4").out,
              "Move     Score\ne5          -1\ne6         -20  excluded\n");
    EXPECT_EQ(Book("export --lines " + book).out, "e4 e5 Nf3 Nc6 Bb5 a6 O-O\n");
    EXPECT_EQ(Book("delete " + book + " --moves 'e4 e6 d4' --count 2").out,
              book + ": positions 7 (-1), moves 7 (-2)\n");
    EXPECT_EQ(Book("delete " + book + " --moves 'e4 e6'").code, 1);
    EXPECT_THAT(Book("verify " + book).out, HasSubstr("whole, 7 positions"));

    // White's marks are the engine's, the command's are those of the side that moved.
    EXPECT_EQ(Book("add " + book + " --moves 'd4 d5' --exclude --count 1").code, 0);
    EXPECT_EQ(Book("moves " + book + " --moves d4").out,
              "Move     Score\nd5          +0  excluded\n");
    EXPECT_EQ(Book("add " + book + " --moves 'f3 e5 g4 Qh4' --prefer --count 2").code, 0);
    EXPECT_EQ(Book("moves " + book + " --moves 'f3 e5'").out,
              "Move     Score\ng4          +0  excluded\n");
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

TEST_F(BookCommandTest, MergedBooksAddUpGames) {
    const std::string a = Path("a");
    const std::string b = Path("b");
    const std::string both = Path("both");
    Book("make " + a + " --variant bx --lines - --comment first", "e4 e5 1-0\nd4 1-0\n");
    Book("make " + b + " --variant bx --lines -", "e4 e5 0-1\ne4 c5 1-0\n");
    EXPECT_EQ(Book("merge " + both + " " + a + " " + b).code, 0);
    EXPECT_EQ(Book("moves " + both).out,
              "Move     Score    Games    White    Drawn    Black\n"
              "d4          +1        1        1        0        0\n"
              "e4          +1        3        2        0        1\n");
    EXPECT_THAT(Book("info " + both).out, HasSubstr("Comment       : first"));
    // Scores of a BK book are the first one's, marks too.
    Book("make --force " + a + " --lines -", "e4 e5 1-0\n");
    Book("make --force " + b + " --lines -", "e4 c5\n");
    Book("add " + a + " --moves e4 --score 33 --exclude");
    EXPECT_EQ(Book("merge --force " + both + " " + a + " " + b).code, 0);
    EXPECT_EQ(Book("moves " + both).out, "Move     Score\ne4         +33  excluded\n");
    EXPECT_EQ(Book("make --force " + b + " --version 30 --lines -", "e4 c5\n").code, 0);
    EXPECT_EQ(Book("merge --force " + both + " " + a + " " + b).code, 1);
}

TEST_F(BookCommandTest, RefusesInOneLine) {
    const std::string book = Path("book");
    ASSERT_EQ(Book("make " + book + " --lines -", "e4 e5\n").code, 0);
    const Bytes before = ReadBytes(book);
    struct Refused {
        std::string arguments;
        int code;
        const char* message;
    };
    const Refused cases[] = {
        {"", 2, "subcommand"},
        {"make", 2, "OUT"},
        {"make " + book + " --version 2", 2, "two digits"},
        {"make " + book + " --variant by", 2, "--variant"},
        {"make " + book + " --plies 401", 2, "--plies"},
        {"make --force " + book + " --pgn /nowhere", 2, "cannot read"},
        {"make " + book + " --lines -", 1, "is there already; --force replaces it"},
        {"merge " + book + " " + book, 1, "is there already; --force replaces it"},
        {"make " + book + " --comment " + std::string(600, 'x'), 2, "--comment"},
        {"make " + Path("no/such/place"), 1, "cannot be written"},
        {"list /nowhere", 2, "cannot read"},
        {"verify " + WriteText("text", std::string(99, 'x')), 2, "no opening book"},
        {"moves " + book + " --moves e5", 2, "not legal"},
        {"add " + book + " --moves e4 --score 128", 2, "--score"},
        {"add " + book + " --moves e4 --exclude --prefer", 2, "excludes"},
        {"add " + book, 2, "--moves"},
        {"delete " + book + " --moves a4", 1, "does not hold"},
        {"exclude " + book + " --moves ''", 2, "no move"},
    };
    for (const Refused& one : cases) {
        SCOPED_TRACE(one.arguments);
        const Ran ran = Book(one.arguments);
        EXPECT_EQ(ran.code, one.code);
        EXPECT_THAT(ran.err, HasSubstr(one.message));
        EXPECT_EQ(std::ranges::count(ran.err, '\n'), 1) << ran.err;
        EXPECT_EQ(ran.out, "");
    }
    EXPECT_EQ(ReadBytes(book), before);

    Bytes damaged = before;
    damaged[26] ^= 1;
    WriteBytes(book, damaged);
    const Ran verified = Book("verify " + book);
    EXPECT_EQ(verified.code, 1);
    EXPECT_EQ(verified.out, "header: 3 positions, the chains have 2\n");
    EXPECT_EQ(Book("merge " + Path("out") + " " + book).code, 1);
    EXPECT_FALSE(std::filesystem::exists(Path("out")));
}

TEST_F(BookCommandTest, InputWithoutAGameLeavesTheOldBook) {
    using namespace std::string_literals;
    const std::string book = Path("book");
    ASSERT_EQ(Book("make " + book + " --lines -", "e4 e5\n").code, 0);
    const Bytes before = ReadBytes(book);
    struct Input {
        std::string text;
        std::string options;
        const char* message;
    };
    for (const Input& c : {
             Input{"", "", "there is no game in 'FILE'\ntorval: no game to make a book of"},
             Input{"\xEF\xBB\xBF% nothing\n\n", "", "there is no game in 'FILE'"},
             Input{"1. e4 e6 2. Ke3 *\n", "", "FILE:1: move 3 'Ke3' is not legal"},
             Input{"1. e4 e6 *\n", "--min-elo 2000", "1 left out for their ratings"},
             Input{"1. e4 e6 *\n", "--min-games 2", "--min-games"},
             Input{"[Event \"?\"]\n\n*\n", "", "no move of the games"},
             Input{"\xFF\xFE"
                   "1\0.\0 \0e\0004\0 \0*\0"s,
                   "",
                   "'FILE' is text in UTF-16"},
             Input{"\xFE\xFF\0001\0.\0e\0004"s, "", "'FILE' is text in UTF-16"},
             Input{"1\0.\0 \0e\0004\0 \0*\0"s, "", "'FILE' is text in UTF-16"},
         }) {
        // Longer than what a message quotes of other text.
        const std::string file = WriteText("a long name of a file with games.pgn", c.text);
        std::string message = c.message;
        for (std::size_t at; (at = message.find("FILE")) != message.npos;) {
            message.replace(at, 4, file);
        }
        const Ran ran = Book("make --force " + book + " " + c.options + " --pgn '" + file + "'");
        EXPECT_EQ(ran.code, 1) << message;
        EXPECT_THAT(ran.err, HasSubstr(message));
        EXPECT_EQ(ReadBytes(book), before) << message;
    }
    // Beside a file with games an empty one is only told of.
    const std::string empty = WriteText("empty.pgn", "");
    const std::string games = WriteText("games.pgn", "1. e4 e6 *\n");
    const Ran ran = Book("make --force " + book + " --pgn " + empty + " " + games);
    EXPECT_EQ(ran.code, 0);
    EXPECT_EQ(ran.err, "torval: there is no game in '" + empty + "'\n");
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

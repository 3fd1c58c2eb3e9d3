// Opening books as the hosts and commands use them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "apps/cli/positions.h"
#include "apps/host/books.h"
#include "support/run_command.h"
#include "support/uci_dialogue.h"

namespace torval {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

/// A data directory of its own, and a statistics book with 1. e4 (900 games) and 1. d4 (700).
class HostBooks : public testing::Test {
protected:
    HostBooks() {
        std::string pattern = (fs::temp_directory_path() / "torval-books-XXXXXX").string();
        home_ = mkdtemp(pattern.data());
        setenv("XDG_DATA_HOME", home_.c_str(), 1);
        book_ = (home_ / "book.bx").string();
        fs::copy(TORVAL_TEST_DATA "/reference/book/sample2.bx", book_);
        StartEngine();
    }
    ~HostBooks() override {
        fs::remove_all(home_);
        unsetenv("XDG_DATA_HOME");
        StartEngine();
    }

    fs::path home_;
    std::string book_;
};

TEST_F(HostBooks, TheUserBookBeginsEmptyAndStays) {
    const BookFiles files = PrepareBooks(book_);
    EXPECT_EQ(files.user, (home_ / "torval/USERBOOK.BK").string());
    ASSERT_TRUE(fs::is_regular_file(files.user));
    std::ofstream(files.user, std::ios::app) << "x";
    const auto size = fs::file_size(files.user);
    EXPECT_EQ(PrepareBooks(book_).user, files.user);
    EXPECT_EQ(fs::file_size(files.user), size);
    // Nowhere to put it: said in words.
    std::ofstream(home_ / "file") << "";
    setenv("XDG_DATA_HOME", (home_ / "file").c_str(), 1);
    const BookFiles none = PrepareBooks(book_);
    EXPECT_EQ(none.user, "");
    ASSERT_EQ(none.remarks.size(), 1U);
    EXPECT_THAT(none.remarks[0], HasSubstr("there is no user book"));
}

/// Until it goes, files that are not everyone's are closed to this process also when root runs it.
class WithoutRights {
public:
    WithoutRights() {
        constexpr uid_t kNobody = 65534;
        if (was_ == 0) {
            EXPECT_EQ(seteuid(kNobody), 0);
        }
    }
    ~WithoutRights() {
        if (was_ == 0) {
            EXPECT_EQ(seteuid(was_), 0);
        }
    }
    WithoutRights(const WithoutRights&) = delete;
    WithoutRights& operator=(const WithoutRights&) = delete;

private:
    const uid_t was_ = geteuid();
};

TEST_F(HostBooks, TheShippedBookServesInPlaceOrAsACopy) {
    const fs::path shipped = home_ / "share/torval/TORVAL.BK1";
    const BookPlaces places = {.program = (home_ / "bin").string(),
                               .data = (home_ / "data/torval").string()};
    const std::string copy = places.data + "/TORVAL.BK1";
    fs::create_directories(places.program);
    EXPECT_THAT(PrepareMainBook(places).remarks, testing::ElementsAre(HasSubstr("is missing")));

    fs::create_directories(shipped.parent_path());
    std::ofstream(shipped) << "shipped";
    EXPECT_EQ(PrepareMainBook(places).main, shipped.string());
    EXPECT_FALSE(fs::exists(places.data));

    const auto readable = fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read;
    fs::permissions(shipped, readable);
    fs::permissions(home_, fs::perms::all);
    const WithoutRights without_rights;
    const auto text_of = [](const fs::path& path) {
        std::string text;
        std::ifstream(path) >> text;
        return text;
    };
    EXPECT_EQ(PrepareMainBook(places).main, copy);
    EXPECT_EQ(text_of(copy), "shipped");
    std::ofstream(copy) << "edited";
    EXPECT_EQ(PrepareMainBook(places).main, copy);
    EXPECT_EQ(text_of(copy), "edited");
    const BookFiles nowhere = PrepareMainBook({.program = places.program, .data = "/proc/torval"});
    EXPECT_EQ(nowhere.main, "");
    EXPECT_THAT(nowhere.remarks, testing::ElementsAre(HasSubstr("cannot be written, nor copied")));
}

TEST_F(HostBooks, APlayerLearnsAndForgetsMoves) {
    const Ran ran = Torval({"play", "--book", book_.c_str()},
                           "auto off\nbook\ne4\nc6\nbook\nbook add 1 -25\nback 1\nbook\n"
                           "c6\nbook exclude\nback 1\nbook\nc6\nbook delete\nback 1\nbook\n");
    EXPECT_EQ(ran.code, 0) << ran.err;
    EXPECT_THAT(ran.out, HasSubstr("e4          5      900   34%   37%   29%\n"));
    EXPECT_THAT(ran.out,
                HasSubstr("The books have no move here.\nYour book has the last half-move"));
    EXPECT_THAT(ran.out, HasSubstr("\nc6         25                            user book\n"));
    EXPECT_THAT(ran.out, HasSubstr("\nc6          0                            user book, not pl"));
    EXPECT_THAT(ran.out.substr(ran.out.rfind("no more.")), Not(HasSubstr("c6 ")));
}

TEST_F(HostBooks, APlayerChoosesHowBooksAreUsed) {
    const Ran ran = Torval({"play", "--book", book_.c_str()},
                           "book mode best\ngo\nnew\nbook off\nbook\nbook on\nbook margin 7\n"
                           "book margin\nbook mode sideways\nbook 1 2\n");
    EXPECT_EQ(ran.code, 1);
    EXPECT_THAT(ran.out, HasSubstr("1. e4  (book)"));
    EXPECT_THAT(ran.out, HasSubstr("without books.\nThe books have no move here.\n"));
    EXPECT_THAT(ran.out, HasSubstr("down to 7 below the best are played.\nBook moves down to 7"));
    EXPECT_THAT(ran.err, HasSubstr("usage: book mode"));
    EXPECT_THAT(ran.err, HasSubstr("usage: book ["));
}

TEST_F(HostBooks, AnAlternativeIsWrittenAsAMoveIs) {
    // Nd2 could be either knight's, and gives check.
    const Ran ran = Torval({"play", "--book", book_.c_str()},
                           "auto off\nbook user\nfen 8/8/8/8/4k3/8/8/KN3N2 w - - 0 1\n"
                           "Nbd2\nbook add\nback\nNfd2\nbook add\nback\ngo\nnext\nnext\n");
    EXPECT_EQ(ran.code, 0) << ran.err;
    EXPECT_THAT(ran.out, HasSubstr("(book)"));
    EXPECT_THAT(ran.out,
                testing::AnyOf(testing::EndsWith("\n1. Nbd2+\n1. Nfd2+\n"),
                               testing::EndsWith("\n1. Nfd2+\n1. Nbd2+\n")));
}

TEST_F(HostBooks, CommandsUseABookOnlyWhenAskedTo) {
    EXPECT_THAT(Torval({"search", "--depth", "1"}).out, Not(HasSubstr("Book move")));
    EXPECT_THAT(Torval({"search", "--book", book_.c_str()}).out, StartsWith("Book move: "));
    EXPECT_THAT(Torval({"eval", "--book", book_.c_str()}).out, HasSubstr("d4          4      700"));
    const std::string none = book_ + "x";
    const Ran refused = Torval({"search", "--book", none.c_str()});
    EXPECT_NE(refused.code, 0);
    EXPECT_THAT(refused.err, HasSubstr("is missing or cannot be written"));
    EXPECT_THAT(Torval({"search", "--depth", "1"}).out, Not(HasSubstr("Book move")));
}

TEST_F(HostBooks, TheProtocolPlaysFromABookOnlyWhenAskedTo) {
    UciDialogue dialogue;
    dialogue.Send("uci");
    dialogue.Until("uciok");
    EXPECT_EQ(dialogue.Count("option name OwnBook type check default false"), 1);
    EXPECT_EQ(dialogue.Count("option name BookFile type string default <empty>"), 1);
    EXPECT_EQ(dialogue.Count("option name BookMode type combo default Even var Best var Games var "
                             "Score var Even"),
              1);
    dialogue.Send("setoption name BookFile value " + book_);
    dialogue.Send("setoption name BookMode value Best");
    const auto go = [&dialogue] {
        dialogue.Forget();
        dialogue.Send("position startpos");
        dialogue.Send("go depth 2");
        return dialogue.Until("bestmove");
    };
    go();
    EXPECT_GT(dialogue.Count("info depth 2"), 0);
    dialogue.Send("setoption name OwnBook value true");
    EXPECT_THAT(go(), StartsWith("bestmove e2e4"));
    EXPECT_EQ(dialogue.Count("info depth 2"), 0);
    dialogue.Send("setoption name BookFile value /nonexistent/book");
    dialogue.Ready();
    EXPECT_EQ(dialogue.Count("info string the book '/nonexistent/book' is missing"), 1);
    go();
    EXPECT_GT(dialogue.Count("info depth 2"), 0);
    dialogue.Send("setoption name BookMode value Sideways");
    dialogue.Ready();
    EXPECT_EQ(dialogue.Count("info string BookMode is Best, Games, Score or Even"), 1);
}

}  // namespace
}  // namespace torval

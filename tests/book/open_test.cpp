// Which files are books, where they are looked for, and what happens to a damaged chain.

#include <algorithm>

#include "book/book_fixture.h"
#include "book/learn.h"
#include "platform/files.h"

namespace torval {

namespace {

class OpenTest : public BookTest {
protected:
    static void TakeBack(int moves) { ASSERT_EQ(MoveBack(moves), StatusOk); }
};

TEST_F(OpenTest, WhatIsABook) {
    const Bytes book = EmptyBook({});
    Bytes other = book;
    other[0] = 'b';
    Bytes not_a_variant = book;
    not_a_variant[1] = 'Z';
    struct Case {
        const char* what;
        Bytes bytes;
        int result;
    };
    const Case cases[] = {
        {"a book", book, BookOpened},
        {"another magic", other, BookNotABook},
        {"an unknown variant", not_a_variant, BookNotABook},
        {"empty", {}, BookNotABook},
        {"a cut header", Bytes(book.begin(), book.begin() + 33), BookNotABook},
        {"no index", Bytes(book.begin(), book.begin() + 34), BookOpened},
    };
    for (const Case& c : cases) {
        WriteBytes(Path("book"), c.bytes);
        EXPECT_EQ(Open(Path("book")), c.result) << c.what;
        EXPECT_EQ(Main().IsOpen(), c.result == BookOpened) << c.what;
        EXPECT_TRUE(Moves().empty()) << c.what;
    }
    EXPECT_EQ(Open(Path("missing")), BookNotOpened);
    EXPECT_EQ(Open(Path(".")), BookNotOpened) << "a directory";
}

TEST_F(OpenTest, NamesWithoutADirectoryLieBesideTheProgram) {
    const std::string name = "torval-open-test-" + std::to_string(getpid()) + ".bk";
    const std::string beside(DirectoryOf(HostFileName()));
    WriteBytes(beside + name, EmptyBook({}));
    EXPECT_EQ(Open(name), BookOpened);
    EXPECT_TRUE(Main().IsOpen());
    std::filesystem::remove(beside + name);
    std::string backslashes = Path("here");
    WriteBytes(backslashes, EmptyBook({}));
    std::ranges::replace(backslashes, '/', '\\');
    EXPECT_EQ(Open(backslashes), BookOpened);
}

TEST_F(OpenTest, TheUserBookIsOpenedAnewAndTheMainBookStays) {
    WriteBytes(Path("main"), EmptyBook({}));
    WriteBytes(Path("one"), EmptyBook({}));
    ASSERT_EQ(Open(Path("main"), Path("one")), BookOpened);
    std::filesystem::remove(Path("main"));
    EXPECT_EQ(SelectBook(Path("none").c_str()), BookNotOpened);
    EXPECT_FALSE(book_manager.books[UserBook].IsOpen());
    EXPECT_TRUE(Main().IsOpen());
    EXPECT_EQ(SelectBook(Path("one").c_str()), BookOpened);
    EXPECT_EQ(Path("one"), settings_block.UserBookName);
    EXPECT_EQ(SelectBook(""), StatusBadText);
    EXPECT_EQ(SelectBook(std::string(256, 'x').c_str()), StatusBadText);
    EXPECT_EQ(Path("one"), settings_block.UserBookName);
    EXPECT_TRUE(book_manager.books[UserBook].IsOpen());
}

TEST_F(OpenTest, AnotherFileHasAnotherBuffer) {
    // The same block number holds the start position's record in one file and nothing in the other.
    WriteBytes(Path("full"), EmptyBook({}));
    WriteBytes(Path("empty"), EmptyBook({}));
    ASSERT_EQ(Open(Path("full")), BookOpened);
    Play("e2e4");
    ASSERT_EQ(AddBookMoves(MainBook, kAllPlies, 7, 0), StatusOk);
    NewGame();
    ASSERT_EQ(Moves().size(), 1U);
    Bytes linked = EmptyBook({});
    const Bytes full = ReadBytes(Path("full"));
    std::copy(
        full.begin(), full.begin() + static_cast<std::ptrdiff_t>(linked.size()), linked.begin());
    linked.resize(full.size());
    WriteBytes(Path("empty"), linked);
    ASSERT_EQ(Open(Path("empty")), BookOpened);
    EXPECT_TRUE(Moves().empty());
}

TEST_F(OpenTest, AnEndlessChainIsCutAndReported) {
    WriteBytes(Path("loop"), EmptyBook({.slots = 1}));
    ASSERT_EQ(Open(Path("loop")), BookOpened);
    Play("e2e4");
    ASSERT_EQ(AddBookMoves(MainBook, kAllPlies, 7, 0), StatusOk);
    CloseBooks();
    Bytes bytes = ReadBytes(Path("loop"));
    const std::size_t data = std::size_t{Load16(&bytes[4])} * (Load16(&bytes[6]) - 1U);
    Store16(&bytes[data], Load16(&bytes[6]) - 1U);
    WriteBytes(Path("loop"), bytes);
    ASSERT_EQ(Open(Path("loop")), BookOpened);
    EXPECT_TRUE(Moves().empty());  // after 1. e4, which the book does not hold
    EXPECT_EQ(text_messages, (std::vector<TextMessage>{{18, Path("loop")}}));
    // Its first block is read before it loops.
    text_messages.clear();
    NewGame();
    EXPECT_EQ(Moves().size(), 1U);
    EXPECT_TRUE(text_messages.empty());
    // A new position finds room in the block, so the edit goes through.
    Play("d2d4 d7d5");
    EXPECT_EQ(AddBookMoves(MainBook, 1, 7, 0), StatusOk);
    EXPECT_EQ(text_messages, (std::vector<TextMessage>{{18, Path("loop")}}));
}

TEST_F(OpenTest, EditsAreRefusedInTheStatedOrder) {
    EXPECT_EQ(AddBookMoves(2, 1, 0, 0), StatusBadValue);
    EXPECT_EQ(AddBookMoves(-1, 1, 0, 0), StatusBadValue);
    EXPECT_EQ(AddBookMoves(0, 1, 128, 0), StatusBadValue);
    EXPECT_EQ(AddBookMoves(0, 1, -128, 0), StatusBadValue);
    EXPECT_EQ(AddBookMoves(0, 1, 0, 0), BookNotReadable);
    EXPECT_EQ(DelBookMoves(2, 1), StatusBadValue);
    EXPECT_EQ(DelBookMoves(1, 1), BookNotReadable);
    WriteBytes(Path("bx"), EmptyBook({.has_statistics = true}));
    ASSERT_EQ(Open(Path("bx")), BookOpened);
    EXPECT_EQ(DelBookMoves(0, 1), StatusBadValue);
    SetFlag(FlagBusy);
    EXPECT_EQ(AddBookMoves(0, 1, 0, 0), StatusBusy);
    EXPECT_EQ(AddBookMoves(1, 1, 0, 0), BookNotReadable);
    SetFlag(FlagEngineToMove);
    EXPECT_EQ(AddBookMoves(1, 1, 0, 0), StatusComputerToMove);
    ClearFlags(FlagBusy | FlagEngineToMove);
}

TEST_F(OpenTest, DeletingRescoresThePositionsBefore) {
    WriteBytes(Path("bk"), EmptyBook({}));
    ASSERT_EQ(Open(Path("bk")), BookOpened);
    Play("e2e4 e7e5 g1f3");
    ASSERT_EQ(AddBookMoves(0, kAllPlies, 40, 0), StatusOk);
    TakeBack(1);
    Play("f2f4");
    ASSERT_EQ(AddBookMoves(0, 1, -15, 0), StatusOk);
    TakeBack(1);
    EXPECT_EQ(Moves(), (std::vector<std::string>{"g1f3 40 00", "f2f4 -15 80"}));
    Play("g1f3");
    // One removal allowed: the best move goes, nothing is rescored.
    ASSERT_EQ(DelBookMoves(0, 1), StatusOk);
    TakeBack(1);
    EXPECT_EQ(Moves(), (std::vector<std::string>{"f2f4 -15 80"}));
    TakeBack(1);
    EXPECT_EQ(Moves(), (std::vector<std::string>{"e7e5 -40 80"}));
    // With two, the positions before are rescored.
    Play("e7e5 g1f3");
    ASSERT_EQ(AddBookMoves(0, 1, 40, 0), StatusOk);
    ASSERT_EQ(DelBookMoves(0, 2), StatusOk);
    TakeBack(2);
    EXPECT_EQ(Moves(), (std::vector<std::string>{"e7e5 15 80"}));
    // Removing the last move of a position also removes the position and the move before it.
    Play("e7e5 f2f4");
    ASSERT_EQ(DelBookMoves(0, kAllPlies), StatusOk);
    NewGame();
    EXPECT_TRUE(Moves().empty());
    EXPECT_EQ(Main().Header().Positions(), 0U);
    EXPECT_EQ(Main().Header().Entries(), 0U);
}

}  // namespace

}  // namespace torval

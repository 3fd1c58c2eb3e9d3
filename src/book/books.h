// The engine's two opening books, and what a host asks of them.
//
// Owner    books.cpp: the main book (0) and the user book (1), opened by the names in the settings
//          and open until the process ends or the user book is selected anew.
// Thread   the host's thread; SelectBookMoves on the thread that computes. A lock keeps a host that
//          selects a book in mid-computation from pulling it away; it is never held while a message
//          goes out.
// Errors   messages: 16 a book could not be read, or cannot grow; 17 not written; 18 a chain of
//          blocks has no end, with the book's name. 16 and 17 name the main book after a failure
//          of the file system and the user book otherwise.
#pragma once

#include <array>
#include <cstdint>
#include <mutex>

#include "board/move_list.h"
#include "book/book_file.h"
#include "torval/codes.h"
#include "torval/records.h"

namespace torval {

struct BookManager {
    std::array<BookFile, 2> books;
    std::mutex mutex;
};

extern BookManager& book_manager;

/// The name of a book as it is in the settings.
const char* BookName(BookIndex index);

/// Opens the main book unless it is open, and the user book anew. A name without a directory is
/// looked for beside the host's program; an empty one closes the user book. Gives the first result
/// of opening that is not BookOpened; the main book's failure leaves the user book as it was.
int OpenBooks();

/// Closes both, for an engine that is to begin anew.
void CloseBooks();

/// Stores the name of the user book and runs OpenBooks. StatusBadText: not 1 to 255 characters.
int SelectBook(const char* name);

/// Fills a record with the moves of the enabled books in the game position, those of the user book
/// first. `legal` are the position's moves; their marks in `from` are cleared where a book has them.
void CollectBookMoves(const MoveList& legal, W_BOOKMOVES* moves);
void CollectBookMoves(const MoveList& legal, W_BOOKMOVES2* moves);

/// The entry of a chain that a book's move stands for: the same squares and promotion.
MoveEntry* FindBookMove(Link head, const BookEntry& stored);

/// One use of the books: the lock, and the messages that go out once it is released.
class BookOperation {
public:
    BookOperation() : lock_(book_manager.mutex) {}
    ~BookOperation();
    BookOperation(const BookOperation&) = delete;
    BookOperation& operator=(const BookOperation&) = delete;

    /// Sends MsgBookNotReadable for an error while reading.
    void ReportReading(BookErrorCode error);
    /// Sends the message for an error while changing a book.
    void ReportEditing(BookErrorCode error);

private:
    void Report(int message, BookErrorCode error);

    std::unique_lock<std::mutex> lock_;
    int message_ = 0;  ///< of the error that ended the operation, 0 for none
    BookIndex about_ = MainBook;
};

}  // namespace torval

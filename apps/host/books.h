// Where a host's opening books are: the one that is shipped, and the user's own.
//
// Places   the shipped book TORVAL.BK1 is looked for beside the program, in share/torval there, and
//          in ../share/torval. The engine writes to its books, so where the shipped one cannot be
//          written, a copy in the user's data directory replaces it: made once, and kept when a
//          later version ships another book, since it may contain changes. The user's book,
//          USERBOOK.BK, is in the data directory and starts out empty.
// Data directory  $XDG_DATA_HOME/torval, else ~/.local/share/torval.
// Source   the XDG Base Directory Specification.
// Errors   an empty name where no book is available, and a sentence about it in `remarks`.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace torval {

struct BookFiles {
    std::string main;  ///< full name of a book that can be written; empty: none
    std::string user;  ///< likewise; an empty book when it was not there

    /// The name to give the engine as its main book. Without one it would not open the user's, so
    /// the user's name is given instead.
    const std::string& MainName() const { return main.empty() ? user : main; }
    /// BookUse bits for the books there are.
    std::uint32_t Use() const { return (main.empty() ? 0U : 1U) | (user.empty() ? 0U : 2U); }

    std::vector<std::string> remarks;
};

struct BookPlaces {
    std::string program;  ///< the directory that the program is in
    std::string data;     ///< the data directory, which may not exist; empty when no home is known

    static BookPlaces OfThisProcess();
};

/// Finds the books, copying or creating them as needed. A given name replaces the main book.
BookFiles PrepareBooks(const std::string& main = {},
                       const BookPlaces& places = BookPlaces::OfThisProcess());

/// Only the main one; `user` stays empty.
BookFiles PrepareMainBook(const BookPlaces& places = BookPlaces::OfThisProcess());

/// A sentence for a result of SelectBook that is not 0.
std::string BookProblem(const std::string& path, int result);

}  // namespace torval

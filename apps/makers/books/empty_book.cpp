#include "apps/makers/books/empty_book.h"

#include "book/new_book.h"

namespace torval {

std::vector<std::uint8_t> EmptyUserBook() {
    return EmptyBook({.comment = "Moves added while playing"});
}

}  // namespace torval

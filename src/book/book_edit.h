// Changing the record of one position in a book file.
//
// Values   an integer from the point of view of the side to move: a score of -128 to 127, about
//          1000 more for a move marked as good, 1000 less for one that is excluded from play.
// Errors   a failed write or a file that cannot grow loses no move that the book held: a record
//          moves to its new block before it leaves the old one. A failure in between leaves it in
//          both, of which the first in the chain counts.
// Thread   one at a time.
#pragma once

#include "book/book_file.h"

namespace torval {

/// Who won the game that is added to the counts of a BX file.
enum class GameResult : std::uint8_t { Other = 0, White = 1, Black = 2 };

/// Gives the move in the position on the board this value, and adds one game to its counts. Stored
/// anew when the position does not hold it, unless it already holds kMostEntries moves or its
/// record would be larger than a block. The value is the best of the position's moves and of the
/// one given, in the range that the given value belongs to.
BookResult<int> UpdateEntry(BookFile* book, BookMove move, int value, GameResult result);

/// What removing a move did to the position's best value.
enum class Removal {
    LastMove = 0,   ///< it was the only move; the position is gone
    BestStays = 1,  ///< other moves remain and are as good, or there was no such move
    NewBest = 2,
};

struct RemovedEntry {
    Removal removal = Removal::BestStays;
    int best = 0;  ///< after NewBest: the highest value of the moves that remain
};

/// Removes the move from the position on the board.
BookResult<RemovedEntry> RemoveEntry(BookFile* book, BookMove move);

}  // namespace torval

#include <algorithm>

#include "apps/cli/book_command.h"
#include "apps/text/text.h"
#include "book/book_edit.h"
#include "book/books.h"
#include "book/learn.h"
#include "state/notify.h"
#include "torval/codes.h"

namespace torval {

namespace {

/// The number of the last message that the engine sent.
int last_message = 0;

/// The book as the engine's main book, for as long as it is edited.
class EditedBook {
public:
    explicit EditedBook(const std::string& path) : path_(path) {
        switch (Book().Open(path)) {
            case BookOpened: break;
            case BookNotABook: throw InputError(QuoteName(path) + " is no opening book");
            case BookNoMemory: throw std::bad_alloc();
            default: throw InputError("cannot open " + QuoteName(path) + " for writing");
        }
        if (!Book().HoldsItsBlocks()) {
            Book().Close();
            throw std::runtime_error(Damaged());
        }
        positions_ = Book().Header().Positions();
        entries_ = Book().Header().Entries();
        last_message = 0;
        notification_sink.output_msg = [](int id, int, int, const char*) { last_message = id; };
    }
    ~EditedBook() {
        notification_sink.output_msg = nullptr;
        Book().Close();
    }
    EditedBook(const EditedBook&) = delete;
    EditedBook& operator=(const EditedBook&) = delete;

    static BookFile& Book() { return book_manager.books[MainBook]; }

    /// Throws the error that the engine reported.
    void Check(std::int32_t result) const {
        if (last_message == MsgBookNotReadable) {
            throw std::runtime_error(QuoteName(path_) + " could not be read, or cannot grow");
        }
        if (last_message == MsgBookNotWritten) {
            throw std::runtime_error(QuoteName(path_) + " could not be written");
        }
        if (last_message == MsgBookDamaged) throw std::runtime_error(Damaged());
        if (result != StatusOk) throw std::runtime_error("the engine refuses to change the book");
    }

    void PrintChange(std::ostream& out) const {
        const auto change = [](std::uint32_t now, std::uint32_t before) {
            const std::int64_t by = std::int64_t{now} - before;
            return std::to_string(now) + " (" + (by < 0 ? "" : "+") + std::to_string(by) + ")";
        };
        const BookHeader& header = Book().Header();
        out << path_ << ": positions " << change(header.Positions(), positions_) << ", moves "
            << change(header.Entries(), entries_) << '\n';
    }

private:
    std::string Damaged() const {
        return QuoteName(path_) + " is damaged (torval book verify tells)";
    }

    const std::string path_;
    std::uint32_t positions_;
    std::uint32_t entries_;
};

/// The moves played, at least one.
void PlayMoves(const PositionOptions& place) {
    SetUp(place);
    if (game_record.top == game_record.PlyStack.data()) {
        throw InputError("--moves: there is no move to change");
    }
}

bool WhiteMovedLast() { return position.SideToMove == Black; }

/// The marks of AddBookMoves are from White's view, like its score.
std::int32_t MarkOfLastMove(bool exclude) {
    return exclude == WhiteMovedLast() ? kBookMarkWorse : kBookMarkBetter;
}

std::int32_t ResultCode(const std::string& result) {
    const GameResult code = result == "1-0"   ? GameResult::White
                            : result == "0-1" ? GameResult::Black
                                              : GameResult::Other;
    return static_cast<std::int32_t>(code) << kBookResultShift;
}

/// What the book holds about the last move, which has then been played on the board.
BookEntry EntryOfLastMove(const PositionOptions& place) {
    PlayMoves(place);
    const BookMove wanted = EncodeBookMove(Plain(game_record.top->move));
    PositionOptions before = place;
    std::vector<std::string> words;
    for (const std::string_view word : SplitWords(place.moves)) words.emplace_back(word);
    if (words.empty()) throw InputError("--moves: there is no move to change");
    words.pop_back();
    before.moves = JoinWords(words);
    SetUp(before);
    const auto entries = EditedBook::Book().GetEntries4();
    PlayMoves(place);
    if (entries.HasFailed() || EditedBook::Book().TakeEndlessChains() > 0) {
        throw std::runtime_error("the book is damaged (torval book verify tells)");
    }
    const auto end = entries.value.list.begin() + static_cast<std::ptrdiff_t>(entries.value.count);
    const auto found = std::find_if(entries.value.list.begin(), end, [&](const BookEntry& entry) {
        return entry.move == wanted;
    });
    if (found == end) throw std::runtime_error("the book does not hold the last move");
    return *found;
}

}  // namespace

void AddToBook(const EditBookOptions& options, Console& console) {
    StartEngine(0);
    PlayMoves(options.position);
    const EditedBook book(options.file);
    std::int32_t flags = ResultCode(options.result);
    if (options.exclude || options.prefer) flags |= MarkOfLastMove(options.exclude);
    book.Check(AddBookMoves(MainBook, options.count, options.score, flags));
    book.PrintChange(console.out);
}

void DeleteFromBook(const EditBookOptions& options, Console& console) {
    StartEngine(0);
    PlayMoves(options.position);
    const EditedBook book(options.file);
    if (EditedBook::Book().HasStatistics()) {
        throw std::runtime_error(QuoteName(options.file) +
                                 " counts games: its moves can be excluded, "
                                 "not deleted");
    }
    (void)EntryOfLastMove(options.position);
    book.Check(DelBookMoves(MainBook, options.count));
    book.PrintChange(console.out);
}

void ExcludeFromBook(const EditBookOptions& options, Console& console) {
    StartEngine(0);
    PlayMoves(options.position);
    const EditedBook book(options.file);
    const int stored = std::max<int>(EntryOfLastMove(options.position).score, -kHighestBookScore);
    const int score = WhiteMovedLast() ? stored : -stored;
    book.Check(AddBookMoves(MainBook, 1, score, MarkOfLastMove(true)));
    book.PrintChange(console.out);
}

}  // namespace torval

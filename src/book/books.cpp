#include "book/books.h"

#include <array>
#include <cstring>
#include <iterator>
#include <new>
#include <string>
#include <string_view>

#include "platform/files.h"
#include "state/notify.h"
#include "state/settings.h"
#include "torval/codes.h"

namespace torval {

// Never destroyed: a host may release its engine, whose thread reads books, at the very end.
BookManager& book_manager = *new BookManager;

namespace {

/// In BMOVE::flag: the move comes from the user book.

std::string BookPath(std::string_view name) {
    if (HasSeparator(name)) return NativeName(name);
    return JoinName(DirectoryOf(HostFileName()), name);
}

/// With the lock held.
int OpenBothBooks() {
    // Without the memory for a name both books stay as they are.
    const std::string main_path = BookPath(BookName(MainBook));
    const std::string_view user_name = BookName(UserBook);
    const std::string user_path = user_name.empty() ? std::string() : BookPath(user_name);
    BookFile& main_book = book_manager.books[MainBook];
    if (!main_book.IsOpen()) {
        const int opened = main_book.Open(main_path);
        if (opened != BookOpened) return opened;
    }
    return book_manager.books[UserBook].Open(user_path);
}

BookResult<BookEntries> EntriesFor(BookFile* book, const BMOVE*) { return book->GetEntries4(); }

BookResult<BookEntries> EntriesFor(BookFile* book, const BMOVE2*) {
    return book->GetEntries16(ReadSetting(settings_block.ScoreConfidence));
}

void StoreCounts(const BookEntry&, BMOVE*) {}

void StoreCounts(const BookEntry& entry, BMOVE2* move) {
    move->totalplayed = static_cast<std::int32_t>(entry.games);
    move->winwhite = static_cast<std::int32_t>(entry.white);
    move->winblack = static_cast<std::int32_t>(entry.black);
}

/// The move with the notation marks that its position calls for, as the host sees moves.
Move AnnotatedMove(const MoveList& legal, const BookEntry& entry) {
    MoveEntry* const found = FindBookMove(legal.quiet_head, entry);
    if (!found) return DecodeBookMove(entry.move);
    MarkAmbiguity(legal, found);
    const Move move = found->move;
    found->move.from &= kSquareBits;
    return move;
}

template <typename BookMoves>
void Collect(const MoveList& legal, BookMoves* moves) {
    BookOperation operation;
    *moves = {};
    const std::uint16_t use = ReadSetting(settings_block.BookUse);
    for (const BookIndex index : {UserBook, MainBook}) {
        if (!(use & (index == UserBook ? BookUseUser : BookUseMain))) continue;
        const auto entries = EntriesFor(&book_manager.books[index], moves->MOVES);
        if (entries.HasFailed()) {
            operation.ReportReading(entries.error);
            return;
        }
        for (std::size_t i = 0; i < entries.value.count; ++i) {
            if (moves->NmbrOfMoves == std::size(moves->MOVES)) return;
            const BookEntry& entry = entries.value.list[i];
            auto& move = moves->MOVES[moves->NmbrOfMoves++];
            move.move = AnnotatedMove(legal, entry);
            move.score = entry.score;
            move.flag = entry.flags;
            if (index == UserBook)
                move.flag = static_cast<std::uint8_t>(move.flag + BookMoveFromUser);
            StoreCounts(entry, &move);
        }
    }
}

}  // namespace

const char* BookName(BookIndex index) {
    return index == MainBook ? settings_block.MainBookName : settings_block.UserBookName;
}

int OpenBooks() {
    const BookOperation operation;
    return OpenBothBooks();
}

void CloseBooks() {
    const BookOperation operation;
    for (BookFile& book : book_manager.books) book.Close();
}

int SelectBook(const char* name) {
    const std::size_t length = std::strlen(name);
    if (length < 1 || length >= sizeof settings_block.UserBookName) return StatusBadText;
    const BookOperation operation;
    std::array<char, sizeof settings_block.UserBookName> old_name;
    std::memcpy(old_name.data(), settings_block.UserBookName, old_name.size());
    std::memcpy(settings_block.UserBookName, name, length + 1);
    try {
        return OpenBothBooks();
    } catch (const std::bad_alloc&) {
        std::memcpy(settings_block.UserBookName, old_name.data(), old_name.size());
        throw;
    }
}

void CollectBookMoves(const MoveList& legal, W_BOOKMOVES* moves) { Collect(legal, moves); }

void CollectBookMoves(const MoveList& legal, W_BOOKMOVES2* moves) { Collect(legal, moves); }

MoveEntry* FindBookMove(Link head, const BookEntry& stored) {
    const Move wanted = DecodeBookMove(stored.move);
    for (MoveEntry* entry = EntryAt(head); entry; entry = NextEntry(*entry)) {
        const Move move = Plain(entry->move);
        const bool same_squares = move.from == wanted.from && move.to == wanted.to;
        if (same_squares && (wanted.flags == 0 || wanted.flags == move.flags)) return entry;
    }
    return nullptr;
}

BookOperation::~BookOperation() {
    // A host that is told may select another book: what is sent is as it was before.
    std::array<int, 2> endless_chains;
    std::array<std::array<char, sizeof settings_block.MainBookName>, 2> names;
    for (const BookIndex index : {UserBook, MainBook}) {
        endless_chains[index] = book_manager.books[index].TakeEndlessChains();
        std::memcpy(names[index].data(), BookName(index), names[index].size());
    }
    lock_.unlock();
    if (message_ != 0) NotifyMsg(message_, 0, names[about_].data());
    for (const BookIndex index : {UserBook, MainBook}) {
        for (int i = 0; i < endless_chains[index]; ++i) {
            NotifyMsg(MsgBookDamaged, 0, names[index].data());
        }
    }
}

void BookOperation::Report(int message, BookErrorCode error) {
    constexpr int kFirstSystemError = 0x100;
    message_ = message;
    about_ = static_cast<int>(error) >= kFirstSystemError ? MainBook : UserBook;
}

void BookOperation::ReportReading(BookErrorCode error) { Report(MsgBookNotReadable, error); }

void BookOperation::ReportEditing(BookErrorCode error) {
    const bool written = error != BookErrorCode::ShortWrite;
    Report(written ? MsgBookNotReadable : MsgBookNotWritten, error);
}

}  // namespace torval

#include "apps/play/player.h"
#include "apps/text/book_text.h"
#include "apps/text/moves.h"
#include "apps/text/text.h"
#include "torval/apartment.h"

namespace torval {

namespace {

constexpr int kMostPlies = 400;

struct ModeName {
    const char* word;
    const char* sentence;
};
constexpr ModeName kModes[] = {
    {"best", "The engine plays the best move of its books."},
    {"games", "The engine plays book moves as often as they were played."},
    {"score", "The engine plays book moves with good scores more often."},
    {"even", "The engine plays all good book moves equally often."},
};

struct UseName {
    const char* word;
    std::uint32_t use;
    const char* sentence;
};
constexpr std::uint32_t kBookBits = BookUseMain | BookUseUser | BookUseBoth;
constexpr UseName kUses[] = {
    {"off", 0, "The engine plays without books."},
    {"main", BookUseMain, "The engine uses its main book."},
    {"user", BookUseUser, "The engine uses your book."},
    {"on",
     BookUseMain | BookUseUser,
     "The engine uses your book, and its main book where yours has no move."},
    {"both", kBookBits, "The engine draws from both books."},
};

constexpr const char* kUsage =
    "usage: book [on|off|main|user|both | add [N] [SCORE] | delete [N] | exclude | mode MODE | "
    "margin N]; 'help book' tells more";

/// Whether the engine may choose a move from these books. Any of their moves that is not excluded
/// will do, since one too far below the best is never drawn; by score, though, none is drawn where
/// all are equal. A move of the user's hides those of the main book.
bool BooksPlay(const EVAR& move,
               const W_BOOKMOVES2& book,
               const SettingsImage& image,
               std::uint16_t plies_played) {
    constexpr std::uint32_t kLeastLimit = 2;
    const std::uint32_t limit = image.Get(settings::kBookPlyLimit);
    if (limit >= kLeastLimit && plies_played >= limit) return false;
    std::span<const BMOVE2> moves(book.MOVES, book.NmbrOfMoves);
    const bool hides = !(image.Get(settings::kBookUse) & BookUseBoth) && !moves.empty() &&
                       (moves[0].flag & BookMoveFromUser);
    bool found = false;
    std::optional<int> score;
    bool scores_differ = false;
    for (const BMOVE2& known : moves) {
        if ((known.flag & BookMoveExcluded) || (hides && !(known.flag & BookMoveFromUser)))
            continue;
        found |= SameMove(known.move, move);
        scores_differ |= score && *score != known.score;
        score = known.score;
    }
    return found && (scores_differ || image.Get(settings::kBookMode) != ChooseByScore);
}

std::string LastMoves(int count) {
    return count == 1 ? "the last half-move" : "the last " + std::to_string(count) + " half-moves";
}

}  // namespace

/// Reports the errors that the first start did not, and opens the books for later starts.
void Player::OpenBooks() {
    const BookFiles& books = options_.books;
    for (const std::string& remark : books.remarks) news_.push_back("Note: " + remark + ".");
    if (books.user.empty()) return;
    const HRESULT result = engine_->SelectBook(books.user.c_str());
    if (result != S_OK) news_.push_back("Note: " + BookProblem(books.user, result) + ".");
}

/// Asks for the books' moves in the present position; StatusComputerToMove while it computes.
HRESULT Player::AskBooks(W_BOOKMOVES2* moves) {
    Ref<IChessBook> book;
    HRESULT result = engine_->QueryInterface(IID_IChessBook, book.ReceiveVoid());
    if (result == S_OK) result = book->GetBookMoves(moves);
    return result == S_OK ? HRESULT{moves->iStatus} : result;
}

/// Whether the books chose the move with which a computation in the present position has ended. They
/// are asked before anything else, so they did if they play the move at all.
bool Player::IsFromBook(const EVAR& move) {
    // Right after a final record the engine's thread may still be returning from the callback.
    constexpr int kTries = 100;
    constexpr std::uint32_t kStepMs = 10;
    W_BOOKMOVES2 book{};
    HRESULT result = AskBooks(&book);
    for (int i = 0; result == StatusComputerToMove && i < kTries; ++i) {
        WaitForMessage(kStepMs);
        PumpMessages();
        result = AskBooks(&book);
    }
    return result == S_OK && BooksPlay(move, book, SettingsImage::Of(engine_), Position().ply_no);
}

/// Changes settings of the engine while it runs; those that a start fixes stay.
void Player::ChangeSetting(const NumberSetting& setting, std::uint32_t value) {
    SettingsImage image = SettingsImage::Of(engine_);
    image.Set(setting, value);
    session_.Reload(image);
}

Reply Player::Book(Words words) {
    if (words.empty()) return ListBook();
    if (thinking_) return Refuse(StatusComputerToMove);
    const std::string_view verb = words[0];
    const Words rest = words.subspan(1);
    if (verb == "add") return AddToBook(rest);
    if (verb == "delete") return DeleteFromBook(rest);
    if (verb == "exclude" && rest.empty()) return ExcludeFromBook();
    if (verb == "mode") return BookMode(rest);
    if (verb == "margin") return BookMargin(rest);
    for (const UseName& use : kUses) {
        if (verb != use.word || !rest.empty()) continue;
        const std::uint32_t others =
            SettingsImage::Of(engine_).Get(settings::kBookUse) & ~kBookBits;
        Halt();
        ChangeSetting(settings::kBookUse, others | use.use);
        return Done(use.sentence);
    }
    return Refuse(kUsage);
}

Reply Player::ListBook() {
    W_BOOKMOVES2 moves{};
    const HRESULT result = AskBooks(&moves);
    // While it ponders the engine has no list of moves to compare the book's with.
    if (result == StatusComputerToMove && !thinking_)
        return Refuse("the engine is thinking: 'stop' first");
    return result == S_OK ? Reply{true, BookLines(moves, Position())} : Refuse(result);
}

Reply Player::EditBook(HRESULT result, const std::string& done) {
    pondering_ = analysing_ = false;
    if (result == BookNotReadable) return Refuse("there is no user book");
    if (result == StatusBadValue) return Refuse("your book counts games: it can only be added to");
    if (result != S_OK) return Refuse(result);
    return Done(done);
}

Reply Player::AddToBook(Words words) {
    int count = static_cast<int>(plies_.size());
    int score = 0;
    const bool understood =
        words.size() <= 2 && (words.empty() || ReadNumber(words[0], 1, kMostPlies, &count)) &&
        (words.size() < 2 || ReadNumber(words[1], -kHighestBookScore, kHighestBookScore, &score));
    if (!understood) return Refuse("usage: book add [MOVES [SCORE]], SCORE for White, -127 to 127");
    if (plies_.empty()) return Refuse("no moves have been played");
    count = std::min(count, static_cast<int>(plies_.size()));
    return EditBook(engine_->AddBookMoves(UserBook, count, score, 0),
                    "Your book has " + LastMoves(count) + ".");
}

Reply Player::DeleteFromBook(Words words) {
    int count = 1;
    if (words.size() > 1 || (!words.empty() && !ReadNumber(words[0], 1, kMostPlies, &count))) {
        return Refuse("usage: book delete [MOVES]");
    }
    if (plies_.empty()) return Refuse("no moves have been played");
    return EditBook(engine_->DelBookMoves(UserBook, count),
                    "Your book has " + LastMoveText() + " no more.");
}

Reply Player::ExcludeFromBook() {
    if (plies_.empty()) return Refuse("no moves have been played");
    const std::int32_t exclude = plies_.back().before.color == 0 ? kBookMarkWorse : kBookMarkBetter;
    return EditBook(engine_->AddBookMoves(UserBook, 1, 0, exclude),
                    "The engine will not play " + LastMoveText() + " from your book.");
}

Reply Player::BookMode(Words words) {
    const std::uint32_t mode = SettingsImage::Of(engine_).Get(settings::kBookMode);
    if (words.empty()) return Done(mode < std::size(kModes) ? kModes[mode].sentence : "");
    for (std::uint32_t i = 0; words.size() == 1 && i < std::size(kModes); ++i) {
        if (words[0] != kModes[i].word) continue;
        Halt();
        ChangeSetting(settings::kBookMode, i);
        return Done(kModes[i].sentence);
    }
    return Refuse("usage: book mode best|games|score|even");
}

Reply Player::BookMargin(Words words) {
    constexpr int kHighestMargin = 20000;
    int margin = 0;
    if (words.size() > 1 || (!words.empty() && !ReadNumber(words[0], 0, kHighestMargin, &margin))) {
        return Refuse("usage: book margin N, N from 0 to " + std::to_string(kHighestMargin));
    }
    if (words.empty()) {
        margin = static_cast<int>(SettingsImage::Of(engine_).Get(settings::kRandMargin));
    } else {
        Halt();
        ChangeSetting(settings::kRandMargin, static_cast<std::uint32_t>(margin));
    }
    return Done("Book moves down to " + std::to_string(margin) + " below the best are played.");
}

}  // namespace torval

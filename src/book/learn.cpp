#include "book/learn.h"

#include "board/make.h"
#include "book/book_edit.h"
#include "book/books.h"
#include "state/flags.h"
#include "torval/codes.h"

namespace torval {

namespace {

constexpr std::int32_t kMostPlies = 1000;

/// What a step back in the game did to the book.
struct Step {
    BookErrorCode error = BookErrorCode::None;
    bool go_on = true;
};

/// The game as it was, after a walk: records keep sums that depend on when their moves were made.
class GameKept {
public:
    GameKept() : records_(game_record.PlyStack) {}
    ~GameKept() {
        for (; taken_ > 0; --taken_) {
            Move& move = (game_record.top + 1)->move;
            move = Plain(move);
            (void)RedoMove();
        }
        game_record.PlyStack = records_;
        RecomputeState();
        StoreGamePositionKey();
    }
    GameKept(const GameKept&) = delete;
    GameKept& operator=(const GameKept&) = delete;

    bool AtStart() const { return game_record.top == game_record.PlyStack.data(); }
    int Taken() const { return taken_; }

    /// Takes a move back; gives it without its marks.
    Move TakeBack() {
        Move& move = game_record.top->move;
        move = Plain(move);
        UnmakeMove();
        ++taken_;
        StoreGamePositionKey();
        return move;
    }

private:
    const std::array<PlyRecord, kPlyRecords> records_;
    int taken_ = 0;
};

/// Calls step(move) for the moves of the game from the last one back, in the position before each,
/// until it says to stop, and writes the book's header.
template <typename StepFunction>
BookErrorCode WalkBack(BookFile* book, StepFunction step) {
    GameKept game;
    Step done;
    while (done.go_on && !game.AtStart()) {
        done = step(EncodeBookMove(game.TakeBack()));
        if (Failed(done.error)) return done.error;
    }
    return game.Taken() > 0 ? book->WriteHeader() : BookErrorCode::None;
}

/// Why a book cannot be changed now; StatusOk when it can.
std::int32_t EditRefusal(std::int32_t id) {
    if (AnyFlag(FlagEngineToMove)) return StatusComputerToMove;
    if (!book_manager.books[static_cast<unsigned>(id)].IsOpen()) return BookNotReadable;
    return AnyFlag(FlagBusy) ? StatusBusy : StatusOk;
}

bool IsBookIndex(std::int32_t id) { return id == MainBook || id == UserBook; }

std::int32_t PliesFor(std::int32_t count) { return count == kAllPlies ? kMostPlies : count; }

/// The value of the last move of the game, from the point of view of the side that made it.
int LastMoveValue(std::int32_t score, std::int32_t flags) {
    int value = score;
    if ((flags & kBookMarkBits) == kBookMarkBetter) value += kExcludedPenalty;
    if ((flags & kBookMarkBits) == kBookMarkWorse) value -= kExcludedPenalty;
    return position.SideToMove == White ? -value : value;
}

}  // namespace

std::int32_t AddBookMoves(std::int32_t id,
                          std::int32_t count,
                          std::int32_t score,
                          std::int32_t flags) {
    if (!IsBookIndex(id) || score < -kHighestBookScore || score > kHighestBookScore) {
        return StatusBadValue;
    }
    BookOperation operation;
    if (const std::int32_t refusal = EditRefusal(id); refusal != StatusOk) return refusal;
    BookFile& book = book_manager.books[static_cast<unsigned>(id)];
    const auto result = static_cast<GameResult>((flags >> kBookResultShift) & 3);
    int value = LastMoveValue(score, flags);
    std::int32_t plies_left = PliesFor(count);
    if (plies_left <= 0) return StatusOk;
    const BookErrorCode error = WalkBack(&book, [&](BookMove move) {
        const auto updated = UpdateEntry(&book, move, value, result);
        value = book.HasStatistics() ? updated.value : -updated.value;
        return Step{.error = updated.error, .go_on = --plies_left > 0};
    });
    if (Failed(error)) operation.ReportEditing(error);
    return StatusOk;
}

std::int32_t DelBookMoves(std::int32_t id, std::int32_t count) {
    if (!IsBookIndex(id)) return StatusBadValue;
    BookOperation operation;
    BookFile& book = book_manager.books[static_cast<unsigned>(id)];
    if (book.IsOpen() && book.HasStatistics()) return StatusBadValue;
    if (const std::int32_t refusal = EditRefusal(id); refusal != StatusOk) return refusal;
    std::int32_t removals_left = PliesFor(count);
    if (removals_left <= 0) return StatusOk;
    bool rescoring = false;
    int value = 0;
    const BookErrorCode error = WalkBack(&book, [&](BookMove move) -> Step {
        if (rescoring) {
            const auto updated = UpdateEntry(&book, move, value, GameResult::Other);
            const bool is_best = updated.value == value;
            value = -updated.value;
            return {.error = updated.error, .go_on = !is_best};
        }
        const auto removed = RemoveEntry(&book, move);
        --removals_left;
        rescoring = removed.value.removal == Removal::NewBest;
        value = -removed.value.best;
        const bool done = removed.value.removal == Removal::BestStays;
        return {.error = removed.error, .go_on = !done && removals_left > 0};
    });
    if (Failed(error)) operation.ReportEditing(error);
    return StatusOk;
}

}  // namespace torval

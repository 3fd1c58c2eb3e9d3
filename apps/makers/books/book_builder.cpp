#include "apps/makers/books/book_builder.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <queue>
#include <stdexcept>

#include "apps/makers/books/find_san.h"
#include "apps/text/fen.h"
#include "apps/text/text.h"
#include "board/make.h"

namespace torval {

namespace {

// A word: 15 bits of secondary key, 32 of primary key, 6 of origin, 8 of destination, 2 of result.
constexpr int kKeyShift = 16;
constexpr int kFromShift = 10;
constexpr int kToShift = 2;
constexpr std::uint64_t kResultBits = 3;

std::uint64_t WordOf(HashKey key, BookMove move) {
    const auto from = static_cast<unsigned>(IndexOf(move.from));
    return key << kKeyShift | std::uint64_t{from} << kFromShift |
           std::uint64_t{move.to} << kToShift;
}

HashKey KeyOf(std::uint64_t word) { return word >> kKeyShift; }

BookMove MoveOf(std::uint64_t word) {
    return {SquareAt(static_cast<int>(word >> kFromShift & 63)),
            static_cast<std::uint8_t>(word >> kToShift)};
}

bool Precedes(const MoveTally& a, const MoveTally& b) { return a.word < b.word; }

void Join(MoveTally* sum, const MoveTally& other) {
    sum->white += other.white;
    sum->black += other.black;
    sum->games += other.games;
}

/// Calls use(tally) for the equal words of a sorted row.
template <typename Use>
void CountWords(std::span<const std::uint64_t> words, Use use) {
    for (std::size_t i = 0; i < words.size();) {
        MoveTally tally = {.word = words[i] & ~kResultBits, .white = 0, .black = 0, .games = 0};
        for (; i < words.size() && (words[i] & ~kResultBits) == tally.word; ++i) {
            const auto result = static_cast<GameResult>(words[i] & kResultBits);
            if (result == GameResult::White) ++tally.white;
            if (result == GameResult::Black) ++tally.black;
            ++tally.games;
        }
        use(tally);
    }
}

std::optional<std::string> SetUpBoard(std::string_view fen) {
    if (fen.empty()) {
        SetInitialPosition();
        ClearGameRecord();
        return std::nullopt;
    }
    std::string error;
    const std::optional<FenPosition> parsed = ParseFen(fen, &error);
    if (!parsed) return "FEN: " + error;
    if (LoadPosition(parsed->board) != StatusOk) return "FEN: no position to play from";
    Move move;
    if (!parsed->double_step.empty()) {
        if (FindSan(parsed->double_step, &move) != Reading::Found) {
            return "FEN: en passant square: " + parsed->double_step + " cannot be played";
        }
        MakeMove(move);
    }
    return std::nullopt;
}

}  // namespace

class TallyRun {
public:
    TallyRun() {
        std::string name = (std::filesystem::temp_directory_path() / "torval-book-XXXXXX").string();
        const int file = mkstemp(name.data());
        if (file >= 0) {
            unlink(name.c_str());
            file_.reset(fdopen(file, "w+b"));
        }
        if (!file_) throw std::runtime_error("cannot make a temporary file at " + QuoteName(name));
    }

    void Write(const MoveTally& tally) {
        if (std::fwrite(&tally, sizeof tally, 1, file_.get()) != 1) Fail();
    }
    void Rewind() {
        if (std::fflush(file_.get()) != 0) Fail();
        std::rewind(file_.get());
        Advance();
    }
    bool AtEnd() const { return at_end_; }
    const MoveTally& Current() const { return current_; }
    void Advance() {
        at_end_ = std::fread(&current_, sizeof current_, 1, file_.get()) != 1;
        if (std::ferror(file_.get())) Fail();
    }

private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    [[noreturn]] static void Fail() {
        throw std::runtime_error("a temporary file failed; is there room on the disk?");
    }

    std::unique_ptr<std::FILE, Closer> file_;
    MoveTally current_ = {};
    bool at_end_ = false;
};

namespace {

/// Calls use(tally) for every move of the runs in order, equal ones as one.
template <typename Use>
void Merge(std::span<const std::unique_ptr<TallyRun>> runs, Use use) {
    const auto later = [](const TallyRun* a, const TallyRun* b) {
        return Precedes(b->Current(), a->Current());
    };
    std::priority_queue<TallyRun*, std::vector<TallyRun*>, decltype(later)> queue(later);
    for (const auto& run : runs) {
        run->Rewind();
        if (!run->AtEnd()) queue.push(run.get());
    }
    while (!queue.empty()) {
        MoveTally sum = {.word = queue.top()->Current().word, .white = 0, .black = 0, .games = 0};
        while (!queue.empty() && queue.top()->Current().word == sum.word) {
            TallyRun* const run = queue.top();
            queue.pop();
            Join(&sum, run->Current());
            run->Advance();
            if (!run->AtEnd()) queue.push(run);
        }
        use(sum);
    }
}

/// Collects the moves position by position.
class PositionGatherer {
public:
    PositionGatherer(BookImage* image, std::uint32_t min_games)
        : image_(*image), min_games_(min_games) {}

    void Add(const MoveTally& tally) {
        if (tally.games < min_games_) return;
        if (KeyOf(tally.word) != key_) Flush();
        key_ = KeyOf(tally.word);
        BookEntry entry = {.move = MoveOf(tally.word),
                           .score = 0,
                           .flags = 0,
                           .white = tally.white,
                           .black = tally.black,
                           .games = tally.games};
        // The sign bit of the primary key is the side to move.
        entry.score = StatisticsScore(entry, kBookConfidence, key_ & 0x80000000 ? Black : White);
        entries_.push_back(entry);
    }
    /// The moves played most come first.
    void Flush() {
        std::ranges::stable_sort(entries_, std::ranges::greater(), &BookEntry::games);
        image_.Add(key_, entries_);
        entries_.clear();
    }

private:
    BookImage& image_;
    const std::uint32_t min_games_;
    HashKey key_ = 0;
    std::vector<BookEntry> entries_;
};

}  // namespace

BookBuilder::BookBuilder(BookPlan plan) : plan_(std::move(plan)) { ClearMoveArena(); }

BookBuilder::~BookBuilder() = default;

std::optional<std::string> BookBuilder::AddGame(std::string_view fen,
                                                std::span<const std::string_view> moves,
                                                GameResult result) {
    if (auto problem = SetUpBoard(fen)) return problem;
    game_.clear();
    const auto version = static_cast<std::uint8_t>(plan_.shape.version_major);
    for (const std::string_view text : moves) {
        if (game_.size() == kMostBookPlies) break;
        Move move;
        const Reading reading = FindSan(text, &move);
        if (reading != Reading::Found) {
            return "move " + std::to_string(game_.size() + 1) + " " + Quote(text) + " " +
                   ReadingProblem(reading);
        }
        StoreGamePositionKey();
        game_.push_back(WordOf(BookKey(version), EncodeBookMove(move)));
        MakeMove(move);
    }
    Append(result);
    return std::nullopt;
}

void BookBuilder::Append(GameResult result) {
    for (const std::uint64_t word : game_) {
        if (buffer_.size() >= plan_.buffer_words) Spill();
        buffer_.push_back(word | static_cast<std::uint64_t>(result));
    }
}

void BookBuilder::Spill() {
    constexpr std::size_t kMostRuns = 64;
    if (runs_.size() == kMostRuns) MergeRuns();
    std::ranges::sort(buffer_);
    runs_.push_back(std::make_unique<TallyRun>());
    CountWords(buffer_, [&](const MoveTally& tally) { runs_.back()->Write(tally); });
    buffer_.clear();
}

void BookBuilder::MergeRuns() {
    auto merged = std::make_unique<TallyRun>();
    Merge(runs_, [&](const MoveTally& tally) { merged->Write(tally); });
    runs_.clear();
    runs_.push_back(std::move(merged));
}

BookImage BookBuilder::Finish() {
    BookImage image(plan_.shape);
    PositionGatherer gatherer(&image, plan_.min_games);
    const auto add = [&](const MoveTally& tally) { gatherer.Add(tally); };
    if (runs_.empty()) {
        std::ranges::sort(buffer_);
        CountWords(buffer_, add);
    } else {
        if (!buffer_.empty()) Spill();
        buffer_ = {};
        Merge(runs_, add);
    }
    gatherer.Flush();
    return image;
}

}  // namespace torval

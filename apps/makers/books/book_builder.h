// A book made from games: counted, sorted, and written as a file.
//
// Method   each move played becomes one 64-bit word of key, move and result. Full buffers are
//          sorted, equal moves counted together, and spilled to unnamed temporary files (TMPDIR,
//          else /tmp); in the end all runs are merged. The file does not depend on the order of
//          the games, nor on how often the buffer was full.
// Memory   8 bytes for each word of the buffer, 64 MB by default, 6 MB for the merge, and the book
//          itself as BookImage has it: below 300 MB however many games there are.
// Scores   StatisticsScore of a move's games with kBookConfidence, for the side that moves. A game
//          without a decision counts as played.
// Thread   the thread that works on the position; game and position are changed afterwards.
// Errors   std::runtime_error when a temporary file cannot be written, BookTooLarge.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "apps/makers/books/book_image.h"
#include "book/book_edit.h"

namespace torval {

inline constexpr std::uint32_t kBookConfidence = 50;  ///< the engine's default
inline constexpr int kMostBookPlies = 400;

struct BookPlan {
    BookShape shape = {};
    std::uint32_t min_games = 1;  ///< a move played less often is left out
    std::size_t buffer_words = std::size_t{8} << 20;
};

/// A move of a position and how its games ended. `word` orders by position, then by move.
struct MoveTally {
    std::uint64_t word;
    std::uint32_t white;
    std::uint32_t black;
    std::uint32_t games;
};

/// A sorted row of tallies in a temporary file.
class TallyRun;

class BookBuilder {
public:
    explicit BookBuilder(BookPlan plan);
    ~BookBuilder();
    BookBuilder(const BookBuilder&) = delete;
    BookBuilder& operator=(const BookBuilder&) = delete;

    /// Adds every move of a game that began at `fen`, empty for the usual start; at most
    /// kMostBookPlies. Returns what is wrong with the game, which is then not counted.
    std::optional<std::string> AddGame(std::string_view fen,
                                       std::span<const std::string_view> moves,
                                       GameResult result);

    /// Builds the book. No game can be added after that.
    BookImage Finish();

private:
    struct Playing;
    void Append(GameResult result);
    void Spill();
    void MergeRuns();

    BookPlan plan_;
    std::vector<std::uint64_t> buffer_;
    std::vector<std::uint64_t> game_;
    std::vector<std::unique_ptr<TallyRun>> runs_;
};

}  // namespace torval

// How fast opening books are read and made.
//
// The games are random walks in which a few moves of each position are played most, so that lines
// meet as they do in real games: most of the first moves are shared, later ones hardly any.

#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <unistd.h>

#include <bit>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "apps/makers/books/book_builder.h"
#include "apps/makers/books/game_stream.h"
#include "apps/text/replace_file.h"
#include "apps/text/san.h"
#include "board/legality.h"
#include "board/make.h"

namespace torval {

namespace {

constexpr int kGamePlies = 80;
constexpr std::size_t kBookPlies = 30;

class Walk {
public:
    Walk() {
        ClearMoveArena();
        SetInitialPosition();
        ClearGameRecord();
    }

    /// Plays one move, if there is one.
    Move Step(std::mt19937* random) {
        const MoveList& legal = GenerateLegal();
        Move move = {};
        if (legal.count > 0) {
            // Half of the time the first move, else the second or the first, and so on.
            auto choice = static_cast<unsigned>(std::countr_zero((*random)() | 0x80000000)) / 2;
            MoveEntry* entry = EntryAt(legal.quiet_head);
            for (choice %= static_cast<unsigned>(legal.count); choice > 0; --choice) {
                entry = NextEntry(*entry);
            }
            move = Plain(entry->move);
        }
        ReleaseMoves(legal);
        if (!IsEmpty(move)) MakeMove(move);
        return move;
    }
};

/// Games in PGN, in a file of their own.
class GamesFile {
public:
    explicit GamesFile(int games) : path_(Temporary("games")) {
        std::mt19937 random(1);
        std::ofstream out(path_, std::ios::binary);
        constexpr const char* kResults[] = {"1-0", "0-1", "1/2-1/2"};
        for (int i = 0; i < games; ++i) {
            const char* const result = kResults[random() % 3];
            out << "[Event \"Walk\"]\n[Site \"?\"]\n[Date \"2026.01.01\"]\n[Round \"" << i
                << "\"]\n[White \"A\"]\n[Black \"B\"]\n[Result \"" << result
                << "\"]\n[WhiteElo \"2400\"]\n[BlackElo \"2400\"]\n\n";
            Walk walk;
            for (int ply = 0; ply < kGamePlies; ++ply) {
                const Move move = walk.Step(&random);
                if (IsEmpty(move)) break;
                if (ply % 2 == 0) out << ply / 2 + 1 << ". ";
                out << LongText(move) << (ply % 12 == 11 ? '\n' : ' ');
            }
            out << result << "\n\n";
        }
    }
    ~GamesFile() { std::filesystem::remove(path_); }
    GamesFile(const GamesFile&) = delete;
    GamesFile& operator=(const GamesFile&) = delete;

    const std::string& Path() const { return path_; }

    static std::string Temporary(const char* name) {
        return (std::filesystem::temp_directory_path() /
                ("torval-bench-" + std::to_string(getpid()) + "-" + name))
            .string();
    }

private:
    std::string path_;
};

BookImage BuildBook(const std::string& games, bool statistics, std::int64_t* count) {
    BookBuilder builder({.shape = {.has_statistics = statistics}});
    std::ifstream in(games, std::ios::binary);
    GameStream stream(in, GameStream::Shape::Pgn, kBookPlies);
    *count = 0;
    for (StreamedGame game; stream.Next(&game); ++*count) {
        if (!game.error.empty() || builder.AddGame(game.fen, game.moves, game.result)) std::abort();
    }
    return builder.Finish();
}

void MakeBook(benchmark::State& state) {
    const auto games = static_cast<int>(state.range(0));
    const GamesFile file(games);
    const std::string book = GamesFile::Temporary("book");
    std::int64_t count = 0;
    std::size_t positions = 0;
    for (auto _ : state) {
        const BookImage image = BuildBook(file.Path(), state.range(1) != 0, &count);
        ReplaceFile(book, image.Build());
        positions = image.Positions();
    }
    std::filesystem::remove(book);
    if (count != games) state.SkipWithError("games were skipped");
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    state.counters["games/s"] = benchmark::Counter(static_cast<double>(games),
                                                   benchmark::Counter::kIsIterationInvariantRate);
    state.counters["positions"] = static_cast<double>(positions);
    state.counters["peak MB"] = static_cast<double>(usage.ru_maxrss) / 1024;
}
BENCHMARK(MakeBook)
    ->ArgNames({"games", "bx"})
    ->Args({100000, 0})
    ->Args({100000, 1})
    ->Unit(benchmark::kMillisecond);

/// An open book, and positions that it holds.
struct OpenedBook {
    BookFile book;
    std::vector<HashKey> keys;

    OpenedBook() {
        const std::string path = GamesFile::Temporary("lookup");
        std::int64_t count = 0;
        const GamesFile file(20000);
        ReplaceFile(path, BuildBook(file.Path(), true, &count).Build());
        if (book.Open(path, DiskAccess::ReadOnly) != BookOpened) std::abort();
        std::filesystem::remove(path);
        std::mt19937 random(2);
        while (keys.size() < 4096) {
            Walk walk;
            for (std::size_t ply = 0; ply < kBookPlies; ++ply) {
                StoreGamePositionKey();
                if (book.Find(book.Key()).value) keys.push_back(book.Key());
                if (IsEmpty(walk.Step(&random))) break;
            }
        }
    }
};

/// Warm: a position whose block is in the buffer. Cold: another block for nearly each, read from
/// what the system keeps of the file.
void LookUp(benchmark::State& state) {
    static OpenedBook& opened = *new OpenedBook;
    const bool cold = state.range(0) != 0;
    std::size_t next = 0;
    std::int64_t looked = 0;
    for (auto _ : state) {
        const auto place = opened.book.Find(opened.keys[cold ? next++ % opened.keys.size() : 0]);
        if (!place.value) state.SkipWithError("a position is missing");
        ++looked;
    }
    state.SetItemsProcessed(looked);
}
BENCHMARK(LookUp)->ArgName("cold")->Arg(0)->Arg(1);

}  // namespace

}  // namespace torval

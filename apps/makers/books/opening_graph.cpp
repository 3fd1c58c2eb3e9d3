#include "apps/makers/books/opening_graph.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <stdexcept>
#include <tuple>
#include <unordered_map>

#include "apps/makers/books/find_san.h"
#include "apps/text/text.h"
#include "board/legality.h"
#include "board/make.h"

namespace torval {

namespace {

[[noreturn]] void Fail(std::string_view line, const std::string& what) {
    throw std::runtime_error("openings: " + Quote(line) + ": " + what);
}

void SetUpStart() {
    SetInitialPosition();
    ClearGameRecord();
    StoreGamePositionKey();
}

void Play(Move move) {
    MakeMove(move);
    StoreGamePositionKey();
}

Move ReadMove(std::string_view text, std::string_view line) {
    Move move;
    const Reading reading = FindSan(text, &move);
    if (reading != Reading::Found) Fail(line, Quote(text) + " " + ReadingProblem(reading));
    return Plain(move);
}

/// The fields between tabs.
std::vector<std::string_view> SplitFields(std::string_view line) {
    std::vector<std::string_view> fields;
    for (std::size_t begin = 0; begin <= line.size();) {
        const std::size_t end = std::min(line.find('\t', begin), line.size());
        fields.push_back(line.substr(begin, end - begin));
        begin = end + 1;
    }
    return fields;
}

OpeningStep* FindStep(OpeningPosition* from, Move move) {
    const auto found = std::ranges::find_if(from->steps, [&](const OpeningStep& step) {
        return CompareMoves(step.move, move) == std::strong_ordering::equal;
    });
    return found == from->steps.end() ? nullptr : &*found;
}

class GraphReader {
public:
    GraphReader(std::vector<OpeningPosition>* positions, std::uint8_t version)
        : positions_(*positions), version_(version) {
        SetUpStart();
        AtBoard("", 0);
    }

    void AddLine(std::string_view line) {
        constexpr std::size_t kMoves = 2;
        const std::vector<std::string_view> fields = SplitFields(line);
        if (fields.size() != kMoves + 1) Fail(line, "there are not three fields");
        SetUpStart();
        std::size_t from = 0;
        std::size_t ply = 0;
        for (const std::string_view text : SplitWords(fields[kMoves])) {
            const Move move = ReadMove(text, line);
            Play(move);
            const auto length = static_cast<std::size_t>(text.end() - fields[kMoves].begin());
            const std::size_t to = AtBoard(fields[kMoves].substr(0, length), ++ply);
            if (!FindStep(&positions_[from], move)) {
                positions_[from].steps.push_back(
                    {.move = move, .to = to, .is_on_line = true, .loss = 0});
            }
            from = to;
        }
        positions_[from].has_name = true;
    }

    /// Only a step towards the ends of lines counts: one that leads back loses time.
    void Connect() {
        for (std::size_t from = 0; from < positions_.size(); ++from) {
            SetUp(positions_[from].moves);
            const MoveList& legal = GenerateLegal();
            for (const MoveEntry* entry = EntryAt(legal.quiet_head); entry;
                 entry = NextEntry(*entry)) {
                const Move move = Plain(entry->move);
                Play(move);
                const auto found = places_.find(BookKey(version_));
                UnmakeMove();
                if (found == places_.end() || FindStep(&positions_[from], move)) continue;
                if (positions_[found->second].ply != positions_[from].ply + 1) continue;
                positions_[from].steps.push_back(
                    {.move = move, .to = found->second, .is_on_line = false, .loss = 0});
            }
            ReleaseMoves(legal);
        }
    }

    void AddLoss(std::string_view line) {
        const std::vector<std::string_view> fields = SplitFields(line);
        if (fields.size() != 3) Fail(line, "there are not three fields");
        SetUp(fields[0]);
        const auto found = places_.find(BookKey(version_));
        OpeningStep* const step = found == places_.end() ? nullptr
                                                         : FindStep(&positions_[found->second],
                                                                    ReadMove(fields[1], line));
        if (!step) Fail(line, "no opening has this move");
        const char* const end = fields[2].data() + fields[2].size();
        if (std::from_chars(fields[2].data(), end, step->loss).ptr != end || step->loss <= 0) {
            Fail(line, Quote(fields[2]) + " is no loss");
        }
    }

private:
    static void SetUp(std::string_view moves) {
        SetUpStart();
        for (const std::string_view text : SplitWords(moves)) Play(ReadMove(text, moves));
    }

    /// The number of the position on the board, which is `ply` moves from the start.
    std::size_t AtBoard(std::string_view moves, std::size_t ply) {
        const HashKey key = BookKey(version_);
        const auto [place, is_new] = places_.try_emplace(key, positions_.size());
        if (is_new) {
            positions_.push_back({.key = key,
                                  .moves = std::string(moves),
                                  .ply = ply,
                                  .has_name = false,
                                  .names = 0,
                                  .steps = {}});
        }
        OpeningPosition& known = positions_[place->second];
        if (ply < known.ply) {
            known.ply = ply;
            known.moves = moves;
        }
        return place->second;
    }

    std::vector<OpeningPosition>& positions_;
    const std::uint8_t version_;
    std::unordered_map<HashKey, std::size_t> places_;
};

/// The named positions that lines lead to from a position, itself included.
std::size_t CountNames(std::span<const OpeningPosition> positions, std::size_t from) {
    std::vector<std::size_t> found = {from};
    std::vector<bool> is_found(positions.size());
    is_found[from] = true;
    std::size_t names = 0;
    for (std::size_t i = 0; i < found.size(); ++i) {
        const OpeningPosition& opening = positions[found[i]];
        if (opening.has_name) ++names;
        for (const OpeningStep& step : opening.steps) {
            if (!step.is_on_line || is_found[step.to]) continue;
            is_found[step.to] = true;
            found.push_back(step.to);
        }
    }
    return names;
}

/// Losing a pawn is a lot for a move that only a line or two have. What many lines play is a
/// gambit, or deeper than the search that found the loss.
bool IsLosing(const OpeningStep& step, std::size_t names) {
    constexpr int kPawn = 100;
    constexpr int kMorePerDoubling = 25;
    return step.loss >= kPawn + kMorePerDoubling * std::log2(names);
}

}  // namespace

OpeningGraph OpeningGraph::Read(std::span<const std::string_view> lines,
                                std::span<const std::string_view> losses,
                                std::uint8_t version) {
    ClearMoveArena();
    OpeningGraph graph;
    GraphReader reader(&graph.positions_, version);
    for (const std::string_view line : lines) reader.AddLine(line);
    reader.Connect();
    for (const std::string_view line : losses) reader.AddLoss(line);
    for (std::size_t i = 0; i < graph.positions_.size(); ++i) {
        graph.positions_[i].names = CountNames(graph.positions_, i);
    }
    return graph;
}

BookImage OpeningBook(const OpeningGraph& graph, BookShape shape) {
    // The engine's default margin of 40 is a twelfth of the names. Half a pawn is within the error
    // of the search that found the loss, above all in gambits.
    constexpr double kPerHalving = 11;
    constexpr int kSmallLoss = 50;
    constexpr double kRare = -80;
    constexpr double kLowest = -127;
    BookImage image(std::move(shape));
    const std::span<const OpeningPosition> positions = graph.Positions();
    for (const OpeningPosition& opening : positions) {
        std::size_t most = 1;
        for (const OpeningStep& step : opening.steps) {
            if (!IsLosing(step, positions[step.to].names))
                most = std::max(most, positions[step.to].names);
        }
        std::vector<BookEntry> entries;
        for (const OpeningStep& step : opening.steps) {
            const double share =
                static_cast<double>(positions[step.to].names) / static_cast<double>(most);
            const double rarity = std::min(0.0, kPerHalving * std::log2(share));
            const int cost = std::max(0, step.loss - kSmallLoss);
            BookEntry entry = {};
            entry.move = EncodeBookMove(step.move);
            entry.score = static_cast<std::int8_t>(std::lround(std::max(kLowest, rarity - cost)));
            if (IsLosing(step, positions[step.to].names) || rarity < kRare) entry.flags = kExcluded;
            entries.push_back(entry);
        }
        std::ranges::sort(entries, {}, [](const BookEntry& entry) {
            return std::tuple(-entry.score, entry.move.from, entry.move.to);
        });
        image.Add(opening.key, entries);
    }
    return image;
}

}  // namespace torval

#include <atomic>
#include <climits>
#include <filesystem>
#include <mutex>
#include <thread>

#include "apps/cli/tb_command.h"
#include "apps/makers/tables/generator.h"
#include "apps/makers/tables/table_file.h"
#include "apps/text/progress.h"
#include "apps/text/text.h"
#include "egtb/nalimov/lengths.h"

namespace torval {

namespace {

constexpr std::size_t kPiece = 16384;

/// Both sides of a class, from one directory.
void LoadClass(int class_id, const std::string& directory, TableSet* tables) {
    if (tables->Has(class_id)) return;
    ClassEntries entries;
    for (int side = 0; side < SidesOf(class_id); ++side) {
        const auto file = FindTableFile({directory}, class_id, side);
        if (!file) {
            throw InputError("verifying needs " + TableFileName(class_id, side) + " in " +
                             QuoteName(directory));
        }
        entries.side[static_cast<std::size_t>(side)] = ReadTableFile(*file);
    }
    tables->Put(class_id, std::move(entries));
}

/// The value that a position's moves give it.
TablebaseValue ValueByMoves(int class_id, const SmallBoard& board, const TableSet& tables) {
    int best = INT_MIN;
    bool unknown = false;
    ForEachMove(board, [&](const SmallMove& move, const SmallBoard& after) {
        const TablebaseValue value =
            ValueBefore(move.changes_men ? tables.ValueOf(after)
                                         : tables.ValueAt(class_id, after.to_move, after.Placed()));
        if (value == kUnknownValue) unknown = true;
        best = std::max<int>(best, value);
    });
    if (unknown) return kUnknownValue;
    if (best == INT_MIN) return board.InCheck(board.to_move) ? MatedIn(0) : kDrawValue;
    return static_cast<TablebaseValue>(best);
}

struct Disagreement {
    std::size_t index = SIZE_MAX;
    std::string text;
};

/// The first entry of a legal position that its moves contradict; empty if there is none.
Disagreement FindFirst(const TableFile& file,
                       const std::vector<std::int8_t>& entries,
                       const TableSet& tables,
                       std::size_t every,
                       Console& console) {
    ProgressBar bar(console, (entries.size() + kPiece - 1) / kPiece);
    std::mutex mutex;
    Disagreement first;
    std::atomic<std::size_t> next = 0;
    std::atomic<bool> found = false;
    const auto share = [&] {
        for (std::size_t begin; !found && (begin = next.fetch_add(kPiece)) < entries.size();) {
            const std::size_t end = std::min(begin + kPiece, entries.size());
            for (std::size_t i = (begin + every - 1) / every * every; i < end; i += every) {
                const auto position = PositionAt(file.class_id, file.side, i);
                if (!position || !IsLegal(file.class_id, file.side, *position)) continue;
                const SmallBoard board = SmallBoard::Of(file.class_id, file.side, *position);
                const TablebaseValue stored = WidenEntry(entries[i]);
                const TablebaseValue expected = ValueByMoves(file.class_id, board, tables);
                if (stored == expected && stored != kUnknownValue) continue;
                const std::scoped_lock lock(mutex);
                found = true;
                if (i < first.index) {
                    first = {i,
                             FenOf(board) + " has " + ValueText(stored) + ", its moves give " +
                                 ValueText(expected)};
                }
                break;
            }
            const std::scoped_lock lock(mutex);
            bar.Step();
        }
    };
    std::thread other(share);
    share();
    other.join();
    return first;
}

}  // namespace

void VerifyTables(const VerifyTablesOptions& options, Console& console) {
    BuildIndexTables();
    std::vector<TableFile> subjects;
    subjects.reserve(options.files.size());
    for (const std::string& name : options.files) subjects.push_back(TableFileByName(name));
    TableSet tables;
    std::string last_directory;
    bool faulty = false;
    for (const TableFile& file : subjects) {
        const std::string directory = std::filesystem::path(file.path).parent_path().string();
        if (directory != last_directory) tables = {};
        last_directory = directory;
        const std::vector<std::int8_t> entries = ReadTableFile(file);
        LoadClass(file.class_id, directory, &tables);
        for (const int below : ClassesBelow(file.class_id)) LoadClass(below, directory, &tables);
        const Disagreement first = FindFirst(file, entries, tables, options.every, console);
        if (first.text.empty()) {
            console.out << file.path << ": " << entries.size() << " entries, ";
            if (options.every > 1) console.out << "one in " << options.every << " compared, ";
            console.out << "all right" << std::endl;
            continue;
        }
        faulty = true;
        console.out << file.path << ": entry " << first.index << ", " << first.text << std::endl;
    }
    if (faulty) throw std::runtime_error("not all values agree");
}

}  // namespace torval

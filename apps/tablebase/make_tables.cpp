#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iomanip>
#include <set>
#include <sstream>

#include "apps/progress.h"
#include "apps/replace_file.h"
#include "apps/tablebase/compress.h"
#include "apps/tablebase/generator.h"
#include "apps/tablebase/table_file.h"
#include "apps/tablebase/tb_commands.h"
#include "apps/text.h"
#include "egtb/lengths.h"

namespace torval {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kStepsOfAClass = 20;

std::vector<int> WantedClasses(const MakeTablesOptions& options) {
    std::vector<int> wanted;
    const int end = options.men == 0 ? 1 : options.men == 3 ? kFirstFourMen : kFirstFiveMen;
    for (int id = 1; id < end; ++id) wanted.push_back(id);
    for (const std::string& name : options.classes) wanted.push_back(ClassByName(name));
    if (wanted.empty()) throw InputError("neither a class nor --men says what to make");
    return InOrderOfNeed(wanted);
}

/// The class as it is on the disk already; none unless every file of it is there and sound.
std::optional<ClassEntries> Load(int class_id, const std::string& directory) {
    ClassEntries entries;
    for (int side = 0; side < SidesOf(class_id); ++side) {
        const auto file = FindTableFile({directory}, class_id, side);
        if (!file) return std::nullopt;
        try {
            entries.side[static_cast<std::size_t>(side)] = ReadTableFile(*file);
        } catch (const InputError&) {
            return std::nullopt;
        }
    }
    return entries;
}

std::uint64_t Write(int class_id, const ClassEntries& entries, const MakeTablesOptions& options) {
    std::uint64_t written = 0;
    for (int side = 0; side < SidesOf(class_id); ++side) {
        const auto at = static_cast<std::size_t>(side);
        // What lies behind belongs to no legal position.
        const std::uint32_t count = kEntryCounts[static_cast<std::size_t>(class_id)][at];
        const auto* const data = reinterpret_cast<const std::uint8_t*>(entries.side[at].data());
        const std::span<const std::uint8_t> bytes(data, count);
        const std::string path =
            (std::filesystem::path(options.out) / TableFileName(class_id, side)).string();
        if (options.compress) {
            const std::vector<std::uint8_t> packed = CompressTablebase(bytes);
            ReplaceFile(path + ".emd", packed);
            written += packed.size();
        } else {
            ReplaceFile(path, bytes);
            written += bytes.size();
        }
    }
    return written;
}

/// Drops the classes that none of those still to be made needs.
void DropUnneeded(const std::vector<int>& order, std::size_t done, TableSet* tables) {
    std::set<int> needed;
    for (std::size_t i = done; i < order.size(); ++i) {
        const std::vector<int> below = ClassesBelow(order[i]);
        needed.insert(below.begin(), below.end());
    }
    for (std::size_t i = 0; i < done; ++i) {
        if (!needed.contains(order[i])) tables->Drop(order[i]);
    }
}

}  // namespace

void MakeTables(const MakeTablesOptions& options, Console& console) {
    BuildIndexTables();
    const std::vector<int> order = WantedClasses(options);
    std::error_code error;
    std::filesystem::create_directories(options.out, error);
    if (!std::filesystem::is_directory(options.out)) {
        throw InputError("--out: " + Quote(options.out) + " is no directory");
    }
    TableSet tables;
    ProgressBar bar(console, order.size() * kStepsOfAClass);
    for (std::size_t i = 0; i < order.size(); ++i) {
        const int id = order[i];
        const auto name = kTablebaseClasses[static_cast<std::size_t>(id)].Name();
        const auto start = Clock::now();
        int steps = 0;
        const auto tell = [&](double part) {
            while (steps < static_cast<int>(part * kStepsOfAClass)) {
                bar.Step();
                ++steps;
            }
        };
        std::ostringstream line;
        if (auto loaded = Load(id, options.out)) {
            tables.Put(id, std::move(*loaded));
            line << name << ": there already";
        } else {
            tables.Put(id, Generate(id, tables, tell));
            const std::uint64_t written = Write(id, tables.Of(id), options);
            const std::chrono::duration<double> seconds = Clock::now() - start;
            line << name << ": " << written << " bytes, " << std::fixed << std::setprecision(2)
                 << seconds.count() << " s";
        }
        tell(1);
        bar.Clear();
        console.out << line.str() << std::endl;
        DropUnneeded(order, i + 1, &tables);
    }
}

void PackTable(const std::string& file, Console& console) {
    const TableFile table = TableFileByName(file);
    if (table.is_compressed) throw InputError(Quote(file) + " is compressed already");
    const std::vector<std::int8_t> entries = ReadTableFile(table);
    const std::vector<std::uint8_t> packed = CompressTablebase(
        std::span(reinterpret_cast<const std::uint8_t*>(entries.data()), entries.size()));
    ReplaceFile(file + ".emd", packed);
    console.out << file << ".emd: " << packed.size() << " bytes for " << entries.size()
                << " entries\n";
}

void UnpackTable(const std::string& file, Console& console) {
    const TableFile table = TableFileByName(file);
    if (!table.is_compressed) throw InputError(Quote(file) + " is not compressed");
    const std::vector<std::int8_t> entries = ReadTableFile(table);
    const std::string path =
        (std::filesystem::path(file).parent_path() / TableFileName(table.class_id, table.side))
            .string();
    ReplaceFile(path,
                std::span(reinterpret_cast<const std::uint8_t*>(entries.data()), entries.size()));
    console.out << path << ": " << entries.size() << " entries\n";
}

}  // namespace torval

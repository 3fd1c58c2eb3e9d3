#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iomanip>
#include <sstream>

#include "apps/cli/tb_command.h"
#include "apps/makers/tables/compress.h"
#include "apps/makers/tables/generator.h"
#include "apps/makers/tables/memory.h"
#include "apps/makers/tables/table_file.h"
#include "apps/text/progress.h"
#include "apps/text/replace_file.h"
#include "apps/text/text.h"
#include "egtb/nalimov/lengths.h"

namespace torval {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kStepsOfAClass = 20;
constexpr std::uint64_t kMegabyte = 1 << 20;

std::vector<int> WantedClasses(const MakeTablesOptions& options) {
    std::vector<int> wanted;
    const int end = options.men == 0 ? 1 : options.men == 3 ? kFirstFourMen : kFirstFiveMen;
    for (int id = 1; id < end; ++id) wanted.push_back(id);
    for (const std::string& name : options.classes) wanted.push_back(ClassByName(name));
    if (wanted.empty()) throw InputError("neither a class nor --men says what to make");
    return InOrderOfNeed(wanted);
}

/// The class as it already is on disk; nullopt unless all its files are present and sound.
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
        // Entries beyond belong to no legal position.
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

/// Reports too little memory before the work begins.
void RequireMemory(int class_id, const MakeTablesOptions& options) {
    const std::uint64_t needed = MemoryNeeded(class_id);
    const auto limit =
        options.memory_mb > 0 ? std::optional(options.memory_mb * kMegabyte) : AvailableMemory();
    if (!limit || needed <= *limit) return;
    const auto megabytes = [](std::uint64_t bytes) {
        return std::to_string((bytes + kMegabyte - 1) / kMegabyte) + " MB";
    };
    throw InputError(
        "making " + std::string(kTablebaseClasses[static_cast<std::size_t>(class_id)].Name()) +
        " takes " + megabytes(needed) + " of memory, and there are " + megabytes(*limit));
}

bool HasFiles(int class_id, const std::string& directory) {
    for (int side = 0; side < SidesOf(class_id); ++side) {
        if (!FindTableFile({directory}, class_id, side)) return false;
    }
    return true;
}

/// Makes the set hold exactly the classes below one.
void LoadBelow(int class_id, const std::string& directory, TableSet* tables) {
    const std::vector<int> below = ClassesBelow(class_id);
    tables->Keep(below);
    for (const int id : below) {
        if (tables->Has(id)) continue;
        auto loaded = Load(id, directory);
        if (!loaded) {
            throw InputError("what was made in " + QuoteName(directory) +
                             " has been changed since");
        }
        tables->Put(id, std::move(*loaded));
    }
}

}  // namespace

void MakeTables(const MakeTablesOptions& options, Console& console) {
    BuildIndexTables();
    const std::vector<int> order = WantedClasses(options);
    std::error_code error;
    std::filesystem::create_directories(options.out, error);
    if (!std::filesystem::is_directory(options.out)) {
        throw InputError("--out: " + QuoteName(options.out) + " is no directory");
    }
    for (const int id : order) {
        if (!HasFiles(id, options.out)) RequireMemory(id, options);
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
            RequireMemory(id, options);
            LoadBelow(id, options.out, &tables);
            tables.Put(id, Generate(id, tables, tell));
            const std::uint64_t written = Write(id, tables.Of(id), options);
            const std::chrono::duration<double> seconds = Clock::now() - start;
            line << name << ": " << written << " bytes, " << std::fixed << std::setprecision(2)
                 << seconds.count() << " s";
        }
        tell(1);
        bar.Clear();
        console.out << line.str() << std::endl;
        // What the next class needs is kept; anything dropped would have to be read again.
        if (i + 1 < order.size()) tables.Keep(ClassesBelow(order[i + 1]));
    }
}

void PackTable(const std::string& file, bool force, Console& console) {
    const TableFile table = TableFileByName(file);
    if (table.is_compressed) throw InputError(QuoteName(file) + " is compressed already");
    AllowNewOutput(file + ".emd", force, console);
    const std::vector<std::int8_t> entries = ReadTableFile(table);
    const std::vector<std::uint8_t> packed = CompressTablebase(
        std::span(reinterpret_cast<const std::uint8_t*>(entries.data()), entries.size()));
    ReplaceFile(file + ".emd", packed);
    console.out << file << ".emd: " << packed.size() << " bytes for " << entries.size()
                << " entries\n";
}

void UnpackTable(const std::string& file, bool force, Console& console) {
    const TableFile table = TableFileByName(file);
    if (!table.is_compressed) throw InputError(QuoteName(file) + " is not compressed");
    const std::string path =
        (std::filesystem::path(file).parent_path() / TableFileName(table.class_id, table.side))
            .string();
    AllowNewOutput(path, force, console);
    const std::vector<std::int8_t> entries = ReadTableFile(table);
    ReplaceFile(path,
                std::span(reinterpret_cast<const std::uint8_t*>(entries.data()), entries.size()));
    console.out << path << ": " << entries.size() << " entries\n";
}

}  // namespace torval

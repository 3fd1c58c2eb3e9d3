#include <algorithm>
#include <filesystem>
#include <iomanip>
#include <map>
#include <set>
#include <sstream>

#include "apps/cli/positions.h"
#include "apps/cli/tb_command.h"
#include "apps/makers/set_up.h"
#include "apps/makers/tables/directories.h"
#include "apps/makers/tables/position_values.h"
#include "apps/makers/tables/table_file.h"
#include "apps/text/text.h"
#include "egtb/nalimov/lengths.h"
#include "egtb/nalimov/probe.h"
#include "egtb/nalimov/tablebase_files.h"
#include "platform/files.h"

namespace torval {

namespace {

/// The position that a FEN sets up; nullopt with more men than a class can have.
std::optional<SmallBoard> ReadSmallBoard(const std::string& fen) {
    std::string error;
    const auto parsed = ParseFen(fen, &error);
    if (!parsed) throw InputError(error);
    if (!SetUpFen(fen, &error)) throw InputError(error);
    CHSBRD stored;
    StorePosition(&stored);
    if (MayCastle(stored)) {
        throw InputError("castling is still possible: no database knows such positions");
    }
    int en_passant = kNoEnPassant;
    if (parsed->double_step.size() >= 4) {
        en_passant = (stored.color == 0 ? 5 : 2) * 8 + parsed->double_step[0] - 'a';
    }
    return SmallBoardOf(stored, en_passant);
}

/// Wins, draws and losses, and the longest mates.
struct Statistics {
    std::size_t wins = 0;
    std::size_t draws = 0;
    std::size_t losses = 0;
    std::size_t unknown = 0;
    TablebaseValue slowest_win = kUnknownValue;
    TablebaseValue slowest_loss = kUnknownValue;
    std::string win_fen;
    std::string loss_fen;
};

Statistics Count(const TableFile& file) {
    Statistics s;
    const std::vector<std::int8_t> entries = ReadTableFile(file);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const auto position = PositionAt(file.class_id, file.side, i);
        if (!position || !IsLegal(file.class_id, file.side, *position)) continue;
        const TablebaseValue value = WidenEntry(entries[i]);
        const auto fen = [&] { return FenOf(SmallBoard::Of(file.class_id, file.side, *position)); };
        if (value == kUnknownValue) {
            ++s.unknown;
        } else if (value == kDrawValue) {
            ++s.draws;
        } else if (value > 0) {
            ++s.wins;
            if (s.slowest_win == kUnknownValue || value < s.slowest_win) {
                s.slowest_win = value;
                s.win_fen = fen();
            }
        } else {
            ++s.losses;
            if (s.slowest_loss == kUnknownValue || value > s.slowest_loss) {
                s.slowest_loss = value;
                s.loss_fen = fen();
            }
        }
    }
    return s;
}

void PrintStatistics(const TableFile& file, std::ostream& out) {
    const Statistics s = Count(file);
    out << file.path << ", " << (file.side == 0 ? "first" : "second") << " side to move:\n"
        << "  wins   " << std::setw(10) << s.wins << '\n'
        << "  draws  " << std::setw(10) << s.draws << '\n'
        << "  losses " << std::setw(10) << s.losses << '\n';
    if (s.unknown > 0) out << "  unknown" << std::setw(10) << s.unknown << '\n';
    if (s.wins > 0) out << "  longest: " << ValueText(s.slowest_win) << ", " << s.win_fen << '\n';
    if (s.losses > 0) {
        out << "  longest: " << ValueText(s.slowest_loss) << ", " << s.loss_fen << '\n';
    }
}

int MenOf(int class_id) {
    const auto& men = kTablebaseClasses[static_cast<std::size_t>(class_id)].men;
    return CountOf(men[0]) + CountOf(men[1]) + 2;
}

}  // namespace

void ProbePosition(const std::string& fen, const std::string& paths, Console& console) {
    if (paths.empty()) throw InputError("--tb names no directory");
    StartEngine();
    UseTablebases(paths, console.err);
    const auto board = ReadSmallBoard(fen);
    const TablebaseValue value = board ? ValueOf(*board, ReadTablebaseValue) : kUnknownValue;
    TableReader reader(SearchedDirectories(paths));
    console.out << ValueText(value);
    if (value == kUnknownValue) {
        const Gap gap = board ? FindGap(*board, &reader) : Gap{Gap::Reason::NoClass, {}};
        console.out << ": " << gap.Words();
    }
    console.out << '\n';
    if (!board) return;
    std::set<std::string> gaps;
    const auto read = [&](int class_id, int side, std::uint64_t index) {
        const TablebaseValue found = ReadTablebaseValue(class_id, side, index);
        if (found == kUnknownValue) gaps.insert(reader.WhyUnknown(class_id, side, index).Words());
        return found;
    };
    for (const MoveValue& row : MoveValues(*board, read)) {
        const std::string text =
            row.value == MatesIn(1) ? std::string("mate") : ValueText(row.value);
        console.out << "  " << std::left << std::setw(8) << row.move << text << '\n';
    }
    for (const std::string& gap : gaps) console.out << "  unknown where " << gap << '\n';
}

void ListTables(const std::string& paths, Console& console) {
    StartEngine();
    UseTablebases(paths, console.err);
    int files = 0;
    for (int id = 1; id < kClasses; ++id) {
        for (int side = 0; side < SidesOf(id); ++side) {
            const TablebaseFiles& record =
                tablebase_files[static_cast<std::size_t>(id)][static_cast<std::size_t>(side)];
            if (record.name.empty()) continue;
            console.out << std::left << std::setw(12) << TableFileName(id, side)
                        << (record.compressed ? "compressed    " : "uncompressed  ") << record.name
                        << '\n';
            ++files;
        }
    }
    console.out << files << (files == 1 ? " file\n" : " files\n");
}

void CheckTables(const std::vector<std::string>& directories, Console& console) {
    struct Counts {
        int present = 0;
        int all = 0;
        std::string missing;
    };
    bool damaged = false;
    for (const std::string& directory : directories) {
        if (const std::string problem = MissingFolder(directory); !problem.empty()) {
            throw InputError(problem);
        }
        std::map<int, Counts> by_men;
        for (int id = 1; id < kClasses; ++id) {
            for (int side = 0; side < SidesOf(id); ++side) {
                Counts& counts = by_men[MenOf(id)];
                ++counts.all;
                if (FindTableFile({directory}, id, side)) {
                    ++counts.present;
                } else {
                    counts.missing += ' ' + TableFileName(id, side);
                }
            }
        }
        console.out << (directory.empty() ? "." : directory) << ":\n";
        for (const auto& [men, counts] : by_men) {
            console.out << "  " << men << " men: " << counts.present << " of " << counts.all
                        << " files\n";
            // A set of which no file exists is not reported as incomplete.
            if (counts.present > 0 && counts.present < counts.all) {
                console.out << "    missing:" << counts.missing << '\n';
            }
        }
        for (const std::string& problem : TablebaseProblems(directory)) {
            console.out << "  " << problem << '\n';
            damaged = true;
        }
    }
    if (damaged) throw std::runtime_error("the engine refuses damaged files");
}

void ShowTableStats(const std::string& subject, const std::string& paths, Console& console) {
    BuildIndexTables();
    if (FindClass(subject) == 0) {
        PrintStatistics(TableFileByName(subject), console.out);
        return;
    }
    const int id = ClassByName(subject);
    bool any = false;
    for (int side = 0; side < SidesOf(id); ++side) {
        const auto file = FindTableFile(SplitDirectories(paths), id, side);
        if (!file) continue;
        PrintStatistics(*file, console.out);
        any = true;
    }
    if (!any) throw InputError("--tb: there is no file of " + Quote(subject));
}

}  // namespace torval

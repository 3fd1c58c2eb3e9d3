#include <algorithm>
#include <filesystem>
#include <iomanip>
#include <set>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "apps/cli/notation.h"
#include "apps/cli/positions.h"
#include "apps/cli/thompson_command.h"
#include "apps/makers/set_up.h"
#include "apps/text/text.h"
#include "board/make.h"
#include "egtb/thompson/thompson.h"
#include "game/game.h"
#include "platform/files.h"

namespace torval {

namespace {

/// "KRR against KR, which is to move".
std::string MenText(const ThompsonMaterial& material) {
    const std::string name = ThompsonFileName(material);
    const std::size_t gap = name.find('_');
    return "K" + name.substr(0, gap) + " against K" +
           name.substr(gap + 1, name.find('.') - gap - 1) + ", which is to move";
}

std::string VolumesOf(const std::string& name) {
    std::vector<std::string> volumes;
    for (const ThompsonMaterial& material : ThompsonMaterials()) {
        if (ThompsonFileName(material) != name) continue;
        volumes.push_back(std::to_string(material.volume + 1));
    }
    return JoinWords(volumes);
}

std::string NumbersText(const std::vector<std::uint32_t>& numbers) {
    std::vector<std::string> words;
    words.reserve(numbers.size());
    for (const std::uint32_t number : numbers) words.push_back(std::to_string(number));
    return numbers.empty() ? "none" : JoinWords(words);
}

/// A value for the side to move.
std::string LossText(int value) {
    constexpr int kWithPawn = 200;
    if (value == kNoThompsonValue) return "not lost or not known";
    if (value >= kWithPawn) value -= kWithPawn;
    if (value < kLostNow) return "value " + std::to_string(value) + ", of unknown meaning";
    return value == kLostNow ? "lost now" : "lost in " + std::to_string(value - kLostNow);
}

/// The directories of a Thompson path, all of which must exist.
std::vector<std::string> DirectoriesOf(const std::string& paths) {
    std::vector<std::string> directories;
    std::istringstream list(paths);
    for (std::string directory; std::getline(list, directory, ';');) {
        std::error_code error;
        if (!directory.empty() && !std::filesystem::is_directory(NativeName(directory), error)) {
            throw InputError("--path: there is no folder " + QuoteName(directory));
        }
        directories.push_back(directory);
    }
    return directories;
}

/// The files that could know the position on the board, in the order in which they are asked.
std::vector<const ThompsonMaterial*> FilesForBoard() {
    std::vector<const ThompsonMaterial*> files;
    for (const ThompsonMaterial& material : ThompsonMaterials()) {
        const auto is_same = [&](const ThompsonMaterial* other) {
            return ThompsonFileName(*other) == ThompsonFileName(material);
        };
        if (MatchBoard(PlacesOf(material)) && std::ranges::none_of(files, is_same)) {
            files.push_back(&material);
        }
    }
    return files;
}

/// Whether the header and the last value can be read, and that of the position on the board.
bool IsReadable(const std::string& name, const ThompsonMaterial& material) {
    ThompsonFile file;
    const auto squares = MatchBoard(PlacesOf(material));
    if (!squares || !file.Open(name)) return false;
    const auto index = ThompsonIndex(material.type, *squares);
    return file.ReadValue(ThompsonPositions(material.type) - 1) &&
           (!index || file.ReadValue(*index));
}

/// Adds the files for the position on the board that the engine skips as unreadable.
void FindDamaged(const std::vector<std::string>& directories, std::set<std::string>* damaged) {
    for (const ThompsonMaterial* const material : FilesForBoard()) {
        for (const std::string& directory : directories) {
            const std::string name = NativeName(JoinName(directory, ThompsonFileName(*material)));
            std::error_code error;
            if (!std::filesystem::exists(name, error) || damaged->contains(name)) continue;
            if (!IsReadable(name, *material)) damaged->insert(name);
        }
    }
}

}  // namespace

void ShowThompsonFile(const std::string& file, Console& console) {
    ThompsonFile opened;
    if (!opened.Open(file)) {
        throw InputError(QuoteName(file) + " cannot be read, or its header is damaged");
    }
    const ThompsonHeader& header = opened.Header();
    std::ostream& out = console.out;
    const auto row = [&out](const char* name) -> std::ostream& {
        return out << "  " << std::left << std::setw(21) << name;
    };
    out << file << ": " << std::filesystem::file_size(file) << " bytes\n";
    if (const ThompsonMaterial* const material = FindThompsonMaterial(file)) {
        row("material") << MenText(*material) << '\n';
        row("volumes") << VolumesOf(ThompsonFileName(*material)) << '\n';
        row("positions") << ThompsonPositions(material->type)
                         << (material->type == ThompsonType::WithPawn ? ", with a pawn\n"
                                                                      : ", without pawns\n");
    } else {
        row("material") << "none of the list has a file of this name\n";
    }
    row("values per leaf") << header.values_per_leaf << '\n';
    row("common values") << NumbersText(header.common_values) << '\n';
    row("tree B") << header.value_tree.size() << " entries\n";
    row("tree C") << header.rare_tree.size() << " entries\n";
    row("positions per block") << header.positions_per_block << '\n';
    row("blocks") << header.block_starts.size() << '\n';
}

void ProbeThompsonPosition(const std::string& fen, const std::string& paths, Console& console) {
    if (paths.empty()) throw InputError("--path names no directory");
    const std::vector<std::string> directories = DirectoriesOf(paths);
    StartEngine();
    std::string error;
    if (!SetUpFen(fen, &error)) throw InputError(error);
    BeginThompsonProbe(paths);
    const int value = ProbeThompson();
    console.out << LossText(value) << '\n';
    const bool missing = ThompsonFileIsMissing();
    std::set<std::string> damaged;
    FindDamaged(directories, &damaged);
    std::vector<std::string> names;
    for (const ThompsonMaterial* const file : FilesForBoard()) {
        names.push_back(ThompsonFileName(*file));
    }
    if (names.empty()) {
        console.out << "  no file is for these men\n";
    } else if (missing && damaged.empty()) {
        console.out << "  needs one of: " << JoinWords(names) << '\n';
    }
    struct Row {
        std::string move;
        int value;
    };
    std::vector<Row> rows;
    for (MoveEntry* entry = EntryAt(legal_moves->quiet_head); entry; entry = NextEntry(*entry)) {
        const Move move = Plain(entry->move);
        const std::string text = Algebraic(move);
        MakeMove(move);
        rows.push_back({text, ProbeThompson()});
        FindDamaged(directories, &damaged);
        UnmakeMove();
    }
    std::ranges::stable_sort(rows, std::less{}, &Row::value);
    for (const Row& row : rows) {
        console.out << "  " << std::left << std::setw(8) << row.move << "opponent "
                    << LossText(row.value) << '\n';
    }
    CloseThompsonFiles();
    if (damaged.empty()) return;
    std::string names_of_damaged;
    for (const std::string& name : damaged) names_of_damaged += QuoteName(name) + ' ';
    throw std::runtime_error("damaged or cut short: " + names_of_damaged +
                             "(torval thompson verify tells more)");
}

}  // namespace torval

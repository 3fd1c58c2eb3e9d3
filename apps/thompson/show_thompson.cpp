#include <algorithm>
#include <filesystem>
#include <iomanip>

#include "apps/notation.h"
#include "apps/positions.h"
#include "apps/text.h"
#include "apps/thompson/thompson_commands.h"
#include "board/make.h"
#include "egtb/thompson.h"
#include "game/game.h"

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

/// The files that could know the position on the board; empty for none.
std::string FilesForBoard() {
    std::vector<std::string> names;
    for (const ThompsonMaterial& material : ThompsonMaterials()) {
        const std::string name = ThompsonFileName(material);
        if (MatchBoard(PlacesOf(material)) && std::ranges::count(names, name) == 0) {
            names.push_back(name);
        }
    }
    return JoinWords(names);
}

}  // namespace

void ShowThompsonFile(const std::string& file, Console& console) {
    ThompsonFile opened;
    if (!opened.Open(file)) {
        throw InputError(Quote(file) + " cannot be read, or its header is damaged");
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
    StartEngine();
    std::string error;
    if (!SetUpFen(fen, &error)) throw InputError(error);
    BeginThompsonProbe(paths);
    const int value = ProbeThompson();
    console.out << LossText(value) << '\n';
    const bool missing = ThompsonFileIsMissing();
    const std::string names = FilesForBoard();
    if (names.empty()) {
        console.out << "  no file is for these men\n";
    } else if (missing) {
        console.out << "  needs one of: " << names << '\n';
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
        UnmakeMove();
    }
    std::ranges::stable_sort(rows, std::less{}, &Row::value);
    for (const Row& row : rows) {
        console.out << "  " << std::left << std::setw(8) << row.move << "opponent "
                    << LossText(row.value) << '\n';
    }
    CloseThompsonFiles();
}

}  // namespace torval

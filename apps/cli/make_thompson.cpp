#include <algorithm>
#include <array>
#include <bit>
#include <chrono>
#include <filesystem>
#include <iomanip>
#include <map>
#include <set>

#include "apps/cli/thompson_command.h"
#include "apps/makers/tables/small_board.h"
#include "apps/makers/tables/table_file.h"
#include "apps/makers/thompson/write_thompson.h"
#include "apps/text/progress.h"
#include "apps/text/replace_file.h"
#include "apps/text/text.h"
#include "egtb/nalimov/values.h"
#include "egtb/thompson/thompson.h"
#include "egtb/thompson/thompson_materials.h"
#include "platform/files.h"

namespace torval {

namespace {

constexpr int kSteps = 20;  // of the progress of a file

/// Men of a material by their places, a bit each.
using Present = unsigned;

/// The tables that know positions with some or all of a material's men.
class Sources {
public:
    Sources(const ThompsonMaterial& material, const std::vector<std::string>& directories)
        : material_(material) {
        for (Present present = 1; present < tables_.size(); ++present) {
            if (CanOccur(present)) Load(present, directories);
        }
    }

    std::string Known() const { return JoinWords({known_.begin(), known_.end()}); }
    std::string Missing() const { return JoinWords({missing_.begin(), missing_.end()}); }

    /// The value with the men on these squares, those on the first square being absent; 0 when no
    /// table knows it.
    std::uint8_t ValueAt(const ThompsonSquares& squares) const {
        static_assert(kLostNow + 126 < 200, "no table has a value that a file has no byte for");
        Present present = 0;
        for (std::size_t i = 0; i < kMen; ++i) {
            if (squares[kFirstMan + i] != squares[0]) present |= 1U << i;
        }
        const std::vector<std::int8_t>* const table = tables_[present];
        if (!table) return 0;
        const SmallBoard board = BoardOf(present, squares);
        if (std::popcount(board.Occupied()) != std::popcount(present) + 2) return 0;
        const Place place = Locate(board);
        const auto index = IndexOf(place.class_id, place.side, place.position);
        if (!index || board.InCheck(1)) return 0;
        const TablebaseValue value = WidenEntry((*table)[static_cast<std::size_t>(*index)]);
        if (value >= kDrawValue) return 0;
        return static_cast<std::uint8_t>(kLostNow + value - MatedIn(0));
    }

private:
    static constexpr std::size_t kMen = 3;
    static constexpr std::size_t kFirstMan = 2;  // among the places

    /// Where a position's value is stored.
    struct Place {
        int class_id;
        int side;  ///< of the file
        ClassPosition position;
    };

    static Place Locate(const SmallBoard& board) {
        Place place = {};
        place.class_id = std::abs(board.Classify(&place.position, &place.side));
        if (SidesOf(place.class_id) == 1) place.side = 0;
        return place;
    }

    /// Of identical men the first place is never free while a later one is taken.
    bool CanOccur(Present present) const {
        for (std::size_t i = 0; i + 1 < kMen; ++i) {
            const bool alike = material_.men[i] == material_.men[i + 1];
            if (alike && !(present >> i & 1) && (present >> (i + 1) & 1)) return false;
        }
        return true;
    }

    /// The side to move has Black's codes and moves up the board: it is the first side.
    SmallBoard BoardOf(Present present, const ThompsonSquares& squares) const {
        SmallBoard board;
        board.side[0].king = squares[1];
        board.side[1].king = squares[0];
        for (std::size_t i = 0; i < kMen; ++i) {
            if (!(present >> i & 1)) continue;
            const PieceCode man = material_.men[i];
            SmallBoard::Men& men = board.side[SideOf(man) == Black ? 0 : 1];
            men.type[men.count] = TypeOf(man);
            men.square[men.count++] = squares[kFirstMan + i];
        }
        return board;
    }

    void Load(Present present, const std::vector<std::string>& directories) {
        const Place place = Locate(BoardOf(present, {}));
        if (place.class_id == 0) return;
        const std::string name = TableFileName(place.class_id, place.side);
        if (!entries_.contains(name)) {
            const auto file = FindTableFile(directories, place.class_id, place.side);
            if (!file) {
                missing_.insert(name);
                return;
            }
            entries_[name] = ReadTableFile(*file);
            known_.insert(name);
        }
        tables_[present] = &entries_[name];
    }

    const ThompsonMaterial& material_;
    std::map<std::string, std::vector<std::int8_t>> entries_;
    std::array<const std::vector<std::int8_t>*, 1U << kMen> tables_ = {};
    std::set<std::string> known_;
    std::set<std::string> missing_;
};

std::string OutputName(const ThompsonMaterial& material, const MakeThompsonOptions& options) {
    return (std::filesystem::path(options.out) / ThompsonFileName(material)).string();
}

void MakeFile(const ThompsonMaterial& material,
              const MakeThompsonOptions& options,
              ProgressBar* bar,
              Console& console) {
    const auto start = std::chrono::steady_clock::now();
    const std::string name = ThompsonFileName(material);
    const Sources sources(material, SplitDirectories(options.from));
    if (sources.Known().empty()) {
        throw InputError("--from: there is none of " + sources.Missing());
    }
    int steps = 0;
    const auto tell = [&](double part) {
        for (; steps < static_cast<int>(part * kSteps); ++steps) bar->Step();
    };
    const std::vector<std::uint8_t> values = ThompsonValuesBy(
        material.type,
        ThompsonPositions(material.type),
        [&](const ThompsonSquares& squares) { return sources.ValueAt(squares); },
        tell);
    const std::vector<std::uint8_t> bytes = WriteThompson(values, ChooseThompsonShape(values));
    ReplaceFile(OutputName(material, options), bytes);
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    const auto not_lost = std::ranges::count(values, 0);
    tell(1);
    bar->Clear();
    console.out << name << ": " << bytes.size() << " bytes, "
                << values.size() - static_cast<std::size_t>(not_lost) << " of " << values.size()
                << " positions lost, " << std::fixed << std::setprecision(1) << seconds.count()
                << " s\n  from " << sources.Known() << '\n';
    if (!sources.Missing().empty()) {
        console.out << "  without " << sources.Missing() << '\n';
    }
    console.out << std::flush;
}

}  // namespace

void MakeThompsonFiles(const MakeThompsonOptions& options, Console& console) {
    BuildIndexTables();
    std::vector<const ThompsonMaterial*> materials;
    for (const std::string& name : options.names) {
        const ThompsonMaterial* const material = FindThompsonMaterial(name);
        if (!material || ThompsonFileName(*material) != name) {
            throw InputError("there is no file " + QuoteName(name) + " in the list");
        }
        materials.push_back(material);
    }
    std::error_code error;
    std::filesystem::create_directories(options.out, error);
    if (!std::filesystem::is_directory(options.out)) {
        throw InputError("--out: " + QuoteName(options.out) + " is no directory");
    }
    for (const ThompsonMaterial* const material : materials) {
        AllowNewOutput(OutputName(*material, options), options.force, console);
    }
    ProgressBar bar(console, materials.size() * kSteps);
    for (const ThompsonMaterial* const material : materials) {
        MakeFile(*material, options, &bar, console);
    }
}

}  // namespace torval

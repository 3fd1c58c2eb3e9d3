#include "apps/host/databases.h"

#include <array>

#include "apps/makers/tables/table_file.h"
#include "apps/text/text.h"
#include "egtb/nalimov/index.h"
#include "torval/library.h"
#include "torval/pages.h"

namespace torval {

namespace {

/// How the registration words a fault around the file's name, and what that means.
struct Fault {
    std::string_view before;
    std::string_view behind;
    const char* meaning;
};
constexpr std::array kFaults = {
    Fault{"*** Unable to read ", " - read error", " is no database file, or ends too early"},
    Fault{"*** Unable to read ", " - out of memory", " needs more memory than there is"},
    Fault{"*** Unable to read ", " - file broken", " is damaged"},
    Fault{"*** Seek in ", " failed", " cannot be read"},
};

/// "'/tb/krk.nbw' is damaged". Faults that are not in the list keep their own words.
std::string InWords(std::string_view line) {
    for (const Fault& fault : kFaults) {
        if (!line.starts_with(fault.before) || !line.ends_with(fault.behind)) continue;
        line.remove_prefix(fault.before.size());
        line.remove_suffix(fault.behind.size());
        return QuoteName(line) + fault.meaning;
    }
    constexpr std::string_view kStart = "*** ";
    constexpr std::string_view kLength = " corrupted ";
    if (line.starts_with(kStart)) line.remove_prefix(kStart.size());
    const std::size_t name = line.rfind(kLength);
    if (name == line.npos) return std::string(line);
    // The length that the file should have stands there twice, the one it has behind.
    const std::vector<std::string_view> numbers = SplitWords(line.substr(name + kLength.size()));
    if (numbers.size() != 3) return std::string(line);
    return QuoteName(line.substr(0, name)) + " is damaged: it has " + std::string(numbers[2]) +
           " entries, not " + std::string(numbers[0]);
}

/// What is wrong with the first file that the engine could not use.
std::string FirstProblem(const std::string& paths) {
    const std::vector<std::string> problems = TablebaseProblems(paths);
    return problems.empty() ? std::string() : InWords(problems.front());
}

}  // namespace

std::string NalimovPathProblem(const std::string& paths) {
    if (paths.size() > kLongestNalimovPath) {
        return "it has at most " + std::to_string(kLongestNalimovPath) + " characters, not " +
               std::to_string(paths.size());
    }
    if (paths.empty()) return {};
    if (IsPassedOver(paths)) {
        return "it cannot begin with a blank or an accented letter; './' in front of it helps";
    }
    return FirstProblem(paths);
}

std::string LeaveOutDamagedOwnDirectory() {
    const std::string problem = FirstProblem(OwnDirectory());
    SearchOwnDirectory(problem.empty());
    if (problem.empty()) return {};
    return "databases beside the program are not used: " + problem;
}

std::string ThompsonPathProblem(std::string_view paths) {
    if (paths.size() <= kLongestThompsonPath) return {};
    return "it has at most " + std::to_string(kLongestThompsonPath) + " characters, not " +
           std::to_string(paths.size()) + "; a link to the directory can be shorter";
}

bool RegisterNalimovPath(IUnknown* engine, const std::string& paths, std::uint32_t cache_mb) {
    // Only the page has the engine look again; a settings stream is not enough.
    Ref<IPropertyPage> page;
    HRESULT result = CreateInstance(CLSID_EngineSettings, IID_IPropertyPage, page.ReceiveVoid());
    if (result == S_OK) result = page->SetObjects(1, &engine);
    if (result == S_OK) result = page->Activate();
    if (result != S_OK) return false;
    result = page->SetText(kCacheSizeControl, std::to_string(cache_mb).c_str());
    if (result == S_OK) result = page->SetText(kNalimovPathControl, paths.c_str());
    if (result == S_OK) result = page->Apply();
    page->Deactivate();
    return result == S_OK;
}

std::string MissingVolumesSentence(std::string_view volumes, std::string_view paths) {
    // A digit is one more than its volume's number.
    std::vector<std::string> names;
    for (const std::string_view word : SplitWords(volumes)) {
        if (word == "of") continue;
        if (word.size() != 1 || word[0] < '2' || word[0] > '9') {
            return "Thompson databases are missing: " + std::string(volumes) + ".";
        }
        names.emplace_back(1, static_cast<char>(word[0] - 1));
    }
    std::string list;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (i > 0) list += i + 1 == names.size() ? " or " : ", ";
        list += names[i];
    }
    return "This position needs volume " + list + " of the Thompson databases, which is not in " +
           QuoteName(paths) + ".";
}

void DatabaseWords::Use(const std::string& paths) {
    reader_ = TableReader(SearchedDirectories(paths));
}

std::string DatabaseWords::Extent() const {
    const TableReader::Extent extent = reader_.Count();
    if (extent.files == 0) return "no files";
    return std::to_string(extent.files) + (extent.files == 1 ? " file" : " files") + " of up to " +
           std::to_string(extent.men) + " men";
}

std::optional<TablebaseValue> DatabaseWords::Value(const CHSBRD& board, const EVAR* last) {
    if (MayCastle(board)) return std::nullopt;
    const auto small = SmallBoardOf(board, last ? PassedSquare(board, *last) : kNoEnPassant);
    if (!small || small->side[0].count + small->side[1].count == 0) return std::nullopt;
    BuildIndexTables();
    const TablebaseValue value = ValueOf(
        *small, [this](int id, int side, std::uint64_t at) { return reader_.Read(id, side, at); });
    return value == kUnknownValue ? std::nullopt : std::optional(value);
}

std::vector<std::string> DatabaseWords::Lines(const CHSBRD& board, const EVAR* last) {
    const auto small = SmallBoardOf(board, last ? PassedSquare(board, *last) : kNoEnPassant);
    if (!small) return {"There are too many men on the board for the databases."};
    if (MayCastle(board)) return {"Castling is still possible: no database knows such positions."};
    BuildIndexTables();
    const EntryReader read = [this](int id, int side, std::uint64_t at) {
        return reader_.Read(id, side, at);
    };
    const TablebaseValue value = ValueOf(*small, read);
    std::vector<std::string> lines;
    if (value == kUnknownValue) {
        const Gap gap = FindGap(*small, &reader_);
        switch (gap.reason) {
            case Gap::Reason::NoClass: lines.emplace_back("No database knows these men."); break;
            case Gap::Reason::NoFile:
                lines.push_back("There is no file that knows this position: " + gap.file +
                                " would.");
                break;
            default:
                lines.push_back("The databases do not know this position: " + gap.Words() + ".");
        }
    } else {
        lines.push_back(std::string(board.color == 0 ? "White" : "Black") +
                        " to move: " + ValueText(value) + ".");
    }
    TablebaseValue row = kUnknownValue;
    for (const MoveValue& move : MoveValues(*small, read)) {
        // Without files there is nothing to say about moves either.
        if (move.value == kUnknownValue && value == kUnknownValue) continue;
        if (move.value != row || lines.size() == 1) {
            lines.push_back("  " + ValueText(move.value) + ":");
            row = move.value;
        }
        lines.back() += " " + move.move;
    }
    return lines;
}

}  // namespace torval

#include "apps/host/databases.h"

#include <array>

#include "apps/makers/tables/directories.h"
#include "apps/text/text.h"
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
    // The text has the expected length twice, then the actual one.
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
    // Only the page makes the engine look again; a settings stream is not enough.
    Ref<IPropertyPage> page;
    HRESULT result = CreateInstance(CLSID_EngineSettings, IID_IPropertyPage, page.ReceiveVoid());
    if (result == S_OK) result = page->SetObjects(1, &engine);
    if (result == S_OK) result = page->Activate();
    if (result != S_OK) return false;
    result = page->SetText(kCacheSizeEdit, std::to_string(cache_mb).c_str());
    if (result == S_OK) result = page->SetText(kNalimovPathEdit, paths.c_str());
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

}  // namespace torval

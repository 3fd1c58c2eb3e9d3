#include "platform/files.h"

#include <link.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace torval {

namespace {

constexpr std::string_view kSeparators = "/\\";
constexpr std::string_view kListSeparators = ",;";

/// A search for the loaded module that holds an address.
struct ModuleSearch {
    ElfW(Addr) address;
    const char* name;  ///< the loader's, as long as this code is loaded
};

/// One module of the process; 1 ends the walk.
int CompareModule(dl_phdr_info* module, std::size_t, void* data) {
    auto& search = *static_cast<ModuleSearch*>(data);
    for (int i = 0; i < module->dlpi_phnum; ++i) {
        const ElfW(Phdr)& segment = module->dlpi_phdr[i];
        const ElfW(Addr) start = module->dlpi_addr + segment.p_vaddr;
        if (segment.p_type != PT_LOAD || search.address < start) continue;
        if (search.address - start >= segment.p_memsz) continue;
        search.name = module->dlpi_name;
        return 1;
    }
    return 0;
}

}  // namespace

std::string ComponentFileName() {
    ModuleSearch search = {.address = reinterpret_cast<ElfW(Addr)>(&CompareModule), .name = ""};
    dl_iterate_phdr(CompareModule, &search);
    // The program itself has no name in the list of modules.
    if (*search.name == 0) return HostFileName();
    // A library may have been loaded by a name relative to the directory of that moment.
    std::error_code error;
    const std::filesystem::path full = std::filesystem::canonical(search.name, error);
    return error ? search.name : full.string();
}

std::string HostFileName() {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error).string();
}

std::string NativeName(std::string_view name) {
    std::string native(name);
    std::replace(native.begin(), native.end(), '\\', '/');
    return native;
}

bool HasSeparator(std::string_view name) {
    return name.find_first_of(kSeparators) != std::string_view::npos;
}

std::string_view DirectoryOf(std::string_view name) {
    // Nothing found wraps around to an empty directory.
    return name.substr(0, name.find_last_of(kSeparators) + 1);
}

std::vector<std::string> SplitDirectories(std::string_view list) {
    std::vector<std::string> directories;
    for (;;) {
        const std::size_t end = list.find_first_of(kListSeparators);
        directories.emplace_back(list.substr(0, end));
        if (end == std::string_view::npos) return directories;
        list.remove_prefix(end + 1);
    }
}

std::string JoinName(std::string_view directory, std::string_view name) {
    std::string joined(directory);
    if (!joined.empty() && kSeparators.find(joined.back()) == std::string_view::npos) joined += '/';
    return joined.append(name);
}

std::optional<std::string> FindFile(std::span<const std::string> directories,
                                    std::string_view name) {
    for (const std::string& directory : directories) {
        std::string candidate = NativeName(JoinName(directory, name));
        std::error_code error;
        if (!std::filesystem::is_regular_file(candidate, error)) continue;
        if (access(candidate.c_str(), R_OK) == 0) return candidate;
    }
    return std::nullopt;
}

}  // namespace torval

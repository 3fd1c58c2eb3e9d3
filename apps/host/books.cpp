#include "apps/host/books.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

#include "apps/makers/books/empty_book.h"
#include "apps/text/replace_file.h"
#include "apps/text/text.h"
#include "torval/codes.h"

namespace torval {

namespace {

namespace fs = std::filesystem;

constexpr const char* kMainBook = "TORVAL.BK1";
constexpr const char* kUserBook = "USERBOOK.BK";

/// Opened as the engine does.
bool IsWritableFile(const fs::path& path) {
    std::error_code error;
    return fs::is_regular_file(path, error) &&
           std::fstream(path, std::ios::binary | std::ios::in | std::ios::out).is_open();
}

/// The shipped book, whether or not it can be written; empty when there is none.
fs::path ShippedBook(const fs::path& program) {
    std::error_code error;
    if (program.empty()) return {};
    for (const char* directory : {".", "share/torval", "../share/torval"}) {
        fs::path path = (program / directory / kMainBook).lexically_normal();
        if (fs::is_regular_file(path, error)) return path;
    }
    return {};
}

/// Puts a file into place unless one exists. Returns whether the engine can use the file there.
bool PutFile(const fs::path& path, const std::vector<std::uint8_t>& bytes) {
    std::error_code error;
    fs::create_directories(path.parent_path(), error);
    try {
        // Another process may have been faster; its file serves as well.
        CreateFile(path.string(), bytes);
    } catch (const std::runtime_error&) {
        return false;
    }
    return IsWritableFile(path);
}

std::vector<std::uint8_t> BytesOf(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::string PlaceMainBook(const BookPlaces& places, std::vector<std::string>* remarks) {
    const fs::path data = places.data;
    const fs::path shipped = ShippedBook(places.program);
    const fs::path copy = data / kMainBook;
    if (IsWritableFile(shipped)) return shipped;
    if (!data.empty() && IsWritableFile(copy)) return copy;
    if (shipped.empty()) {
        remarks->push_back(std::string("the main opening book, ") + kMainBook + ", is missing");
        return {};
    }
    if (!data.empty() && PutFile(copy, BytesOf(shipped))) return copy;
    remarks->push_back("the main opening book " + QuoteName(shipped.string()) +
                       " cannot be written, nor copied to " + QuoteName(data.string()));
    return {};
}

std::string PlaceUserBook(const fs::path& data, std::vector<std::string>* remarks) {
    const fs::path path = data / kUserBook;
    if (!data.empty()) {
        if (IsWritableFile(path) || PutFile(path, EmptyUserBook())) return path;
    }
    remarks->push_back("there is no user book: " + QuoteName(path.string()) + " cannot be written");
    return {};
}

std::string UserDataDirectory() {
    const char* const data = std::getenv("XDG_DATA_HOME");
    // A relative directory is to be ignored.
    if (data && data[0] == '/') return std::string(data) + "/torval";
    const char* const home = std::getenv("HOME");
    return home && home[0] == '/' ? std::string(home) + "/.local/share/torval" : std::string();
}

}  // namespace

BookPlaces BookPlaces::OfThisProcess() {
    std::error_code error;
    return {.program = fs::read_symlink("/proc/self/exe", error).parent_path().string(),
            .data = UserDataDirectory()};
}

BookFiles PrepareMainBook(const BookPlaces& places) {
    BookFiles files;
    files.main = PlaceMainBook(places, &files.remarks);
    return files;
}

BookFiles PrepareBooks(const std::string& main, const BookPlaces& places) {
    BookFiles files;
    if (main.empty()) files = PrepareMainBook(places);
    if (!main.empty()) files.main = fs::absolute(main).string();
    files.user = PlaceUserBook(places.data, &files.remarks);
    return files;
}

std::string BookProblem(const std::string& path, int result) {
    switch (result) {
        case StatusBadText: return "the name of a book has at most 255 characters";
        case BookNotABook: return QuoteName(path) + " is no opening book";
        case BookNotOpened:
            return "the book " + QuoteName(path) + " is missing or cannot be written";
        default: return "the book " + QuoteName(path) + " cannot be opened";
    }
}

}  // namespace torval

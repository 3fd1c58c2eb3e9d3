// Opening books as the hosts and commands use them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "apps/cli/positions.h"
#include "apps/host/books.h"

namespace torval {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

/// A data directory of its own, and a statistics book with 1. e4 (900 games) and 1. d4 (700).
class HostBooks : public testing::Test {
protected:
    HostBooks() {
        std::string pattern = (fs::temp_directory_path() / "torval-books-XXXXXX").string();
        home_ = mkdtemp(pattern.data());
        setenv("XDG_DATA_HOME", home_.c_str(), 1);
        book_ = (home_ / "book.bx").string();
        fs::copy(TORVAL_TEST_DATA "/reference/book/sample2.bx", book_);
        StartEngine();
    }
    ~HostBooks() override {
        fs::remove_all(home_);
        unsetenv("XDG_DATA_HOME");
        StartEngine();
    }

    fs::path home_;
    std::string book_;
};

TEST_F(HostBooks, TheUserBookBeginsEmptyAndStays) {
    const BookFiles files = PrepareBooks(book_);
    EXPECT_EQ(files.user, (home_ / "torval/USERBOOK.BK").string());
    ASSERT_TRUE(fs::is_regular_file(files.user));
    std::ofstream(files.user, std::ios::app) << "x";
    const auto size = fs::file_size(files.user);
    EXPECT_EQ(PrepareBooks(book_).user, files.user);
    EXPECT_EQ(fs::file_size(files.user), size);
    // Nowhere to put it: reported in words.
    std::ofstream(home_ / "file") << "";
    setenv("XDG_DATA_HOME", (home_ / "file").c_str(), 1);
    const BookFiles none = PrepareBooks(book_);
    EXPECT_EQ(none.user, "");
    ASSERT_EQ(none.remarks.size(), 1U);
    EXPECT_THAT(none.remarks[0], HasSubstr("there is no user book"));
}

/// While it lives, files without permission for others are closed to this process even when root
/// runs it.
class WithoutRights {
public:
    WithoutRights() {
        constexpr uid_t kNobody = 65534;
        if (was_ == 0) {
            EXPECT_EQ(seteuid(kNobody), 0);
        }
    }
    ~WithoutRights() {
        if (was_ == 0) {
            EXPECT_EQ(seteuid(was_), 0);
        }
    }
    WithoutRights(const WithoutRights&) = delete;
    WithoutRights& operator=(const WithoutRights&) = delete;

private:
    const uid_t was_ = geteuid();
};

TEST_F(HostBooks, TheShippedBookServesInPlaceOrAsACopy) {
    const fs::path shipped = home_ / "share/torval/TORVAL.BK1";
    const BookPlaces places = {.program = (home_ / "bin").string(),
                               .data = (home_ / "data/torval").string()};
    const std::string copy = places.data + "/TORVAL.BK1";
    fs::create_directories(places.program);
    EXPECT_THAT(PrepareMainBook(places).remarks, testing::ElementsAre(HasSubstr("is missing")));

    fs::create_directories(shipped.parent_path());
    std::ofstream(shipped) << "shipped";
    EXPECT_EQ(PrepareMainBook(places).main, shipped.string());
    EXPECT_FALSE(fs::exists(places.data));

    const auto readable = fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read;
    fs::permissions(shipped, readable);
    fs::permissions(home_, fs::perms::all);
    const WithoutRights without_rights;
    const auto text_of = [](const fs::path& path) {
        std::string text;
        std::ifstream(path) >> text;
        return text;
    };
    EXPECT_EQ(PrepareMainBook(places).main, copy);
    EXPECT_EQ(text_of(copy), "shipped");
    std::ofstream(copy) << "edited";
    EXPECT_EQ(PrepareMainBook(places).main, copy);
    EXPECT_EQ(text_of(copy), "edited");
    const BookFiles nowhere = PrepareMainBook({.program = places.program, .data = "/proc/torval"});
    EXPECT_EQ(nowhere.main, "");
    EXPECT_THAT(nowhere.remarks, testing::ElementsAre(HasSubstr("cannot be written, nor copied")));
}

}  // namespace
}  // namespace torval

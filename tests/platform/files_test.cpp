#include "platform/files.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace torval {
namespace {

TEST(DirectoryOf, EndsBehindTheLastSeparatorOfEitherKind) {
    struct Row {
        const char* name;
        const char* directory;
    };
    for (const auto& [name, directory] : {Row{"", ""},
                                          Row{"BOOK.BK1", ""},
                                          Row{"/BOOK.BK1", "/"},
                                          Row{"/a/b/BOOK", "/a/b/"},
                                          Row{"/a/b/", "/a/b/"},
                                          Row{"a\\b\\BOOK", "a\\b\\"},
                                          Row{"a\\b/BOOK", "a\\b/"},
                                          Row{"a/b\\BOOK", "a/b\\"}}) {
        EXPECT_EQ(DirectoryOf(name), directory) << name;
        EXPECT_EQ(HasSeparator(name), *directory != 0) << name;
    }
}

TEST(NativeName, HasSlashesOnly) {
    EXPECT_EQ(NativeName("e:\\tb/kqk.nbw\\"), "e:/tb/kqk.nbw/");
    EXPECT_EQ(NativeName(""), "");
}

TEST(SplitDirectories, DividesAtEveryCommaAndSemicolon) {
    using Directories = std::vector<std::string>;
    struct Row {
        const char* list;
        Directories directories;
    };
    const Row rows[] = {
        {"", {""}},
        {"/a", {"/a"}},
        {"/a;/b,/c", {"/a", "/b", "/c"}},
        {"/a,;/b", {"/a", "", "/b"}},
        {";/a", {"", "/a"}},
        {"/a;", {"/a", ""}},
        {";", {"", ""}},
        {" /a ; /b:c", {" /a ", " /b:c"}},
    };
    for (const Row& row : rows) EXPECT_EQ(SplitDirectories(row.list), row.directories) << row.list;
}

TEST(JoinName, PutsOneSeparatorBetween) {
    EXPECT_EQ(JoinName("", "kqk.nbw"), "kqk.nbw");
    EXPECT_EQ(JoinName("/tb", "kqk.nbw"), "/tb/kqk.nbw");
    EXPECT_EQ(JoinName("/tb/", "kqk.nbw"), "/tb/kqk.nbw");
    EXPECT_EQ(JoinName("e:\\tb\\", "kqk.nbw"), "e:\\tb\\kqk.nbw");
}

TEST(ModuleFileNames, AreThoseOfThisProgram) {
    const std::filesystem::path host = HostFileName();
    EXPECT_TRUE(host.is_absolute());
    EXPECT_TRUE(std::filesystem::equivalent(host, "/proc/self/exe"));
    // The tests hold the engine within themselves.
    EXPECT_EQ(ComponentFileName(), HostFileName());
}

TEST(FindFile, TakesTheFirstDirectoryThatHasIt) {
    namespace fs = std::filesystem;
    std::string root = (fs::temp_directory_path() / "torval-XXXXXX").string();
    ASSERT_NE(mkdtemp(root.data()), nullptr);
    for (const char* directory : {"/one", "/two", "/three"}) {
        fs::create_directory(root + directory);
    }
    fs::create_directory(root + "/one/book");  // a directory is no file
    std::ofstream(root + "/two/book") << '2';
    std::ofstream(root + "/three/book") << '3';

    const std::string both[] = {root + "/none", root + "/one", root + "/two", root + "/three"};
    EXPECT_EQ(FindFile(both, "book"), root + "/two/book");
    const std::string other_order[] = {root + "/three/", root + "/two"};
    EXPECT_EQ(FindFile(other_order, "book"), root + "/three/book");
    const std::string above[] = {root};
    EXPECT_EQ(FindFile(above, "two\\book"), root + "/two/book") << "a host's separator";
    EXPECT_EQ(FindFile(above, "book"), std::nullopt);
    EXPECT_EQ(FindFile({}, "book"), std::nullopt);
    fs::remove_all(root);
}

}  // namespace
}  // namespace torval

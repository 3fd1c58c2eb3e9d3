// The one writer of users' files: what it follows, keeps and refuses.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "apps/text/replace_file.h"

namespace torval {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class ReplaceFileTest : public testing::Test {
protected:
    ReplaceFileTest() {
        fs::remove_all(folder_);
        fs::create_directories(folder_ / "sub");
        std::ofstream(File("old")) << "old";
    }
    ~ReplaceFileTest() override { fs::remove_all(folder_); }

    std::string File(const std::string& name) const { return (folder_ / name).string(); }
    std::string Text(const std::string& name) const {
        std::ostringstream text;
        text << std::ifstream(File(name)).rdbuf();
        return text.str();
    }
    std::ptrdiff_t Entries() const { return std::distance(fs::directory_iterator(folder_), {}); }

    fs::path folder_ = fs::path(testing::TempDir()) / ("torval_files_" + std::to_string(getpid()));
};

TEST_F(ReplaceFileTest, WritesToTheFileBehindLinks) {
    fs::create_symlink("old", File("link"));
    fs::create_symlink(File("link"), File("sub/chain"));
    fs::create_symlink("new", File("dangling"));
    struct Row {
        const char* name;
        const char* file;
    };
    for (const Row& row : {Row{"old", "old"},
                           Row{"link", "old"},
                           Row{"sub/chain", "old"},
                           Row{"dangling", "new"},
                           Row{"dangling", "new"}}) {
        ReplaceFile(File(row.name), row.name);
        EXPECT_EQ(Text(row.file), row.name);
        EXPECT_FALSE(fs::is_symlink(File(row.file)));
    }
    for (const char* link : {"link", "sub/chain", "dangling"}) {
        EXPECT_TRUE(fs::is_symlink(File(link))) << link;
    }
    const std::string longest(255, 'n');
    ReplaceFile(File(longest), "long");
    EXPECT_EQ(Text(longest), "long");
    EXPECT_EQ(Entries(), 6) << "nothing else is left";
}

TEST_F(ReplaceFileTest, KeepsTheModeOrTakesTheUmask) {
    const auto mode = [this](const char* name) {
        struct stat status {};
        stat(File(name).c_str(), &status);
        return status.st_mode & 07777U;
    };
    chmod(File("old").c_str(), 0640);
    ReplaceFile(File("old"), "more");
    EXPECT_EQ(mode("old"), 0640U);
    const mode_t before = umask(027);
    ReplaceFile(File("new"), "new");
    umask(before);
    EXPECT_EQ(mode("new"), 0640U);
}

TEST_F(ReplaceFileTest, RefusesWhatIsNoFile) {
    ASSERT_EQ(mkfifo(File("pipe").c_str(), 0600), 0);
    fs::create_symlink("pipe", File("link"));
    fs::create_symlink("/dev/null", File("device"));
    fs::create_symlink("b", File("a"));
    fs::create_symlink("a", File("b"));
    // The name of a socket is short; the folder's may not be.
    const int here = open(".", O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(chdir(folder_.c_str()), 0);
    const int made = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = {.sun_family = AF_UNIX, .sun_path = "socket"};
    EXPECT_EQ(bind(made, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    close(made);
    ASSERT_EQ(fchdir(here), 0);
    close(here);
    const std::ptrdiff_t entries = Entries();
    struct Row {
        const char* name;
        const char* why;
    };
    for (const Row& row : {Row{"pipe", "it is a pipe, not a file"},
                           Row{"link", "it is a pipe, not a file"},
                           Row{"device", "it is a device, not a file"},
                           Row{"socket", "it is a socket, not a file"},
                           Row{"sub", "it is a folder, not a file"},
                           Row{"a", "its links lead round in a circle"},
                           Row{"nowhere/x", "No such file or directory"},
                           Row{"old/x", "Not a directory"}}) {
        const auto status = fs::symlink_status(File(row.name));
        try {
            ReplaceFile(File(row.name), "new");
            ADD_FAILURE() << row.name;
        } catch (const std::runtime_error& error) {
            EXPECT_EQ(error.what(), "'" + File(row.name) + "' cannot be written: " + row.why);
        }
        EXPECT_EQ(fs::symlink_status(File(row.name)).type(), status.type());
    }
    EXPECT_EQ(Entries(), entries) << "nothing is left beside them";
}

TEST_F(ReplaceFileTest, CreatesOnlyWhatIsNotThere) {
    const std::vector<std::uint8_t> bytes = {'n', 'e', 'w'};
    EXPECT_FALSE(CreateFile(File("old"), bytes));
    EXPECT_EQ(Text("old"), "old");
    EXPECT_TRUE(CreateFile(File("new"), bytes));
    EXPECT_EQ(Text("new"), "new");
    EXPECT_EQ(Entries(), 3);
}

TEST_F(ReplaceFileTest, NewOutputIsAskedAboutAtATerminal) {
    struct Row {
        const char* name;
        bool force;
        bool terminal;
        const char* answer;
        const char* refusal;  ///< null: it may be written
        bool asked;
    };
    for (const Row& row :
         {Row{"new", false, false, "", nullptr, false},
          Row{"new", false, true, "n\n", nullptr, false},
          Row{"old", false, false, "y\n", "is there already; --force replaces it", false},
          Row{"old", true, false, "", nullptr, false},
          Row{"old", true, true, "n\n", nullptr, false},
          Row{"old", false, true, "y\n", nullptr, true},
          Row{"old", false, true, " yes \n", nullptr, true},
          Row{"old", false, true, "n\n", "stays as it is", true},
          Row{"old", false, true, "", "stays as it is", true},
          Row{"sub", true, true, "y\n", "it is a folder, not a file", false}}) {
        std::istringstream in(row.answer);
        std::ostringstream out;
        std::ostringstream err;
        Console console{in, out, err, row.terminal, row.terminal};
        std::string refusal;
        try {
            AllowNewOutput(File(row.name), row.force, console);
        } catch (const std::runtime_error& error) {
            refusal = error.what();
        }
        EXPECT_EQ(refusal.empty(), !row.refusal) << refusal;
        EXPECT_THAT(refusal, HasSubstr(row.refusal ? row.refusal : ""));
        EXPECT_EQ(!err.str().empty(), row.asked) << err.str();
    }
}

}  // namespace
}  // namespace torval

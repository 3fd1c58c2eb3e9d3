// The program with a damaged database in its own directory, where the engine looks whatever its path.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "support/made_tables.h"

namespace torval {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

struct Case {
    const char* name;
    const char* command;  ///< TABLES stands for a directory of sound files
    const char* input;
    const char* answer;
    const char* note;  ///< the damage, between what comes before the file's name and behind it
};

class OwnDirectory : public testing::TestWithParam<Case> {
protected:
    OwnDirectory() {
        fs::create_directory(folder_);
        fs::copy_file(TORVAL_PROGRAM, folder_ / "torval");
        std::ofstream(folder_ / "krk.nbw") << "damaged";
    }
    ~OwnDirectory() override { fs::remove_all(folder_); }

    /// Both outputs of the copied program; its exit code.
    int Run(std::string command, const std::string& input, std::string* out) {
        if (const std::size_t at = command.find("TABLES"); at != command.npos) {
            command.replace(at, 6, tables_.Folder());
        }
        std::ofstream(folder_ / "input") << input;
        const std::string folder = folder_.string();
        FILE* const pipe = popen(
            ("'" + folder + "/torval' " + command + " 2>&1 < " + folder + "/input").c_str(), "r");
        if (!pipe) return -1;
        std::array<char, 4096> bytes;
        while (const std::size_t count = std::fread(bytes.data(), 1, bytes.size(), pipe)) {
            out->append(bytes.data(), count);
        }
        const int status = pclose(pipe);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    const fs::path folder_ =
        fs::path(testing::TempDir()) / ("torval_own_" + std::to_string(getpid()));
    const MadeTables tables_{{"krk"}};
};

TEST_P(OwnDirectory, IsLeftOutWhileAFileThereIsDamaged) {
    std::string out;
    EXPECT_EQ(Run(GetParam().command, GetParam().input, &out), 0) << out;
    EXPECT_THAT(out, HasSubstr(GetParam().answer));
    EXPECT_THAT(
        out,
        HasSubstr(std::string(GetParam().note) + "databases beside the program are not used: '" +
                  folder_.string() + "/krk.nbw' is damaged: it has 7 entries, not 27030"));
}

constexpr const char* kAsk = "--tb TABLES --fen '8/8/8/8/8/2k5/1R6/K7 w - - 0 1'";
const std::string kSearch = std::string("search --depth 1 ") + kAsk;
const std::string kEval = std::string("eval ") + kAsk;

INSTANTIATE_TEST_SUITE_P(
    Commands,
    OwnDirectory,
    testing::Values(
        Case{"Uci", "uci", "isready\nposition startpos\ngo depth 1\n", "bestmove ", "info string "},
        Case{"Play", "play --book=none", "level depth 1\ne4\n", "1. e4\n1... ", "Note: "},
        Case{"PlayWithAPath",
             "play --book=none --tb TABLES",
             "tb cache 5\nfen 8/8/8/8/8/2k5/1R6/K7 w - - 0 1\ntb\n",
             "White to move: mate in 16.",
             "Note: "},
        Case{"Search", kSearch.c_str(), "", "mate in 16", "torval: "},
        Case{"Eval", kEval.c_str(), "", "mate in 16", "torval: "}),
    [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace torval

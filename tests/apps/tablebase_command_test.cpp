// `torval tb` and the --tb of other commands, with files that the commands make here.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "support/run_command.h"

namespace torval {

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr const char* kLongestMate = "8/8/8/8/8/2k5/1R6/K7 w - - 0 1";

constexpr const char* kDrawn = "8/8/8/8/8/2k5/2P5/1K6 b - - 0 1";

std::string Bytes(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void Put(const fs::path& path, std::size_t at, char byte) {
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(static_cast<std::streamoff>(at)).put(byte);
}

class TablebaseCommand : public testing::Test {
protected:
    static void SetUpTestSuite() {
        EXPECT_EQ(Torval({"tb", "make", "--men", "3", "--out", Made()}).code, 0);
    }
    static void TearDownTestSuite() { fs::remove_all(Made()); }

    TablebaseCommand() { fs::copy(Made(), folder_); }
    ~TablebaseCommand() override { fs::remove_all(folder_); }

    static std::string Made() {
        return (fs::path(testing::TempDir()) / ("torval_tb_" + std::to_string(getpid()))).string();
    }
    std::string File(const char* name) const { return (folder_ / name).string(); }

    fs::path folder_ = Made() + "_test";
};

TEST_F(TablebaseCommand, MakesWhatIsNotThereYet) {
    EXPECT_EQ(Bytes(File("krk.nbw")), Bytes(TORVAL_TEST_DATA "/reference/tablebase/krk.nbw"));
    const auto make = [this] { return Torval({"tb", "make", "kpk", "--out", folder_.string()}); };
    const std::string there =
        "knk: there already\nkbk: there already\nkrk: there already\nkqk: there already\nkpk: ";
    EXPECT_EQ(make().out, there + "there already\n");
    const std::string sound = Bytes(File("kpk.nbb"));
    fs::resize_file(File("kpk.nbb"), 84000);
    EXPECT_THAT(make().out, StartsWith(there + "165676 bytes"));
    EXPECT_EQ(Bytes(File("kpk.nbb")), sound);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder_), {}), 10) << "nothing else is left";
}

TEST_F(TablebaseCommand, PacksAndUnpacks) {
    const std::string sound = Bytes(File("krk.nbb"));
    EXPECT_EQ(Torval({"tb", "pack", File("krk.nbb")}).code, 0);
    fs::remove(File("krk.nbb"));
    EXPECT_LT(fs::file_size(File("krk.nbb.emd")), 10000U);
    EXPECT_EQ(Torval({"tb", "verify", File("krk.nbb.emd")}).code, 0);
    fs::rename(File("krk.nbb.emd"), File("krknbb.emd"));
    EXPECT_EQ(Torval({"tb", "unpack", File("krknbb.emd")}).code, 0);
    EXPECT_EQ(Bytes(File("krk.nbb")), sound);
    EXPECT_THAT(Torval({"tb", "unpack", File("krknbb.emd")}).err, HasSubstr("is there already"));
    fs::remove(File("krk.nbb"));
    const std::size_t in_last_block = fs::file_size(File("krknbb.emd")) - 40;
    Put(File("krknbb.emd"), in_last_block, '\x77');
    EXPECT_THAT(Torval({"tb", "unpack", File("krknbb.emd")}).err, HasSubstr("is damaged"));
}

TEST_F(TablebaseCommand, VerifiesEveryValue) {
    std::vector<std::string> words = {"tb", "verify"};
    for (const auto& file : fs::directory_iterator(folder_)) words.push_back(file.path().string());
    const Ran good = Torval(words);
    EXPECT_EQ(good.code, 0) << good.err;
    EXPECT_EQ(std::ranges::count(good.out, '\n'), 10);

    Put(File("krk.nbw"), 5000, '\x70');
    const Ran bad = Torval({"tb", "verify", File("krk.nbw")});
    EXPECT_EQ(bad.code, 1);
    EXPECT_THAT(bad.out,
                HasSubstr("entry 5000, 2k5/8/8/4R3/8/8/8/1K6 w - - 0 1 has mate in 15, "
                          "its moves give mate in 12"));
    EXPECT_EQ(Torval({"tb", "verify", "--every", "10", File("krk.nbw")}).code, 1);
    EXPECT_EQ(Torval({"tb", "verify", "--every", "7", File("krk.nbw")}).code, 0);
    fs::remove(File("kqk.nbb"));
    EXPECT_THAT(Torval({"tb", "verify", File("kpk.nbw")}).err, HasSubstr("needs kqk.nbb"));
}

TEST_F(TablebaseCommand, TellsValuesInWords) {
    struct Case {
        const char* fen;
        const char* start;
        const char* part;
    };
    for (const Case& c : {
             Case{kLongestMate, "mate in 16\n", "  Rb4     draw\n"},
             Case{"8/8/8/8/8/2k5/1R6/K7 b - - 0 1", "mated in 16\n", "  Kd4     mated in 16\n"},
             Case{"7r/K7/2k5/8/8/8/8/8 w - - 0 1", "mated in 1\n", "  Ka6     mated in 1\n"},
             Case{"8/8/8/8/8/2K5/k7/7R b - - 0 1", "mated in 1\n", "  Ka3     mated in 1\n"},
             Case{"8/8/8/8/8/1K6/7R/k7 w - - 0 1", "mate in 1\n", "  Rh1#    mate\n"},
             Case{"8/8/8/8/8/1K6/8/k6R b - - 0 1", "checkmate\n", ""},
             Case{"8/8/8/8/8/8/k7/2K5 b - - 0 1", "draw\n", "  Ka1     draw\n"},
             Case{"8/P7/8/8/8/8/8/k1K5 w - - 0 1", "mate in 1\n", "  a8=N    draw\n"},
         }) {
        const Ran ran = Torval({"tb", "probe", c.fen, "--tb", folder_.string()});
        EXPECT_THAT(ran.out, AllOf(StartsWith(c.start), HasSubstr(c.part))) << c.fen << ran.err;
    }
    const auto ask = [this](std::vector<std::string> words) {
        words.insert(words.end(), {"--tb", folder_.string(), "--fen", kLongestMate});
        return Torval(words).out;
    };
    EXPECT_THAT(ask({"search", "--depth", "2"}), HasSubstr("Score mate in 16 at depth 2"));
    EXPECT_THAT(Torval({"search", "--depth", "2", "--tb", folder_.string(), "--fen", kDrawn}).out,
                HasSubstr("Endgame database: draw for the side to move\n"));
    EXPECT_THAT(ask({"eval"}), HasSubstr("Endgame database: mate in 16 for the side to move\n"));
    EXPECT_THAT(Torval({"search", "--depth", "2", "--fen", kLongestMate}).out,
                Not(HasSubstr("mate")));
    const Ran stats = Torval({"tb", "stats", "krk", "--tb", folder_.string()});
    EXPECT_THAT(stats.out, HasSubstr(std::string("longest: mate in 16, ") + kLongestMate));
    EXPECT_THAT(stats.out, HasSubstr("losses      25797\n"));
}

TEST_F(TablebaseCommand, TellsWhyItDoesNotKnow) {
    // A file whose header is sound and whose blocks are not.
    ASSERT_EQ(Torval({"tb", "pack", File("kqk.nbb")}).code, 0);
    fs::remove(File("kqk.nbb"));
    const std::size_t size = fs::file_size(File("kqk.nbb.emd"));
    for (std::size_t at = size / 4; at < size; at += 20) Put(File("kqk.nbb.emd"), at, '\x77');
    fs::remove(File("kbk.nbb"));
    struct Case {
        const char* fen;
        std::string answer;
    };
    for (const Case& c : {
             Case{"8/8/8/3b4/8/2k5/1R6/K7 w - - 0 1", "unknown: there is no file krkb.nbw\n"},
             Case{"8/8/8/8/8/2k5/1B6/K7 b - - 0 1", "unknown: there is no file kbk.nbb\n"},
             Case{"8/8/8/8/8/2k5/1B6/K7 w - - 0 1", "  unknown where there is no file kbk.nbb\n"},
             Case{"7k/8/8/8/8/8/1q6/K6Q b - - 0 1", "unknown: no database has such a position\n"},
             Case{"rrr4k/8/8/8/8/8/8/K2QRR2 w - - 0 1", "unknown: no database is for these men\n"},
             Case{"8/8/8/3k4/8/3K4/8/7Q b - - 0 1", "kqk.nbb.emd' is damaged\n"},
         }) {
        const Ran ran = Torval({"tb", "probe", c.fen, "--tb", folder_.string()});
        EXPECT_THAT(ran.out, HasSubstr(c.answer)) << c.fen << ran.err;
    }
}

TEST_F(TablebaseCommand, TakesTheHomeDirectoryAndNoMissingOne) {
    const char* const home = std::getenv("HOME");
    const std::string old = home ? home : "";
    setenv("HOME", folder_.parent_path().c_str(), 1);
    const std::string path = "/nowhere at all,~/" + folder_.filename().string();
    const std::string tilde = path.substr(path.find('~'));
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"tb", "check", tilde},
                                               {"tb", "stats", tilde + "/krk.nbw"},
                                               {"tb", "list", "--tb", "/tmp;" + tilde},
                                               {"tb", "probe", kLongestMate, "--tb=" + tilde},
                                               {"eval", "--tb=" + tilde},
                                               {"play", "--book=none", "--tb=" + tilde}}) {
        EXPECT_EQ(Torval(words).code, 0) << words[1];
    }
    EXPECT_THAT(Torval({"tb", "list", "--tb", "/tmp;" + tilde}).out, HasSubstr("\n10 files\n"));
    const Ran typed = Torval({"play", "--book=none"},
                             "tb path " + tilde + "\nsettings 214 " + tilde + "\ntb path " + path +
                                 "\nsettings 214 /nowhere at all\n");
    EXPECT_THAT(typed.out, HasSubstr("Nalimov path: " + folder_.string() + "; 10 files"));
    EXPECT_THAT(typed.out, HasSubstr("214  Nalimov Endgame Path: " + folder_.string() + "\n"));
    EXPECT_THAT(typed.err,
                HasSubstr("line 3: the path of the databases stays as it is: there is "
                          "no folder '/nowhere at all'\n"));
    EXPECT_THAT(typed.err, HasSubstr("line 4: setting 214 stays as it is: there is no folder"));
    if (home) {
        setenv("HOME", old.c_str(), 1);
    } else {
        unsetenv("HOME");
    }
    const std::string missing = folder_.string() + "/a folder that is not there";
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"tb", "check", folder_.string(), missing},
                                               {"tb", "probe", kLongestMate, "--tb", missing},
                                               {"search", "--tb", "/tmp," + missing},
                                               {"play", "--book=none", "--tb", missing}}) {
        const Ran ran = Torval(words);
        EXPECT_EQ(ran.code, 2);
        EXPECT_THAT(ran.err, HasSubstr("there is no folder '" + missing + "'"));
    }
}

TEST_F(TablebaseCommand, TellsWhatIsThereAndWhatIsWrong) {
    fs::remove(File("knk.nbb"));
    const Ran listed = Torval({"tb", "list", "--tb", folder_.string()});
    EXPECT_THAT(listed.out, HasSubstr("krk.nbw     uncompressed  " + File("krk.nbw")));
    EXPECT_THAT(listed.out, HasSubstr("\n9 files\n"));
    const Ran sound = Torval({"tb", "check", folder_.string()});
    EXPECT_EQ(sound.code, 0);
    EXPECT_THAT(sound.out, HasSubstr("3 men: 9 of 10 files\n    missing: knk.nbb\n"));
    fs::resize_file(File("krk.nbw"), 100);
    const std::string problem = "*** " + File("krk.nbw") + " corrupted 27030 27030 100";
    const Ran damaged = Torval({"tb", "check", folder_.string()});
    EXPECT_EQ(damaged.code, 1);
    EXPECT_THAT(damaged.out, HasSubstr(problem));
    for (const char* command : {"search", "eval"}) {
        const Ran ran = Torval({command, "--tb", folder_.string()});
        EXPECT_EQ(ran.code, 2);
        EXPECT_THAT(ran.err, HasSubstr("krk.nbw' is damaged: it has 100 entries, not 27030"));
    }
}

TEST_F(TablebaseCommand, RefusesWhatItCannotDo) {
    struct Case {
        std::vector<std::string> words;
        const char* message;
    };
    for (const Case& c : {
             Case{{"tb", "make"}, "neither a class nor --men"},
             Case{{"tb", "make", "kkq"}, "there is no class 'kkq'"},
             Case{{"tb", "make", "kqqkqq"}, "six men are too large"},
             Case{{"tb", "make", "krrkr", "--memory", "300"}, "takes 302 MB of memory"},
             Case{{"tb", "make", "krk", "--out", File("krk.nbw")}, "is no directory"},
             Case{{"tb", "pack", File("krk.nbb.emd")}, "is compressed already"},
             Case{{"tb", "unpack", File("krk.nbb")}, "is not compressed"},
             Case{{"tb", "verify", File("krkr.nbb")}, "is none of a database file"},
             Case{{"tb", "verify", File("nothing")}, "is none of a database file"},
             Case{{"tb", "verify", File("krkr.nbw")}, "cannot read"},
             Case{{"tb", "probe", "8/8 w - -", "--tb", "/tmp"}, "board"},
             Case{{"tb", "probe", "4k3/8/8/8/8/8/8/4K2R w K - 0 1", "--tb", "/tmp"}, "castling"},
             Case{{"tb", "probe", kLongestMate}, "--tb"},
             Case{{"tb", "stats", "krkr", "--tb", "/tmp"}, "no file of 'krkr'"},
         }) {
        const Ran ran = Torval(c.words);
        EXPECT_EQ(ran.code, 2) << c.message;
        EXPECT_THAT(ran.err, HasSubstr(c.message));
        EXPECT_EQ(ran.out, "");
    }
}

}  // namespace

}  // namespace torval

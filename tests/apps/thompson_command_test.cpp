// `torval thompson`, with files written here and files that the command makes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "apps/makers/set_up.h"
#include "apps/makers/tables/small_board.h"
#include "apps/makers/tables/table_file.h"
#include "egtb/nalimov/lengths.h"
#include "egtb/thompson/thompson.h"
#include "support/run_command.h"
#include "support/thompson_files.h"
#include "support/thompson_parts.h"

namespace torval {

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

class ThompsonCommand : public testing::Test {
protected:
    ThompsonCommand() { fs::create_directories(folder_); }
    ~ThompsonCommand() override {
        CloseThompsonFiles();
        fs::remove_all(folder_);
    }

    std::string Write(const std::string& name, const ThompsonParts& parts) const {
        const auto bytes = parts.Join();
        std::ofstream out(folder_ / name, std::ios::binary);
        out.write(reinterpret_cast<const char*>(bytes.data()),
                  static_cast<std::streamsize>(bytes.size()));
        return (folder_ / name).string();
    }
    Ran Probe(const std::string& fen) const {
        return Torval({"thompson", "probe", fen, "--path", folder_.string()});
    }

    /// The value that the file for the men must have, by the file that `torval tb` made.
    void ExpectValuesOf(const char* table, int sample);

    fs::path folder_ =
        fs::path(testing::TempDir()) / ("torval_thompson_command_" + std::to_string(getpid()));
};

using SlowThompsonCommand = ThompsonCommand;

TEST_F(ThompsonCommand, TellsWhatAFileHolds) {
    const std::string unnamed = Write("example", {});
    EXPECT_EQ(Torval({"thompson", "info", unnamed}).out,
              unnamed +
                  ": 65 bytes\n"
                  "  material             none of the list has a file of this name\n"
                  "  values per leaf      2\n"
                  "  common values        0 20\n"
                  "  tree B               4 entries\n"
                  "  tree C               2 entries\n"
                  "  positions per block  3\n"
                  "  blocks               2\n");
    const Ran queen = Torval({"thompson", "info", Write("Q_RR.G", {})});
    EXPECT_THAT(queen.out,
                HasSubstr("  material             KQ against KRR, which is to move\n"
                          "  volumes              1 3\n"
                          "  positions            121110528, without pawns\n"));
    EXPECT_THAT(Torval({"thompson", "info", Write("NN_P.G", {})}).out,
                HasSubstr("402653184, with a pawn\n"));
}

TEST_F(ThompsonCommand, TellsValuesInWords) {
    const auto write = [this](const char* name, const std::map<const char*, int>& fens) {
        std::map<std::uint32_t, std::uint8_t> values;
        for (const auto& [fen, value] : fens) AddValue(fen, name, value, &values);
        WriteSparseThompson(folder_.string(), name, values);
    };
    write("RR_R.G",
          {{"8/8/8/8/8/1K6/8/k6R b - - 0 1", 10},
           {"8/8/8/8/8/1k6/8/K6r w - - 0 1", 10},
           {"8/8/8/8/8/1K6/7R/1k6 b - - 0 1", 11},
           {"8/8/8/8/8/1K6/6R1/k7 b - - 0 1", 7}});
    write("PR_R.G", {{"8/8/8/8/8/1K6/4P3/k7 b - - 0 1", 35}});
    struct Case {
        const char* fen;
        const char* start;
        const char* part;
    };
    for (const Case& c : {
             Case{"8/8/8/8/8/1K6/8/k6R b - - 0 1", "lost now\n", ""},
             Case{"8/8/8/8/8/1k6/8/K6r w - - 0 1", "lost now\n", ""},
             Case{
                 "8/8/8/8/8/1K6/7R/1k6 b - - 0 1", "lost in 1\n", "  Ka1     opponent not lost or"},
             Case{"8/8/8/8/8/1K6/7R/k7 w - - 0 1",
                  "not lost or not known\n",
                  "  Rg2     opponent value 7, of unknown meaning\n  Rh1#    opponent lost now\n"},
             Case{"8/8/8/8/8/1K6/4P3/k7 b - - 0 1", "lost in 25\n", ""},
             Case{"8/8/8/8/8/1K6/4B3/k7 b - - 0 1",
                  "not lost",
                  "needs one of: QB_Q.G RB_R.G BB_N.G "},
             Case{"8/8/8/8/8/1K6/8/kqqqq3 b - - 0 1", "not lost", "no file is for these men"},
         }) {
        const Ran ran = Probe(c.fen);
        EXPECT_EQ(ran.code, 0) << ran.err;
        EXPECT_THAT(ran.out, AllOf(StartsWith(c.start), HasSubstr(c.part))) << c.fen;
    }
}

TEST_F(ThompsonCommand, NamesAFileThatIsCutShort) {
    constexpr const char* kLost = "8/8/8/8/8/1K6/8/k6R b - - 0 1";
    std::map<std::uint32_t, std::uint8_t> values;
    AddValue(kLost, "RR_R.G", 10, &values);
    WriteSparseThompson(folder_.string(), "RR_R.G", values);
    const std::string file = (folder_ / "RR_R.G").string();
    const std::string message =
        "torval: damaged or cut short: '" + file + "' (torval thompson verify tells more)\n";
    EXPECT_EQ(Probe(kLost).err, "");
    const auto size = fs::file_size(file);
    for (const std::uintmax_t left : {size / 2, std::uintmax_t{10}, std::uintmax_t{0}}) {
        fs::resize_file(file, left);
        for (const char* fen : {kLost, "8/8/8/8/8/1K6/7R/k7 w - - 0 1"}) {
            const Ran ran = Probe(fen);
            EXPECT_EQ(ran.code, 1) << left << ' ' << fen;
            EXPECT_EQ(ran.err, message) << left << ' ' << fen;
        }
    }
    EXPECT_THAT(Torval({"thompson", "probe", kLost, "--path", folder_.string() + "/none"}).err,
                HasSubstr("there is no folder"));
    EXPECT_THAT(
        Torval({"thompson", "make", "RR_R.G", "--from", "/tmp", "--out", folder_.string()}).err,
        HasSubstr("RR_R.G' is there already; --force"));
}

TEST_F(ThompsonCommand, NamesTheFirstFault) {
    const std::string sound = Write("example", {});
    EXPECT_EQ(Torval({"thompson", "verify", sound}).out, sound + ": 6 values, all right\n");
    struct Case {
        const char* fault;
        void (*damage)(ThompsonParts&);
    };
    using Parts = ThompsonParts;
    for (const Case& c : {
             Case{"header: K is 33", [](Parts& p) { p.values_per_leaf = 33; }},
             Case{"header: P is 0", [](Parts& p) { p.positions_per_block = 0; }},
             Case{"table A: 256 is more than a byte", [](Parts& p) { p.common_values[1] = 256; }},
             Case{"tree B: two ways lead to entry 0", [](Parts& p) { p.value_tree[1] = 0; }},
             Case{"tree B: there is no entry 4", [](Parts& p) { p.value_tree[1] = 3; }},
             Case{"tree B: no way leads to entry 2",
                  [](Parts& p) { p.value_tree[1] |= kThompsonLeaf; }},
             Case{"tree B: the leaf 9 has too many digits",
                  [](Parts& p) { p.value_tree[0] = kThompsonLeaf | 9; }},
             Case{"tree C: there is no entry 1", [](Parts& p) { p.rare_tree.pop_back(); }},
             Case{"block 0: value 0 cannot be read", [](Parts& p) { p.value_tree.clear(); }},
             Case{"block 1: value 0 cannot be read", [](Parts& p) { p.block_starts[1] = 8; }},
             Case{"block 0: value 2 cannot be read",
                  [](Parts& p) {
                      p.values_per_leaf = 1;
                      p.value_tree = {kThompsonLeaf | 0, kThompsonLeaf | 0};
                      p.positions_per_block = 1U << 31;
                      p.block_starts[0] = 6;
                  }},
         }) {
        ThompsonParts parts;
        c.damage(parts);
        const std::string file = Write("damaged", parts);
        const Ran ran = Torval({"thompson", "verify", file});
        EXPECT_EQ(ran.code, 1);
        EXPECT_EQ(ran.out, file + ": " + c.fault + "\n");
    }
    const std::string file = Write("RR_R.G", {});
    EXPECT_EQ(Torval({"thompson", "verify", file}).out,
              file + ": 2 blocks of 3 positions are not what 121110528 positions take\n");
    fs::resize_file(file, 40);
    EXPECT_EQ(Torval({"thompson", "verify", file}).out,
              file + ": header: table C has 2 entries, which is more than the file\n");
    fs::resize_file(file, 2);
    EXPECT_EQ(Torval({"thompson", "verify", file}).out, file + ": header: it ends before K\n");
}

TEST_F(ThompsonCommand, RefusesWhatItCannotDo) {
    struct Case {
        std::vector<std::string> words;
        const char* message;
    };
    const std::string folder = folder_.string();
    for (const Case& c : {
             Case{{"info", folder + "/nothing"}, "cannot be read, or its header is damaged"},
             Case{{"verify", folder + "/nothing"}, "cannot read"},
             Case{{"probe", "8/8 w - -", "--path", folder}, "board"},
             Case{{"probe", "8/8/8/8/8/1K6/8/k6R b - - 0 1"}, "--path"},
             Case{{"make", "RR_RR.G", "--from", folder}, "no file 'RR_RR.G' in the list"},
             Case{{"make", "RR_R.G"}, "--from"},
             Case{{"make", "RR_R.G", "--from", folder, "--out", folder},
                  "there is none of krk.nbb krk.nbw krkr.nbw krrk.nbb krrkr.nbb"},
             Case{{"make", "RR_R.G", "--from", folder, "--out", "/dev/null"}, "is no directory"},
         }) {
        std::vector<std::string> words = {"thompson"};
        words.insert(words.end(), c.words.begin(), c.words.end());
        const Ran ran = Torval(words);
        EXPECT_EQ(ran.code, 2) << c.message;
        EXPECT_THAT(ran.err, HasSubstr(c.message));
        EXPECT_EQ(ran.out, "");
    }
    EXPECT_TRUE(fs::is_empty(folder_));
}

void ThompsonCommand::ExpectValuesOf(const char* table, int sample) {
    const TableFile file = TableFileByName((folder_ / table).string());
    const std::vector<std::int8_t> entries = ReadTableFile(file);
    std::mt19937 random(3);
    int losses = 0;
    BeginThompsonProbe(folder_.string());
    while (sample > 0) {
        const std::size_t index = random() % entries.size();
        const auto position = PositionAt(file.class_id, file.side, index);
        if (!position || !IsLegal(file.class_id, file.side, *position)) continue;
        const TablebaseValue value = WidenEntry(entries[index]);
        SmallBoard board = SmallBoard::Of(file.class_id, file.side, *position);
        if (sample % 2 == 0) board = Mirrored(board);
        std::string error;
        ASSERT_TRUE(SetUpFen(FenOf(board), &error)) << error;
        const int pawn =
            kTablebaseClasses[static_cast<std::size_t>(file.class_id)].HasPawns() ? 200 : 0;
        const int expected = value < 0 ? pawn + kLostNow + value - MatedIn(0) : kNoThompsonValue;
        ASSERT_EQ(ProbeThompson(), expected) << FenOf(board);
        losses += value < 0;
        --sample;
    }
    EXPECT_GT(losses, 100);
}

TEST_F(SlowThompsonCommand, MakesFilesFromTablebases) {
    const std::string folder = folder_.string();
    ASSERT_EQ(Torval({"tb", "make", "krk", "kpk", "--out", folder}).code, 0);
    const Ran made =
        Torval({"thompson", "make", "RR_R.G", "PR_R.G", "--from", folder, "--out", folder});
    EXPECT_EQ(made.code, 0) << made.err;
    EXPECT_THAT(made.out,
                AllOf(HasSubstr(", 25260 of 121110528 positions lost"),
                      HasSubstr("\n  from krk.nbb krk.nbw\n"
                                "  without krkr.nbw krrk.nbb krrkr.nbb\n")));
    ExpectValuesOf("krk.nbb", 5000);
    ExpectValuesOf("kpk.nbb", 5000);
    EXPECT_THAT(Torval({"thompson", "verify", folder + "/RR_R.G"}).out,
                HasSubstr(": 121110528 values, all right\n"));
    EXPECT_THAT(Torval({"thompson", "verify", folder + "/PR_R.G"}).out,
                HasSubstr(": 402653184 values, all right\n"));

    std::ifstream rows(TORVAL_TEST_DATA "/reference/thompson/krk_probe.tsv");
    std::string fen;
    int value = 0;
    int count = 0;
    while (std::getline(rows, fen, '\t') && rows >> value >> std::ws) {
        std::string error;
        ASSERT_TRUE(SetUpFen(fen, &error)) << error;
        EXPECT_EQ(ProbeThompson(), value) << fen;
        ++count;
    }
    EXPECT_EQ(count, 28);
}

}  // namespace

}  // namespace torval

#include "egtb/nalimov/registry.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "apps/makers/tables/compress.h"
#include "apps/makers/tables/prefix_lengths.h"
#include "egtb/nalimov/block_cache.h"
#include "egtb/nalimov/checksum.h"
#include "egtb/nalimov/lengths.h"
#include "egtb/nalimov/search_list.h"
#include "egtb/nalimov/tablebase_files.h"
#include "platform/drives.h"
#include "platform/files.h"
#include "platform/process.h"
#include "state/flags.h"
#include "state/settings.h"
#include "support/allocations.h"

namespace torval {

namespace {

namespace fs = std::filesystem;

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kRookEntries = 27030;  // krk

struct Ended {
    int status;
};

std::string asked_drives;
std::uint32_t drives_there = 0;
bool drives_ready = true;

class RegistryTest : public testing::Test {
protected:
    RegistryTest() {
        fs::create_directories(folder_ / "a");
        fs::create_directories(folder_ / "b");
        end_process = [](int status) { throw Ended{status}; };
        UsePath(folder_.string());
    }

    ~RegistryTest() override {
        disk_step_fails = nullptr;
        drive_source = kSystemDrives;
        UsePath("");
        InitTablebases();
        CacheSizeMB = 4;
        end_process = end_;
        fs::current_path(start_);
        fs::remove_all(folder_);
    }

    void UsePath(const std::string& path) { std::strcpy(NalimovPath, path.c_str()); }

    std::string Write(const std::string& name, const Bytes& bytes) {
        const std::string full = (folder_ / name).string();
        std::ofstream(full, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
        return full;
    }
    /// A file of zeros in the length that is right for a class; takes no room on the disk.
    void WriteFor(const char* class_name, std::size_t side, const std::string& name) {
        const auto id = static_cast<std::size_t>(FindClass(class_name));
        Write(name, {});
        fs::resize_file(folder_ / name, kEntryCounts[id][side]);
    }

    static const std::string& NameOf(const char* class_name, std::size_t side) {
        return tablebase_files[static_cast<std::size_t>(FindClass(class_name))][side].name;
    }

    fs::path start_ = fs::current_path();
    fs::path folder_ =
        fs::path(testing::TempDir()) / ("torval_registry_" + std::to_string(getpid()));
    void (*end_)(int) = end_process;
};

TEST_F(RegistryTest, SearchesItsOwnDirectoryAndThenThePath) {
    struct Case {
        const char* path;
        std::vector<std::string> then;
    };
    for (const Case& c : {Case{"", {}},
                          Case{" /tb", {}},
                          Case{"\xC3\xA4/tb", {}},
                          Case{"/tb", {"/tb"}},
                          Case{R"(d:\tb1;d:\tb2,e:\tb3)", {R"(d:\tb1)", R"(d:\tb2)", R"(e:\tb3)"}},
                          Case{"/tb;", {"/tb", ""}},
                          Case{"x,;y", {"x", "", "y"}}}) {
        std::vector<std::string> expected = c.then;
        expected.insert(expected.begin(), fs::path(ComponentFileName()).parent_path().string());
        EXPECT_EQ(TablebaseDirectories(c.path), expected) << c.path;
        own_directory_is_searched = false;
        EXPECT_EQ(TablebaseDirectories(c.path), c.then) << c.path;
        own_directory_is_searched = true;
    }
}

/// Each directory is read once, even if the path repeats it, and a stop ends the search.
TEST_F(RegistryTest, LooksForNoMoreFilesThanThereAre) {
    static int opened = 0;
    WriteFor("kqk", 0, "kqk.nbw");
    fs::create_directories(folder_ / "a");
    fs::current_path(folder_);
    std::string long_path(990, ';');
    for (int i = 0; i < 4; ++i) long_path += ";a;./a";
    UsePath(long_path);
    disk_step_fails = [](DiskStep step) {
        opened += step == DiskStep::Open ? 1 : 0;
        return false;
    };
    opened = 0;
    EXPECT_TRUE(InitTablebases());
    EXPECT_EQ(MaxTablebaseMen, 3);
    EXPECT_LT(opened, 10);
    SetFlag(FlagBusy);
    SetFlag(FlagAbort);
    EXPECT_FALSE(InitTablebases());
    EXPECT_EQ(MaxTablebaseMen, 0);
    ClearFlags(FlagBusy | FlagAbort);
    disk_step_fails = nullptr;
}

TEST_F(RegistryTest, TheFirstDirectoryWins) {
    WriteFor("kqk", 0, "a/kqk.nbw");
    WriteFor("kqk", 0, "b/kqk.nbw");
    WriteFor("kqk", 1, "b/kqk.nbb");
    WriteFor("krk", 0, "krk.nbw");
    fs::current_path(folder_);
    UsePath((folder_ / "a").string() + "," + (folder_ / "b").string() + "/;");
    InitTablebases();
    EXPECT_EQ(NameOf("kqk", 0), (folder_ / "a/kqk.nbw").string());
    EXPECT_EQ(NameOf("kqk", 1), (folder_ / "b/kqk.nbb").string());
    EXPECT_EQ(NameOf("krk", 0), "krk.nbw") << "in the current directory";
    EXPECT_EQ(NameOf("krk", 1), "");
    EXPECT_EQ(MaxTablebaseMen, 3);

    UsePath((folder_ / "b").string());
    InitTablebases();
    EXPECT_EQ(NameOf("kqk", 0), (folder_ / "b/kqk.nbw").string());
    EXPECT_EQ(NameOf("krk", 0), "");
    UsePath("");
    InitTablebases();
    EXPECT_EQ(NameOf("kqk", 0), "");
    EXPECT_EQ(MaxTablebaseMen, 0);
}

TEST_F(RegistryTest, KnowsFiveNames) {
    const Bytes packed = CompressTablebase(Bytes(kRookEntries));
    const char* const kNames[] = {
        "krk.nbw", "krk.nbw.emd", "krk_nbw.emd", "krk_nbw_emd", "krknbw.emd"};
    Write(kNames[0], Bytes(kRookEntries));
    for (int i = 1; i < 5; ++i) Write(kNames[i], packed);
    for (int i = 0; i < 5; ++i) {
        InitTablebases();
        EXPECT_EQ(NameOf("krk", 0), (folder_ / kNames[i]).string());
        const TablebaseFiles& files =
            tablebase_files[static_cast<std::size_t>(FindClass("krk"))][0];
        EXPECT_EQ(files.compressed != nullptr, i > 0) << kNames[i];
        EXPECT_FALSE(files.file.IsOpen());
        fs::remove(folder_ / kNames[i]);
    }
    InitTablebases();
    EXPECT_EQ(NameOf("krk", 0), "");
}

TEST_F(RegistryTest, KnowsWhichMenAClassCovers) {
    constexpr MenCounts kQueen = {0, 0, 0, 0, 0, 1};
    constexpr MenCounts kRook = {0, 0, 0, 0, 1, 0};
    constexpr MenCounts kPawn = {0, 1, 0, 0, 0, 0};
    constexpr MenCounts kKnights = {0, 0, 4, 0, 0, 0};
    WriteFor("krkr", 0, "krkr.nbw");
    Write("krkr.nbb", Bytes(7));  // not looked at
    WriteFor("kqkr", 1, "kqkr.nbb");
    WriteFor("kpkp", 0, "kpkp.nbw");
    InitTablebases();
    EXPECT_EQ(NameOf("krkr", 1), "");
    EXPECT_EQ(MaxTablebaseMen, 4);
    EXPECT_EQ(LookupClass(kRook, kRook), FindClass("krkr"));
    EXPECT_EQ(LookupClass(kQueen, kRook), 19);
    EXPECT_EQ(LookupClass(kRook, kQueen), -19);
    EXPECT_EQ(LookupClass(kPawn, kPawn), -6);
    EXPECT_EQ(LookupClass(kKnights, MenCounts{}), 0);
    EXPECT_TRUE(RegisterTablebaseFile("/nowhere", 19, 1)) << "an earlier directory had it";
    EXPECT_FALSE(RegisterTablebaseFile("/nowhere", 19, 0));
}

/// A compressed file without blocks whose header gives this block size in bits.
Bytes EmptyFileOf(int block_bits) {
    Bytes file = CompressTablebase({});
    file.resize(kFixedHeaderBytes);
    file[70] = static_cast<std::uint8_t>(block_bits);
    BitWriter fields;
    fields.Put(0, block_bits);
    for (std::size_t i = 0; i < kDistances; ++i) fields.Put(1, block_bits);
    for (const std::uint8_t byte : fields.TakeBytes()) file.push_back(byte);
    file.push_back(0x80);  // no symbol has a code
    const std::size_t size = file.size() + kChecksumBytes;
    file[67] = static_cast<std::uint8_t>(size);
    const std::uint32_t sum = ChecksumOf(file);
    for (int shift = 24; shift >= 0; shift -= 8) {
        file.push_back(static_cast<std::uint8_t>(sum >> shift));
    }
    return file;
}

TEST_F(RegistryTest, EndsTheProcessForWhatItCannotUse) {
    const Bytes packed = CompressTablebase(Bytes(kRookEntries));
    Bytes broken = packed;
    broken[75] ^= 1;  // the number of blocks
    const Bytes cut(packed.begin(), packed.begin() + 90);
    Bytes foreign = packed;
    foreign[58] = ' ';
    const std::string no_block =
        "*** Cannot allocate decode block: error code " +
        std::to_string(MakeError(ErrorClass::OutOfMemory, ErrorPlace::StateMemory)) + "\n";
    struct Case {
        const char* name;
        Bytes bytes;
        std::string line;  // with NAME for the file
        std::size_t failing_bytes = 0;
        Refusal refusal = Refusal::Throws;
    };
    const std::vector<Case> cases = {
        {"kqk.nbw", Bytes(25635), "*** NAME corrupted 25629 25629 25635\n"},
        {"kqk.nbw", {}, "*** NAME corrupted 25629 25629 0\n"},
        {"kqk.nbw.emd", packed, "*** NAME corrupted 25629 25629 27030\n"},
        {"krk_nbw_emd", broken, "*** Unable to read NAME - file broken\n"},
        {"krk.nbw.emd", cut, "*** Unable to read NAME - read error\n"},
        {"krk.nbw.emd", Bytes(79), "*** Unable to read NAME - read error\n"},
        {"krknbw.emd", foreign, "*** Unable to read NAME - read error\n"},
        {"krk.nbw.emd", EmptyFileOf(12), "*** NAME: Unsupported block size 4096\n"},
        {"krk.nbw.emd",
         packed,
         "*** Unable to read NAME - out of memory\n",
         sizeof(CompressedFileInfo)},
        {"krk.nbw",
         Bytes(kRookEntries),
         "*** Cannot allocate 128 bytes of memory\n",
         sizeof(BucketHeads),
         Refusal::IsNull},
        {"krk.nbw.emd", packed, no_block, kBlockBytes},
    };
    for (const Case& c : cases) {
        const std::string name = Write(c.name, c.bytes);
        std::string line = c.line;
        const std::size_t at = line.find("NAME");
        const bool is_of_file = at != line.npos;
        if (is_of_file) line.replace(at, 4, name);
        int status = 0;
        testing::internal::CaptureStdout();
        try {
            const FailingAllocation fails(c.failing_bytes, c.refusal);
            InitTablebases();
        } catch (const Ended& ended) {
            status = ended.status;
        }
        EXPECT_EQ(testing::internal::GetCapturedStdout(), line);
        EXPECT_EQ(status, 1) << line;
        const int id = FindClass(std::string(c.name).substr(0, 3));
        const FailingAllocation fails(c.failing_bytes, c.refusal);
        EXPECT_EQ(FindTablebaseFile(folder_.string(), id, 0).problem, is_of_file ? line : "")
            << "without ending";
        fs::remove(name);
    }
    disk_step_fails = [](DiskStep step) { return step == DiskStep::Seek; };
    const std::string name = Write("kqk.nbw", Bytes(25629));
    EXPECT_EQ(FindTablebaseFile(folder_.string(), FindClass("kqk"), 0).problem,
              "*** Seek in " + name + " failed\n");
}

TEST_F(RegistryTest, AsksEachDriveOnce) {
    fs::current_path(folder_);
    fs::create_directories(folder_ / "Q:/tb");
    WriteFor("kqk", 0, "Q:/tb/kqk.nbw");
    drive_source = {.mask = [] { return drives_there; },
                    .is_ready =
                        [](char letter) {
                            asked_drives += letter;
                            return drives_ready;
                        }};
    constexpr std::uint32_t kQ = 1U << ('q' - 'a');
    struct Case {
        std::uint32_t mask;
        bool ready;
        const char* path;
        const char* asked;
        bool found;
    };
    for (const Case& c : {Case{0, true, R"(Q:\tb)", "Q", true},
                          Case{kQ, true, R"(Q:\tb)", "Q", true},
                          Case{~kQ, true, R"(Q:\tb)", "", false},
                          Case{kQ, false, R"(Q:\tb,q:\x,Q:\tb)", "Q", false},
                          Case{0, true, R"(q:\x;Q:\tb)", "q", true},
                          Case{~kQ, true, R"(Q:\tb;.\Q:\tb)", "", true}}) {
        drives_there = c.mask;
        drives_ready = c.ready;
        asked_drives.clear();
        UsePath(c.path);
        InitTablebases();
        EXPECT_EQ(asked_drives, c.asked) << c.path;
        EXPECT_EQ(!NameOf("kqk", 0).empty(), c.found) << c.path;
    }
}

TEST_F(RegistryTest, LaysTheCacheOut) {
    for (const auto& [megabytes, slots] : {std::pair{4U, 507U}, {0U, 0U}, {1U, 126U}}) {
        CacheSizeMB = megabytes;
        InitTablebases();
        EXPECT_EQ(block_cache.slots, slots);
    }
    CacheSizeMB = 4;
    const FailingAllocation fails(507 * sizeof(CacheSlot), Refusal::IsNull);
    InitTablebases();
    EXPECT_EQ(block_cache.slots, 253U) << "half of it can be had";
}

}  // namespace

}  // namespace torval

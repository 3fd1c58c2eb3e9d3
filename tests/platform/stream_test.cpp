#include "torval/stream.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>

#include "torval/object.h"

namespace torval {

using for_tests::live_objects;
namespace {

/// A directory of its own that goes with the test.
class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::string name = (std::filesystem::temp_directory_path() / "torval-XXXXXX").string();
        EXPECT_NE(mkdtemp(name.data()), nullptr);
        path_ = name;
    }
    ~TemporaryDirectory() { std::filesystem::remove_all(path_); }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    std::string Name(const char* file) const { return (path_ / file).string(); }

private:
    std::filesystem::path path_;
};

class StreamTest : public testing::Test {
protected:
    void SetUp() override { objects_before_ = live_objects; }
    void TearDown() override { EXPECT_EQ(live_objects.load(), objects_before_); }

    Ref<IStream> InMemory() {
        Ref<IStream> stream;
        EXPECT_EQ(CreateMemoryStream(stream.Receive()), S_OK);
        return stream;
    }
    Ref<IStream> File(FileMode mode) {
        Ref<IStream> stream;
        EXPECT_EQ(CreateFileStream(directory_.Name("file").c_str(), mode, stream.Receive()), S_OK);
        return stream;
    }
    static std::string Read(IStream* stream, std::uint32_t count) {
        std::string bytes(count, '?');
        std::uint32_t done = 0xFFFF;
        EXPECT_EQ(stream->Read(bytes.data(), count, &done), S_OK);
        EXPECT_LE(done, count);
        return bytes.substr(0, done);
    }
    static void Write(IStream* stream, std::string_view bytes) {
        std::uint32_t done = 0;
        const auto count = static_cast<std::uint32_t>(bytes.size());
        EXPECT_EQ(stream->Write(bytes.data(), count, &done), S_OK);
        EXPECT_EQ(done, count);
    }
    static std::uint64_t Position(IStream* stream) {
        std::uint64_t position = 0;
        EXPECT_EQ(stream->Seek(0, SeekFrom::Current, &position), S_OK);
        return position;
    }

    TemporaryDirectory directory_;

private:
    int objects_before_ = 0;
};

/// Reads the ten bytes that the stream holds, from all sides.
void ExpectReads(IStream* stream) {
    struct Row {
        const char* name;
        std::int64_t distance;
        SeekFrom from;
        HRESULT answer;
        std::uint64_t position;  ///< after the seek
        std::string next;        ///< what reading four bytes gives then
    };
    const Row rows[] = {
        {"start", 0, SeekFrom::Start, S_OK, 0, "0123"},
        {"on from there", 1, SeekFrom::Current, S_OK, 5, "5678"},
        {"back", -8, SeekFrom::Current, S_OK, 1, "1234"},
        {"before the start", -6, SeekFrom::Current, STG_E_INVALIDFUNCTION, 5, "5678"},
        {"less than nothing", -1, SeekFrom::Start, STG_E_INVALIDFUNCTION, 9, "9"},
        {"near the end", -2, SeekFrom::End, S_OK, 8, "89"},
        {"the end", 0, SeekFrom::End, S_OK, 10, ""},
        {"behind the end", 5, SeekFrom::End, S_OK, 15, ""},
        {"from the end too far", -11, SeekFrom::End, STG_E_INVALIDFUNCTION, 15, ""},
        {"all of it", -10, SeekFrom::End, S_OK, 0, "0123"},
    };
    for (const Row& row : rows) {
        std::uint64_t position = 999;
        EXPECT_EQ(stream->Seek(row.distance, row.from, &position), row.answer) << row.name;
        EXPECT_EQ(position, row.position) << row.name;
        std::string bytes(4, '?');
        std::uint32_t done = 999;
        EXPECT_EQ(stream->Read(bytes.data(), 4, &done), S_OK) << row.name;
        EXPECT_EQ(bytes.substr(0, done), row.next) << row.name;
        EXPECT_EQ(stream->Seek(0, SeekFrom::Current, nullptr), S_OK);
    }
    char byte = '?';
    EXPECT_EQ(stream->Read(nullptr, 1, nullptr), E_POINTER);
    EXPECT_EQ(stream->Read(nullptr, 0, nullptr), S_OK);
    EXPECT_EQ(stream->Read(&byte, 1, nullptr), S_OK) << "a count that nobody asks for";
    EXPECT_EQ(byte, '4');
}

TEST_F(StreamTest, ReadsInMemoryWhatWasWritten) {
    const Ref<IStream> stream = InMemory();
    EXPECT_EQ(Read(stream.Get(), 1), "");
    Write(stream.Get(), "01234567");
    Write(stream.Get(), "89");
    EXPECT_EQ(Position(stream.Get()), 10U);
    EXPECT_EQ(stream->Write(nullptr, 1, nullptr), E_POINTER);
    ExpectReads(stream.Get());
}

TEST_F(StreamTest, ReadsFromAFileWhatWasWritten) {
    {
        const Ref<IStream> out = File(FileMode::Create);
        Write(out.Get(), "01234567");
        Write(out.Get(), "89");
        EXPECT_EQ(Position(out.Get()), 10U);
        EXPECT_EQ(out->Write(nullptr, 1, nullptr), E_POINTER);
    }
    ExpectReads(File(FileMode::Read).Get());
}

TEST_F(StreamTest, OverwritesInPlaceAndFillsGapsWithZeros) {
    const Ref<IStream> file = File(FileMode::Create);
    const Ref<IStream> memory = InMemory();
    for (IStream* const stream : {file.Get(), memory.Get()}) {
        Write(stream, "abcdef");
        EXPECT_EQ(stream->Seek(1, SeekFrom::Start, nullptr), S_OK);
        Write(stream, "XY");
        EXPECT_EQ(stream->Seek(2, SeekFrom::End, nullptr), S_OK);
        Write(stream, "z");
    }
    const std::string expected("aXYdef\0\0z", 9);
    EXPECT_EQ(memory->Seek(0, SeekFrom::Start, nullptr), S_OK);
    EXPECT_EQ(Read(memory.Get(), 20), expected);
    EXPECT_EQ(Read(File(FileMode::Read).Get(), 20), expected);
}

TEST_F(StreamTest, EmptiesAFileThatIsThere) {
    Write(File(FileMode::Create).Get(), "old");
    File(FileMode::Create).Reset();
    EXPECT_EQ(Read(File(FileMode::Read).Get(), 5), "");
}

TEST_F(StreamTest, ReportsFaultsOfTheMedium) {
    const Ref<IStream> out = File(FileMode::Create);
    char byte = 0;
    std::uint32_t done = 9;
    EXPECT_EQ(out->Read(&byte, 1, &done), STG_E_READFAULT) << "opened for writing";
    EXPECT_EQ(done, 0U);
    Ref<IStream> stream;
    const std::string directory = directory_.Name("");
    EXPECT_EQ(CreateFileStream(directory.c_str(), FileMode::Create, stream.Receive()),
              E_INVALIDARG);
    EXPECT_FALSE(stream);
    EXPECT_EQ(CreateFileStream(directory_.Name("none").c_str(), FileMode::Read, stream.Receive()),
              E_INVALIDARG);
    EXPECT_EQ(CreateFileStream(nullptr, FileMode::Read, stream.Receive()), E_POINTER);
    EXPECT_EQ(CreateFileStream("x", FileMode::Read, nullptr), E_POINTER);
    EXPECT_EQ(CreateMemoryStream(nullptr), E_POINTER);
    const Ref<IStream> in = File(FileMode::Read);
    done = 9;
    EXPECT_EQ(in->Write("x", 1, &done), STG_E_WRITEFAULT) << "opened for reading";
    EXPECT_EQ(done, 0U);
}

TEST_F(StreamTest, ReportsAFullMedium) {
    constexpr const char* kFullDevice = "/dev/full";
    ASSERT_TRUE(std::filesystem::exists(kFullDevice)) << "the device that is always full";
    Ref<IStream> stream;
    ASSERT_EQ(CreateFileStream(kFullDevice, FileMode::Create, stream.Receive()), S_OK);
    std::uint32_t done = 9;
    EXPECT_EQ(stream->Write("x", 1, &done), STG_E_MEDIUMFULL);
    EXPECT_EQ(done, 0U);

    const Ref<IStream> memory = InMemory();
    Write(memory.Get(), "ab");
    ASSERT_EQ(memory->Seek(INT64_MAX, SeekFrom::Start, nullptr), S_OK);
    done = 9;
    EXPECT_EQ(memory->Write("x", 1, &done), STG_E_MEDIUMFULL);
    EXPECT_EQ(done, 0U);
    EXPECT_EQ(memory->Write("", 0, &done), S_OK) << "nothing needs no room";
    EXPECT_EQ(memory->Seek(1, SeekFrom::Current, nullptr), STG_E_INVALIDFUNCTION);
    EXPECT_EQ(Position(memory.Get()), static_cast<std::uint64_t>(INT64_MAX));
    ASSERT_EQ(memory->Seek(0, SeekFrom::Start, nullptr), S_OK);
    EXPECT_EQ(Read(memory.Get(), 5), "ab") << "nothing is lost by it";
}

TEST_F(StreamTest, AnswersToItsInterfaces) {
    const Ref<IStream> stream = InMemory();
    Ref<IUnknown> identity;
    EXPECT_EQ(stream->QueryInterface(IID_IUnknown, identity.ReceiveVoid()), S_OK);
    EXPECT_EQ(identity.Get(), stream.Get());
    Ref<IStream> same;
    EXPECT_EQ(stream->QueryInterface(IID_IStream, same.ReceiveVoid()), S_OK);
    void* none = &same;
    EXPECT_EQ(stream->QueryInterface(IID_IPropertyPage, &none), E_NOINTERFACE);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(stream->QueryInterface(IID_IStream, nullptr), E_POINTER);
}

}  // namespace
}  // namespace torval

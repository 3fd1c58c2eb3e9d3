#include "engine/settings_stream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "state/settings.h"
#include "torval/engine.h"
#include "torval/library.h"
#include "torval/object.h"

namespace torval {

using for_tests::live_objects;
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kBlockAt = 8;
constexpr std::size_t kThompsonAt = 628;
constexpr std::size_t kCacheAt = 648;
constexpr std::size_t kLengthAt = 652;
constexpr std::size_t kNalimovAt = 654;

/// A stream over bytes, of which one call fails and which may answer in short pieces at its end.
class TestStream final : public Object<TestStream, IStream> {
public:
    explicit TestStream(Bytes content, int fail_at = -1)
        : bytes(std::move(content)), fail_at_(fail_at) {}

    void* FindInterface(const GUID& iid) {
        return iid == IID_IUnknown || iid == IID_IStream ? static_cast<IStream*>(this) : nullptr;
    }
    HRESULT Read(void* to, std::uint32_t count, std::uint32_t* done) override {
        if (done) *done = 0;
        if (calls++ == fail_at_) return STG_E_READFAULT;
        const std::size_t read = std::min<std::size_t>(count, bytes.size() - position_);
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(position_),
                    read,
                    static_cast<std::uint8_t*>(to));
        position_ += read;
        if (done) *done = static_cast<std::uint32_t>(read);
        return S_OK;
    }
    HRESULT Write(const void* from, std::uint32_t count, std::uint32_t* done) override {
        if (done) *done = 0;
        if (calls++ == fail_at_) return STG_E_MEDIUMFULL;
        const auto* const first = static_cast<const std::uint8_t*>(from);
        bytes.insert(bytes.end(), first, first + count);
        if (done) *done = count;
        return S_OK;
    }
    HRESULT Seek(std::int64_t, SeekFrom, std::uint64_t*) override { return E_NOTIMPL; }

    bool HasFailed() const { return fail_at_ >= 0 && calls > fail_at_; }

    Bytes bytes;
    int calls = 0;

private:
    int fail_at_;
    std::size_t position_ = 0;
};

template <typename T, typename... Arguments>
Ref<T> Make(Arguments&&... arguments) {
    Ref<T> made;
    *made.Receive() = MakeObject<T>(std::forward<Arguments>(arguments)...);
    return made;
}

/// Every setting that the stream carries.
struct AllSettings {
    Bytes block;
    std::string thompson;
    std::uint32_t cache;
    std::string nalimov;

    bool operator==(const AllSettings&) const = default;
};

AllSettings Now() {
    const auto* const first = reinterpret_cast<const std::uint8_t*>(&settings_block);
    return {.block = Bytes(first, first + sizeof settings_block),
            .thompson = std::string(ThompsonPath, sizeof ThompsonPath),
            .cache = CacheSizeMB,
            .nalimov = std::string(NalimovPath, sizeof NalimovPath)};
}

class SettingsStream : public testing::Test {
protected:
    void SetUp() override {
        objects_before_ = live_objects;
        Clear();
    }
    void TearDown() override {
        EXPECT_EQ(live_objects.load(), objects_before_);
        Clear();
        SetDefaultSettings();
    }

    static void Clear() {
        std::memset(static_cast<void*>(&settings_block), 0, sizeof settings_block);
        std::memset(ThompsonPath, 0, sizeof ThompsonPath);
        std::memset(NalimovPath, 0, sizeof NalimovPath);
        CacheSizeMB = 4;
    }
    /// What is there before a stream is loaded; no stream of these tests holds any of it.
    static void Scribble() {
        std::memset(static_cast<void*>(&settings_block), 0xEE, sizeof settings_block);
        std::strcpy(ThompsonPath, "/old/thompson");
        std::strcpy(NalimovPath, "/old/nalimov");
        CacheSizeMB = 99;
    }
    static HRESULT Load(const Bytes& bytes) { return LoadSettings(Make<TestStream>(bytes).Get()); }
    static Bytes Saved() {
        const Ref<TestStream> stream = Make<TestStream>(Bytes{});
        EXPECT_EQ(SaveSettings(stream.Get()), S_OK);
        return stream->bytes;
    }
    /// A stream whose every setting differs from nothing, from the defaults and from Scribble().
    static Bytes Telling() {
        for (std::size_t i = 0; i < sizeof settings_block; ++i) {
            reinterpret_cast<std::uint8_t*>(&settings_block)[i] =
                static_cast<std::uint8_t>(i * 7 + 3);
        }
        settings_block.MainBookName[255] = 0;
        settings_block.UserBookName[255] = 0;
        std::strcpy(ThompsonPath, "/thompson/new");
        std::strcpy(NalimovPath, "/a;/b,/c");
        CacheSizeMB = 0x01020304;
        return Saved();
    }
    static void SetVersion(Bytes* bytes, std::uint32_t version) {
        std::memcpy(bytes->data() + 4, &version, sizeof version);
    }

private:
    int objects_before_ = 0;
};

// ---- Saving -------------------------------------------------------------------------------------

TEST_F(SettingsStream, IsExactlySoAfterInitNew) {
    Ref<IPersistStreamInit> engine;
    ASSERT_EQ(CreateInstance("TORVAL.Engine", IID_IPersistStreamInit, engine.ReceiveVoid()), S_OK);
    ASSERT_EQ(engine->InitNew(), S_OK);
    EXPECT_EQ(engine->InitNew(), E_UNEXPECTED);
    const Ref<TestStream> stream = Make<TestStream>(Bytes{});
    ASSERT_EQ(engine->Save(stream.Get(), true), S_OK);
    EXPECT_EQ(engine->IsDirty(), S_FALSE);

    struct Field {
        std::size_t at;
        Bytes bytes;
    };
    Bytes expected(655, 0);
    const auto put = [&](std::size_t at, std::string_view text) {
        std::copy(text.begin(), text.end(), expected.begin() + static_cast<std::ptrdiff_t>(at));
    };
    const Field fields[] = {
        {4, {2, 1}},                         // version 258
        {kBlockAt + 2, {5, 0, 0xF3, 0xFF}},  // depth1 5, depth2 -13
        {kBlockAt + 24, {5}},
        {kBlockAt + 28, {1}},
        {kBlockAt + 30, {1}},
        {kBlockAt + 32, {0, 4}},
        {kBlockAt + 36, {40}},
        {kBlockAt + 40, {1}},
        {kBlockAt + 44, {7}},
        {kBlockAt + 52, {3}},
        {kBlockAt + 56, {7}},
        {kBlockAt + 60, {0x20, 3}},
        {kBlockAt + 64, {30}},
        {kBlockAt + 68, {3}},
        {kBlockAt + 76, {1}},
        {kBlockAt + 80, {8}},
        {kBlockAt + 84, {4}},
        {kBlockAt + 88, {2}},
        {kBlockAt + 92, {0xD0, 7}},
        {kBlockAt + 96, {0xE8, 3}},
        {kBlockAt + 612, {50}},
        {kBlockAt + 616, {3}},
        {kCacheAt, {4}},
        {kLengthAt, {1}},
    };
    for (const auto& [at, bytes] : fields) {
        std::copy(bytes.begin(), bytes.end(), expected.begin() + static_cast<std::ptrdiff_t>(at));
    }
    put(0, "QVRT");
    put(kBlockAt + 98, "TORVAL.BK1");
    put(kBlockAt + 354, "USERBOOK.BK");
    EXPECT_EQ(stream->bytes, expected);
}

TEST_F(SettingsStream, HoldsThePathsWithTheirZero) {
    const Bytes bytes = Telling();
    ASSERT_EQ(bytes.size(), kNalimovAt + 9);
    EXPECT_EQ(bytes[kLengthAt], 9);
    EXPECT_EQ(bytes[kLengthAt + 1], 0);
    const auto* const text = reinterpret_cast<const char*>(bytes.data());
    EXPECT_STREQ(text + kThompsonAt, "/thompson/new");
    EXPECT_STREQ(text + kNalimovAt, "/a;/b,/c");
    EXPECT_EQ((Bytes{bytes.begin() + kCacheAt, bytes.begin() + kLengthAt}), (Bytes{4, 3, 2, 1}));
}

TEST_F(SettingsStream, IsNeverLongerThanPromised) {
    EXPECT_EQ(LongestSettingsStream(), kNalimovAt + 1024);
    std::memset(NalimovPath, 'n', sizeof NalimovPath - 1);
    EXPECT_EQ(Saved().size(), LongestSettingsStream());
}

TEST_F(SettingsStream, PassesOnEveryWriteFault) {
    const Bytes whole = Saved();
    int fail_at = 0;
    for (;; ++fail_at) {
        ASSERT_LT(fail_at, 100);
        const Ref<TestStream> stream = Make<TestStream>(Bytes{}, fail_at);
        const HRESULT answer = SaveSettings(stream.Get());
        if (!stream->HasFailed()) {
            EXPECT_EQ(answer, S_OK);
            EXPECT_EQ(stream->bytes, whole);
            break;
        }
        EXPECT_EQ(answer, STG_E_MEDIUMFULL) << "write " << fail_at;
        EXPECT_LT(stream->bytes.size(), whole.size());
    }
    EXPECT_GT(fail_at, 0) << "the loop failed nothing";
}

// ---- Loading ------------------------------------------------------------------------------------

TEST_F(SettingsStream, LoadsWhatWasSaved) {
    const Bytes bytes = Telling();
    const AllSettings saved = Now();
    Clear();
    ASSERT_EQ(Load(bytes), S_OK);
    EXPECT_EQ(Now(), saved);
}

TEST_F(SettingsStream, LoadsOnceIntoAnEngine) {
    const Bytes bytes = Telling();
    Ref<IPersistStreamInit> engine;
    ASSERT_EQ(CreateInstance("TORVAL.Engine", IID_IPersistStreamInit, engine.ReceiveVoid()), S_OK);
    EXPECT_EQ(engine->Load(nullptr), E_POINTER);
    EXPECT_EQ(engine->Load(Make<TestStream>(Bytes{'x'}).Get()), E_UNEXPECTED);
    EXPECT_EQ(engine->Load(Make<TestStream>(bytes).Get()), S_OK) << "a failed load is none";
    EXPECT_EQ(engine->Load(Make<TestStream>(bytes).Get()), E_UNEXPECTED);
    EXPECT_EQ(engine->InitNew(), E_UNEXPECTED);
}

TEST_F(SettingsStream, IsRefusedByItsHead) {
    struct Row {
        const char* name;
        char first;
        std::uint32_t version;
        HRESULT answer;
    };
    const Row rows[] = {
        {"oldest", 'Q', 256, S_OK},
        {"old", 'Q', 257, S_OK},
        {"newest", 'Q', 258, S_OK},
        {"too old", 'Q', 255, E_UNEXPECTED},
        {"too new", 'Q', 259, E_UNEXPECTED},
        {"far too new", 'Q', 258 + 65536, E_UNEXPECTED},
        {"other magic", 'q', 258, E_UNEXPECTED},
    };
    for (const Row& row : rows) {
        Bytes bytes = Telling();
        bytes[0] = static_cast<std::uint8_t>(row.first);
        SetVersion(&bytes, row.version);
        Scribble();
        const AllSettings before = Now();
        EXPECT_EQ(Load(bytes), row.answer) << row.name;
        EXPECT_EQ(Now() == before, row.answer != S_OK) << row.name;
    }
}

TEST_F(SettingsStream, OfEveryLengthLeavesWhatItDoesNotReach) {
    const Bytes whole = Telling();
    const AllSettings loaded = Now();
    for (const std::uint32_t version : {256U, 257U, 258U}) {
        const bool newest = version == 258;
        for (std::size_t length = 0; length <= whole.size(); ++length) {
            SCOPED_TRACE("version " + std::to_string(version) + ", " + std::to_string(length) +
                         " bytes");
            Bytes bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
            if (length >= kBlockAt) SetVersion(&bytes, version);
            Scribble();
            AllSettings expected = Now();
            if (length >= kThompsonAt) {
                expected.block = loaded.block;
                expected.thompson = std::string(20, '\0');
            }
            if (length >= kCacheAt) expected.thompson = loaded.thompson;
            if (newest && length >= kLengthAt) expected.cache = loaded.cache;
            if (newest && length == whole.size()) expected.nalimov = loaded.nalimov;
            const bool fits = newest ? length == whole.size() : length >= kThompsonAt;
            EXPECT_EQ(Load(bytes), fits ? S_OK : E_UNEXPECTED);
            ASSERT_EQ(Now(), expected);
        }
    }
}

TEST_F(SettingsStream, FailsWithEveryReadFault) {
    const Bytes whole = Telling();
    const AllSettings loaded = Now();
    constexpr int kThompsonRead = 2;  // behind the head and the block
    int fail_at = 0;
    for (;; ++fail_at) {
        ASSERT_LT(fail_at, 100);
        Scribble();
        const Ref<TestStream> stream = Make<TestStream>(whole, fail_at);
        const HRESULT answer = LoadSettings(stream.Get());
        if (!stream->HasFailed()) {
            EXPECT_EQ(answer, S_OK);
            EXPECT_EQ(Now(), loaded);
            break;
        }
        // A stream may lack the Thompson path: what fails there is the next thing read.
        if (fail_at != kThompsonRead) {
            EXPECT_EQ(answer, E_UNEXPECTED) << "read " << fail_at;
        }
        EXPECT_EQ(NalimovPath, std::string("/old/nalimov")) << "read " << fail_at;
    }
    EXPECT_GT(fail_at, kThompsonRead) << "the loop failed too little";
}

TEST_F(SettingsStream, TakesANalimovPathOfEveryLengthItCanHold) {
    struct Row {
        std::uint16_t length;
        bool taken;
    };
    for (const auto& [length, taken] : {Row{0, false},
                                        Row{1, true},
                                        Row{2, true},
                                        Row{1023, true},
                                        Row{1024, false},
                                        Row{1025, false},
                                        Row{0xFFFF, false}}) {
        Bytes bytes = Telling();
        bytes.resize(kNalimovAt);
        std::memcpy(bytes.data() + kLengthAt, &length, sizeof length);
        bytes.insert(bytes.end(), length, 'p');  // without its zero
        Scribble();
        EXPECT_EQ(Load(bytes), S_OK) << length;
        EXPECT_EQ(NalimovPath, taken ? std::string(length, 'p') : "/old/nalimov") << length;
        EXPECT_EQ(CacheSizeMB, 0x01020304U) << length;
    }
}

TEST_F(SettingsStream, EndsEveryTextItLoads) {
    Bytes bytes(kCacheAt, 'u');
    std::copy_n("QVRT", 4, bytes.begin());
    SetVersion(&bytes, 257);
    Scribble();
    ASSERT_EQ(Load(bytes), S_OK);
    EXPECT_EQ(std::string(ThompsonPath, sizeof ThompsonPath), std::string(19, 'u') + '\0');
    EXPECT_EQ(settings_block.MainBookName[254], 'u');
    EXPECT_EQ(settings_block.MainBookName[255], 0);
    EXPECT_EQ(settings_block.UserBookName[254], 'u');
    EXPECT_EQ(settings_block.UserBookName[255], 0);
}

}  // namespace
}  // namespace torval

#include "egtb/container.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bitset>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <sstream>

#include "apps/tablebase/compress.h"
#include "apps/tablebase/prefix_lengths.h"
#include "egtb/checksum.h"

namespace torval {

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes Load(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    EXPECT_TRUE(file) << name;
    return {std::istreambuf_iterator<char>(file), {}};
}

const std::string kReference = TORVAL_TEST_DATA "/reference/tablebase/";

void PutNumber(Bytes& bytes, std::size_t at, std::uint32_t number) {
    for (std::size_t i = 0; i < 4; ++i) {
        bytes[at + i] = static_cast<std::uint8_t>(number >> (24 - 8 * i));
    }
}

ErrorCode DecodeFrom(const Bytes& file,
                     const CompressedFileInfo& info,
                     std::uint32_t block,
                     std::span<std::uint8_t> out) {
    // A copy of its very size, so that reading beyond it is seen.
    const auto begin = file.begin() + static_cast<std::ptrdiff_t>(info.offsets[block]);
    const Bytes compressed(begin, begin + info.CompressedSizeOf(block));
    return DecodeBlock(info, block, compressed, out);
}

/// All blocks of a file; any fault fails the test.
Bytes Unpack(const Bytes& file) {
    std::unique_ptr<CompressedFileInfo> info;
    EXPECT_EQ(ParseCompressedHeader(file, BlockSums::Retain, &info), ErrorNone);
    Bytes data;
    if (!info) return data;
    EXPECT_EQ(info->offsets.back(), file.size());
    for (std::uint32_t block = 0; block < info->blocks; ++block) {
        Bytes out(info->SizeOf(block) + kSpareBytes);
        EXPECT_EQ(DecodeFrom(file, *info, block, out), ErrorNone) << "block " << block;
        data.insert(data.end(), out.begin(), out.end() - kSpareBytes);
    }
    EXPECT_EQ(data.size(), info->DataBytes());
    return data;
}

std::uint64_t Fnv(const Bytes& bytes) {
    std::uint64_t hash = 0xcbf29ce484222325;
    for (const std::uint8_t byte : bytes) hash = (hash ^ byte) * 0x100000001b3;
    return hash;
}

bool HasLongCodes(const CompressedFileInfo& info) {
    return std::ranges::any_of(info.table.direct,
                               [](int entry) { return entry % 16 == BlockTable::kTreeMark; });
}

TEST(Container, FilesOfAnotherCompressorHoldWhatTheyWereMadeFrom) {
    struct Case {
        const char* name;
        std::size_t size;
        std::uint64_t hash;
        bool long_codes;
    };
    for (const Case& c : {
             Case{"all_length_codes_best.raw", 155226, 0xa3f32f27a3d53ce1, false},
             Case{"kpk.nbb", 84012, 0x121415afc76d535a, true},
             Case{"krk.nbw", 27030, 0x4a120a0a30e50a70, false},
             Case{"last_block_of_one_byte.raw", 8193, 0x81d36210286d9bf8, false},
             Case{"long_codes_best.raw", 121392, 0x8ef838eb457658a7, true},
             Case{"mixed_stored_and_coded.raw", 80000, 0x6d7746b76a996669, true},
         }) {
        SCOPED_TRACE(c.name);
        const Bytes file = Load(kReference + c.name + ".emd");
        const Bytes data = Unpack(file);
        EXPECT_EQ(data.size(), c.size);
        EXPECT_EQ(Fnv(data), c.hash);
        std::unique_ptr<CompressedFileInfo> info;
        ASSERT_EQ(ParseCompressedHeader(file, BlockSums::Skip, &info), ErrorNone);
        EXPECT_TRUE(info->checksums.empty());
        EXPECT_EQ(HasLongCodes(*info), c.long_codes);
    }
    EXPECT_EQ(Unpack(Load(kReference + "krk.nbw.emd")), Load(kReference + "krk.nbw"));
}

TEST(Container, RealTablesArePackedNoWorse) {
    for (const char* name : {"krk.nbw.emd", "kpk.nbb.emd"}) {
        const Bytes file = Load(kReference + name);
        const Bytes data = Unpack(file);
        const Bytes packed = CompressTablebase(data);
        EXPECT_LE(packed.size(), file.size()) << name;
        EXPECT_TRUE(Unpack(packed) == data) << name;
    }
}

// ---- A file written by hand ---------------------------------------------------------------------

void AppendBits(Bytes& bytes, std::string bits) {
    std::erase(bits, ' ');
    bits.resize((bits.size() + 7) / 8 * 8, '0');
    for (std::size_t at = 0; at < bits.size(); at += 8) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(bits.substr(at, 8), nullptr, 2)));
    }
}

const std::string kHandLengths =
    "0 0 00010 00 0000 10 10 00 1111 00 1100 01 00 1111 00 1111 00 0001 10 00 1001 10"
    "00 1111 00 0111 10 00 0000 10 00 1111 00 0101"
    "0 00 11 0 10 1010111 11 0 01 10 0 11 011001111";
const std::string kHandBlock = "10 0 1 11 10";
const Bytes kHandData = {5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 0xFE, 5};
constexpr std::size_t kHandFieldsAt = 0x58;
constexpr std::size_t kHandLengthsAt = 0x83;

/// Writes the right checksum into a header whose size field is `size`.
void Seal(Bytes& file, std::size_t size) {
    PutNumber(file, size - 4, ChecksumOf(std::span(file).first(size - 4)));
}

/// One block of 20 bytes with the code lengths and the block given as bits.
Bytes HandMade(const std::string& lengths = kHandLengths, const std::string& block = kHandBlock) {
    Bytes packed;
    AppendBits(packed, block);
    Bytes file;
    for (const char c :
         std::string("Torval endgame tablebase, block-compressed                \r\n")) {
        file.push_back(static_cast<std::uint8_t>(c));
    }
    file.insert(file.end(), {0, 0, 0, 0});
    file.insert(file.end(), {0, 0, 0, 0, 0, 0, 13, 24, 0, 0, 0, 1, 0x00, 0x40, 0x01, 0xF5});
    file.resize(kHandFieldsAt);
    PutNumber(file, 80, ChecksumOf(kHandData));
    PutNumber(file, 84, ChecksumOf(packed));
    std::string fields = std::bitset<13>(packed.size()).to_string() + "0000000010100";
    for (unsigned distance = 1; distance <= 24; ++distance) {
        fields += std::bitset<13>(distance).to_string();
    }
    AppendBits(file, fields);
    EXPECT_EQ(file.size(), kHandLengthsAt);
    AppendBits(file, lengths);
    file.resize(file.size() + 4);
    PutNumber(file, 64, static_cast<std::uint32_t>(file.size()));
    Seal(file, file.size());
    file.insert(file.end(), packed.begin(), packed.end());
    return file;
}

TEST(Container, AFileWrittenByHandIsReadAndStandsInTheDocument) {
    const Bytes file = HandMade();
    EXPECT_EQ(Unpack(file), kHandData);

    std::ifstream page(TORVAL_TEST_DATA "/../../docs/formats/tablebase.md");
    Bytes dump;
    for (std::string line; std::getline(page, line);) {
        unsigned offset = 0;
        std::istringstream words(line);
        if (line.size() < 8 || line.substr(4, 2) != "  " || !(words >> std::hex >> offset))
            continue;
        if (offset != dump.size()) continue;
        for (unsigned byte = 0; words >> std::hex >> byte;) {
            dump.push_back(static_cast<std::uint8_t>(byte));
        }
    }
    EXPECT_EQ(dump, file);
}

constexpr std::uint32_t kNothing = 0;

struct Damage {
    const char* name;
    std::function<void(Bytes&)> apply;
    bool sealed;  // with a header checksum that fits
    std::uint32_t error_class;
    ErrorPlace place;
};

void PrintTo(const Damage& damage, std::ostream* out) { *out << damage.name; }

class DamagedHeaderTest : public testing::TestWithParam<Damage> {};

TEST_P(DamagedHeaderTest, IsNamedByClassAndPlaceAndChangesNothing) {
    const Damage& c = GetParam();
    Bytes file = HandMade();
    const std::size_t size = file[67];
    c.apply(file);
    if (c.sealed) Seal(file, size);
    std::unique_ptr<CompressedFileInfo> info;
    const ErrorCode error = ParseCompressedHeader(file, BlockSums::Skip, &info);
    EXPECT_EQ(error & 0xFF, c.error_class);
    EXPECT_EQ(PlaceOf(error), c.place) << static_cast<int>(PlaceOf(error));
    EXPECT_EQ(info != nullptr, c.error_class == kNothing);
}

std::function<void(Bytes&)> Byte(std::size_t at, int value) {
    return [=](Bytes& file) { file[at] = static_cast<std::uint8_t>(value); };
}

std::function<void(Bytes&)> Number(std::size_t at, std::uint32_t value) {
    return [=](Bytes& file) { PutNumber(file, at, value); };
}

INSTANTIATE_TEST_SUITE_P(
    Container,
    DamagedHeaderTest,
    testing::Values(
        Damage{"BannerOfSomebodyElse", Byte(0, 'Q'), true, kNothing, {}},
        Damage{"BannerBelowPrintable", Byte(57, 0x1F), true, 2, ErrorPlace::Banner},
        Damage{"BannerAbovePrintable", Byte(0, 0x7F), true, 2, ErrorPlace::Banner},
        Damage{"BannerCarriageReturn", Byte(58, '\n'), true, 2, ErrorPlace::Banner},
        Damage{"BannerLineFeed", Byte(59, ' '), true, 2, ErrorPlace::Banner},
        Damage{"BannerFirstZero", Byte(60, 1), true, 2, ErrorPlace::Banner},
        Damage{"BannerLastZero", Byte(63, 1), true, 2, ErrorPlace::Banner},
        Damage{"SizeBelowSmallest", Number(64, 83), false, 6, ErrorPlace::HeaderSize},
        Damage{"SizeWithoutRoomForFields",
               [](Bytes& file) {
                   PutNumber(file, 64, kHandLengthsAt + 3);
                   Seal(file, kHandLengthsAt + 3);
               },
               false,
               6,
               ErrorPlace::HeaderSize},
        Damage{"SizeAboveFile", Number(64, 153), false, 2, ErrorPlace::HeaderBytes},
        Damage{"SizeHuge", Number(64, 0xFFFFFFFF), false, 2, ErrorPlace::HeaderBytes},
        Damage{"BytesNotRead", Number(68, 0xFFFF0D18), true, kNothing, {}},
        Damage{"BlockBitsAboveLargest", Byte(70, 17), true, 6, ErrorPlace::BlockBits},
        Damage{"BlockBitsOfLargestBlock", Byte(70, 16), true, 6, ErrorPlace::LengthTables},
        Damage{"BlockBitsNone", Byte(70, 0), true, 6, ErrorPlace::Distance},
        Damage{"DistanceCount", Byte(71, 25), true, 6, ErrorPlace::DistanceCount},
        Damage{"BlocksHuge", Number(72, 0xFFFFFFFF), true, 6, ErrorPlace::HeaderSize},
        Damage{"FormatMark", Number(76, 0x004001F4), true, 6, ErrorPlace::FormatMark},
        Damage{"DistanceZero", Byte(0x5C, 0x00), true, 6, ErrorPlace::Distance},
        Damage{"LengthTable", Byte(kHandLengthsAt, 0x02), true, 6, ErrorPlace::LengthTables},
        Damage{"Checksum", Byte(150, 0x9F), false, 6, ErrorPlace::HeaderChecksum}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(Container, BadCodeLengthsAreRefused) {
    const std::string tables = kHandLengths.substr(0, kHandLengths.rfind("0 00 11"));
    struct Case {
        const char* why;
        std::string bits;
        ErrorPlace place;
    };
    for (const Case& c : {
             Case{"no symbol at all is good", "1", {}},
             Case{"A without symbols gives 1024 zeros", "0 1", {}},
             Case{"zeros after a zero may end with the alphabets",
                  "0 0 00000 1111 1111 1111 1111 1111 1111 1111 1111",
                  {}},
             Case{"zeros after a zero run past the alphabets",
                  "0 0 00001 0 1111 0 1111 0 1111 0 1111 0 1111 0 1111 0 1111 1 0 1111",
                  ErrorPlace::LengthTables},
             Case{"a length above 31",
                  "0 0 11111 1111111111111111111111111111111",
                  ErrorPlace::LengthTables},
             Case{"a symbol alone with two bits",
                  "0 0 00010 10 00 1111 00 1111 00 1111 00 1111 00 1111 00 1111 00 1111 00 1110",
                  ErrorPlace::LengthTables},
             Case{"the input ends among the tables", "0 0 00001", ErrorPlace::LengthTables},
             Case{"the input ends among the lengths", tables, ErrorPlace::CodeLengths},
             Case{"a run past the last symbol",
                  "0 0 00001 0 1111 0 1111 1 0 1111 0 1111 0 1111 0 1111 0 1000 1 0 1111 0 0100"
                  "0000000000",
                  ErrorPlace::CodeLengths},
             Case{"two bits for each of 1024 symbols",
                  "0 0 00001 0 0001 1 0 1111 0 1111 0 1111 0 1111 0 1111 0 1111 0 1111 0 1100",
                  ErrorPlace::BlockTable},
         }) {
        SCOPED_TRACE(c.why);
        std::unique_ptr<CompressedFileInfo> info;
        const ErrorCode error = ParseCompressedHeader(HandMade(c.bits), BlockSums::Skip, &info);
        if (c.place == ErrorPlace{}) {
            EXPECT_EQ(error, ErrorNone) << static_cast<int>(PlaceOf(error));
        } else {
            EXPECT_EQ(error, MakeError(ErrorClass::FileBroken, c.place))
                << static_cast<int>(PlaceOf(error));
        }
    }
}

TEST(Container, EveryBitOfTheHeaderCountsAndEveryByteIsNeeded) {
    const Bytes good = Load(kReference + "krk.nbw.emd");
    std::unique_ptr<CompressedFileInfo> info;
    ASSERT_EQ(ParseCompressedHeader(good, BlockSums::Skip, &info), ErrorNone);
    const std::size_t size = info->offsets[0];
    info.reset();
    for (std::size_t bit = 0; bit < 8 * size; ++bit) {
        Bytes file = good;
        file[bit / 8] = static_cast<std::uint8_t>(file[bit / 8] ^ 1U << bit % 8);
        EXPECT_NE(ParseCompressedHeader(file, BlockSums::Skip, &info), ErrorNone) << bit;
    }
    for (std::size_t length = 0; length < size; ++length) {
        const Bytes file(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(length));
        const ErrorCode error = ParseCompressedHeader(file, BlockSums::Skip, &info);
        EXPECT_EQ(ClassOf(error), ErrorClass::Read) << length;
    }
    EXPECT_EQ(info, nullptr);
}

// ---- Codes and blocks ---------------------------------------------------------------------------

TEST(PrefixCode, EveryWordOfEveryLengthIsReadBack) {
    std::vector<std::uint8_t> flat(kBlockSymbols, 10);
    std::vector<std::uint8_t> steep(kBlockSymbols, 0);  // 1, 2, 3, ... 30, 31, 31
    for (std::size_t i = 0; i < 32; ++i) {
        steep[1023 - 33 * i + i] = static_cast<std::uint8_t>(std::min<std::size_t>(i + 1, 31));
    }
    std::vector<std::uint8_t> bushy(kBlockSymbols, 14);  // nearly all words in the tree
    for (std::size_t i = 0; i < 15; ++i) {
        bushy[60 * i] = 4;
        bushy[60 * i + 7] = 13;
    }
    std::mt19937 random(7);
    for (const auto& lengths : {flat, steep, bushy}) {
        std::span<const std::uint8_t, kBlockSymbols> all(lengths);
        BlockTable table;
        ASSERT_TRUE(BuildDecodeTable(all, &table));
        const std::vector<CodeWord> words = CodeWordsOf(lengths);
        std::vector<int> symbols;
        for (int symbol = 0; symbol < kBlockSymbols; ++symbol) {
            if (lengths[static_cast<std::size_t>(symbol)] != 0) symbols.push_back(symbol);
        }
        std::shuffle(symbols.begin(), symbols.end(), random);
        BitWriter writer;
        for (const int symbol : symbols) {
            const CodeWord& word = words[static_cast<std::size_t>(symbol)];
            writer.Put(word.bits, word.length);
        }
        const Bytes bytes = writer.TakeBytes();
        BitReader reader(bytes);
        for (const int symbol : symbols) {
            reader.Refill();
            ASSERT_EQ(table.TakeSymbol(reader), symbol);
        }
        EXPECT_FALSE(reader.Overran());

        BitWriter lengths_writer;
        WriteCodeLengths(lengths_writer, lengths);
        const Bytes written = lengths_writer.TakeBytes();
        BitReader lengths_reader(written);
        std::array<std::uint8_t, kBlockSymbols> read;
        ASSERT_EQ(ReadCodeLengths(lengths_reader, read), LengthsAnswer::Good);
        EXPECT_TRUE(std::ranges::equal(read, lengths));

        // One symbol more or less and the code is not complete.
        for (const int step : {1, -1}) {
            std::vector<std::uint8_t> wrong = lengths;
            std::uint8_t& one = wrong[static_cast<std::size_t>(symbols.front())];
            one = static_cast<std::uint8_t>(one == 31 ? 30 : one == 1 ? 2 : one + step);
            EXPECT_FALSE(
                BuildDecodeTable(std::span<const std::uint8_t, kBlockSymbols>(wrong), &table));
        }
    }
    std::vector<std::uint8_t> alone(kBlockSymbols, 0);
    BlockTable table;
    alone[700] = 2;
    EXPECT_FALSE(BuildDecodeTable(std::span<const std::uint8_t, kBlockSymbols>(alone), &table));
    alone[700] = 32;
    EXPECT_FALSE(BuildDecodeTable(std::span<const std::uint8_t, kBlockSymbols>(alone), &table));
    alone[700] = 1;
    ASSERT_TRUE(BuildDecodeTable(std::span<const std::uint8_t, kBlockSymbols>(alone), &table));
    BitReader empty({});
    empty.Refill();
    EXPECT_EQ(table.TakeSymbol(empty), 700);
    EXPECT_FALSE(empty.Overran());
}

/// One block in a code in which every symbol has ten bits, its own number; distances 1 to 24.
struct TenBits {
    CompressedFileInfo info;
    BitWriter writer;

    TenBits() {
        const std::vector<std::uint8_t> lengths(kBlockSymbols, 10);
        EXPECT_TRUE(
            BuildDecodeTable(std::span<const std::uint8_t, kBlockSymbols>(lengths), &info.table));
        for (std::uint32_t d = 0; d < kDistances; ++d) info.distances[d] = d + 1;
        info.block_bits = kBlockBits;
        info.block_size = kBlockBytes;
        info.blocks = 1;
    }
    void Literal(int byte) { writer.Put(static_cast<std::uint32_t>(byte), 10); }
    void Match(std::uint32_t distance, int code, std::uint32_t further = 0) {
        writer.Put(static_cast<std::uint32_t>(kLiterals + code) + (distance - 1) * kLengthCodes,
                   10);
        writer.Put(further, FurtherBits(code));
    }
    ErrorCode Decode(const Bytes& bytes, std::uint32_t size, Bytes* out) {
        info.last_size = size;
        info.offsets = {0, bytes.size()};
        out->assign(size + kSpareBytes, 0xEE);
        return DecodeBlock(info, 0, bytes, *out);
    }
};

TEST(DecodeBlock, MatchesRepeatWhatStandsBeforeThem) {
    for (std::uint32_t distance = 1; distance <= kDistances; ++distance) {
        for (int code = 0; code < kLengthCodes; ++code) {
            const std::uint32_t last_further = (1U << FurtherBits(code)) - 1;
            for (const std::uint32_t further : {0U, last_further}) {
                const std::uint32_t length = ShortestMatch(code) + further;
                TenBits block;
                Bytes expected;
                for (std::uint32_t i = 0; i < distance; ++i) {
                    expected.push_back(static_cast<std::uint8_t>(17 * i + 1));
                    block.Literal(expected.back());
                }
                block.Match(distance, code, further);
                for (std::uint32_t i = 0; i < length; ++i) {
                    expected.push_back(expected[expected.size() - distance]);
                }
                block.Literal(0xAB);
                expected.push_back(0xAB);
                // A match that would pass the end of the block ends there.
                if (expected.size() > kBlockBytes) expected.resize(kBlockBytes);
                const auto size = static_cast<std::uint32_t>(expected.size());
                const Bytes bytes = block.writer.TakeBytes();
                if (bytes.size() == size) continue;
                Bytes out;
                ASSERT_EQ(block.Decode(bytes, size, &out), ErrorNone);
                out.resize(size);
                ASSERT_EQ(out, expected) << "distance " << distance << " length " << length;
            }
        }
    }
}

TEST(DecodeBlock, DamagedBlocksAreBroken) {
    Bytes out;
    TenBits early;
    early.Literal(1);
    early.Match(2, 5);
    EXPECT_EQ(early.Decode(early.writer.TakeBytes(), 7, &out),
              MakeError(ErrorClass::FileBroken, ErrorPlace::MatchStart));

    TenBits whole;
    for (int i = 0; i < 24; ++i) whole.Literal(i);
    whole.Match(24, 31, 0x1FFFF);
    const Bytes bytes = whole.writer.TakeBytes();
    ASSERT_EQ(whole.Decode(bytes, 8192, &out), ErrorNone);
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        const Bytes cut(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length));
        const ErrorCode error = whole.Decode(cut, 8192, &out);
        EXPECT_EQ(ClassOf(error), ErrorClass::FileBroken) << length;
    }

    EXPECT_EQ(ClassOf(DecodeBlock(whole.info, 1, bytes, out)), ErrorClass::BadCall);
    out.pop_back();
    EXPECT_EQ(ClassOf(DecodeBlock(whole.info, 0, bytes, out)), ErrorClass::BadCall);
}

TEST(DecodeBlock, RetainedChecksumsAreCompared) {
    for (const auto& [at, place] : {std::pair{std::size_t{80}, ErrorPlace::DecompressedSum},
                                    std::pair{std::size_t{84}, ErrorPlace::CompressedSum}}) {
        Bytes file = HandMade();
        file[at] ^= 1;
        Seal(file, file[67]);
        for (const BlockSums sums : {BlockSums::Retain, BlockSums::Skip}) {
            std::unique_ptr<CompressedFileInfo> info;
            ASSERT_EQ(ParseCompressedHeader(file, sums, &info), ErrorNone);
            Bytes out(kHandData.size() + kSpareBytes);
            EXPECT_EQ(
                DecodeFrom(file, *info, 0, out),
                sums == BlockSums::Skip ? ErrorNone : MakeError(ErrorClass::FileBroken, place));
        }
    }
}

// ---- Round trips --------------------------------------------------------------------------------

struct Material {
    const char* name;
    std::function<Bytes()> make;
    bool long_codes = false;
    std::size_t most = 0;  // bytes that the file may take
};

void PrintTo(const Material& material, std::ostream* out) { *out << material.name; }

Bytes Noise(std::size_t size) {
    std::mt19937 random(11);
    Bytes bytes(size);
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random() >> 13);
    return bytes;
}

/// Byte values each half as frequent as the one before, in an order without pattern.
Bytes Steep() {
    Bytes bytes;
    for (unsigned i = 0; i < 16; ++i)
        bytes.insert(bytes.end(), 1U << i, static_cast<std::uint8_t>(99 - i));
    std::shuffle(bytes.begin(), bytes.end(), std::mt19937(3));
    return bytes;
}

Bytes Repeated(std::size_t period, std::size_t size) {
    Bytes bytes = Noise(period);
    while (bytes.size() < size) bytes.push_back(bytes[bytes.size() - period]);
    return bytes;
}

Bytes Mixed() {
    Bytes bytes = Noise(3 * kBlockBytes);
    std::fill(bytes.begin() + kBlockBytes, bytes.begin() + 2 * kBlockBytes, std::uint8_t{7});
    bytes.push_back(9);
    return bytes;
}

class RoundTripTest : public testing::TestWithParam<Material> {};

TEST_P(RoundTripTest, GivesTheSameBytesBack) {
    const Bytes data = GetParam().make();
    const Bytes file = CompressTablebase(data);
    EXPECT_TRUE(Unpack(file) == data);
    EXPECT_LE(file.size(), GetParam().most);
    std::unique_ptr<CompressedFileInfo> info;
    ASSERT_EQ(ParseCompressedHeader(file, BlockSums::Skip, &info), ErrorNone);
    EXPECT_EQ(HasLongCodes(*info), GetParam().long_codes);
}

INSTANTIATE_TEST_SUITE_P(
    Container,
    RoundTripTest,
    testing::Values(
        Material{"Nothing", [] { return Bytes(); }, false, 128},
        Material{"OneByte", [] { return Bytes{200}; }, false, 138},
        Material{"TwoBytes",
                 [] {
                     return Bytes{3, 4};
                 },
                 false,
                 150},
        Material{"Zeros", [] { return Bytes(3 * kBlockBytes, 0); }, false, 180},
        Material{"OneBlock", [] { return Bytes(kBlockBytes, 255); }, false, 160},
        Material{"OneByteMoreThanABlock", [] { return Bytes(kBlockBytes + 1, 1); }, false, 170},
        Material{"Noise", [] { return Noise(2 * kBlockBytes + 77); }, false, 2 * kBlockBytes + 300},
        Material{
            "NoiseAndOneByte", [] { return Noise(kBlockBytes + 1); }, false, kBlockBytes + 200},
        Material{"StoredBetweenRuns", [] { return Mixed(); }, false, 2 * kBlockBytes + 250},
        Material{"LongCodes", [] { return Steep(); }, true, 20000},
        Material{"PeriodOf3", [] { return Repeated(3, 20000); }, false, 260},
        Material{"PeriodOf1000", [] { return Repeated(1000, 20000); }, false, 3600}),
    [](const auto& test) { return std::string(test.param.name); });

// ---- Through a file -----------------------------------------------------------------------------

int steps_to_failure = 0;
bool FailStep(DiskStep) { return --steps_to_failure == 0; }

TEST(ReadCompressedHeader, PassesOnEveryFaultOfTheFile) {
    const std::string name = kReference + "krk.nbw.emd";
    for (int fail_at = 1;; ++fail_at) {
        ASSERT_LT(fail_at, 100);
        DiskFile file;
        ASSERT_TRUE(file.Open(name, DiskAccess::ReadOnly));
        ASSERT_EQ(AllocateDecodeState(kBlockBytes), ErrorNone);
        steps_to_failure = fail_at;
        disk_step_fails = FailStep;
        std::unique_ptr<CompressedFileInfo> info;
        ErrorCode error = ReadCompressedHeader(file, BlockSums::Retain, &info);
        EXPECT_EQ(info != nullptr, error == ErrorNone);
        Bytes out(kBlockBytes + kSpareBytes);
        for (std::uint32_t block = 0; error == ErrorNone && block < info->blocks; ++block) {
            error = ReadBlock(file, *info, block, out);
        }
        disk_step_fails = nullptr;
        if (steps_to_failure > 0) {  // every step has had its turn
            EXPECT_EQ(error, ErrorNone);
            EXPECT_GT(fail_at, 4);
            break;
        }
        EXPECT_EQ(ClassOf(error), ErrorClass::Read) << fail_at;
    }
    decode_state.reset();
}

TEST(DecodeState, IsNeededWholeAndLargeEnough) {
    DiskFile file;
    ASSERT_TRUE(file.Open(kReference + "krk.nbw.emd", DiskAccess::ReadOnly));
    std::unique_ptr<CompressedFileInfo> info;
    ASSERT_EQ(ReadCompressedHeader(file, BlockSums::Skip, &info), ErrorNone);
    Bytes out(kBlockBytes + kSpareBytes);
    const auto read = [&](std::uint32_t block) { return ReadBlock(file, *info, block, out); };
    const auto bad = [](ErrorPlace place) { return MakeError(ErrorClass::BadCall, place); };
    decode_state.reset();
    EXPECT_EQ(read(0), bad(ErrorPlace::StateMissing));
    EXPECT_EQ(AllocateDecodeState(0), bad(ErrorPlace::BlockSize));
    EXPECT_EQ(AllocateDecodeState(65537), bad(ErrorPlace::BlockSize));
    ASSERT_EQ(AllocateDecodeState(4096), ErrorNone);
    EXPECT_EQ(read(0), bad(ErrorPlace::BlockSize));
    ASSERT_EQ(AllocateDecodeState(kBlockBytes), ErrorNone);
    EXPECT_EQ(read(0), ErrorNone);
    EXPECT_EQ(read(info->blocks), bad(ErrorPlace::BlockNumber));
#ifndef NDEBUG
    decode_state->marker ^= 1;
    EXPECT_EQ(read(0), bad(ErrorPlace::StateDamaged));
#endif
    decode_state.reset();
}

}  // namespace

}  // namespace torval

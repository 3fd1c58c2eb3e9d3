#include "egtb/nalimov/container.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>

#include "apps/makers/tables/compress.h"
#include "apps/makers/tables/prefix_lengths.h"
#include "egtb/nalimov/checksum.h"

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
    // A copy of exactly its size, so that reading beyond it is detected.
    const auto begin = file.begin() + static_cast<std::ptrdiff_t>(info.offsets[block]);
    const Bytes compressed(begin, begin + info.CompressedSizeOf(block));
    return DecodeBlock(info, block, compressed, out);
}

/// All blocks of a file, which agree with the checksums in its header; any fault fails the test.
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

bool HasLongCodes(const Bytes& file) {
    std::unique_ptr<CompressedFileInfo> info;
    EXPECT_EQ(ParseCompressedHeader(file, BlockSums::Skip, &info), ErrorNone);
    return info && std::ranges::any_of(info->table.direct, [](int entry) {
               return entry % 16 == BlockTable::kTreeMark;
           });
}

TEST(Container, FilesOfTheSecondCompressorAreReadAndPackedNoWorse) {
    struct Case {
        const char* name;
        std::size_t size;
        bool long_codes;
        bool is_table;
    };
    for (const Case& c : {
             Case{"all_length_codes_best.raw", 155226, false, false},
             Case{"kpk.nbb", 84012, true, true},
             Case{"krk.nbw", 27030, false, true},
             Case{"last_block_of_one_byte.raw", 8193, false, false},
             Case{"long_codes_best.raw", 121392, true, false},
             Case{"mixed_stored_and_coded.raw", 80000, true, false},
         }) {
        SCOPED_TRACE(c.name);
        const Bytes file = Load(kReference + c.name + ".emd");
        const Bytes data = Unpack(file);
        EXPECT_EQ(data.size(), c.size);
        EXPECT_EQ(HasLongCodes(file), c.long_codes);
        if (!c.is_table) continue;
        const Bytes packed = CompressTablebase(data);
        EXPECT_LE(packed.size(), file.size());
        EXPECT_TRUE(Unpack(packed) == data);
    }
    EXPECT_EQ(Unpack(Load(kReference + "krk.nbw.emd")), Load(kReference + "krk.nbw"));
}

// ---- A file written by hand ---------------------------------------------------------------------

void AppendBits(Bytes& bytes, std::string bits) {
    std::erase(bits, ' ');
    bits.resize((bits.size() + 7) / 8 * 8, '0');
    for (std::size_t at = 0; at < bits.size(); at += 8) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(bits.substr(at, 8), nullptr, 2)));
    }
}

const Bytes kHandData = {5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 0xFE, 5};
constexpr std::size_t kHandLengthsAt = 0x83;

/// The file of one block that docs/formats/tablebase.md shows byte by byte.
Bytes HandMade() {
    std::ifstream page(TORVAL_TEST_DATA "/../../docs/formats/tablebase.md");
    Bytes dump;
    for (std::string line; std::getline(page, line);) {
        unsigned offset = 0;
        std::istringstream words(line);
        const bool is_row = line.size() >= 8 && line.substr(4, 2) == "  ";
        if (!is_row || !(words >> std::hex >> offset) || offset != dump.size()) continue;
        for (unsigned byte = 0; words >> std::hex >> byte;) {
            dump.push_back(static_cast<std::uint8_t>(byte));
        }
    }
    return dump;
}

/// Writes the right checksum into a header whose size field is `size`.
void Seal(Bytes& file, std::size_t size) {
    PutNumber(file, size - 4, ChecksumOf(std::span(file).first(size - 4)));
}

/// The same with other code lengths, given as bits.
Bytes WithLengths(const std::string& lengths) {
    Bytes file = HandMade();
    const Bytes packed(file.begin() + file[67], file.end());
    file.resize(kHandLengthsAt);
    AppendBits(file, lengths);
    file.resize(file.size() + kChecksumBytes);
    PutNumber(file, 64, static_cast<std::uint32_t>(file.size()));
    Seal(file, file.size());
    file.insert(file.end(), packed.begin(), packed.end());
    return file;
}

TEST(Container, TheFileOfTheDocumentHoldsWhatItSays) { EXPECT_EQ(Unpack(HandMade()), kHandData); }

TEST(Container, DamageIsNamedByClassAndPlaceAndChangesNothing) {
    constexpr auto kNone = static_cast<ErrorClass>(0);
    constexpr ErrorClass kRead = ErrorClass::Read;
    constexpr ErrorClass kBroken = ErrorClass::FileBroken;
    using Place = ErrorPlace;
    struct Damage {
        const char* name;
        std::size_t at;
        int bytes;  // that the value is written to: 1 or 4
        std::uint32_t value;
        bool sealed;  // with a header checksum that fits
        ErrorClass error_class;
        Place place = {};
        bool by_sums = false;  // detected only where checksums are retained
    };
    for (const Damage& c : {
             Damage{"banner of somebody else", 0, 1, 'Q', true, kNone},
             Damage{"banner below printable", 57, 1, 0x1F, true, kRead, Place::Banner},
             Damage{"banner above printable", 0, 1, 0x7F, true, kRead, Place::Banner},
             Damage{"banner's carriage return", 58, 1, '\n', true, kRead, Place::Banner},
             Damage{"banner's line feed", 59, 1, ' ', true, kRead, Place::Banner},
             Damage{"banner's first zero", 60, 1, 1, true, kRead, Place::Banner},
             Damage{"banner's last zero", 63, 1, 1, true, kRead, Place::Banner},
             Damage{"size too small", 64, 4, 83, false, kBroken, Place::HeaderSize},
             Damage{"no room", 64, 4, kHandLengthsAt + 3, true, kBroken, Place::HeaderSize},
             Damage{"size above file", 64, 4, 153, false, kRead, Place::HeaderBytes},
             Damage{"size huge", 64, 4, 0xFFFFFFFF, false, kRead, Place::HeaderBytes},
             Damage{"bytes not read", 68, 4, 0xFFFF0D18, true, kNone},
             Damage{"block bits too many", 70, 1, 17, true, kBroken, Place::BlockBits},
             Damage{"block bits at most", 70, 1, 16, true, kBroken, Place::LengthTables},
             Damage{"block bits none", 70, 1, 0, true, kBroken, Place::Distance},
             Damage{"distance count", 71, 1, 25, true, kBroken, Place::DistanceCount},
             Damage{"blocks huge", 72, 4, 0xFFFFFFFF, true, kBroken, Place::HeaderSize},
             Damage{"format mark", 76, 4, 0x004001F4, true, kBroken, Place::FormatMark},
             Damage{"block's sum", 80, 4, 1, true, kBroken, Place::DecompressedSum, true},
             Damage{"packed sum", 84, 4, 1, true, kBroken, Place::CompressedSum, true},
             Damage{"distance zero", 0x5C, 1, 0, true, kBroken, Place::Distance},
             Damage{"tables", kHandLengthsAt, 1, 2, true, kBroken, Place::LengthTables},
             Damage{"checksum", 150, 1, 0x9F, false, kBroken, Place::HeaderChecksum},
         }) {
        SCOPED_TRACE(c.name);
        Bytes file = HandMade();
        if (c.bytes == 1) {
            file[c.at] = static_cast<std::uint8_t>(c.value);
        } else {
            PutNumber(file, c.at, c.value);
        }
        if (c.sealed) Seal(file, file[67]);
        for (const BlockSums sums : {BlockSums::Retain, BlockSums::Skip}) {
            const bool is_seen = !c.by_sums || sums == BlockSums::Retain;
            std::unique_ptr<CompressedFileInfo> info;
            ErrorCode error = ParseCompressedHeader(file, sums, &info);
            EXPECT_EQ(info != nullptr, c.error_class == kNone || c.by_sums);
            Bytes out(kHandData.size() + kSpareBytes);
            if (info) error = DecodeFrom(file, *info, 0, out);
            EXPECT_EQ(
                error,
                is_seen && c.error_class != kNone ? MakeError(c.error_class, c.place) : ErrorNone)
                << static_cast<int>(PlaceOf(error));
        }
    }
}

TEST(Container, BadCodeLengthsAreRefused) {
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
             Case{"the input ends among the lengths",
                  "0 0 00010 00 0000 10 10 00 1111 00 1100 01 00 1111 00 1111 00 0001 10 00 1001 10"
                  "00 1111 00 0111 10 00 0000 10 00 1111 00 0101",
                  ErrorPlace::CodeLengths},
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
        const ErrorCode error = ParseCompressedHeader(WithLengths(c.bits), BlockSums::Skip, &info);
        const ErrorCode broken = MakeError(ErrorClass::FileBroken, c.place);
        EXPECT_EQ(error, c.place == ErrorPlace{} ? ErrorNone : broken)
            << static_cast<int>(PlaceOf(error));
    }
}

TEST(Container, EveryBitOfTheHeaderCountsAndEveryByteIsNeeded) {
    const Bytes good = HandMade();
    std::unique_ptr<CompressedFileInfo> info;
    for (std::size_t at = 0; at < good[67]; ++at) {
        for (unsigned bit = 0; bit < 8; ++bit) {
            Bytes file = good;
            file[at] = static_cast<std::uint8_t>(file[at] ^ 1U << bit);
            EXPECT_NE(ParseCompressedHeader(file, BlockSums::Skip, &info), ErrorNone) << at;
        }
        const std::span<const std::uint8_t> cut = std::span(good).first(at);
        const ErrorCode error = ParseCompressedHeader(cut, BlockSums::Skip, &info);
        EXPECT_EQ(ClassOf(error), ErrorClass::Read) << at;
    }
    EXPECT_EQ(info, nullptr);
}

// ---- Codes and blocks ---------------------------------------------------------------------------

TEST(PrefixCode, EveryWordOfEveryLengthIsReadBack) {
    BlockTable table;
    const auto build = [&table](const Bytes& lengths) {
        return BuildDecodeTable(std::span<const std::uint8_t, kBlockSymbols>(lengths), &table);
    };
    Bytes flat(kBlockSymbols, 10);
    Bytes steep(kBlockSymbols, 0);  // 1, 2, 3, ... 30, 31, 31
    for (std::size_t i = 0; i < 32; ++i) {
        steep[1023 - 33 * i + i] = static_cast<std::uint8_t>(std::min<std::size_t>(i + 1, 31));
    }
    Bytes bushy(kBlockSymbols, 14);  // nearly all words in the tree
    for (std::size_t i = 0; i < 15; ++i) {
        bushy[60 * i] = 4;
        bushy[60 * i + 7] = 13;
    }
    std::mt19937 random(7);
    for (const auto& lengths : {flat, steep, bushy}) {
        ASSERT_TRUE(build(lengths));
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
            Bytes wrong = lengths;
            std::uint8_t& one = wrong[static_cast<std::size_t>(symbols.front())];
            one = static_cast<std::uint8_t>(one == 31 ? 30 : one == 1 ? 2 : one + step);
            EXPECT_FALSE(build(wrong));
        }
    }
    Bytes alone(kBlockSymbols, 0);
    for (const int length : {2, 32, 1}) {
        alone[700] = static_cast<std::uint8_t>(length);
        EXPECT_EQ(build(alone), length == 1);
    }
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
        EXPECT_EQ(ClassOf(whole.Decode(cut, 8192, &out)), ErrorClass::FileBroken) << length;
    }

    EXPECT_EQ(ClassOf(DecodeBlock(whole.info, 1, bytes, out)), ErrorClass::BadCall);
    out.pop_back();
    EXPECT_EQ(ClassOf(DecodeBlock(whole.info, 0, bytes, out)), ErrorClass::BadCall);
}

// ---- Round trips --------------------------------------------------------------------------------

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

TEST(CompressTablebase, GivesTheSameBytesBackAndPacksThemWell) {
    struct Material {
        const char* name;
        Bytes data;
        std::size_t most;  // bytes that the file may take
        bool long_codes = false;
    };
    for (const Material& c : {
             Material{"nothing", {}, 128},
             Material{"one byte", {200}, 138},
             Material{"two bytes", {3, 4}, 150},
             Material{"zeros", Bytes(3 * kBlockBytes, 0), 180},
             Material{"one block", Bytes(kBlockBytes, 255), 160},
             Material{"one byte more than a block", Bytes(kBlockBytes + 1, 1), 170},
             Material{"noise", Noise(2 * kBlockBytes + 77), 2 * kBlockBytes + 300},
             Material{"noise and one byte", Noise(kBlockBytes + 1), kBlockBytes + 200},
             Material{"stored between runs", Mixed(), 2 * kBlockBytes + 250},
             Material{"long codes", Steep(), 20000, true},
             Material{"period of 3", Repeated(3, 20000), 260},
             Material{"period of 1000", Repeated(1000, 20000), 3600},
         }) {
        SCOPED_TRACE(c.name);
        const Bytes file = CompressTablebase(c.data);
        EXPECT_TRUE(Unpack(file) == c.data);
        EXPECT_LE(file.size(), c.most);
        EXPECT_EQ(HasLongCodes(file), c.long_codes);
    }
}

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
        if (steps_to_failure > 0) {  // every step has failed once
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

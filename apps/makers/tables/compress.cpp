#include "apps/makers/tables/compress.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

#include "apps/makers/tables/match_choice.h"
#include "apps/makers/tables/prefix_lengths.h"
#include "egtb/nalimov/checksum.h"
#include "egtb/nalimov/container.h"

namespace torval {

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kSampleBlocks = 16;
constexpr int kSampleRounds = 5;
constexpr std::size_t kLeastSaving = 64;  // a block is coded when that saves one byte in 64

std::vector<Bytes> BlocksOf(Bytes data) {
    std::vector<Bytes> blocks;
    for (std::size_t at = 0; at < data.size(); at += kBlockBytes) {
        blocks.push_back(data.subspan(at, std::min<std::size_t>(kBlockBytes, data.size() - at)));
    }
    return blocks;
}

/// Blocks spread evenly over the file.
std::vector<Bytes> SampleOf(const std::vector<Bytes>& blocks) {
    const std::size_t count = std::min(kSampleBlocks, blocks.size());
    std::vector<Bytes> sample;
    for (std::size_t at = 0; at < count; ++at) sample.push_back(blocks[at * blocks.size() / count]);
    return sample;
}

class Compressor {
public:
    explicit Compressor(Bytes data) : blocks_(BlocksOf(data)) {}

    std::vector<std::uint8_t> Run() {
        Divide();
        ChooseStored();
        return Assemble();
    }

private:
    struct Block {
        std::vector<Token> tokens;
        std::vector<std::uint8_t> packed;
        bool stored = false;
    };

    void Divide() {
        const std::vector<Bytes> sample = SampleOf(blocks_);
        distances_ = ChooseDistances(sample);
        Prices prices = FirstPrices(sample);
        for (int round = 0; round < kSampleRounds; ++round) {
            SymbolCounts counts{};
            for (const Bytes block : sample)
                CountSymbols(DivideBlock(block, distances_, prices), &counts);
            prices = PricesOf(CodeLengthsFor(counts, kLongestCode));
        }
        work_.resize(blocks_.size());
        for (std::size_t at = 0; at < blocks_.size(); ++at) {
            work_[at].tokens = DivideBlock(blocks_[at], distances_, prices);
        }
    }

    /// A block that coding hardly shortens is stored: reading it is then a plain copy, and its
    /// symbols need no code words. It stays stored, since its symbols may have lost theirs.
    void ChooseStored() {
        for (bool changed = true; changed;) {
            SymbolCounts counts{};
            for (const Block& block : work_) {
                if (!block.stored) CountSymbols(block.tokens, &counts);
            }
            lengths_ = CodeLengthsFor(counts, kLongestCode);
            words_ = CodeWordsOf(lengths_);
            changed = false;
            for (std::size_t at = 0; at < work_.size(); ++at) {
                const std::size_t size = blocks_[at].size();
                if (work_[at].stored || BytesOf(work_[at]) < size - size / kLeastSaving) continue;
                work_[at].stored = true;
                changed = true;
            }
        }
        for (std::size_t at = 0; at < work_.size(); ++at) Pack(blocks_[at], work_[at]);
    }

    /// Length of the block's code. At least one byte, since a length of 0 means a full block.
    std::size_t BytesOf(const Block& block) const {
        std::uint64_t bits = 0;
        for (const Token& token : block.tokens) {
            bits += static_cast<std::uint64_t>(words_[token.symbol].length + token.further_bits);
        }
        return std::max<std::size_t>(1, (bits + 7) / 8);
    }

    void Pack(Bytes data, Block& block) const {
        if (block.stored) {
            block.packed.assign(data.begin(), data.end());
        } else {
            BitWriter writer;
            for (const Token& token : block.tokens) {
                writer.Put(words_[token.symbol].bits, words_[token.symbol].length);
                writer.Put(token.further, token.further_bits);
            }
            block.packed = writer.TakeBytes();
            if (block.packed.empty()) block.packed.push_back(0);
        }
        block.tokens = {};
    }

    std::vector<std::uint8_t> Assemble() const {
        BitWriter fields;
        for (const Block& block : work_) PutSize(fields, block.packed.size());
        PutSize(fields, blocks_.empty() ? kBlockBytes : blocks_.back().size());
        for (const std::uint32_t distance : distances_) fields.Put(distance, kBlockBits);
        BitWriter codes;
        WriteCodeLengths(codes, lengths_);
        const std::vector<std::uint8_t> field_bytes = fields.TakeBytes();
        const std::vector<std::uint8_t> code_bytes = codes.TakeBytes();

        std::array<std::uint8_t, kBannerBytes> banner{};
        const auto text_end = std::ranges::copy(kBannerText, banner.begin()).out;
        const auto line_end = banner.begin() + kBannerTextBytes;
        std::fill(text_end, line_end, std::uint8_t{' '});
        line_end[0] = '\r';
        line_end[1] = '\n';
        std::vector<std::uint8_t> file;
        Append(file, banner);
        PutNumber(file,
                  kFixedHeaderBytes + 8 * work_.size() + field_bytes.size() + code_bytes.size() +
                      kChecksumBytes);
        Append(file, std::array<std::uint8_t, 4>{0, 0, kBlockBits, kDistances});
        PutNumber(file, work_.size());
        PutNumber(file, kFormatMark);
        for (std::size_t at = 0; at < work_.size(); ++at) {
            PutNumber(file, ChecksumOf(blocks_[at]));
            PutNumber(file, ChecksumOf(work_[at].packed));
        }
        Append(file, field_bytes);
        Append(file, code_bytes);
        PutNumber(file, ChecksumOf(file));
        for (const Block& block : work_) Append(file, block.packed);
        return file;
    }

    static void PutSize(BitWriter& fields, std::size_t size) {
        fields.Put(static_cast<std::uint32_t>(size % kBlockBytes), kBlockBits);
    }

    static void Append(std::vector<std::uint8_t>& file, Bytes bytes) {
        std::ranges::copy(bytes, std::back_inserter(file));
    }

    static void PutNumber(std::vector<std::uint8_t>& file, std::uint64_t number) {
        for (const int shift : {24, 16, 8, 0}) {
            file.push_back(static_cast<std::uint8_t>(number >> shift));
        }
    }

    std::vector<Bytes> blocks_;
    std::vector<Block> work_;
    Distances distances_{};
    std::vector<std::uint8_t> lengths_;
    std::vector<CodeWord> words_;
};

}  // namespace

std::vector<std::uint8_t> CompressTablebase(std::span<const std::uint8_t> data) {
    return Compressor(data).Run();
}

}  // namespace torval

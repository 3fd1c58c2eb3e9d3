// How fast blocks of compressed database files are decoded.

#include <benchmark/benchmark.h>

#include <array>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "egtb/checksum.h"
#include "egtb/container.h"
#include "egtb/index.h"

namespace torval {

namespace {

struct Sample {
    const char* name;
    std::uint32_t signature;  // checksums of all blocks, combined
};

constexpr std::array<Sample, 3> kSamples = {{
    {"kpk.nbb", 0x953F5342},
    {"krk.nbw", 0xB108117D},
    {"long_codes_best.raw", 0x01C25540},
}};

void DecodeBlocks(benchmark::State& state) {
    const Sample& sample = kSamples[static_cast<std::size_t>(state.range(0))];
    state.SetLabel(sample.name);
    const std::string name = std::string(TORVAL_TEST_DATA "/reference/tablebase/") + sample.name;
    std::ifstream stream(name + ".emd", std::ios::binary);
    const std::vector<std::uint8_t> file{std::istreambuf_iterator<char>(stream), {}};
    std::unique_ptr<CompressedFileInfo> info;
    if (ParseCompressedHeader(file, BlockSums::Skip, &info) != ErrorNone) {
        state.SkipWithError("no such file");
        return;
    }
    std::vector<std::uint8_t> out(kBlockBytes + kSpareBytes);
    const auto decode = [&](std::uint32_t block) {
        const auto compressed =
            std::span(file).subspan(info->offsets[block], info->CompressedSizeOf(block));
        if (DecodeBlock(*info, block, compressed, out) != ErrorNone) state.SkipWithError("broken");
    };
    std::uint32_t signature = 0;
    for (std::uint32_t block = 0; block < info->blocks; ++block) {
        decode(block);
        signature ^= ChecksumOf(std::span(out).first(info->SizeOf(block))) + block;
    }
    if (signature != sample.signature) state.SkipWithError("signature changed");
    for (auto _ : state) {
        for (std::uint32_t block = 0; block < info->blocks; ++block) decode(block);
        benchmark::DoNotOptimize(out.data());
    }
    state.counters["bytes/s"] = benchmark::Counter(static_cast<double>(info->DataBytes()),
                                                   benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(DecodeBlocks)->DenseRange(0, static_cast<int>(kSamples.size()) - 1);

/// Positions of a class that have an index, in no order.
std::vector<ClassPosition> PositionsOf(int class_id, int side) {
    BuildIndexTables();
    std::vector<ClassPosition> positions;
    std::mt19937_64 random(7);
    while (positions.size() < 4096) {
        const auto position = PositionAt(class_id, side, random() % IndexCount(class_id, side));
        if (position) positions.push_back(*position);
    }
    return positions;
}

void ComputeIndices(benchmark::State& state, const char* name, int side) {
    const int id = FindClass(name);
    const std::vector<ClassPosition> positions = PositionsOf(id, side);
    std::uint64_t sum = 0;
    for (auto _ : state) {
        for (const ClassPosition& position : positions) sum += *IndexOf(id, side, position);
    }
    benchmark::DoNotOptimize(sum);
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(positions.size()));
}
BENCHMARK_CAPTURE(ComputeIndices, krk, "krk", 0);
BENCHMARK_CAPTURE(ComputeIndices, kqkr, "kqkr", 1);
BENCHMARK_CAPTURE(ComputeIndices, kpkp, "kpkp", 0);
BENCHMARK_CAPTURE(ComputeIndices, kppkp, "kppkp", 1);
BENCHMARK_CAPTURE(ComputeIndices, kqqkqq, "kqqkqq", 0);

}  // namespace

}  // namespace torval

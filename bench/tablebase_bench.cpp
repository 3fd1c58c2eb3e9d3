// How fast databases are: decoding blocks, computing indices, probing from the cache and from files.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <array>
#include <bit>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "apps/cli/positions.h"
#include "apps/makers/thompson/write_thompson.h"
#include "egtb/nalimov/block_cache.h"
#include "egtb/nalimov/checksum.h"
#include "egtb/nalimov/container.h"
#include "egtb/nalimov/index.h"
#include "egtb/nalimov/probe.h"
#include "egtb/thompson/thompson_file.h"
#include "state/settings.h"

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

enum class Cache {
    Holds,    ///< every block
    Lacks,    ///< the block that is asked for, of a file that is open
    Reopens,  ///< nothing, and the file is closed
};

/// Probes krk.nbw, no two consecutive ones in the same block.
void Probe(benchmark::State& state, const char* file, Cache cache) {
    namespace fs = std::filesystem;
    const fs::path folder =
        fs::temp_directory_path() / ("torval_bench_" + std::to_string(getpid()));
    fs::create_directory(folder);
    fs::copy_file(fs::path(TORVAL_TEST_DATA "/reference/tablebase") / file, folder / file);
    StartEngine();
    UseTablebases(folder.string(), std::cerr);
    CacheSlot one_slot;
    if (cache == Cache::Lacks)
        InitBlockCache(reinterpret_cast<std::byte*>(&one_slot), sizeof one_slot);
    const int id = FindClass("krk");
    std::vector<ClassPosition> positions;
    std::uint64_t last = 0;
    for (const ClassPosition& position : PositionsOf(id, 0)) {
        const std::uint64_t block = *IndexOf(id, 0, position) / kBlockBytes;
        if (!positions.empty() && block == last) continue;
        last = block;
        positions.push_back(position);
    }
    std::size_t unknown = 0;
    for (auto _ : state) {
        for (const ClassPosition& position : positions) {
            if (cache == Cache::Reopens) ResetBlockCache();
            const auto value = ReadTablebaseValue(id, 0, *IndexOf(id, 0, position));
            unknown += value == kUnknownValue ? 1 : 0;
        }
    }
    // A few indices belong to no legal position.
    const auto probes = static_cast<std::size_t>(state.iterations()) * positions.size();
    if (unknown * 5 > probes) state.SkipWithError("the databases do not answer");
    state.SetItemsProcessed(static_cast<std::int64_t>(probes));
    NalimovPath[0] = '\0';
    InitialiseDatabases();
    fs::remove_all(folder);
}
BENCHMARK_CAPTURE(Probe, hot, "krk.nbw", Cache::Holds);
BENCHMARK_CAPTURE(Probe, cold, "krk.nbw", Cache::Lacks);
BENCHMARK_CAPTURE(Probe, cold_compressed, "krk.nbw.emd", Cache::Lacks);
BENCHMARK_CAPTURE(Probe, reopened, "krk.nbw", Cache::Reopens);
BENCHMARK_CAPTURE(Probe, reopened_compressed, "krk.nbw.emd", Cache::Reopens);

/// Single values of a Thompson database in which one position in N is lost.
void ReadThompsonValues(benchmark::State& state) {
    std::mt19937 random(5);
    std::vector<std::uint8_t> values(1U << 18);
    for (std::uint8_t& value : values) {
        if (random() % static_cast<std::uint32_t>(state.range(0)) != 0) continue;
        value = static_cast<std::uint8_t>(10 + std::popcount(random()));
    }
    const std::string name =
        (std::filesystem::temp_directory_path() / ("torval_bench_" + std::to_string(getpid())))
            .string();
    const std::vector<std::uint8_t> bytes = WriteThompson(values, ChooseThompsonShape(values));
    std::ofstream(name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    ThompsonFile file;
    if (!file.Open(name)) state.SkipWithError("no such file");
    for (auto _ : state) {
        const auto at = static_cast<std::uint32_t>(random() % values.size());
        if (file.ReadValue(at) != values[at]) state.SkipWithError("value changed");
    }
    state.counters["bytes per block"] =
        static_cast<double>(bytes.size()) / static_cast<double>(file.Header().block_starts.size());
    state.SetItemsProcessed(state.iterations());
    std::filesystem::remove(name);
}
BENCHMARK(ReadThompsonValues)->Arg(100)->Arg(2);

}  // namespace

}  // namespace torval

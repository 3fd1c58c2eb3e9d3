// How long a host waits for a search to end, from a random moment of it.
//
// Shape    each iteration is one search of one position at the infinite level, ended after a time
//          that a fixed seed chooses. The counters are percentiles over all of them.
// Units    milliseconds.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <random>
#include <string_view>
#include <vector>

#include "torval/apartment.h"
#include "torval/engine.h"
#include "torval/library.h"
#include "torval/object.h"

namespace torval {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kSamples = 300;
constexpr unsigned kSeed = 20261123;
constexpr std::uint32_t kLongestWaitMs = 250;
constexpr std::uint16_t kInfiniteMode = 6;

/// Openings as moves from the start; the search begins after them.
constexpr std::array<std::array<std::string_view, 6>, 4> kOpenings = {{
    {"e2e4", "e7e5", "g1f3", "b8c6", "f1b5", "a7a6"},
    {"d2d4", "d7d5", "c2c4", "e7e6", "b1c3", "g8f6"},
    {"e2e4", "c7c5", "g1f3", "d7d6", "d2d4", "c5d4"},
    {"c2c4", "e7e5", "b1c3", "g8f6", "g2g3", "d7d5"},
}};

class QuietSite final : public Object<QuietSite, IChessEngineSite> {
public:
    void* FindInterface(const GUID& iid) {
        const bool known = iid == IID_IUnknown || iid == IID_IChessEngineSite;
        return known ? static_cast<IChessEngineSite*>(this) : nullptr;
    }
    HRESULT OutputMove(W_BOARD*) override { return S_OK; }
    HRESULT OutputNextMove(std::int32_t, std::int32_t, EVAR) override {
        ++root_moves;
        return S_OK;
    }
    HRESULT OutputClocks(CLOCKS*) override { return S_OK; }
    HRESULT OutputMainVar(MAINVAR* line) override {
        if (line->iCommand != 4) return S_OK;
        ++finals;
        final_moves = line->vlen;
        return S_OK;
    }
    HRESULT OutputProgress(B_STATS*, std::uint16_t) override { return S_OK; }
    HRESULT OutputMsgBook(const char*) override { return S_OK; }
    HRESULT OutputMsg(std::int32_t, std::int32_t, std::int32_t, const char*) override {
        return S_OK;
    }

    int root_moves = 0;
    int finals = 0;
    int final_moves = 0;
};

/// A host as any other: an engine on its own thread, messages dispatched on this one.
class Host {
public:
    Host() {
        EnterApartment();
        CreateInstance("TORVAL.Engine", IID_IChessEngine2, engine.ReceiveVoid());
        Ref<IPersistStreamInit> settings;
        engine->QueryInterface(IID_IPersistStreamInit, settings.ReceiveVoid());
        settings->InitNew();
        *site.Receive() = MakeObject<QuietSite>();
        // Lines and root moves, as a host that shows them asks for.
        engine->put_EventMask(EventMainVar | EventNextMove);
        engine->Start(site.Get());
        LEVEL level{};
        engine->get_LEVEL(&level);
        level.mode = kInfiniteMode;
        level.depth1 = 0;
        engine->put_LEVEL(&level);
    }
    ~Host() {
        engine->Stop();
        engine.Reset();
        site.Reset();
        LeaveApartment();
    }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    bool SetUp(std::size_t opening) {
        bool good = engine->NewGame() == S_OK;
        for (const std::string_view move : kOpenings[opening]) {
            MOVES made;
            good = good && engine->DoMove(move.data(), &made) == S_OK;
        }
        return good;
    }
    void PumpFor(std::uint32_t ms) {
        const auto end = Clock::now() + std::chrono::milliseconds(ms);
        for (auto now = Clock::now(); now < end; now = Clock::now()) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - now);
            WaitForMessage(static_cast<std::uint32_t>(left.count()));
            PumpMessages();
        }
    }

    Ref<IChessEngine2> engine;
    Ref<QuietSite> site;
};

/// Ends a search and returns whether its final record is as expected.
using EndSearch = bool (*)(Host* host);

void MeasureEnd(benchmark::State& state, EndSearch end) {
    Host host;
    std::mt19937 random(kSeed);
    std::vector<double> taken;
    for (auto _ : state) {
        const auto wait_ms = static_cast<std::uint32_t>(random() % kLongestWaitMs);
        if (!host.SetUp(taken.size() % kOpenings.size()) ||
            host.engine->StartComputerMove(0) != S_OK) {
            state.SkipWithError("the search does not begin");
            break;
        }
        // The final record of the previous search may still arrive until this one begins.
        host.site->root_moves = 0;
        while (host.site->root_moves == 0) host.PumpFor(1);
        host.site->finals = 0;
        host.PumpFor(wait_ms);
        const auto begun = Clock::now();
        const bool good = end(&host);
        const std::chrono::duration<double> seconds = Clock::now() - begun;
        if (!good) {
            state.SkipWithError("the search did not end as it should");
            break;
        }
        state.SetIterationTime(seconds.count());
        taken.push_back(seconds.count() * 1e3);
    }
    if (taken.empty()) return;
    std::ranges::sort(taken);
    const auto at = [&taken](double part) {
        return taken[static_cast<std::size_t>(part * static_cast<double>(taken.size() - 1))];
    };
    state.counters["median_ms"] = at(0.5);
    state.counters["p99_ms"] = at(0.99);
    state.counters["longest_ms"] = at(1);
}

/// The call itself: when it returns, no computation is running.
void StopComputing(benchmark::State& state) {
    MeasureEnd(state, [](Host* host) {
        return host->engine->StopComputing(true) == S_OK && host->engine->IsThinking() == S_FALSE;
    });
}
BENCHMARK(StopComputing)->UseManualTime()->Iterations(kSamples)->Unit(benchmark::kMillisecond);

/// From the first call to the final record, the call repeated as a host would.
void MoveNow(benchmark::State& state) {
    MeasureEnd(state, [](Host* host) {
        while (host->site->finals == 0) {
            host->engine->MoveNow();
            WaitForMessage(1);
            PumpMessages();
        }
        return host->site->finals == 1 && host->site->final_moves > 0;
    });
}
BENCHMARK(MoveNow)->UseManualTime()->Iterations(kSamples)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace torval

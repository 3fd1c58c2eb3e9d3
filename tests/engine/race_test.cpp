// Bad interleavings of two threads, forced by holding one up, and leaks over many rounds.
#include <dirent.h>
#include <malloc.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <thread>

#include "egtb/nalimov/lengths.h"
#include "egtb/nalimov/registry.h"
#include "engine/component_fixture.h"
#include "platform/race_points.h"
#include "platform/thread.h"
#include "platform/tick.h"
#include "torval/pages.h"

namespace torval {

using for_tests::live_objects;

namespace {

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

/// What happens at a race point; set before any thread can pass one.
std::function<void(RacePoint)> at_point;

/// Does something once, the first time the point is passed.
class Once {
public:
    Once(RacePoint point, std::function<void()> action)
        : point_(point), action_(std::move(action)) {}

    void operator()(RacePoint point) {
        if (point == point_ && !done_.exchange(true)) action_();
    }

private:
    RacePoint point_;
    std::function<void()> action_;
    std::atomic<bool> done_ = false;
};

void Hold(const std::atomic<bool>& until) {
    while (!until) std::this_thread::yield();
}

/// Each look at the clock takes a tenth of a second: a wait of five seconds is soon over.
std::atomic<bool> by_looks = false;
std::atomic<std::uint32_t> looks = 0;

constexpr TickSource kTicksByLooks = {
    [] { return by_looks ? looks += 100 : kSystemTicks.now(); },
    [](std::uint32_t ms) { by_looks ? std::this_thread::yield() : kSystemTicks.sleep(ms); }};

class RaceTest : public ComponentTest {
protected:
    RaceTest() {
        tick_source = kTicksByLooks;
        PutLevel(6, 0);
    }
    ~RaceTest() override {
        race_hook = nullptr;
        Destroy();
        at_point = nullptr;
        by_looks = false;
        tick_source = kSystemTicks;
    }

    void AtPoints(std::function<void(RacePoint)> action) {
        at_point = std::move(action);
        race_hook = [](RacePoint point) { at_point(point); };
    }
    /// Whatever has happened, a computation finds a move and a stop ends it.
    void ExpectItWorks() {
        race_hook = nullptr;
        by_looks = false;
        EXPECT_FALSE(AnyFlag(FlagBusy | FlagAbort | FlagMoveNow)) << "a command was left over";
        site->on_note = nullptr;
        PutLevel(0, 3);
        site->finals.clear();
        ASSERT_EQ(engine->StartComputerMove(0), S_OK);
        PumpUntil([this] { return site->finals.size() == 1; });
        EXPECT_GE(site->finals[0].vlen, 1) << "the next computation was stopped";
    }
    void StartAgain() {
        EXPECT_EQ(engine->Stop(), S_OK);
        site->notes.clear();
        ASSERT_EQ(engine->Start(site.Get()), S_OK);
        PumpUntil([this] { return site->Count("message 50") == 1; });
    }
};

/// A stop arrives exactly at a point, on whichever thread passes it.
struct StopCase {
    const char* name;
    RacePoint point;
    bool pondering;
};

class StopRaceTest : public RaceTest, public testing::WithParamInterface<StopCase> {};

TEST_P(StopRaceTest, LeavesNoStopBehindAndLosesNoResult) {
    PutLevel(0, 3);
    std::atomic<bool> stopped = false;
    AtPoints([&](RacePoint point) {
        if (point != GetParam().point) return;
        SetFlagWhile(FlagAbort, FlagBusy);
        stopped = true;
    });
    const HRESULT started =
        GetParam().pondering ? engine->StartPondering(0) : engine->StartComputerMove(0);
    EXPECT_EQ(started, S_OK);
    PumpUntil([&] { return stopped.load(); });
    EXPECT_EQ(engine->StopComputing(true), S_OK);
    if (!GetParam().pondering) {
        PumpUntil([this] { return site->finals.size() == 1; });
    }
    ExpectItWorks();
}

INSTANTIATE_TEST_SUITE_P(
    Component,
    StopRaceTest,
    testing::Values(StopCase{"BeforeStartArrives", RacePoint::BusyBeforePost, false},
                    StopCase{"AfterTheLastPoll", RacePoint::SearchEnded, false},
                    StopCase{"WhenTheResultIsOnItsWay", RacePoint::BusyCleared, false},
                    StopCase{"BeforePonderingArrives", RacePoint::BusyBeforePost, true},
                    StopCase{"InACallback", RacePoint::CallBeforePost, false}),
    [](const auto& test) { return test.param.name; });

/// The databases that a computation may be reading are not taken away under it.
TEST_F(RaceTest, NewDatabasesWaitForTheNextComputation) {
    namespace fs = std::filesystem;
    const fs::path folder =
        fs::path(testing::TempDir()) / ("torval_race_" + std::to_string(getpid()));
    fs::create_directories(folder);
    std::ofstream(folder / "kqk.nbw").close();
    fs::resize_file(folder / "kqk.nbw",
                    kEntryCounts[static_cast<std::size_t>(FindClass("kqk"))][0]);
    Ref<IPropertyPage> page;
    ASSERT_EQ(CreateInstance(CLSID_EngineSettings, IID_IPropertyPage, page.ReceiveVoid()), S_OK);
    ASSERT_EQ(page->Activate(), S_OK);

    std::atomic<bool> computing = false;
    std::atomic<bool> applied = false;
    AtPoints([&](RacePoint point) {
        if (point != RacePoint::SearchEnded) return;
        computing = true;
        Hold(applied);
    });
    PutLevel(0, 1);
    EXPECT_EQ(engine->StartComputerMove(0), S_OK);
    PumpUntil([&] { return computing.load(); });
    page->SetText(214, folder.c_str());
    EXPECT_EQ(page->Apply(), S_OK);
    EXPECT_EQ(MaxTablebaseMen, 0) << "registered during a computation";
    applied = true;
    PumpUntil([this] { return site->finals.size() == 1; });
    ExpectItWorks();
    EXPECT_EQ(MaxTablebaseMen, 3);

    page->SetText(214, "");
    EXPECT_EQ(page->Apply(), S_OK);
    EXPECT_EQ(MaxTablebaseMen, 0) << "at once while nothing computes";
    fs::remove_all(folder);
}

/// The host's quit message is queued before the callback in which the engine waits.
TEST_F(RaceTest, QuitWhileACallIsMarshalled) {
    const ThreadId host = CurrentThread();
    std::atomic<bool> posted = false;
    const auto quit = std::make_shared<Once>(RacePoint::CallBeforePost, [&] {
        PostThreadMessage(host, kMessageQuit, 0, 0);
        posted = true;
    });
    AtPoints([quit](RacePoint point) { (*quit)(point); });
    ASSERT_EQ(engine->StartComputerMove(0), S_OK);
    Hold(posted);
    by_looks = true;
    EXPECT_EQ(engine->StopComputing(true), E_FAIL) << "the call is behind the host's own message";
    Message message;
    ASSERT_TRUE(PeekMessage(&message, false));
    EXPECT_EQ(message.id, kMessageQuit) << "which is left to the host";
    EXPECT_EQ(engine->Stop(), S_OK);
    EXPECT_FALSE(AnyFlag(FlagBusy));
    EXPECT_TRUE(PumpMessages()) << "the host's loop still sees it";
    StartAgain();
    ExpectItWorks();
}

TEST_F(RaceTest, AHostThatNeverDispatches) {
    std::atomic<bool> waiting = false;
    AtPoints([&](RacePoint point) {
        if (point == RacePoint::CallBeforePost) waiting = true;
    });
    ASSERT_EQ(engine->StartComputerMove(0), S_OK);
    Hold(waiting);
    EXPECT_EQ(engine->Stop(), S_OK);
    EXPECT_FALSE(AnyFlag(FlagBusy));
    EXPECT_TRUE(site->finals.empty()) << "the site was withdrawn first";
    EXPECT_EQ(engine->Stop(), S_OK) << "a second time there is no thread";
    StartAgain();
    ExpectItWorks();
}

/// The engine's thread gets an unexpected quit message.
TEST_F(RaceTest, AThreadThatDied) {
    PutLevel(0, 3);
    const auto die = std::make_shared<Once>(
        RacePoint::BusyCleared, [] { PostThreadMessage(CurrentThread(), kMessageQuit, 0, 0); });
    AtPoints([die](RacePoint point) { (*die)(point); });
    ASSERT_EQ(engine->StartComputerMove(0), S_OK);
    PumpUntil([this] { return site->finals.size() == 1; });
    EXPECT_EQ(engine->StartComputerMove(0), S_OK) << "it is not known yet";
    EXPECT_EQ(engine->IsThinking(), S_OK);
    by_looks = true;
    EXPECT_EQ(engine->StopComputing(true), E_FAIL);
    EXPECT_EQ(Play("e4"), E_FAIL) << "which needs the computation stopped";
    EXPECT_EQ(engine->MoveNow(), 14);
    StartAgain();
    ExpectItWorks();
}

/// The thread runs only when the host has already withdrawn everything.
TEST_F(RaceTest, StopBeforeTheThreadRuns) {
    ASSERT_EQ(engine->Stop(), S_OK);
    std::atomic<bool> stopping = false;
    AtPoints([&](RacePoint point) {
        if (point == RacePoint::ThreadBegins) Hold(stopping);
        if (point == RacePoint::WaitBegins) stopping = true;
    });
    site->notes.clear();
    ASSERT_EQ(engine->Start(site.Get()), S_OK);
    ASSERT_EQ(engine->StartComputerMove(0), S_OK);
    by_looks = true;
    EXPECT_EQ(engine->Stop(), S_OK);
    EXPECT_TRUE(site->notes.empty());
    race_hook = nullptr;
    StartAgain();
    ExpectItWorks();
}

/// The event arrives between a thread's check and its wait.
TEST_F(RaceTest, AWakeUpBetweenCheckAndWait) {
    constexpr std::uint32_t kLong = 60000;
    constexpr std::uint32_t kMessage = 77;
    const ThreadId host = CurrentThread();
    const auto post = std::make_shared<Once>(RacePoint::WaitBegins,
                                             [&] { PostThreadMessage(host, kMessage, 0, 0); });
    AtPoints([post](RacePoint point) { (*post)(point); });
    EXPECT_TRUE(WaitForMessage(kLong));
    Message message;
    EXPECT_TRUE(PeekMessage(&message, true));
    EXPECT_EQ(message.id, kMessage);

    std::atomic<bool> waiting = false;
    std::atomic<bool> ended = false;
    AtPoints([&](RacePoint point) {
        if (point == RacePoint::ThreadEnded) ended = true;
        if (point != RacePoint::WaitBegins || waiting) return;
        waiting = true;
        Hold(ended);
    });
    Thread thread;
    ASSERT_TRUE(thread.Create([&] { Hold(waiting); }));
    EXPECT_EQ(thread.WaitForEndOrInput(kLong), WaitResult::Ended);
}

/// What a host may do in a callback, and what it gets.
struct CallBack {
    const char* name;
    const char* note;  ///< the callback
    HRESULT (*call)(IChessEngine2* engine);
    HRESULT answer;
    std::size_t finals;  ///< final results in all, with a stop after it
};

class CallBackTest : public RaceTest, public testing::WithParamInterface<CallBack> {};

TEST_P(CallBackTest, MayCallBackIn) {
    const CallBack& row = GetParam();
    int calls = 0;
    HRESULT answer = E_UNEXPECTED;
    site->on_note = [&](const std::string& note) {
        if (note != row.note || calls++ > 0) return;
        by_looks = true;
        answer = row.call(engine.Get());
        by_looks = false;
    };
    if (std::string(row.note) == "line 4") PutLevel(0, 2);
    ASSERT_EQ(engine->StartComputerMove(0), S_OK);
    PumpUntil([&] { return calls > 0; });
    EXPECT_EQ(answer, row.answer);
    EXPECT_EQ(engine->StopComputing(true), S_OK);
    PumpUntil([&] { return site->finals.size() == row.finals; });
    StartAgain();
    ExpectItWorks();
}

CHSBRD any_board;

INSTANTIATE_TEST_SUITE_P(
    Component,
    CallBackTest,
    testing::Values(
        CallBack{"Asking",
                 "next",
                 [](IChessEngine2* e) { return e->get_Position(&any_board); },
                 S_OK,
                 1},
        CallBack{"StopInASecond",
                 "next",
                 [](IChessEngine2* e) { return e->StopComputing(false); },
                 S_OK,
                 1},
        CallBack{"StopAndWait",
                 "next",
                 [](IChessEngine2* e) { return e->StopComputing(true); },
                 E_FAIL,
                 1},
        CallBack{"Moving",
                 "next",
                 [](IChessEngine2* e) {
                     MOVES moves;
                     return e->DoMove("e4", &moves);
                 },
                 6,
                 1},
        CallBack{"Pondering", "next", [](IChessEngine2* e) { return e->StartPondering(1); }, 6, 1},
        CallBack{"NextGame", "next", [](IChessEngine2* e) { return e->NewGame(); }, E_FAIL, 1},
        CallBack{"Ending", "next", [](IChessEngine2* e) { return e->Stop(); }, S_OK, 0},
        CallBack{"Taking", "line 4", [](IChessEngine2* e) { return e->MoveBack(1); }, 11, 1},
        CallBack{"ThinkingOn",
                 "line 4",
                 [](IChessEngine2* e) { return e->StartComputerMove(0); },
                 S_OK,
                 2}),
    [](const auto& test) { return test.param.name; });

int EntriesOf(const char* directory) {
    DIR* const open = opendir(directory);
    int count = 0;
    while (open && readdir(open)) ++count;
    closedir(open);
    return count;
}

struct Traces {
    int threads = EntriesOf("/proc/self/task");
    int descriptors = EntriesOf("/proc/self/fd");
    int objects = live_objects;
};

class RoundsTest : public ComponentTest {
protected:
    /// Creates, starts, thinks, stops and releases, each in several ways.
    void Run(int rounds) {
        for (int i = 0; i < rounds; ++i) {
            PutLevel(6, 0);
            if (i % 5 == 4) {
                engine->StartPondering(1);
            } else {
                engine->StartComputerMove(0);
            }
            if (i % 2) PumpUntil([this] { return site->Count("next") > 0; });
            if (i % 3 == 0) engine->StopComputing(i % 2 == 0);
            Destroy();
            Create();
        }
    }
    /// The system takes a thread off its list a little after it has ended.
    void AwaitThreads(int count) {
        constexpr int kPatience = 100000;
        for (int i = 0; i < kPatience && EntriesOf("/proc/self/task") > count; ++i) {
            std::this_thread::yield();
        }
    }
    void ExpectNothingIsLeft(int rounds) {
        constexpr int kWarmUp = 10;
        Run(kWarmUp);
        const Traces before;
        const std::size_t bytes = mallinfo2().uordblks;
        Run(rounds);
        AwaitThreads(before.threads);
        const Traces after;
        EXPECT_EQ(after.threads, before.threads);
        EXPECT_EQ(after.descriptors, before.descriptors);
        EXPECT_EQ(after.objects, before.objects);
        // The allocator's own caches end up fuller or emptier by some kilobytes. Its smallest block
        // has 32 bytes, so that one kept in every round of many is more than the rest of this.
        const std::size_t slack = 4096 + 16 * static_cast<std::size_t>(rounds);
        if (!kSanitized) {
            EXPECT_LE(mallinfo2().uordblks, bytes + slack);
        }
    }
};

TEST_F(RoundsTest, LeaveNothingBehind) { ExpectNothingIsLeft(kSanitized ? 10 : 60); }

TEST_F(RoundsTest, SlowThousandLeaveNothingBehind) { ExpectNothingIsLeft(1000); }

}  // namespace

}  // namespace torval

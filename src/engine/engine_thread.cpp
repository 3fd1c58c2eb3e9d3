#include "engine/engine_thread.h"

#include <atomic>
#include <new>

#include "board/position.h"
#include "book/books.h"
#include "egtb/nalimov/probe.h"
#include "engine/notifications.h"
#include "game/game.h"
#include "game/think.h"
#include "platform/marshal.h"
#include "platform/message_queue.h"
#include "platform/race_points.h"
#include "platform/thread.h"
#include "platform/tick.h"
#include "search/time.h"
#include "state/flags.h"
#include "state/settings.h"

namespace torval {

namespace {

constexpr std::uint32_t kPatienceMs = 5000;

/// The engine-wide thread state; the host's thread owns all but the marker.
struct EngineThreadState {
    Thread thread;
    Ref<IStream> marshalling_stream;
    SiteTicket ticket = 0;
    std::atomic<bool> busy_marker = false;  ///< a compute or ponder command is being carried out
    std::atomic<bool> ordered = false;      ///< one has been posted and not yet taken up
    bool initialised = false;
};

EngineThreadState& State() {
    // Outlives static objects of hosts that release the engine late.
    static EngineThreadState* const state = new EngineThreadState;
    return *state;
}

/// Ends a command: no stop that came too late is left over for the next one.
void ClearBusy() {
    AtRacePoint(RacePoint::SearchEnded);
    ClearFlags(FlagBusy | FlagAbort | FlagMoveNow);
    AtRacePoint(RacePoint::BusyCleared);
}

void RunCompute() {
    EngineThreadState& state = State();
    state.ordered = false;
    SetFlag(FlagBusy);
    state.busy_marker = true;
    if (ReadSetting(settings_block.BrainFlags) & BrainLowPriority) {
        SetOwnPriority(Priority::Lowest);
    }
    MAINVAR result;
    (void)ComputeMove(&result);
    ClearBusy();
    SetOwnPriority(Priority::Highest);
    SendFinalLine(result);
    state.busy_marker = false;
    SetOwnPriority(Priority::Normal);
}

void RunPonder() {
    EngineThreadState& state = State();
    state.ordered = false;
    SetFlag(FlagBusy);
    state.busy_marker = true;
    SetOwnPriority(Priority::Lowest);
    (void)Ponder();
    SetOwnPriority(Priority::Normal);
    ClearBusy();
    state.busy_marker = false;
}

void RunMessages() {
    Message message;
    while (GetMessage(&message)) {
        if (message.window != 0) {
            DispatchMessage(message);
            continue;
        }
        switch (message.id) {
            case kMessageCompute: RunCompute(); break;
            case kMessagePonder: RunPonder(); break;
            case kMessageTimer: ClockTick(); break;
            default: break;
        }
    }
}

void ThreadProcedure(Ref<IStream> stream) {
    AtRacePoint(RacePoint::ThreadBegins);
    IChessEngineSite* proxy = nullptr;
    const HRESULT unmarshalled = UnmarshalSite(stream.Get(), &proxy);
    stream.Reset();
    if (Failed(unmarshalled)) return;
    SetThreadSite(proxy);
    SendThreadStarted();
    RunMessages();
    ReleaseThreadSite();
}

void InitialiseOnce() {
    EngineThreadState& state = State();
    if (state.initialised) return;
    InitialiseDatabases();
    // Without its books the engine plays on; a host that wants to know calls SelectBook.
    (void)OpenBooks();
    InitialiseEngine();
    state.initialised = true;
}

/// Posts a command to the thread, FlagBusy being set. A thread that has ended never takes it up.
HRESULT Order(std::uint32_t command, std::int32_t reserved) {
    EngineThreadState& state = State();
    state.ordered = true;
    AtRacePoint(RacePoint::BusyBeforePost);
    try {
        const auto queue = QueueOf(state.thread.id());
        if (queue) queue->Post({.id = command, .lparam = reserved});
    } catch (const std::bad_alloc&) {
        state.ordered = false;
        ClearFlags(FlagBusy | FlagAbort | FlagMoveNow);
        return E_OUTOFMEMORY;
    }
    return S_OK;
}

}  // namespace

bool EngineIsInitialised() { return State().initialised; }

HRESULT StartEngineThread(IUnknown* site) {
    if (ThreadSite()) return S_FALSE;
    if (!site) return E_POINTER;
    EngineThreadState& state = State();
    if (state.thread.Exists()) return RPC_E_WRONG_THREAD;
    InstallNotifications();
    InitialiseOnce();
    Ref<IChessEngineSite> own;
    const HRESULT asked = site->QueryInterface(IID_IChessEngineSite, own.ReceiveVoid());
    if (Failed(asked)) return asked;
    const HRESULT marshalled =
        MarshalSite(own.Get(), state.marshalling_stream.Receive(), &state.ticket);
    if (Failed(marshalled)) return marshalled;
    SetThreadSite(own.Detach());
    bool created = false;
    try {
        created = state.thread.Create(
            [stream = std::move(state.marshalling_stream)] { ThreadProcedure(stream); });
    } catch (const std::bad_alloc&) {
        // Reported below, like a thread that the system cannot provide.
    }
    if (!created) {
        WithdrawSite(state.ticket);
        ReleaseThreadSite();
        return E_OUTOFMEMORY;
    }
    RefreshPositionSnapshot();
    return asked;
}

void StopEngineThread() {
    EngineThreadState& state = State();
    ReleaseThreadSite();
    if (!state.thread.Exists()) return;
    // A callback that waits for this thread fails now, and the engine thread runs to its end.
    WithdrawSite(state.ticket);
    state.ticket = 0;
    (void)StopComputing(true);
    state.thread.PostQuit();
    bool told_to_quit = false;
    while (state.thread.WaitForEndOrInput(kPatienceMs) == WaitResult::Input) {
        told_to_quit |= PumpMessages();
    }
    // A command that the thread ended before taking up is not computing: otherwise the next thread
    // could never be stopped.
    if (state.thread.HasEnded() && state.ordered.exchange(false)) {
        ClearFlags(FlagBusy | FlagAbort | FlagMoveNow);
    }
    state.thread.Close();
    // The host's own loop still has to see it.
    if (told_to_quit) CurrentQueue()->PostQuit();
}

HRESULT StopComputing(bool wait) {
    constexpr std::uint32_t kHeadStartMs = 10;
    EngineThreadState& state = State();
    if (!SetFlagWhile(FlagAbort, FlagBusy)) {
        if (AnyFlag(FlagEngineToMove)) SetGameBits(FlagHostToMove);
        // Nobody has a request to see: entering a long game must not take 10 ms a move.
        return S_OK;
    }
    state.thread.SetPriority(Priority::Highest);
    SleepMs(kHeadStartMs);
    state.thread.SetPriority(Priority::Normal);
    if (!wait) return S_OK;
    const std::uint32_t start = TickCount();
    while (AnyFlag(FlagBusy)) {
        if (TickCount() - start >= kPatienceMs) return E_FAIL;
        // Nothing is left to end a command that was posted to a thread that has ended.
        if (state.ordered && state.thread.HasEnded()) return E_FAIL;
        Message message;
        while (PeekMessage(&message, false) && message.window != 0) {
            if (!GetMessage(&message)) return E_FAIL;
            DispatchMessage(message);
        }
        SleepMs(0);
    }
    return S_OK;
}

HRESULT PostCompute(std::span<const EVAR> skip_list, std::int32_t reserved) {
    if (!State().thread.Exists()) return E_UNEXPECTED;
    RefreshPositionSnapshot();
    SetFlag(FlagBusy);
    SkipList.clear();
    try {
        SkipList.assign(skip_list.begin(), skip_list.end());
    } catch (const std::bad_alloc&) {
        SkipList.clear();
    }
    return Order(kMessageCompute, reserved);
}

HRESULT StartPondering(std::int32_t reserved) {
    constexpr std::uint16_t kPonderBits = 0x3000;
    constexpr std::uint16_t kNoPondering = 0x2000;
    EngineThreadState& state = State();
    if (AnyFlag(FlagEngineToMove)) return StatusComputerToMove;
    if (!state.thread.Exists()) return E_UNEXPECTED;
    if ((settings_block.Level.elorating & kPonderBits) == kNoPondering && reserved == 0) {
        return S_FALSE;
    }
    if (state.busy_marker || AnyFlag(FlagBusy)) return S_FALSE;
    RefreshPositionSnapshot();
    SetFlag(FlagBusy);
    SkipList.clear();
    return Order(kMessagePonder, reserved);
}

}  // namespace torval

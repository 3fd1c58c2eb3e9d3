#include "platform/marshal.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "torval/apartment.h"
#include "torval/object.h"

namespace torval {

using for_tests::live_objects;
namespace {

/// Only a test that hangs waits that long.
constexpr std::uint32_t kLimitMs = 30000;

/// Which thread a site was called and ended on; it outlives the site.
struct SiteNotes {
    std::vector<std::string> calls;
    std::vector<ThreadId> threads;
    ThreadId ended_on = 0;
    std::function<void()> then;  ///< within each call
};

class RecordingSite final : public Object<RecordingSite, IChessEngineSite> {
public:
    explicit RecordingSite(SiteNotes* notes) : notes_(notes) {}
    ~RecordingSite() override { notes_->ended_on = CurrentThread(); }

    void* FindInterface(const GUID& iid) {
        const bool known = iid == IID_IUnknown || iid == IID_IChessEngineSite;
        return known ? static_cast<IChessEngineSite*>(this) : nullptr;
    }
    HRESULT OutputMove(W_BOARD* ev) override { return Note("move", ev->Mask); }
    HRESULT OutputNextMove(std::int32_t depth, std::int32_t moves_to_go, EVAR ev) override {
        return Note("next", depth * 10000 + moves_to_go * 100 + ev.to);
    }
    HRESULT OutputClocks(CLOCKS* pClocks) override { return Note("clocks", pClocks->btime); }
    HRESULT OutputMainVar(MAINVAR* pMainVar) override { return Note("line", pMainVar->score); }
    HRESULT OutputProgress(B_STATS* pStats, std::uint16_t completion) override {
        return Note("progress", static_cast<int>(pStats->analize_cnt) + completion);
    }
    HRESULT OutputMsgBook(const char* txt) override { return Note(txt, 0); }
    HRESULT OutputMsg(std::int32_t id, std::int32_t p1, std::int32_t p2, const char* txt) override {
        return Note(txt, id * 10000 + p1 * 100 + p2);
    }

private:
    HRESULT Note(const std::string& call, int number) {
        notes_->calls.push_back(call + " " + std::to_string(number));
        notes_->threads.push_back(CurrentThread());
        if (notes_->then) notes_->then();
        // Whatever happened meanwhile, the site is still there.
        return static_cast<HRESULT>(notes_->calls.size()) + 100;
    }

    SiteNotes* notes_;
};

Ref<IChessEngineSite> MakeSite(SiteNotes* notes) {
    Ref<IChessEngineSite> site;
    *site.Receive() = MakeObject<RecordingSite>(notes);
    return site;
}

std::uint32_t References(const Ref<IChessEngineSite>& site) {
    site->AddRef();
    return site->Release();
}

/// The host's side in the test's own thread: an apartment and a site that is lent.
class MarshalSiteTest : public testing::Test {
protected:
    void SetUp() override {
        objects_before_ = live_objects;
        ASSERT_EQ(EnterApartment(), S_OK);
        site_ = MakeSite(&notes_);
        ASSERT_EQ(MarshalSite(site_.Get(), stream_.Receive(), &ticket_), S_OK);
        EXPECT_EQ(References(site_), 2U);
    }
    void TearDown() override {
        notes_.then = nullptr;
        WithdrawSite(ticket_);
        LeaveApartment();
        if (site_) {
            EXPECT_EQ(References(site_), 1U);
        }
        site_.Reset();
        stream_.Reset();
        proxy_.Reset();
        EXPECT_EQ(notes_.ended_on, CurrentThread());
        EXPECT_EQ(live_objects.load(), objects_before_);
    }

    void Unmarshal() { ASSERT_EQ(UnmarshalSite(stream_.Get(), proxy_.Receive()), S_OK); }
    /// Calls through the proxy on a thread of its own.
    std::future<HRESULT> CallElsewhere() {
        return std::async(std::launch::async,
                          [this] { return proxy_->OutputMsg(1, 2, 3, "message"); });
    }
    static void AwaitMessage() { ASSERT_TRUE(WaitForMessage(kLimitMs)); }

    SiteNotes notes_;
    Ref<IChessEngineSite> site_;
    Ref<IStream> stream_;
    Ref<IChessEngineSite> proxy_;
    SiteTicket ticket_ = 0;

private:
    int objects_before_ = 0;
};

TEST_F(MarshalSiteTest, RunsEveryCallOnTheThreadOfTheSite) {
    std::vector<HRESULT> answers;
    const ThreadId here = CurrentThread();
    std::thread other([&] {
        Unmarshal();
        W_BOARD board{};
        board.Mask = 7;
        CLOCKS clocks = {3, 1, 2};
        MAINVAR line{};
        line.score = -55;
        B_STATS statistics{};
        statistics.analize_cnt = 1000;
        answers = {
            proxy_->OutputMove(&board),
            proxy_->OutputNextMove(4, 20, EVAR{.from = 1, .to = 2, .flags = 3, .capture = 4}),
            proxy_->OutputClocks(&clocks),
            proxy_->OutputMainVar(&line),
            proxy_->OutputProgress(&statistics, 50),
            proxy_->OutputMsgBook("book"),
            proxy_->OutputMsg(6, 1, 2, "message")};
        proxy_.Reset();
        PostThreadMessage(here, kMessageQuit, 0, 0);
    });
    Message message;
    while (WaitForMessage(kLimitMs) && GetMessage(&message)) DispatchMessage(message);
    other.join();
    EXPECT_EQ(notes_.calls,
              (std::vector<std::string>{"move 7",
                                        "next 42002",
                                        "clocks 2",
                                        "line -55",
                                        "progress 1050",
                                        "book 0",
                                        "message 60102"}));
    EXPECT_EQ(notes_.threads, std::vector<ThreadId>(7, here));
    EXPECT_EQ(answers, (std::vector<HRESULT>{101, 102, 103, 104, 105, 106, 107}));
    EXPECT_EQ(References(site_), 2U) << "still lent";
}

TEST_F(MarshalSiteTest, KeepsTheCallerWaitingUntilTheHostDispatches) {
    Unmarshal();
    std::future<HRESULT> answer = CallElsewhere();
    AwaitMessage();
    Message message;
    ASSERT_TRUE(GetMessage(&message));
    EXPECT_NE(message.window, 0U);
    EXPECT_TRUE(notes_.calls.empty());
    EXPECT_EQ(answer.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    DispatchMessage(message);
    EXPECT_EQ(answer.get(), 101);
}

TEST_F(MarshalSiteTest, FailsACallThatWaitsWhenTheSiteIsWithdrawn) {
    Unmarshal();
    std::future<HRESULT> answer = CallElsewhere();
    AwaitMessage();
    WithdrawSite(ticket_);
    EXPECT_EQ(answer.get(), RPC_E_DISCONNECTED);
    EXPECT_EQ(References(site_), 1U);
    PumpMessages();
    EXPECT_TRUE(notes_.calls.empty()) << "what was posted does nothing any more";
    EXPECT_EQ(proxy_->OutputMsgBook("late"), RPC_E_DISCONNECTED) << "at once, nobody dispatches";
    EXPECT_FALSE(WaitForMessage(0));
    WithdrawSite(ticket_);  // without effect
}

TEST_F(MarshalSiteTest, LetsASiteWithdrawItselfFromWithinACall) {
    Unmarshal();
    site_.Reset();  // the loan holds the last reference
    std::future<HRESULT> answer = CallElsewhere();
    notes_.then = [&] {
        WithdrawSite(ticket_);
        // The caller goes while the call is still running here.
        EXPECT_EQ(answer.get(), RPC_E_DISCONNECTED);
        EXPECT_EQ(notes_.ended_on, 0U) << "a site that is being called lives";
    };
    AwaitMessage();
    PumpMessages();
    EXPECT_EQ(notes_.calls.size(), 1U);
    EXPECT_EQ(notes_.ended_on, CurrentThread());
}

TEST_F(MarshalSiteTest, LetsTheApartmentEndFromWithinACall) {
    Unmarshal();
    std::future<HRESULT> answer = CallElsewhere();
    notes_.then = [&] {
        LeaveApartment();
        EXPECT_EQ(answer.get(), RPC_E_DISCONNECTED);
    };
    AwaitMessage();
    Message message;
    ASSERT_TRUE(GetMessage(&message));
    DispatchMessage(message);
    EXPECT_EQ(References(site_), 1U);
    ASSERT_EQ(EnterApartment(), S_OK);
}

TEST_F(MarshalSiteTest, HoldsNothingBackFromAProxyThatGoesFirst) {
    Unmarshal();
    proxy_.Reset();
    EXPECT_EQ(References(site_), 2U) << "the loan is the host's to end";
    // The stream has been read; its ticket can be read again from the start.
    EXPECT_EQ(UnmarshalSite(stream_.Get(), proxy_.Receive()), E_INVALIDARG);
    ASSERT_EQ(stream_->Seek(0, SeekFrom::Start, nullptr), S_OK);
    EXPECT_EQ(UnmarshalSite(stream_.Get(), proxy_.Receive()), S_OK);
}

TEST_F(MarshalSiteTest, RefusesWhatIsNoTicketOfALentSite) {
    EXPECT_EQ(UnmarshalSite(nullptr, proxy_.Receive()), E_POINTER);
    EXPECT_EQ(UnmarshalSite(stream_.Get(), nullptr), E_POINTER);
    Ref<IStream> empty;
    ASSERT_EQ(CreateMemoryStream(empty.Receive()), S_OK);
    EXPECT_EQ(UnmarshalSite(empty.Get(), proxy_.Receive()), E_INVALIDARG);
    EXPECT_FALSE(proxy_);
    WithdrawSite(ticket_);
    EXPECT_EQ(UnmarshalSite(stream_.Get(), proxy_.Receive()), RPC_E_DISCONNECTED);
    EXPECT_FALSE(proxy_);
}

TEST_F(MarshalSiteTest, AnswersToItsInterfacesAndRefusesTheRest) {
    Unmarshal();
    Ref<IUnknown> identity;
    EXPECT_EQ(proxy_->QueryInterface(IID_IUnknown, identity.ReceiveVoid()), S_OK);
    Ref<IUnknown> none;
    EXPECT_EQ(proxy_->QueryInterface(IID_IChessEngine, none.ReceiveVoid()), E_NOINTERFACE);
}

TEST_F(MarshalSiteTest, LendsEachSiteUnderATicketOfItsOwn) {
    SiteNotes other_notes;
    Ref<IStream> stream;
    SiteTicket ticket = 0;
    {
        const Ref<IChessEngineSite> other = MakeSite(&other_notes);
        ASSERT_EQ(MarshalSite(other.Get(), stream.Receive(), &ticket), S_OK);
    }
    EXPECT_NE(ticket, ticket_);
    WithdrawSite(ticket);
    EXPECT_EQ(other_notes.ended_on, CurrentThread());
    EXPECT_EQ(References(site_), 2U) << "the first one is still lent";
}

// ---- A host that ends first ---------------------------------------------------------------------

TEST(MarshalSite, NeedsAnApartmentAndAPlaceForEverything) {
    SiteNotes notes;
    const Ref<IChessEngineSite> site = MakeSite(&notes);
    Ref<IStream> stream;
    SiteTicket ticket = 0;
    EXPECT_EQ(MarshalSite(site.Get(), stream.Receive(), &ticket), CO_E_NOTINITIALIZED);
    EXPECT_FALSE(stream);
    EXPECT_EQ(ticket, 0U);
    EXPECT_EQ(MarshalSite(nullptr, stream.Receive(), &ticket), E_POINTER);
    EXPECT_EQ(MarshalSite(site.Get(), nullptr, &ticket), E_POINTER);
    EXPECT_EQ(MarshalSite(site.Get(), stream.Receive(), nullptr), E_POINTER);
    EXPECT_EQ(References(site), 1U);
}

TEST(MarshalSite, GivesTheSiteBackOnItsThreadWhenTheApartmentEnds) {
    const int objects_before = live_objects;
    SiteNotes notes;
    ThreadId host_id = 0;
    Ref<IChessEngineSite> proxy;
    std::future<HRESULT> waiting;
    std::thread host([&] {
        host_id = CurrentThread();
        ASSERT_EQ(EnterApartment(), S_OK);
        Ref<IStream> stream;
        SiteTicket ticket = 0;
        ASSERT_EQ(MarshalSite(MakeSite(&notes).Get(), stream.Receive(), &ticket), S_OK);
        ASSERT_EQ(UnmarshalSite(stream.Get(), proxy.Receive()), S_OK);
        waiting = std::async(std::launch::async, [&] { return proxy->OutputMsgBook("waits"); });
        ASSERT_TRUE(WaitForMessage(kLimitMs));
        EXPECT_EQ(notes.ended_on, 0U);
        LeaveApartment();  // without having dispatched it, and without having withdrawn the site
        EXPECT_EQ(notes.ended_on, host_id);
        EXPECT_EQ(waiting.get(), RPC_E_DISCONNECTED);
        WithdrawSite(ticket);  // late, and harmless
    });
    host.join();
    EXPECT_EQ(proxy->OutputMsgBook("late"), RPC_E_DISCONNECTED);
    EXPECT_TRUE(notes.calls.empty());
    proxy.Reset();
    EXPECT_EQ(live_objects.load(), objects_before);
}

}  // namespace
}  // namespace torval

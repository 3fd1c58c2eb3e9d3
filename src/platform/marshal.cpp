#include "platform/marshal.h"

#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <utility>
#include <variant>

#include "platform/boundary.h"
#include "platform/message_queue.h"
#include "platform/race_points.h"
#include "torval/object.h"

namespace torval {

namespace {

/// A text on its way. The longest that the engine sends is the name of a book, 255 characters.
class SentText {
public:
    explicit SentText(const char* text) { std::strncpy(text_, text, sizeof text_ - 1); }
    const char* Get() const { return text_; }

private:
    char text_[256] = {};
};

struct NextMove {
    std::int32_t depth;
    std::int32_t moves_to_go;
    EVAR move;
};

struct ProgressReport {
    B_STATS stats;
    std::uint16_t completion;
};

struct BookText {
    SentText text;
};

struct NumberedMessage {
    std::int32_t id;
    std::int32_t p1;
    std::int32_t p2;
    SentText text;
};

/// A callback with its arguments.
using Callback = std::variant<std::monostate,
                              W_BOARD,
                              NextMove,
                              CLOCKS,
                              MAINVAR,
                              ProgressReport,
                              BookText,
                              NumberedMessage>;

/// Makes a callback on the site.
struct Delivery {
    IChessEngineSite& site;

    HRESULT operator()(std::monostate) const { return E_UNEXPECTED; }
    HRESULT operator()(W_BOARD& board) const { return site.OutputMove(&board); }
    HRESULT operator()(const NextMove& next) const {
        return site.OutputNextMove(next.depth, next.moves_to_go, next.move);
    }
    HRESULT operator()(CLOCKS& clocks) const { return site.OutputClocks(&clocks); }
    HRESULT operator()(MAINVAR& line) const { return site.OutputMainVar(&line); }
    HRESULT operator()(ProgressReport& report) const {
        return site.OutputProgress(&report.stats, report.completion);
    }
    HRESULT operator()(const BookText& sent) const { return site.OutputMsgBook(sent.text.Get()); }
    HRESULT operator()(const NumberedMessage& sent) const {
        return site.OutputMsg(sent.id, sent.p1, sent.p2, sent.text.Get());
    }
};

class SiteProxy;

/// A lent site with the apartment it belongs to. All that a call needs is allocated in advance: no
/// callback is lost for want of memory.
class Loan final : public WindowCall, public std::enable_shared_from_this<Loan> {
public:
    Loan(SiteTicket ticket, IChessEngineSite* site, std::shared_ptr<MessageQueue> queue)
        : ticket_(ticket), site_(site), queue_(std::move(queue)) {
        queue_->ReserveCallPlace();
    }
    ~Loan() override { queue_->ReleaseCallPlace(); }

    /// Makes the proxy that the first request receives.
    bool PrepareProxy();
    /// Null when there is no memory for another one.
    IChessEngineSite* TakeProxy();

    /// Makes the callback on the site's thread and waits for it. One caller after the other.
    HRESULT Call(const Callback& callback);

    /// On the site's thread.
    void End();

    void OnApartmentEnd() override { WithdrawSite(ticket_); }

private:
    HRESULT Work() override;

    const SiteTicket ticket_;
    std::mutex callers_;
    std::mutex mutex_;
    Ref<IChessEngineSite> site_;  ///< read and released on the site's thread only
    Ref<IChessEngineSite> proxy_;
    std::shared_ptr<MessageQueue> queue_;
    Callback callback_;  ///< valid while it is made, even when its caller has been released
    bool ended_ = false;
};

class SiteProxy final : public Object<SiteProxy, IChessEngineSite> {
public:
    explicit SiteProxy(std::shared_ptr<Loan> loan) : loan_(std::move(loan)) {}

    void* FindInterface(const GUID& iid) {
        const bool known = iid == IID_IUnknown || iid == IID_IChessEngineSite;
        return known ? static_cast<IChessEngineSite*>(this) : nullptr;
    }

    HRESULT OutputMove(W_BOARD* ev) override { return loan_->Call(*ev); }
    HRESULT OutputNextMove(std::int32_t depth, std::int32_t moves_to_go, EVAR ev) override {
        return loan_->Call(NextMove{depth, moves_to_go, ev});
    }
    HRESULT OutputClocks(CLOCKS* pClocks) override { return loan_->Call(*pClocks); }
    HRESULT OutputMainVar(MAINVAR* pMainVar) override { return loan_->Call(*pMainVar); }
    HRESULT OutputProgress(B_STATS* pStats, std::uint16_t completion) override {
        return loan_->Call(ProgressReport{*pStats, completion});
    }
    HRESULT OutputMsgBook(const char* txt) override { return loan_->Call(BookText{SentText(txt)}); }
    HRESULT OutputMsg(std::int32_t id, std::int32_t p1, std::int32_t p2, const char* txt) override {
        return loan_->Call(NumberedMessage{id, p1, p2, SentText(txt)});
    }

private:
    std::shared_ptr<Loan> loan_;
};

bool Loan::PrepareProxy() {
    *proxy_.Receive() = MakeObject<SiteProxy>(shared_from_this());
    return static_cast<bool>(proxy_);
}

IChessEngineSite* Loan::TakeProxy() {
    {
        const std::lock_guard lock(mutex_);
        if (proxy_) return proxy_.Detach();
    }
    return MakeObject<SiteProxy>(shared_from_this());
}

HRESULT Loan::Call(const Callback& callback) {
    const std::lock_guard one_at_a_time(callers_);
    std::uint64_t number = 0;
    {
        const std::lock_guard lock(mutex_);
        if (ended_) return RPC_E_DISCONNECTED;
        callback_ = callback;
        number = Begin();
    }
    AtRacePoint(RacePoint::CallBeforePost);
    if (!queue_->PostCall(shared_from_this(), number)) return RPC_E_DISCONNECTED;
    return Wait();
}

HRESULT Loan::Work() {
    const Ref<IChessEngineSite> site = site_;
    return site ? std::visit(Delivery{*site.Get()}, callback_) : RPC_E_DISCONNECTED;
}

void Loan::End() {
    Ref<IChessEngineSite> unused;
    {
        const std::lock_guard lock(mutex_);
        ended_ = true;
        unused = std::move(proxy_);
    }
    Fail(RPC_E_DISCONNECTED);
    site_.Reset();
}

/// Loans by ticket.
struct Loans {
    std::mutex mutex;
    std::map<SiteTicket, std::shared_ptr<Loan>> by_ticket;
    SiteTicket last = 0;
};

Loans& TheLoans() {
    static Loans* const loans = new Loans;
    return *loans;
}

/// Enters a new loan; its ticket.
SiteTicket Lend(IChessEngineSite* site, const std::shared_ptr<MessageQueue>& queue) {
    Loans& loans = TheLoans();
    const std::lock_guard lock(loans.mutex);
    const SiteTicket ticket = loans.last + 1;
    const auto loan = std::make_shared<Loan>(ticket, site, queue);
    try {
        if (!loan->PrepareProxy()) throw std::bad_alloc();
        queue->AtEnd(loan);
        loans.by_ticket[ticket] = loan;
    } catch (const std::bad_alloc&) {
        // Loan and proxy hold each other until the end.
        loan->End();
        throw;
    }
    return loans.last = ticket;
}

}  // namespace

HRESULT MarshalSite(IChessEngineSite* site, IStream** stream, SiteTicket* ticket) {
    if (!site || !stream || !ticket) return E_POINTER;
    const std::shared_ptr<MessageQueue> queue = CurrentQueue();
    if (!queue) return CO_E_NOTINITIALIZED;
    Ref<IStream> made;
    if (const HRESULT result = CreateMemoryStream(made.Receive()); Failed(result)) return result;
    SiteTicket number = 0;
    HRESULT result = AtBoundary([&] {
        number = Lend(site, queue);
        return S_OK;
    });
    if (Failed(result)) return result;
    result = made->Write(&number, sizeof number, nullptr);
    if (!Failed(result)) result = made->Seek(0, SeekFrom::Start, nullptr);
    if (Failed(result)) {
        WithdrawSite(number);
        return result;
    }
    *ticket = number;
    *stream = made.Detach();
    return S_OK;
}

HRESULT UnmarshalSite(IStream* stream, IChessEngineSite** proxy) {
    if (!stream || !proxy) return E_POINTER;
    *proxy = nullptr;
    SiteTicket ticket = 0;
    std::uint32_t done = 0;
    const HRESULT read = stream->Read(&ticket, sizeof ticket, &done);
    if (Failed(read) || done != sizeof ticket) return E_INVALIDARG;
    std::shared_ptr<Loan> loan;
    {
        Loans& loans = TheLoans();
        const std::lock_guard lock(loans.mutex);
        const auto found = loans.by_ticket.find(ticket);
        if (found == loans.by_ticket.end()) return RPC_E_DISCONNECTED;
        loan = found->second;
    }
    *proxy = loan->TakeProxy();
    return *proxy ? S_OK : E_OUTOFMEMORY;
}

void WithdrawSite(SiteTicket ticket) {
    std::shared_ptr<Loan> loan;
    {
        Loans& loans = TheLoans();
        const std::lock_guard lock(loans.mutex);
        const auto found = loans.by_ticket.find(ticket);
        if (found == loans.by_ticket.end()) return;
        loan = std::move(found->second);
        loans.by_ticket.erase(found);
    }
    loan->End();
}

}  // namespace torval

#include "platform/marshal.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/message_queue.h"
#include "platform/object.h"
#include "platform/race_points.h"

namespace torval {

namespace {

/// A lent site with the apartment it belongs to.
class Loan : public std::enable_shared_from_this<Loan> {
public:
    Loan(SiteTicket ticket, IChessEngineSite* site, std::shared_ptr<MessageQueue> queue)
        : ticket_(ticket), site_(site), queue_(std::move(queue)) {}

    /// Runs `work` with the site on its thread and waits for it.
    HRESULT Call(std::function<HRESULT(IChessEngineSite*)> work);

    /// On the site's thread.
    void End();

    /// Lets the apartment end this loan with itself.
    void EndWithApartment();

private:
    const SiteTicket ticket_;
    std::mutex mutex_;
    Ref<IChessEngineSite> site_;  ///< read and released on the site's thread only
    std::shared_ptr<MessageQueue> queue_;
    std::vector<std::shared_ptr<WindowCall>> waiting_;
    std::shared_ptr<std::function<void()>> end_action_;
    bool ended_ = false;
};

HRESULT Loan::Call(std::function<HRESULT(IChessEngineSite*)> work) {
    // The caller may be let go while the call runs, so the call keeps all it needs.
    auto call = std::make_shared<WindowCall>([self = shared_from_this(), run = std::move(work)] {
        const Ref<IChessEngineSite> site = self->site_;
        return site ? run(site.Get()) : RPC_E_DISCONNECTED;
    });
    {
        const std::lock_guard lock(mutex_);
        if (ended_) return RPC_E_DISCONNECTED;
        waiting_.push_back(call);
    }
    AtRacePoint(RacePoint::CallBeforePost);
    Message message = {.window = kCallWindow, .id = kMessageCall, .call = call};
    if (!queue_->Post(std::move(message))) return RPC_E_DISCONNECTED;
    const HRESULT result = call->Wait();
    const std::lock_guard lock(mutex_);
    std::erase(waiting_, call);
    return result;
}

void Loan::End() {
    std::vector<std::shared_ptr<WindowCall>> waiting;
    {
        const std::lock_guard lock(mutex_);
        ended_ = true;
        waiting = std::exchange(waiting_, {});
        end_action_.reset();
    }
    for (const auto& call : waiting) call->Fail(RPC_E_DISCONNECTED);
    site_.Reset();
}

void Loan::EndWithApartment() {
    end_action_ =
        std::make_shared<std::function<void()>>([ticket = ticket_] { WithdrawSite(ticket); });
    queue_->AtEnd(end_action_);
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

class SiteProxy final : public Object<SiteProxy, IChessEngineSite> {
public:
    explicit SiteProxy(std::shared_ptr<Loan> loan) : loan_(std::move(loan)) {}

    void* FindInterface(const GUID& iid) {
        const bool known = iid == IID_IUnknown || iid == IID_IChessEngineSite;
        return known ? static_cast<IChessEngineSite*>(this) : nullptr;
    }

    HRESULT OutputMove(W_BOARD* ev) override {
        return loan_->Call(
            [board = *ev](IChessEngineSite* site) mutable { return site->OutputMove(&board); });
    }
    HRESULT OutputNextMove(std::int32_t depth, std::int32_t moves_to_go, EVAR ev) override {
        return loan_->Call(
            [=](IChessEngineSite* site) { return site->OutputNextMove(depth, moves_to_go, ev); });
    }
    HRESULT OutputClocks(CLOCKS* pClocks) override {
        return loan_->Call([clocks = *pClocks](IChessEngineSite* site) mutable {
            return site->OutputClocks(&clocks);
        });
    }
    HRESULT OutputMainVar(MAINVAR* pMainVar) override {
        return loan_->Call([line = *pMainVar](IChessEngineSite* site) mutable {
            return site->OutputMainVar(&line);
        });
    }
    HRESULT OutputProgress(B_STATS* pStats, std::uint16_t completion) override {
        return loan_->Call([stats = *pStats, completion](IChessEngineSite* site) mutable {
            return site->OutputProgress(&stats, completion);
        });
    }
    HRESULT OutputMsgBook(const char* txt) override {
        return loan_->Call([text = std::string(txt)](IChessEngineSite* site) {
            return site->OutputMsgBook(text.c_str());
        });
    }
    HRESULT OutputMsg(std::int32_t id, std::int32_t p1, std::int32_t p2, const char* txt) override {
        return loan_->Call([=, text = std::string(txt)](IChessEngineSite* site) {
            return site->OutputMsg(id, p1, p2, text.c_str());
        });
    }

private:
    std::shared_ptr<Loan> loan_;
};

}  // namespace

HRESULT MarshalSite(IChessEngineSite* site, IStream** stream, SiteTicket* ticket) {
    if (!site || !stream || !ticket) return E_POINTER;
    const std::shared_ptr<MessageQueue> queue = CurrentQueue();
    if (!queue) return CO_E_NOTINITIALIZED;
    Ref<IStream> made;
    if (const HRESULT result = CreateMemoryStream(made.Receive()); Failed(result)) return result;
    Loans& loans = TheLoans();
    SiteTicket number = 0;
    {
        const std::lock_guard lock(loans.mutex);
        number = ++loans.last;
        const auto loan = std::make_shared<Loan>(number, site, queue);
        loan->EndWithApartment();
        loans.by_ticket[number] = loan;
    }
    HRESULT result = made->Write(&number, sizeof number, nullptr);
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
    *proxy = MakeObject<SiteProxy>(std::move(loan));
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

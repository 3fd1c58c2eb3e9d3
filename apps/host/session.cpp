#include "apps/host/session.h"

#include <poll.h>

#include <array>
#include <cstdio>
#include <new>
#include <utility>

#include "torval/apartment.h"
#include "torval/library.h"
#include "torval/object.h"

namespace torval {

namespace {

std::string Describe(const std::string& what, HRESULT result) {
    std::array<char, 16> code{};
    std::snprintf(
        code.data(), code.size(), Failed(result) ? "%08X" : "%d", static_cast<unsigned>(result));
    return "the engine does not " + what + " (code " + code.data() + ")";
}

constexpr const char* kProgramId = "TORVAL.Engine";

void LoadInto(IUnknown* engine, const SettingsImage& settings) {
    Ref<IPersistStreamInit> persist;
    HRESULT result = engine->QueryInterface(IID_IPersistStreamInit, persist.ReceiveVoid());
    if (Succeeded(result)) result = persist->Load(settings.Stream().Get());
    if (Failed(result)) throw SessionError("take its settings", result);
}

}  // namespace

SessionError::SessionError(const std::string& what, HRESULT result)
    : std::runtime_error(Describe(what, result)) {}

/// The object that the engine calls. The engine's last reference may outlive the session; callbacks
/// are then dropped.
class Session::Site final : public Object<Session::Site, IChessEngineSite> {
public:
    explicit Site(SiteHandlers handlers) : handlers_(std::move(handlers)) {}

    void Silence() { handlers_ = {}; }

    void* FindInterface(const GUID& iid) {
        const bool known = iid == IID_IUnknown || iid == IID_IChessEngineSite;
        return known ? static_cast<IChessEngineSite*>(this) : nullptr;
    }

    HRESULT OutputMove(W_BOARD* ev) override {
        if (handlers_.move) handlers_.move(*ev);
        return S_OK;
    }
    HRESULT OutputNextMove(std::int32_t depth, std::int32_t moves_to_go, EVAR ev) override {
        if (handlers_.next_move) handlers_.next_move(depth, moves_to_go, ev);
        return S_OK;
    }
    HRESULT OutputClocks(CLOCKS* clocks) override {
        if (handlers_.clocks) handlers_.clocks(*clocks);
        return S_OK;
    }
    HRESULT OutputMainVar(MAINVAR* line) override {
        if (handlers_.line) handlers_.line(*line);
        return S_OK;
    }
    HRESULT OutputProgress(B_STATS*, std::uint16_t) override { return S_OK; }
    HRESULT OutputMsgBook(const char*) override { return S_OK; }
    HRESULT OutputMsg(std::int32_t id, std::int32_t p1, std::int32_t p2, const char* txt) override {
        if (handlers_.message) handlers_.message(id, p1, p2, txt ? txt : "");
        return S_OK;
    }

private:
    SiteHandlers handlers_;
};

Session::Session(SiteHandlers handlers) {
    *site_.Receive() = MakeObject<Site>(std::move(handlers));
    if (!site_) throw std::bad_alloc();
    HRESULT result = EnterApartment();
    if (Failed(result)) throw SessionError("give this thread an apartment", result);
    result = CreateInstance(kProgramId, IID_IChessEngine2, engine_.ReceiveVoid());
    if (Succeeded(result)) return;
    LeaveApartment();
    throw SessionError("come into being", result);
}

Session::~Session() {
    Stop();
    engine_.Reset();
    LeaveApartment();
}

void Session::Load(const SettingsImage& settings) { LoadInto(engine_.Get(), settings); }

void Session::Reload(const SettingsImage& settings) {
    // Settings are the engine's, not the object's, and an object loads them once.
    Ref<IUnknown> scratch;
    const HRESULT result = CreateInstance(kProgramId, IID_IUnknown, scratch.ReceiveVoid());
    if (Failed(result)) throw SessionError("take new settings", result);
    LoadInto(scratch.Get(), settings);
}

void Session::Start(std::uint32_t event_mask) {
    HRESULT result = engine_->put_EventMask(event_mask);
    if (result == S_OK) result = engine_->Start(site_.Get());
    if (result != S_OK) throw SessionError("start", result);
    started_ = true;
}

void Session::Stop() {
    site_->Silence();
    if (started_) engine_->Stop();
    started_ = false;
}

bool Session::Wait(int input, int timeout_ms) {
    std::array<pollfd, 2> files = {
        pollfd{.fd = input, .events = POLLIN, .revents = 0},
        pollfd{.fd = MessageDescriptor(), .events = POLLIN, .revents = 0}};
    const int ready = poll(files.data(), files.size(), timeout_ms);
    Dispatch();
    return ready > 0 && files[0].revents != 0;
}

void Session::Dispatch() { PumpMessages(); }

}  // namespace torval

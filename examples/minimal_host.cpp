// The smallest host: enters three moves, lets the engine compute a reply, enters it and prints it.
#include <torval/apartment.h>
#include <torval/engine.h>
#include <torval/library.h>
#include <torval/object.h>

#include <cstdio>
#include <string>

using namespace torval;

namespace {

std::string Coordinates(const EVAR& move) {
    std::string text;
    for (const int square : {move.from, move.to}) {
        text += static_cast<char>('a' + (square & 7));
        text += static_cast<char>('1' + (square >> 4 & 7));
    }
    if (const int promotion = (move.flags & kPromotionBits) >> kPromotionShift)
        text += " PNBRQK"[promotion];
    return text;
}

/// What the engine calls, on this thread, from within its methods and PumpMessages.
class Site final : public Object<Site, IChessEngineSite> {
public:
    bool finished = false;
    std::string reply;  ///< empty when the engine found no move

    HRESULT OutputMainVar(MAINVAR* line) override {
        if (line->iCommand != LineFinal) return S_OK;
        finished = true;
        if (line->vlen > 0) reply = Coordinates(line->bstvar[0]);
        return S_OK;
    }
    // The final result always comes, the rest only when put_EventMask has asked for it.
    HRESULT OutputMove(W_BOARD*) override { return S_OK; }
    HRESULT OutputNextMove(std::int32_t, std::int32_t, EVAR) override { return S_OK; }
    HRESULT OutputClocks(CLOCKS*) override { return S_OK; }
    HRESULT OutputProgress(B_STATS*, std::uint16_t) override { return S_OK; }
    HRESULT OutputMsgBook(const char*) override { return S_OK; }
    HRESULT OutputMsg(int, int, int, const char*) override { return S_OK; }

    void* FindInterface(const GUID& iid) {
        const bool known = iid == IID_IUnknown || iid == IID_IChessEngineSite;
        return known ? static_cast<IChessEngineSite*>(this) : nullptr;
    }
};

bool Play(Site* site) {
    Ref<IChessEngine2> engine;
    Ref<IPersistStreamInit> settings;
    bool good = CreateInstance("TORVAL.Engine", IID_IChessEngine2, engine.ReceiveVoid()) == S_OK &&
                engine->QueryInterface(IID_IPersistStreamInit, settings.ReceiveVoid()) == S_OK &&
                settings->InitNew() == S_OK && engine->Start(site) == S_OK;
    if (!good) return false;
    MOVES made;
    for (const char* const move : {"e4", "e5", "Nf3"}) good &= engine->DoMove(move, &made) == S_OK;
    good = good && engine->StartComputerMove(0) == S_OK;
    while (good && !site->finished && WaitForMessage(10'000)) PumpMessages();
    good = good && engine->DoMove(site->reply.c_str(), &made) == S_OK;
    engine->Stop();
    return good;
}

}  // namespace

int main() {
    Ref<Site> site;
    *site.Receive() = MakeObject<Site>();
    EnterApartment();
    const bool good = site && Play(site.Get());
    LeaveApartment();
    std::puts(good ? site->reply.c_str() : "The engine refused.");
    return good ? 0 : 1;
}

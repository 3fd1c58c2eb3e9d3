// Whatever bytes a game file has, reading it ends and the engine takes or refuses its moves without a
// fault. The game as far as it was played can be written, read and played again.
//
// Input    a file.

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "apps/text/fen.h"
#include "apps/text/pgn.h"
#include "apps/text/san.h"
#include "torval/apartment.h"
#include "torval/library.h"

namespace {

using namespace torval;

void Require(bool holds) {
    if (!holds) std::abort();
}

IChessEngine2* Engine() {
    static IChessEngine2* const engine = [] {
        // Entering moves needs neither a thread nor callbacks, only what the first start sets up.
        class NoSite final : public IChessEngineSite {
        public:
            HRESULT QueryInterface(const GUID& iid, void** object) override {
                if (iid != IID_IUnknown && iid != IID_IChessEngineSite) return E_NOINTERFACE;
                *object = static_cast<IChessEngineSite*>(this);
                return S_OK;
            }
            std::uint32_t AddRef() override { return 1; }
            std::uint32_t Release() override { return 1; }
            HRESULT OutputMove(W_BOARD*) override { return S_OK; }
            HRESULT OutputNextMove(std::int32_t, std::int32_t, EVAR) override { return S_OK; }
            HRESULT OutputClocks(CLOCKS*) override { return S_OK; }
            HRESULT OutputMainVar(MAINVAR*) override { return S_OK; }
            HRESULT OutputProgress(B_STATS*, std::uint16_t) override { return S_OK; }
            HRESULT OutputMsgBook(const char*) override { return S_OK; }
            HRESULT OutputMsg(std::int32_t, std::int32_t, std::int32_t, const char*) override {
                return S_OK;
            }
        };
        static NoSite site;
        IChessEngine2* made = nullptr;
        Require(EnterApartment() == S_OK);
        Require(CreateInstance(
                    "TORVAL.Engine", IID_IChessEngine2, reinterpret_cast<void**>(&made)) == S_OK);
        Ref<IPersistStreamInit> settings;
        Require(made->QueryInterface(IID_IPersistStreamInit, settings.ReceiveVoid()) == S_OK);
        Require(settings->InitNew() == S_OK);
        Require(made->put_EventMask(0) == S_OK);
        Require(made->Start(&site) == S_OK);
        Require(made->Stop() == S_OK);
        return made;
    }();
    return engine;
}

/// Whether the engine has the position that the game begins from.
bool SetUp(const PgnGame& game) {
    Require(Engine()->NewGame() == S_OK);
    if (game.fen.empty()) return true;
    std::string error;
    const std::optional<FenPosition> start = ParseFen(game.fen, &error);
    return start && Engine()->put_Position(&start->board) == S_OK;
}

/// Enters the moves up to the first that cannot be played; what was played is text that can be
/// entered again.
void Play(const PgnGame& game) {
    // More only costs time.
    constexpr std::size_t kMost = 60;
    if (!SetUp(game)) return;
    PgnGame played{.tags = game.tags, .fen = game.fen, .moves = {}, .result = game.result};
    for (const std::string& move : game.moves) {
        CHSBRD before{};
        MOVES made;
        Engine()->get_Position(&before);
        if (played.moves.size() == kMost || EnterPgnMove(Engine(), move, &made) != S_OK) break;
        played.moves.push_back(AlgebraicText(made.MOVES[0], before));
    }
    std::string error;
    const std::string written = WritePgn(played);
    const std::optional<PgnGame> again = ReadPgn(written, &error);
    Require(again && again->moves == played.moves && again->result == played.result);
    Require(WritePgn(*again) == written);
    Require(SetUp(*again));
    for (const std::string& move : played.moves) {
        MOVES made;
        Require(EnterPgnMove(Engine(), move, &made) == S_OK);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    std::string error;
    const std::optional<PgnGame> game = ReadPgn(text, &error);
    Require(game.has_value() == error.empty());
    if (!game) return 0;
    Play(*game);
    return 0;
}

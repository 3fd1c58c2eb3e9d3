#include "engine/chess_engine.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <span>

#include "book/books.h"
#include "book/learn.h"
#include "engine/engine_thread.h"
#include "engine/notifications.h"
#include "engine/settings_stream.h"
#include "game/game.h"
#include "game/think.h"
#include "platform/boundary.h"
#include "search/time.h"
#include "state/clocks.h"
#include "state/controller.h"
#include "state/flags.h"
#include "state/settings.h"

namespace torval {

namespace {

constexpr auto kRelaxed = std::memory_order_relaxed;

B_STATS ReadStatistics() {
    const SearchStatistics& statistics = think_controller.statistics;
    B_STATS stats{};
    stats.AvgNodesPerSec = statistics.AvgNodesPerSec.load(kRelaxed);
    stats.MaxNodesPerSec = statistics.MaxNodesPerSec.load(kRelaxed);
    stats.analize_cnt = statistics.analize_cnt.load(kRelaxed);
    stats.Qanalized = statistics.Qanalized.load(kRelaxed);
    return stats;
}

/// The books' moves, while no computation has the legal moves.
template <typename BookMoves>
HRESULT FillBookMoves(BookMoves* moves) {
    if (!moves) return E_POINTER;
    *moves = {};
    if (AnyFlag(FlagEngineToMove | FlagBusy) || !has_legal_moves) {
        moves->iStatus = StatusComputerToMove;
    } else {
        CollectBookMoves(*legal_moves, moves);
    }
    return S_OK;
}

}  // namespace

void* CChessEngine::FindInterface(const GUID& iid) {
    if (iid == IID_IUnknown || iid == IID_IChessEngine || iid == IID_IChessEngine2) {
        return static_cast<IChessEngine2*>(this);
    }
    if (iid == IID_IChessBook) return static_cast<IChessBook*>(this);
    if (iid == IID_IPersistStreamInit || iid == IID_IPersist) {
        return static_cast<IPersistStreamInit*>(this);
    }
    if (iid == IID_ISpecifyPropertyPages) return static_cast<ISpecifyPropertyPages*>(this);
    return nullptr;
}

HRESULT CChessEngine::Start(IUnknown* pSite) {
    return AtBoundary([&]() -> HRESULT {
        if (!initialised_) return E_UNEXPECTED;
        return StartEngineThread(pSite);
    });
}

HRESULT CChessEngine::Stop() {
    return AtBoundary([&]() -> HRESULT {
        StopEngineThread();
        return S_OK;
    });
}

HRESULT CChessEngine::DoMove(const char* szMove, MOVES* pResult) {
    return AtBoundary([&]() -> HRESULT {
        if (!szMove || !pResult) return E_POINTER;
        HRESULT result = StatusComputerToMove;
        if (!AnyFlag(FlagEngineToMove)) {
            result = StopComputing(true);
            if (result == S_OK) result = torval::DoMove(szMove, pResult);
        }
        RefreshPositionSnapshot();
        return result;
    });
}

HRESULT CChessEngine::NewGame() {
    return AtBoundary([&]() -> HRESULT {
        if (const HRESULT stopped = StopComputing(true); stopped != S_OK) return stopped;
        torval::NewGame();
        RefreshPositionSnapshot();
        return S_OK;
    });
}

HRESULT CChessEngine::put_Position(const CHSBRD* board) {
    return AtBoundary([&]() -> HRESULT {
        if (!board) return E_POINTER;
        if (AnyFlag(FlagEngineToMove)) return StatusComputerToMove;
        if (const HRESULT stopped = StopComputing(true); stopped != S_OK) return stopped;
        const Status status = SetPosition(*board);
        if (status == StatusOk) NotifyClocks(ClocksBoth);
        RefreshPositionSnapshot();
        return status;
    });
}

HRESULT CChessEngine::get_Position(CHSBRD* board) {
    if (!board) return E_POINTER;
    *board = PositionSnapshot.Load();
    return S_OK;
}

HRESULT CChessEngine::StopComputing(bool bWait) {
    return AtBoundary([&]() -> HRESULT { return torval::StopComputing(bWait); });
}

HRESULT CChessEngine::MoveNow() {
    return SetFlagWhile(FlagMoveNow, FlagEngineToMove) ? S_OK : StatusNotComputing;
}

HRESULT CChessEngine::MoveBack(std::int32_t n) {
    return AtBoundary([&]() -> HRESULT {
        if (AnyFlag(FlagEngineToMove)) return StatusComputerToMove;
        if (const HRESULT stopped = StopComputing(true); stopped != S_OK) return stopped;
        const Status status = torval::MoveBack(n);
        RefreshPositionSnapshot();
        return status;
    });
}

HRESULT CChessEngine::StopGame() {
    return AtBoundary([&]() -> HRESULT {
        if (const HRESULT stopped = StopComputing(true); stopped != S_OK) return stopped;
        torval::StopGame();
        return S_OK;
    });
}

HRESULT CChessEngine::StartGame() { return torval::StartGame(); }

HRESULT CChessEngine::SetParameters(const std::uint8_t* par, std::int32_t len) {
    return AtBoundary([&]() -> HRESULT {
        if (len < 0) return StatusBadText;
        if (!par && len > 0) return E_POINTER;
        const std::span<const std::uint8_t> block(par, static_cast<std::size_t>(len));
        return ApplyParameters(block, EngineIsInitialised()) ? S_OK : HRESULT{StatusBadText};
    });
}

HRESULT CChessEngine::DoComputerMove(std::int32_t, MAINVAR* pResult) {
    return AtBoundary([&]() -> HRESULT {
        if (!pResult) return E_POINTER;
        if (AnyFlag(FlagEngineToMove)) return StatusComputerToMove;
        if (AnyFlag(FlagBusy)) return StatusBusy;
        SkipList.clear();
        MAINVAR result;
        const Status status = ComputeMove(&result);
        if (status != StatusOk) return status;
        ClearFlags(FlagBusy | FlagAbort | FlagMoveNow);
        *pResult = result;
        return S_OK;
    });
}

HRESULT CChessEngine::put_EventMask(std::uint32_t mask) {
    event_mask.store(mask, kRelaxed);
    return S_OK;
}

HRESULT CChessEngine::get_EventMask(std::uint32_t* mask) {
    if (!mask) return E_POINTER;
    *mask = event_mask.load(kRelaxed);
    return S_OK;
}

HRESULT CChessEngine::put_LEVEL(const LEVEL* level) {
    return AtBoundary([&]() -> HRESULT {
        if (!level) return E_POINTER;
        if (AnyFlag(FlagEngineToMove)) return StatusComputerToMove;
        if (const HRESULT stopped = StopComputing(true); stopped != S_OK) return stopped;
        if (!LevelIsValid(*level)) return StatusBadValue;
        settings_block.Level = *level;
        ResetClocks();
        NotifyClocks(ClocksBoth);
        return S_OK;
    });
}

HRESULT CChessEngine::get_LEVEL(LEVEL* level) {
    if (!level) return E_POINTER;
    *level = settings_block.Level;
    return S_OK;
}

HRESULT CChessEngine::put_CLOCKS(const CLOCKS* clocks) {
    if (!clocks) return E_POINTER;
    if (AnyFlag(FlagEngineToMove)) return StatusComputerToMove;
    if (clocks->Command & ClocksWhite) game_clocks.wtime.store(clocks->wtime, kRelaxed);
    if (clocks->Command & ClocksBlack) game_clocks.btime.store(clocks->btime, kRelaxed);
    return S_OK;
}

HRESULT CChessEngine::get_CLOCKS(CLOCKS* clocks) {
    return AtBoundary([&]() -> HRESULT {
        if (!clocks) return E_POINTER;
        ClockTick();
        *clocks = ReadClocks(ClocksBoth);
        return S_OK;
    });
}

HRESULT CChessEngine::GetBookMoves(W_BOOKMOVES* moves) {
    return AtBoundary([&]() -> HRESULT { return FillBookMoves(moves); });
}

HRESULT CChessEngine::SelectBook(const char* str) {
    return AtBoundary([&]() -> HRESULT {
        if (!str) return E_POINTER;
        return torval::SelectBook(str);
    });
}

HRESULT CChessEngine::GetInfo(W_INFO* info) {
    if (!info) return E_POINTER;
    const SettingsBlock& s = settings_block;
    const std::uint16_t kept = info->memtype;
    *info = {};
    info->Revision[0] = 5;
    info->transp = (ReadSetting(s.TranspFlags) & TranspInUse) ? 255 : 0;
    info->brain = static_cast<std::uint8_t>(ReadSetting(s.BrainFlags));
    info->memtype = kept;
    info->TranspMax = static_cast<std::uint16_t>(ReadSetting(s.TranspKB));
    info->book = static_cast<std::uint8_t>(ReadSetting(s.BookUse));
    info->RandMargin = static_cast<std::uint16_t>(ReadSetting(s.RandMargin));
    info->Stats = ReadStatistics();
    info->PawnValue = kPawnUnits;
    info->MateValue = kMateUnits;
    info->MateDepth = kMateDepthUnits;
    std::memcpy(info->MainBook, s.MainBookName, sizeof info->MainBook);
    std::memcpy(info->UserBook, s.UserBookName, sizeof info->UserBook);
    return S_OK;
}

HRESULT CChessEngine::put_BookPositionText(const char*) { return E_NOINTERFACE; }

HRESULT CChessEngine::get_BookPositionText(char** pText) {
    if (!pText) return E_POINTER;
    *pText = nullptr;
    return S_FALSE;
}

HRESULT CChessEngine::get_PlayColor(std::uint16_t* color) {
    if (!color) return E_POINTER;
    *color = GameSide.load(kRelaxed);
    return S_OK;
}

HRESULT CChessEngine::StartComputerMove(std::int32_t reserved) {
    return AtBoundary([&]() -> HRESULT {
        if (AnyFlag(FlagEngineToMove)) return StatusComputerToMove;
        if (const HRESULT stopped = StopComputing(true); stopped != S_OK) return stopped;
        return PostCompute({}, reserved);
    });
}

HRESULT CChessEngine::StartComputerMove2(std::int32_t cnt, const EVAR* skiplist) {
    return AtBoundary([&]() -> HRESULT {
        if (AnyFlag(FlagEngineToMove)) return StatusComputerToMove;
        if (cnt > 0 && !skiplist) return E_POINTER;
        if (const HRESULT stopped = StopComputing(true); stopped != S_OK) return stopped;
        const std::size_t count = cnt > 0 ? static_cast<std::size_t>(cnt) : 0;
        return PostCompute({skiplist, count}, 0);
    });
}

HRESULT CChessEngine::IsCptrmv() { return AnyFlag(FlagEngineToMove) ? S_OK : S_FALSE; }

HRESULT CChessEngine::IsThinking() { return AnyFlag(FlagBusy) ? S_OK : S_FALSE; }

HRESULT CChessEngine::IsPondering() {
    const std::uint16_t flags = EngineFlags.load(std::memory_order_acquire);
    return (flags & (FlagBusy | FlagEngineToMove)) == FlagBusy ? S_OK : S_FALSE;
}

HRESULT CChessEngine::GetProgress(B_STATS* pStats, std::uint16_t* pCompletion) {
    if (pStats) *pStats = ReadStatistics();
    if (pCompletion) *pCompletion = Completion();
    return S_OK;
}

HRESULT CChessEngine::CreateBook(const char*, const char*) { return E_NOTIMPL; }

HRESULT CChessEngine::AddBookMoves(std::int32_t id,
                                   std::int32_t cnt,
                                   std::int32_t score,
                                   std::int32_t flg) {
    return AtBoundary([&]() -> HRESULT {
        if (AnyFlag(FlagEngineToMove)) return StatusComputerToMove;
        if (const HRESULT stopped = StopComputing(true); stopped != S_OK) return stopped;
        return torval::AddBookMoves(id, cnt, score, flg);
    });
}

HRESULT CChessEngine::DelBookMoves(std::int32_t id, std::int32_t cnt) {
    return AtBoundary([&]() -> HRESULT {
        if (AnyFlag(FlagEngineToMove)) return StatusComputerToMove;
        if (const HRESULT stopped = StopComputing(true); stopped != S_OK) return stopped;
        return torval::DelBookMoves(id, cnt);
    });
}

HRESULT CChessEngine::VerifyDrawOffer() { return torval::VerifyDrawOffer() ? S_OK : S_FALSE; }

HRESULT CChessEngine::StartPondering(std::int32_t reserved) {
    return AtBoundary([&]() -> HRESULT { return torval::StartPondering(reserved); });
}

HRESULT CChessEngine::IsNextBestAvailable() {
    return AnyFlag(FlagEngineToMove) || next_best_list.count < 2 ? S_FALSE : S_OK;
}

HRESULT CChessEngine::DoNextBestMove(EVAR* pEvar) {
    return AtBoundary([&]() -> HRESULT {
        if (!pEvar) return E_POINTER;
        HRESULT result = StatusComputerToMove;
        if (!AnyFlag(FlagEngineToMove)) {
            result = StopComputing(true);
            if (result == S_OK) result = torval::DoNextBestMove(pEvar);
        }
        RefreshPositionSnapshot();
        return result;
    });
}

HRESULT CChessEngine::GetHint(EVAR* pEvar) {
    if (!pEvar) return E_POINTER;
    return ExpectedReply(pEvar);
}

HRESULT CChessEngine::GetBookMoves(W_BOOKMOVES2* moves) {
    return AtBoundary([&]() -> HRESULT { return FillBookMoves(moves); });
}

HRESULT CChessEngine::GetBookVersion(std::uint32_t* dwVersion) {
    if (!dwVersion) return E_POINTER;
    *dwVersion = 0;
    return S_OK;
}

HRESULT CChessEngine::CreateBook(const char*, const char*, std::int32_t) { return E_NOTIMPL; }

HRESULT CChessEngine::GetClassID(GUID* pClassID) {
    if (!pClassID) return E_POINTER;
    *pClassID = CLSID_CChessEngine;
    return S_OK;
}

HRESULT CChessEngine::IsDirty() { return S_FALSE; }

HRESULT CChessEngine::Load(IStream* pStm) {
    return AtBoundary([&]() -> HRESULT {
        if (initialised_) return E_UNEXPECTED;
        if (!pStm) return E_POINTER;
        const HRESULT result = LoadSettings(pStm);
        if (!Failed(result)) initialised_ = true;
        return result;
    });
}

HRESULT CChessEngine::Save(IStream* pStm, bool) {
    return AtBoundary([&]() -> HRESULT {
        if (!pStm) return E_POINTER;
        return SaveSettings(pStm);
    });
}

HRESULT CChessEngine::GetSizeMax(std::uint64_t* pcbSize) {
    if (!pcbSize) return E_POINTER;
    *pcbSize = LongestSettingsStream();
    return S_OK;
}

HRESULT CChessEngine::InitNew() {
    if (initialised_) return E_UNEXPECTED;
    SetDefaultSettings();
    initialised_ = true;
    return S_OK;
}

HRESULT CChessEngine::GetPages(CAUUID* pPages) {
    if (!pPages) return E_POINTER;
    constexpr GUID kPages[] = {CLSID_EngineSettings, CLSID_BookSettings};
    *pPages = {};
    auto* const block = static_cast<GUID*>(AllocateTaskMemory(sizeof kPages));
    if (!block) return E_OUTOFMEMORY;
    std::copy(std::begin(kPages), std::end(kPages), block);
    *pPages = {.cElems = static_cast<std::uint32_t>(std::size(kPages)), .pElems = block};
    return S_OK;
}

void* AllocateTaskMemory(std::size_t bytes) { return std::malloc(bytes); }

void FreeTaskMemory(void* block) { std::free(block); }

}  // namespace torval

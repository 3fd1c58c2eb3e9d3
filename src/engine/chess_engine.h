// CChessEngine: the object a host creates. Every method checks, forwards and returns.
//
// There is one engine for the process, whichever object is used to reach it; a host creates one.
#pragma once

#include "torval/engine.h"
#include "torval/object.h"

namespace torval {

class CChessEngine final : public Object<CChessEngine,
                                         IChessEngine2,
                                         IChessBook,
                                         IPersistStreamInit,
                                         ISpecifyPropertyPages> {
public:
    void* FindInterface(const GUID& iid);

    HRESULT Start(IUnknown* pSite) override;
    HRESULT Stop() override;
    HRESULT DoMove(const char* szMove, MOVES* pResult) override;
    HRESULT NewGame() override;
    HRESULT put_Position(const CHSBRD* board) override;
    HRESULT get_Position(CHSBRD* board) override;
    HRESULT StopComputing(bool bWait) override;
    HRESULT MoveNow() override;
    HRESULT MoveBack(std::int32_t n) override;
    HRESULT StopGame() override;
    HRESULT StartGame() override;
    HRESULT SetParameters(const std::uint8_t* par, std::int32_t len) override;
    HRESULT DoComputerMove(std::int32_t flags, MAINVAR* pResult) override;
    HRESULT put_EventMask(std::uint32_t mask) override;
    HRESULT get_EventMask(std::uint32_t* mask) override;
    HRESULT put_LEVEL(const LEVEL* level) override;
    HRESULT get_LEVEL(LEVEL* level) override;
    HRESULT put_CLOCKS(const CLOCKS* clocks) override;
    HRESULT get_CLOCKS(CLOCKS* clocks) override;
    HRESULT GetBookMoves(W_BOOKMOVES* moves) override;
    HRESULT SelectBook(const char* str) override;
    HRESULT GetInfo(W_INFO* info) override;
    HRESULT put_BookPositionText(const char* text) override;
    HRESULT get_BookPositionText(char** pText) override;
    HRESULT get_PlayColor(std::uint16_t* color) override;
    HRESULT StartComputerMove(std::int32_t reserved) override;
    HRESULT IsCptrmv() override;
    HRESULT IsThinking() override;
    HRESULT IsPondering() override;
    HRESULT GetProgress(B_STATS* pStats, std::uint16_t* pCompletion) override;
    HRESULT CreateBook(const char* path, const char* comment) override;
    HRESULT AddBookMoves(std::int32_t id,
                         std::int32_t cnt,
                         std::int32_t score,
                         std::int32_t flg) override;
    HRESULT DelBookMoves(std::int32_t id, std::int32_t cnt) override;
    HRESULT VerifyDrawOffer() override;
    HRESULT StartPondering(std::int32_t reserved) override;
    HRESULT IsNextBestAvailable() override;
    HRESULT DoNextBestMove(EVAR* pEvar) override;
    HRESULT GetHint(EVAR* pEvar) override;
    HRESULT StartComputerMove2(std::int32_t cnt, const EVAR* skiplist) override;

    HRESULT GetBookMoves(W_BOOKMOVES2* moves) override;
    HRESULT GetBookVersion(std::uint32_t* dwVersion) override;
    HRESULT CreateBook(const char* path, const char* comment, std::int32_t mode) override;

    HRESULT GetClassID(GUID* pClassID) override;
    HRESULT IsDirty() override;
    HRESULT Load(IStream* pStm) override;
    HRESULT Save(IStream* pStm, bool fClearDirty) override;
    HRESULT GetSizeMax(std::uint64_t* pcbSize) override;
    HRESULT InitNew() override;

    HRESULT GetPages(CAUUID* pPages) override;

private:
    bool initialised_ = false;
};

}  // namespace torval

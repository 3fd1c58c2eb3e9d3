// The engine's interfaces, and the one a host implements.
//
// A host creates CChessEngine (library.h), calls InitNew or Load of its IPersistStreamInit, then
// Start with its own IChessEngineSite, and drives a game. Methods answer at once with a small code;
// what the engine thinks arrives through the site. docs/hosting.md describes it all.
//
// Thread   all methods run on the thread that created the object. While a computation runs on the
//          engine's own thread, its callbacks arrive on the host's thread when that dispatches its
//          messages.
// Errors   S_OK, S_FALSE for a negative or empty answer, E_ codes, or a Status (codes.h), given by
//          its number below. A null pointer where an object is needed gives E_POINTER. A refused
//          call changes nothing.
#pragma once

#include "torval/codes.h"
#include "torval/identifiers.h"
#include "torval/records.h"
#include "torval/stream.h"

namespace torval {

/// Bits of the event mask: what reaches the site. Final results (LineFinal) always do.
enum EventMaskBit : std::uint32_t {
    EventClocks = 1,
    EventMove = 2,
    EventMainVar = 4,
    EventNextMove = 8,
    EventMsg = 16,
    EventPondering = 128,  ///< in addition: lines and root moves while pondering or analysing
};

/// Implemented by the host. Return values are ignored. A callback may call the engine back, but not
/// wait for the computation that raised it.
class IChessEngineSite : public IUnknown {
public:
    /// The game position after a new game, set-up or take-back (MaskBoard) or a move (with MaskMove).
    virtual HRESULT OutputMove(W_BOARD* ev) = 0;
    /// A root move is about to be searched; moves_to_go counts it and those after it.
    virtual HRESULT OutputNextMove(std::int32_t depth, std::int32_t moves_to_go, EVAR ev) = 0;
    virtual HRESULT OutputClocks(CLOCKS* pClocks) = 0;
    /// iCommand is a LineKind.
    virtual HRESULT OutputMainVar(MAINVAR* pMainVar) = 0;
    /// Never sent: a host asks GetProgress.
    virtual HRESULT OutputProgress(B_STATS* pStats, std::uint16_t completion) = 0;
    /// Never sent.
    virtual HRESULT OutputMsgBook(const char* txt) = 0;
    /// id is a MessageNumber, which says what p1, p2 and txt hold; else they are 0 and empty.
    virtual HRESULT OutputMsg(std::int32_t id,
                              std::int32_t p1,
                              std::int32_t p2,
                              const char* txt) = 0;

protected:
    ~IChessEngineSite() = default;
};

class IChessEngine : public IUnknown {
public:
    /// E_UNEXPECTED before InitNew or Load; S_FALSE when this thread already has a site;
    /// RPC_E_WRONG_THREAD while the engine is started on another thread; E_OUTOFMEMORY; else what the
    /// site returns when queried for IChessEngineSite.
    virtual HRESULT Start(IUnknown* pSite) = 0;
    virtual HRESULT Stop() = 0;
    /// 6, 7, 8, 9, 21, 22. *pResult holds the matching moves, and after S_OK the move as made.
    virtual HRESULT DoMove(const char* szMove, MOVES* pResult) = 0;
    virtual HRESULT NewGame() = 0;
    virtual HRESULT put_Position(const CHSBRD* board) = 0;  ///< 5, 6, 22
    virtual HRESULT get_Position(CHSBRD* board) = 0;        ///< the game position, at any time
    /// E_FAIL when bWait is set and the computation does not end within five seconds.
    virtual HRESULT StopComputing(bool bWait) = 0;
    virtual HRESULT MoveNow() = 0;                 ///< 14
    virtual HRESULT MoveBack(std::int32_t n) = 0;  ///< 6, 11, 22
    virtual HRESULT StopGame() = 0;
    virtual HRESULT StartGame() = 0;                                               ///< 13
    virtual HRESULT SetParameters(const std::uint8_t* par, std::int32_t len) = 0;  ///< 7
    /// Computes on the calling thread. 6, 21, 22.
    virtual HRESULT DoComputerMove(std::int32_t flags, MAINVAR* pResult) = 0;
    virtual HRESULT put_EventMask(std::uint32_t mask) = 0;
    virtual HRESULT get_EventMask(std::uint32_t* mask) = 0;
    virtual HRESULT put_LEVEL(const LEVEL* level) = 0;  ///< 6, 15
    virtual HRESULT get_LEVEL(LEVEL* level) = 0;
    virtual HRESULT put_CLOCKS(const CLOCKS* clocks) = 0;  ///< 6
    virtual HRESULT get_CLOCKS(CLOCKS* clocks) = 0;
    virtual HRESULT GetBookMoves(W_BOOKMOVES* moves) = 0;
    virtual HRESULT SelectBook(const char* str) = 0;  ///< 7, or the result of opening
    virtual HRESULT GetInfo(W_INFO* info) = 0;
    virtual HRESULT put_BookPositionText(const char* text) = 0;  ///< E_NOINTERFACE
    virtual HRESULT get_BookPositionText(char** pText) = 0;      ///< S_FALSE, *pText null
    virtual HRESULT get_PlayColor(std::uint16_t* color) = 0;
    virtual HRESULT StartComputerMove(std::int32_t reserved) = 0;  ///< 6, E_UNEXPECTED
    virtual HRESULT IsCptrmv() = 0;
    virtual HRESULT IsThinking() = 0;
    virtual HRESULT IsPondering() = 0;
    /// completion: 0 to 100, 65535 unknown. Either pointer may be null.
    virtual HRESULT GetProgress(B_STATS* pStats, std::uint16_t* pCompletion) = 0;
    virtual HRESULT CreateBook(const char* path, const char* comment) = 0;  ///< E_NOTIMPL
    virtual HRESULT AddBookMoves(std::int32_t id,
                                 std::int32_t cnt,
                                 std::int32_t score,
                                 std::int32_t flg) = 0;                   ///< 6, 15, 16
    virtual HRESULT DelBookMoves(std::int32_t id, std::int32_t cnt) = 0;  ///< 6, 15, 16
    virtual HRESULT VerifyDrawOffer() = 0;
    virtual HRESULT StartPondering(std::int32_t reserved) = 0;  ///< 1, 6, E_UNEXPECTED
    virtual HRESULT IsNextBestAvailable() = 0;
    virtual HRESULT DoNextBestMove(EVAR* pEvar) = 0;  ///< 6, 20, 22
    virtual HRESULT GetHint(EVAR* pEvar) = 0;         ///< 1, 6

protected:
    ~IChessEngine() = default;
};

class IChessEngine2 : public IChessEngine {
public:
    /// As StartComputerMove, leaving out the cnt moves at skiplist (none when cnt is below 1).
    virtual HRESULT StartComputerMove2(std::int32_t cnt, const EVAR* skiplist) = 0;

protected:
    ~IChessEngine2() = default;
};

class IChessBook : public IUnknown {
public:
    virtual HRESULT GetBookMoves(W_BOOKMOVES2* moves) = 0;
    virtual HRESULT GetBookVersion(std::uint32_t* dwVersion) = 0;  ///< stores 0
    virtual HRESULT CreateBook(const char* path,
                               const char* comment,
                               std::int32_t mode) = 0;  ///< E_NOTIMPL

protected:
    ~IChessBook() = default;
};

/// Settings that persist with the host's document.
class IPersistStreamInit : public IUnknown {
public:
    virtual HRESULT GetClassID(GUID* pClassID) = 0;
    virtual HRESULT IsDirty() = 0;  ///< always S_FALSE
    virtual HRESULT Load(IStream* pStm) = 0;
    virtual HRESULT Save(IStream* pStm, bool fClearDirty) = 0;
    virtual HRESULT GetSizeMax(std::uint64_t* pcbSize) = 0;
    virtual HRESULT InitNew() = 0;

protected:
    ~IPersistStreamInit() = default;
};

/// Identifiers in a block that the caller frees with FreeTaskMemory.
struct CAUUID {
    std::uint32_t cElems;
    GUID* pElems;
};

class ISpecifyPropertyPages : public IUnknown {
public:
    virtual HRESULT GetPages(CAUUID* pPages) = 0;  ///< E_OUTOFMEMORY

protected:
    ~ISpecifyPropertyPages() = default;
};

TORVAL_API void* AllocateTaskMemory(std::size_t bytes);  ///< null when out of memory
TORVAL_API void FreeTaskMemory(void* block);

}  // namespace torval

#include "engine/notifications.h"

#include "board/position.h"
#include "state/flags.h"
#include "state/notify.h"
#include "state/settings.h"

namespace torval {

std::atomic<std::uint32_t> event_mask = 0;
Published<CHSBRD> PositionSnapshot;

namespace {

constexpr const char* kVersionText = "TORVAL " TORVAL_VERSION;

thread_local IChessEngineSite* thread_site = nullptr;

/// The site to send through when every one of these mask bits is set, else null.
IChessEngineSite* SiteFor(std::uint32_t bits) {
    const std::uint32_t mask = event_mask.load(std::memory_order_relaxed);
    return (mask & bits) == bits ? thread_site : nullptr;
}

void OutputMove(const W_BOARD& board) {
    IChessEngineSite* const site = SiteFor(EventMove);
    if (!site) return;
    RefreshPositionSnapshot();
    W_BOARD sent = board;
    site->OutputMove(&sent);
}

void OutputNextMove(int depth, int moves_to_go, EVAR move) {
    const bool own_move = AnyFlag(FlagEngineToMove);
    const bool asked_for = (ReadSetting(settings_block.BrainFlags) & BrainReportPonderMoves) != 0;
    std::uint32_t bits = EventNextMove;
    if (!own_move && !asked_for) bits |= EventPondering;
    if (IChessEngineSite* const site = SiteFor(bits)) {
        site->OutputNextMove(depth, moves_to_go, move);
    }
}

void OutputClocks(const CLOCKS& clocks) {
    IChessEngineSite* const site = SiteFor(EventClocks);
    if (!site) return;
    CLOCKS sent = clocks;
    site->OutputClocks(&sent);
}

void OutputMainVar(const MAINVAR& line) {
    std::uint32_t bits = EventMainVar;
    if (line.iCommand == LinePondered) bits |= EventPondering;
    IChessEngineSite* const site = SiteFor(bits);
    if (!site) return;
    MAINVAR sent = line;
    site->OutputMainVar(&sent);
}

void OutputMsg(int id, int p1, int p2, const char* text) {
    if (IChessEngineSite* const site = SiteFor(EventMsg)) site->OutputMsg(id, p1, p2, text);
}

}  // namespace

void RefreshPositionSnapshot() {
    CHSBRD board;
    StorePosition(&board);
    PositionSnapshot.Store(board);
}

IChessEngineSite* ThreadSite() { return thread_site; }

void SetThreadSite(IChessEngineSite* site) { thread_site = site; }

void ReleaseThreadSite() {
    IChessEngineSite* const site = thread_site;
    thread_site = nullptr;
    if (site) site->Release();
}

void InstallNotifications() {
    notification_sink = {.output_move = OutputMove,
                         .output_next_move = OutputNextMove,
                         .output_clocks = OutputClocks,
                         .output_main_var = OutputMainVar,
                         .output_msg = OutputMsg};
}

void SendFinalLine(MAINVAR line) {
    line.iCommand = LineFinal;
    if (thread_site) thread_site->OutputMainVar(&line);
}

void SendThreadStarted() { OutputMsg(MsgThreadStarted, 0, 0, kVersionText); }

}  // namespace torval

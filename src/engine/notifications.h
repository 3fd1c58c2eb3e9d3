// How the engine's notifications reach the host: through the site of the thread that raises them.
//
// Owner    notifications.cpp: the event mask and each thread's site.
// Thread   a notification goes through the pointer that the raising thread holds: the host's own on
//          the host's thread, a proxy on the engine's. Without one it is skipped.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/published.h"
#include "torval/engine.h"

namespace torval {

/// What reaches the host, EventMaskBit; relaxed, read alone.
extern std::atomic<std::uint32_t> event_mask;

/// The game position, which a host may read at any time.
extern Published<CHSBRD> PositionSnapshot;

void RefreshPositionSnapshot();

/// The calling thread's site, null at first.
IChessEngineSite* ThreadSite();
/// Puts a site that carries a reference into the calling thread's slot.
void SetThreadSite(IChessEngineSite* site);
/// Empties the slot and releases the reference.
void ReleaseThreadSite();

/// Points the notification sink here, until other code replaces it.
void InstallNotifications();

/// Sends a final result, regardless of the mask.
void SendFinalLine(MAINVAR line);

/// Announces that the engine thread runs.
void SendThreadStarted();

}  // namespace torval

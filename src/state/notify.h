// Where the engine's notifications go.
//
// Owner    notify.cpp. One sink; whoever drives the engine fills it before it starts anything.
// Thread   a notification is raised on the thread that does the work it reports.
// Errors   none: an entry that is null is skipped, and nothing is returned.
#pragma once

#include <cstdint>

#include "torval/codes.h"
#include "torval/records.h"

namespace torval {

struct NotificationSink {
    /// After a new game, a set-up, a take-back (Mask 1) or an entered move (Mask 3 or 7).
    void (*output_move)(const W_BOARD& board) = nullptr;
    /// The root search starts a move; moves_to_go counts this one and those after it.
    void (*output_next_move)(int depth, int moves_to_go, EVAR move) = nullptr;
    /// The clocks changed; Command says which.
    void (*output_clocks)(const CLOCKS& clocks) = nullptr;
    /// A new best line (LineBest, LinePondered) or the list of alternatives (LineAlternatives).
    void (*output_main_var)(const MAINVAR& line) = nullptr;
    /// A MessageNumber with what belongs to it.
    void (*output_msg)(int id, int p1, int p2, const char* text) = nullptr;
};

extern NotificationSink notification_sink;

inline void NotifyMsg(int id, int p1, const char* text = "", int p2 = 0) {
    if (notification_sink.output_msg) notification_sink.output_msg(id, p1, p2, text);
}

}  // namespace torval

// A host's connection to the engine: everything between the program's start and end that all hosts
// do the same way.
//
// Order    construct, Load, Start, use engine(), destroy (which stops). There is one engine per
//          process, so there is one session at a time.
// Thread   the one that constructed it. Handlers run there, inside engine calls that raise them or
//          inside Wait and Dispatch.
// Errors   SessionError.
#pragma once

#include <functional>
#include <string_view>

#include "apps/host/session_error.h"
#include "apps/host/settings_image.h"
#include "torval/engine.h"

namespace torval {

/// What the engine reports, passed to the functions that are set. A handler may call the engine,
/// but must neither wait for a computation nor let an exception escape.
struct SiteHandlers {
    std::function<void(const W_BOARD&)> move;
    std::function<void(int depth, int moves_to_go, EVAR)> next_move;
    std::function<void(const CLOCKS&)> clocks;
    std::function<void(const MAINVAR&)> line;
    std::function<void(int id, int p1, int p2, std::string_view text)> message;
};

class Session {
public:
    explicit Session(SiteHandlers handlers);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Gives the engine its settings. Once, before Start.
    void Load(const SettingsImage& settings);

    /// Loads settings again while the engine is started and computes nothing. The table size, which
    /// the engine fixes when it first starts, must be unchanged.
    void Reload(const SettingsImage& settings);

    /// Starts the engine's thread with this session as its site. event_mask: EventMaskBit.
    void Start(std::uint32_t event_mask);
    bool started() const { return started_; }

    /// Ends a computation without a result, and the engine's thread. No handler runs afterwards.
    void Stop();

    IChessEngine2* engine() const { return engine_.Get(); }

    /// Sleeps until the file descriptor is readable (or ended), the engine has messages, or the
    /// time is up, and dispatches the messages. input: -1 for none; timeout_ms: -1 for no limit.
    /// True when input can be read.
    bool Wait(int input, int timeout_ms);

    /// Dispatches the engine's messages, without waiting.
    void Dispatch();

private:
    class Site;

    Ref<Site> site_;
    Ref<IChessEngine2> engine_;
    bool started_ = false;
};

}  // namespace torval

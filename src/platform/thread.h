// Threads with priorities, and waiting for one to end while the caller's own queue is still served.
//
// Thread   a handle is used by the thread that created it. SetPriority is best effort: where the
//          system refuses, that is written to the debug log once and is no error.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

#include "platform/message_queue.h"
#include "torval/apartment.h"

namespace torval {

enum class Priority : int { Lowest = -2, Normal = 0, Highest = 2 };

enum class WaitResult { Ended, Input, TimeOut };

class Thread {
public:
    Thread() = default;
    ~Thread() { Close(); }
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    /// Starts a thread that enters an apartment of its own and runs the procedure; its queue takes
    /// messages from now on. False: the system cannot provide a thread, or the memory for one.
    bool Create(std::function<void()> procedure);

    /// Forgets the thread, which goes on if it has not ended.
    void Close();

    bool Exists() const { return shared_ != nullptr; }
    ThreadId id() const;
    /// Asks the thread's loop to end, after the messages that are pending. Needs no memory.
    void PostQuit() const;
    bool HasEnded() const;
    void SetPriority(Priority priority) const;

    /// Waits until the thread ends or a message for the calling thread is pending.
    WaitResult WaitForEndOrInput(std::uint32_t timeout_ms) const;

private:
    struct Shared;
    std::shared_ptr<Shared> shared_;
};

/// Changes the calling thread's priority.
void SetOwnPriority(Priority priority);

}  // namespace torval

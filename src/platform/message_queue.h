// The queue behind an apartment, and calls from other threads that pass through it.
//
// Lifetime  a queue is shared: its thread holds it from EnterApartment to LeaveApartment, others as
//           long as they may still post. Once ended it accepts nothing; its calls have failed.
// Memory    Post needs some and throws std::bad_alloc without it; what keeps the two threads together
//           needs none: a call has its place reserved beforehand, and a quit message is a mark.
// Thread    all functions but Get and Peek may be called from any thread.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <vector>

#include "torval/apartment.h"

namespace torval {

/// The window that calls are addressed to. There are no others yet.
inline constexpr std::uint32_t kCallWindow = 1;
inline constexpr std::uint32_t kMessageCall = 0x8000;

/// Calls on their way to another thread, one after the other. The caller waits until its call has run
/// or failed; each has a number, so that a message dispatched late or twice runs no other call.
class WindowCall {
public:
    virtual ~WindowCall() = default;

    /// The number of a new call. The one before has ended.
    std::uint64_t Begin();
    /// Runs the call, on the thread it was sent to, unless it has run or failed meanwhile.
    void Run(std::uint64_t number);
    /// Releases a caller that still waits, with this result.
    void Fail(HRESULT result);
    /// Waits for the result.
    HRESULT Wait();

    /// The apartment that the calls are sent to ends, on its own thread.
    virtual void OnApartmentEnd() {}

protected:
    virtual HRESULT Work() = 0;

private:
    enum class State { Pending, Running, Done };

    std::mutex mutex_;
    std::condition_variable changed_;
    State state_ = State::Done;
    std::uint64_t number_ = 0;
    HRESULT result_ = RPC_E_DISCONNECTED;
};

class MessageQueue {
public:
    MessageQueue();
    ~MessageQueue();
    MessageQueue(const MessageQueue&) = delete;
    MessageQueue& operator=(const MessageQueue&) = delete;

    /// False once the queue has ended.
    bool Post(Message message);

    /// Keeps a place for calls that are posted one at a time. Throws std::bad_alloc; balanced by
    /// ReleaseCallPlace.
    void ReserveCallPlace();
    void ReleaseCallPlace();
    /// Posts a call to a place that was reserved. False once the queue has ended.
    bool PostCall(std::shared_ptr<WindowCall> call, std::uint64_t number);

    /// Posts the quit message, after all others that are pending now.
    void PostQuit();

    /// The next message, waiting for one.
    Message Get();
    bool Peek(Message* message, bool remove);
    /// Waits until a message is pending or `stop` holds. False when the time runs out first.
    bool WaitUntil(std::uint32_t timeout_ms, const std::function<bool()>& stop);
    /// Wakes a thread in WaitUntil, so that it looks at its condition again.
    void Wake();
    /// Fails all calls and takes no more messages.
    void End();

    int descriptor() const { return descriptor_; }

    /// Whose OnApartmentEnd is to be run when the apartment ends.
    void AtEnd(std::weak_ptr<WindowCall> guest);
    std::vector<std::weak_ptr<WindowCall>> TakeGuests();

private:
    // With the lock held.
    bool IsEmpty() const { return messages_.empty() && !quit_posted_; }
    Message TakeFront();
    void ShowPending();

    std::mutex mutex_;
    std::condition_variable changed_;
    std::list<Message> messages_;
    std::list<Message> call_places_;  ///< reserved and not in use
    std::size_t places_wanted_ = 0;   ///< how many of them are kept
    bool quit_posted_ = false;        ///< a quit message follows the last of messages_
    std::vector<std::weak_ptr<WindowCall>> guests_;
    bool ended_ = false;
    int descriptor_ = -1;
};

/// The queue of a thread, null when it has no apartment (any more).
std::shared_ptr<MessageQueue> QueueOf(ThreadId thread);

/// The calling thread's queue, null outside an apartment.
std::shared_ptr<MessageQueue> CurrentQueue();

}  // namespace torval

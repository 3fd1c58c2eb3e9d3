// The queue behind an apartment, and calls from other threads that pass through it.
//
// Lifetime  a queue is shared: its thread holds it from EnterApartment to LeaveApartment, others as
//           long as they may still post. Once ended it takes nothing and every call in it has failed.
// Thread    all functions but Get and Peek may be called from any thread.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "torval/apartment.h"

namespace torval {

/// The window that calls are addressed to. There are no others yet.
inline constexpr std::uint32_t kCallWindow = 1;
inline constexpr std::uint32_t kMessageCall = 0x8000;

/// A call on its way to another thread. The caller waits until it has run or failed.
class WindowCall {
public:
    explicit WindowCall(std::function<HRESULT()> work) : work_(std::move(work)) {}

    /// Runs the call, on the thread it was sent to, unless it has failed meanwhile.
    void Run();
    /// Lets a caller that still waits go with this answer.
    void Fail(HRESULT result);
    /// Waits for the answer.
    HRESULT Wait();

private:
    enum class State { Pending, Running, Done };

    std::mutex mutex_;
    std::condition_variable changed_;
    std::function<HRESULT()> work_;
    State state_ = State::Pending;
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
    /// The next message, waiting for one.
    Message Get();
    bool Peek(Message* message, bool remove);
    /// Waits until a message is pending or `stop` holds. False when the time is up first.
    bool WaitUntil(std::uint32_t timeout_ms, const std::function<bool()>& stop);
    /// Wakes a thread in WaitUntil, so that it looks at its condition again.
    void Wake();
    /// Fails all calls and takes no more messages.
    void End();

    int descriptor() const { return descriptor_; }

    /// To be run when the apartment ends, on its own thread.
    void AtEnd(std::weak_ptr<std::function<void()>> action);
    std::vector<std::weak_ptr<std::function<void()>>> TakeEndActions();

private:
    Message TakeFront();

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Message> messages_;
    std::vector<std::weak_ptr<std::function<void()>>> end_actions_;
    bool ended_ = false;
    int descriptor_ = -1;
};

/// The calling thread's queue, null outside an apartment.
std::shared_ptr<MessageQueue> CurrentQueue();

}  // namespace torval

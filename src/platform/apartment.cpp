#include "torval/apartment.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <map>
#include <utility>

#include "platform/message_queue.h"
#include "platform/race_points.h"

namespace torval {

namespace {

/// Queues by thread, for those who post.
struct Registry {
    std::mutex mutex;
    std::map<ThreadId, std::shared_ptr<MessageQueue>> queues;
};

Registry& TheRegistry() {
    // Never destroyed: threads may still post while the process ends.
    static Registry* const registry = new Registry;
    return *registry;
}

std::atomic<ThreadId> last_thread_id = 0;

thread_local ThreadId this_thread = 0;
thread_local int apartment_depth = 0;
thread_local std::shared_ptr<MessageQueue> this_queue;

}  // namespace

void WindowCall::Run() {
    {
        const std::lock_guard lock(mutex_);
        if (state_ != State::Pending) return;
        state_ = State::Running;
    }
    const HRESULT result = work_();
    const std::lock_guard lock(mutex_);
    if (state_ != State::Running) return;
    state_ = State::Done;
    result_ = result;
    changed_.notify_all();
}

void WindowCall::Fail(HRESULT result) {
    const std::lock_guard lock(mutex_);
    // Also while it runs: the callback itself may have ended what it was called through.
    if (state_ == State::Done) return;
    state_ = State::Done;
    result_ = result;
    changed_.notify_all();
}

HRESULT WindowCall::Wait() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return state_ == State::Done; });
    return result_;
}

MessageQueue::MessageQueue() : descriptor_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}

MessageQueue::~MessageQueue() {
    if (descriptor_ >= 0) close(descriptor_);
}

bool MessageQueue::Post(Message message) {
    const std::lock_guard lock(mutex_);
    if (ended_) return false;
    messages_.push_back(std::move(message));
    const std::uint64_t one = 1;
    if (descriptor_ >= 0) (void)!write(descriptor_, &one, sizeof one);
    changed_.notify_all();
    return true;
}

Message MessageQueue::TakeFront() {
    Message message = std::move(messages_.front());
    messages_.pop_front();
    std::uint64_t count = 0;
    // The descriptor stays readable exactly as long as messages are pending.
    if (messages_.empty() && descriptor_ >= 0) (void)!read(descriptor_, &count, sizeof count);
    return message;
}

Message MessageQueue::Get() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !messages_.empty(); });
    return TakeFront();
}

bool MessageQueue::Peek(Message* message, bool remove) {
    const std::lock_guard lock(mutex_);
    if (messages_.empty()) return false;
    *message = remove ? TakeFront() : messages_.front();
    return true;
}

bool MessageQueue::WaitUntil(std::uint32_t timeout_ms, const std::function<bool()>& stop) {
    AtRacePoint(RacePoint::WaitBegins);
    std::unique_lock lock(mutex_);
    return changed_.wait_for(
        lock, std::chrono::milliseconds(timeout_ms), [&] { return !messages_.empty() || stop(); });
}

void MessageQueue::Wake() {
    const std::lock_guard lock(mutex_);
    changed_.notify_all();
}

void MessageQueue::End() {
    std::deque<Message> left;
    {
        const std::lock_guard lock(mutex_);
        ended_ = true;
        left.swap(messages_);
    }
    for (const Message& message : left) {
        if (message.call) message.call->Fail(RPC_E_DISCONNECTED);
    }
}

void MessageQueue::AtEnd(std::weak_ptr<std::function<void()>> action) {
    const std::lock_guard lock(mutex_);
    std::erase_if(end_actions_, [](const auto& earlier) { return earlier.expired(); });
    end_actions_.push_back(std::move(action));
}

std::vector<std::weak_ptr<std::function<void()>>> MessageQueue::TakeEndActions() {
    const std::lock_guard lock(mutex_);
    return std::exchange(end_actions_, {});
}

std::shared_ptr<MessageQueue> CurrentQueue() { return this_queue; }

HRESULT EnterApartment() {
    if (apartment_depth++ > 0) return S_FALSE;
    this_queue = std::make_shared<MessageQueue>();
    Registry& registry = TheRegistry();
    const std::lock_guard lock(registry.mutex);
    registry.queues[CurrentThread()] = this_queue;
    return S_OK;
}

void LeaveApartment() {
    if (apartment_depth == 0 || --apartment_depth > 0) return;
    {
        Registry& registry = TheRegistry();
        const std::lock_guard lock(registry.mutex);
        registry.queues.erase(CurrentThread());
    }
    this_queue->End();
    for (const auto& weak : this_queue->TakeEndActions()) {
        if (const auto action = weak.lock()) (*action)();
    }
    this_queue.reset();
}

ThreadId CurrentThread() {
    if (this_thread == 0) this_thread = last_thread_id.fetch_add(1) + 1;
    return this_thread;
}

bool PostThreadMessage(ThreadId thread,
                       std::uint32_t id,
                       std::uint64_t wparam,
                       std::int64_t lparam) {
    std::shared_ptr<MessageQueue> queue;
    {
        Registry& registry = TheRegistry();
        const std::lock_guard lock(registry.mutex);
        const auto found = registry.queues.find(thread);
        if (found == registry.queues.end()) return false;
        queue = found->second;
    }
    return queue->Post({.window = 0, .id = id, .wparam = wparam, .lparam = lparam});
}

bool GetMessage(Message* message) {
    if (!this_queue) return false;
    *message = this_queue->Get();
    return message->window != 0 || message->id != kMessageQuit;
}

bool PeekMessage(Message* message, bool remove) {
    return this_queue && this_queue->Peek(message, remove);
}

void DispatchMessage(const Message& message) {
    if (message.window == kCallWindow && message.call) message.call->Run();
}

bool PumpMessages() {
    Message message;
    while (PeekMessage(&message, false)) {
        PeekMessage(&message, true);
        if (message.window == 0 && message.id == kMessageQuit) return true;
        DispatchMessage(message);
    }
    return false;
}

int MessageDescriptor() { return this_queue ? this_queue->descriptor() : -1; }

bool WaitForMessage(std::uint32_t timeout_ms) {
    return this_queue && this_queue->WaitUntil(timeout_ms, [] { return false; });
}

}  // namespace torval

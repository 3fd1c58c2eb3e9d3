#include "torval/apartment.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <map>
#include <utility>

#include "platform/boundary.h"
#include "platform/message_queue.h"
#include "platform/race_points.h"

namespace torval {

namespace {

/// Queues by thread, for posting.
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

std::uint64_t WindowCall::Begin() {
    const std::lock_guard lock(mutex_);
    state_ = State::Pending;
    return ++number_;
}

void WindowCall::Run(std::uint64_t number) {
    {
        const std::lock_guard lock(mutex_);
        if (state_ != State::Pending || number != number_) return;
        state_ = State::Running;
    }
    const HRESULT result = Work();
    const std::lock_guard lock(mutex_);
    if (state_ != State::Running) return;
    state_ = State::Done;
    result_ = result;
    changed_.notify_all();
}

void WindowCall::Fail(HRESULT result) {
    const std::lock_guard lock(mutex_);
    // Also while it runs: the callback itself may have ended the channel it was called through.
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

void MessageQueue::ShowPending() {
    const std::uint64_t one = 1;
    if (descriptor_ >= 0) (void)!write(descriptor_, &one, sizeof one);
    changed_.notify_all();
}

bool MessageQueue::Post(Message message) {
    const std::lock_guard lock(mutex_);
    if (ended_) return false;
    messages_.push_back(std::move(message));
    ShowPending();
    return true;
}

void MessageQueue::ReserveCallPlace() {
    const std::lock_guard lock(mutex_);
    // A place that holds a call of an earlier owner comes back only when that is dispatched.
    if (call_places_.size() <= places_wanted_) call_places_.emplace_back();
    ++places_wanted_;
}

void MessageQueue::ReleaseCallPlace() {
    const std::lock_guard lock(mutex_);
    --places_wanted_;
    while (call_places_.size() > places_wanted_) call_places_.pop_front();
}

bool MessageQueue::PostCall(std::shared_ptr<WindowCall> call, std::uint64_t number) {
    const std::lock_guard lock(mutex_);
    if (ended_) return false;
    messages_.splice(messages_.end(), call_places_, call_places_.begin());
    messages_.back() = {
        .window = kCallWindow, .id = kMessageCall, .wparam = number, .call = std::move(call)};
    ShowPending();
    return true;
}

void MessageQueue::PostQuit() {
    const std::lock_guard lock(mutex_);
    if (ended_ || quit_posted_) return;
    quit_posted_ = true;
    ShowPending();
}

Message MessageQueue::TakeFront() {
    Message message = {.id = kMessageQuit};
    if (messages_.empty()) {
        quit_posted_ = false;
    } else {
        message = std::move(messages_.front());
        if (message.id == kMessageCall && call_places_.size() < places_wanted_) {
            messages_.front() = {};
            call_places_.splice(call_places_.end(), messages_, messages_.begin());
        } else {
            messages_.pop_front();
        }
    }
    std::uint64_t count = 0;
    // The descriptor stays readable exactly as long as messages are pending.
    if (IsEmpty() && descriptor_ >= 0) (void)!read(descriptor_, &count, sizeof count);
    return message;
}

Message MessageQueue::Get() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !IsEmpty(); });
    return TakeFront();
}

bool MessageQueue::Peek(Message* message, bool remove) {
    Message front = {.id = kMessageQuit};
    {
        const std::lock_guard lock(mutex_);
        if (IsEmpty()) return false;
        if (remove) {
            front = TakeFront();
        } else if (!messages_.empty()) {
            front = messages_.front();
        }
    }
    // Without the lock: the caller's record may have held a call's last reference, whose end locks.
    *message = std::move(front);
    return true;
}

bool MessageQueue::WaitUntil(std::uint32_t timeout_ms, const std::function<bool()>& stop) {
    AtRacePoint(RacePoint::WaitBegins);
    std::unique_lock lock(mutex_);
    return changed_.wait_for(
        lock, std::chrono::milliseconds(timeout_ms), [&] { return !IsEmpty() || stop(); });
}

void MessageQueue::Wake() {
    const std::lock_guard lock(mutex_);
    changed_.notify_all();
}

void MessageQueue::End() {
    std::list<Message> left;
    {
        const std::lock_guard lock(mutex_);
        ended_ = true;
        left.swap(messages_);
    }
    for (const Message& message : left) {
        if (message.call) message.call->Fail(RPC_E_DISCONNECTED);
    }
}

void MessageQueue::AtEnd(std::weak_ptr<WindowCall> guest) {
    const std::lock_guard lock(mutex_);
    std::erase_if(guests_, [](const auto& earlier) { return earlier.expired(); });
    guests_.push_back(std::move(guest));
}

std::vector<std::weak_ptr<WindowCall>> MessageQueue::TakeGuests() {
    const std::lock_guard lock(mutex_);
    return std::exchange(guests_, {});
}

std::shared_ptr<MessageQueue> CurrentQueue() { return this_queue; }

HRESULT EnterApartment() {
    return AtBoundary([] {
        if (apartment_depth == 0) {
            auto queue = std::make_shared<MessageQueue>();
            Registry& registry = TheRegistry();
            const std::lock_guard lock(registry.mutex);
            registry.queues[CurrentThread()] = queue;
            this_queue = std::move(queue);
        }
        return apartment_depth++ == 0 ? S_OK : S_FALSE;
    });
}

void LeaveApartment() {
    if (apartment_depth == 0 || --apartment_depth > 0) return;
    {
        Registry& registry = TheRegistry();
        const std::lock_guard lock(registry.mutex);
        registry.queues.erase(CurrentThread());
    }
    this_queue->End();
    for (const auto& weak : this_queue->TakeGuests()) {
        if (const auto guest = weak.lock()) guest->OnApartmentEnd();
    }
    this_queue.reset();
}

ThreadId CurrentThread() {
    if (this_thread == 0) this_thread = last_thread_id.fetch_add(1) + 1;
    return this_thread;
}

std::shared_ptr<MessageQueue> QueueOf(ThreadId thread) {
    Registry& registry = TheRegistry();
    const std::lock_guard lock(registry.mutex);
    const auto found = registry.queues.find(thread);
    return found == registry.queues.end() ? nullptr : found->second;
}

bool PostThreadMessage(ThreadId thread,
                       std::uint32_t id,
                       std::uint64_t wparam,
                       std::int64_t lparam) {
    const HRESULT posted = AtBoundary([&] {
        const std::shared_ptr<MessageQueue> queue = QueueOf(thread);
        return queue && queue->Post({.id = id, .wparam = wparam, .lparam = lparam}) ? S_OK : E_FAIL;
    });
    return posted == S_OK;
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
    if (message.window == kCallWindow && message.call) message.call->Run(message.wparam);
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

#include "platform/thread.h"

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <new>
#include <system_error>
#include <thread>

#include "platform/debug_log.h"
#include "platform/race_points.h"

namespace torval {

namespace {

/// The system's number of a thread, which its niceness is set by.
using SystemThread = long;

SystemThread OwnSystemThread() { return syscall(SYS_gettid); }

/// Whether a priority that was lowered can be raised again. Where it cannot, it stays as it is,
/// so that no thread remains slow for good.
bool MayRaise() {
    constexpr rlim_t kNormalNiceness = 20;
    rlimit limit{};
    return geteuid() == 0 ||
           (getrlimit(RLIMIT_NICE, &limit) == 0 && limit.rlim_cur >= kNormalNiceness);
}

void SetNiceness(SystemThread thread, Priority priority) {
    constexpr int kPerStep = 5;
    static const bool may_raise = MayRaise();
    if (!may_raise) {
        DebugLogOnce("thread priorities stay as they are: they could not be raised again");
        return;
    }
    // Relative to the niceness the process was started with, so that a lower priority is kept.
    static const int normal = getpriority(PRIO_PROCESS, 0);
    const int niceness = normal - static_cast<int>(priority) * kPerStep;
    if (setpriority(PRIO_PROCESS, static_cast<id_t>(thread), niceness) != 0) {
        DebugLogOnce("the system does not let this process change thread priorities");
    }
}

}  // namespace

struct Thread::Shared {
    std::mutex mutex;
    std::condition_variable changed;
    ThreadId id = 0;
    SystemThread system_thread = 0;
    std::shared_ptr<MessageQueue> queue;
    bool failed = false;  ///< there was not enough memory for its apartment
    bool ended = false;
    std::shared_ptr<MessageQueue> waiter;  ///< whose thread waits for the end
};

bool Thread::Create(std::function<void()> procedure) {
    Close();
    std::shared_ptr<Shared> shared;
    try {
        shared = std::make_shared<Shared>();
        std::thread([shared, run = std::move(procedure)]() mutable {
            const bool entered = !Failed(EnterApartment());
            {
                const std::lock_guard lock(shared->mutex);
                shared->id = CurrentThread();
                shared->system_thread = OwnSystemThread();
                shared->queue = CurrentQueue();
                shared->failed = !entered;
            }
            shared->changed.notify_all();
            if (!entered) return;
            run();
            // What the procedure holds is destroyed with the thread, not after it.
            run = nullptr;
            LeaveApartment();
            std::shared_ptr<MessageQueue> waiter;
            {
                const std::lock_guard lock(shared->mutex);
                shared->ended = true;
                waiter = shared->waiter;
            }
            if (waiter) waiter->Wake();
            shared->changed.notify_all();
            AtRacePoint(RacePoint::ThreadEnded);
        }).detach();
    } catch (const std::system_error&) {
        return false;
    } catch (const std::bad_alloc&) {
        return false;
    }
    std::unique_lock lock(shared->mutex);
    shared->changed.wait(lock, [&] { return shared->id != 0; });
    if (shared->failed) return false;
    shared_ = shared;
    return true;
}

void Thread::Close() { shared_.reset(); }

ThreadId Thread::id() const { return shared_ ? shared_->id : 0; }

void Thread::PostQuit() const {
    if (shared_) shared_->queue->PostQuit();
}

bool Thread::HasEnded() const {
    if (!shared_) return true;
    const std::lock_guard lock(shared_->mutex);
    return shared_->ended;
}

void Thread::SetPriority(Priority priority) const {
    if (shared_ && !HasEnded()) SetNiceness(shared_->system_thread, priority);
}

WaitResult Thread::WaitForEndOrInput(std::uint32_t timeout_ms) const {
    if (!shared_) return WaitResult::Ended;
    const std::shared_ptr<MessageQueue> queue = CurrentQueue();
    if (!queue) {
        std::unique_lock lock(shared_->mutex);
        const bool ended = shared_->changed.wait_for(
            lock, std::chrono::milliseconds(timeout_ms), [this] { return shared_->ended; });
        return ended ? WaitResult::Ended : WaitResult::TimeOut;
    }
    {
        const std::lock_guard lock(shared_->mutex);
        shared_->waiter = queue;
    }
    const bool woken = queue->WaitUntil(timeout_ms, [this] { return HasEnded(); });
    const std::lock_guard lock(shared_->mutex);
    shared_->waiter.reset();
    if (shared_->ended) return WaitResult::Ended;
    return woken ? WaitResult::Input : WaitResult::TimeOut;
}

void SetOwnPriority(Priority priority) { SetNiceness(OwnSystemThread(), priority); }

}  // namespace torval

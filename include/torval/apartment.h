// Apartments: the thread an object lives on, and the queue through which others reach it.
//
// A thread that creates or is handed objects enters an apartment and leaves it when it is done. The
// apartment has a queue of messages. A message is either posted to the thread itself, for its
// message loop to act on, or addressed to a window, to be handed to DispatchMessage. Calls from
// other threads to an object of this apartment are of the second kind: the caller waits until this
// thread dispatches, and the call then runs here. A host that never dispatches keeps its callers
// waiting; a call to an apartment that has ended fails at once with RPC_E_DISCONNECTED.
//
// A host that waits for other things too calls MessageDescriptor for a file descriptor that is
// readable while messages are pending, and polls it along with its own.
//
// Thread   PostThreadMessage may be called from any thread; the rest acts on the calling thread.
// Errors   a thread without an apartment receives no messages: Peek and Get return false.
#pragma once

#include <cstdint>
#include <memory>

#include "torval/base.h"

namespace torval {

class WindowCall;

using ThreadId = std::uint64_t;  ///< 0 names no thread

struct Message {
    std::uint32_t window = 0;  ///< 0: to the thread itself
    std::uint32_t id = 0;
    std::uint64_t wparam = 0;
    std::int64_t lparam = 0;
    std::shared_ptr<WindowCall> call = nullptr;  ///< what DispatchMessage runs
};

inline constexpr std::uint32_t kMessageQuit = 18;
inline constexpr std::uint32_t kMessageTimer = 275;

/// Gives the thread a queue; calls nest, each is matched by a LeaveApartment. S_FALSE: it already
/// had one. E_OUTOFMEMORY: it was given none.
TORVAL_API HRESULT EnterApartment();
/// Ends the queue: calls that wait for this thread fail, objects it lent to others are released.
TORVAL_API void LeaveApartment();

TORVAL_API ThreadId CurrentThread();

/// False: the thread has no apartment (any more), or there is no memory for the message.
TORVAL_API bool PostThreadMessage(ThreadId thread,
                                  std::uint32_t id,
                                  std::uint64_t wparam,
                                  std::int64_t lparam);

/// Takes the next message, waiting for one. False on the quit message, which is taken.
TORVAL_API bool GetMessage(Message* message);

/// The next message if there is one; removed from the queue only on request.
TORVAL_API bool PeekMessage(Message* message, bool remove);

/// Runs what a window-addressed message carries. Messages to the thread itself are ignored.
TORVAL_API void DispatchMessage(const Message& message);

/// Takes every pending message, dispatches the window-addressed ones and drops the others; true as
/// soon as it has taken a quit message.
TORVAL_API bool PumpMessages();

/// Readable while messages are pending; -1 without an apartment. Do not read from it.
TORVAL_API int MessageDescriptor();

/// Waits for a message. False when the time runs out first.
TORVAL_API bool WaitForMessage(std::uint32_t timeout_ms);

}  // namespace torval

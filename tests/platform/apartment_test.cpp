#include "torval/apartment.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "platform/message_queue.h"

namespace torval {
namespace {

/// Only a test that hangs waits that long.
constexpr std::uint32_t kLimitMs = 30000;

constexpr std::uint32_t kFirstId = 2000;

bool IsReadable(int descriptor) {
    pollfd entry = {.fd = descriptor, .events = POLLIN, .revents = 0};
    return poll(&entry, 1, 0) == 1 && (entry.revents & POLLIN) != 0;
}

bool PostHere(std::uint32_t id) { return PostThreadMessage(CurrentThread(), id, 0, 0); }

class FunctionCall final : public WindowCall {
public:
    explicit FunctionCall(std::function<HRESULT()> work) : work_(std::move(work)) {}

private:
    HRESULT Work() override { return work_(); }

    std::function<HRESULT()> work_;
};

/// Puts a call into the calling thread's queue.
std::shared_ptr<WindowCall> PostCall(std::function<HRESULT()> work) {
    auto call = std::make_shared<FunctionCall>(std::move(work));
    const std::uint64_t number = call->Begin();
    EXPECT_TRUE(CurrentQueue()->Post(
        {.window = kCallWindow, .id = kMessageCall, .wparam = number, .call = call}));
    return call;
}

class ApartmentTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(EnterApartment(), S_OK); }
    void TearDown() override { LeaveApartment(); }
};

TEST_F(ApartmentTest, HandsOutMessagesInTheirOrder) {
    for (std::uint32_t i = 0; i < 3; ++i) {
        ASSERT_TRUE(PostThreadMessage(CurrentThread(), kFirstId + i, i + 5, -7 - std::int64_t{i}));
    }
    Message message;
    ASSERT_TRUE(PeekMessage(&message, false));
    EXPECT_EQ(message.id, kFirstId) << "looked at and left";
    ASSERT_TRUE(PeekMessage(&message, true));
    EXPECT_EQ(message.id, kFirstId);
    for (std::uint32_t i = 1; i < 3; ++i) {
        ASSERT_TRUE(GetMessage(&message));
        EXPECT_EQ(message.window, 0U);
        EXPECT_EQ(message.id, kFirstId + i);
        EXPECT_EQ(message.wparam, i + 5);
        EXPECT_EQ(message.lparam, -7 - std::int64_t{i});
    }
    EXPECT_FALSE(PeekMessage(&message, true));
}

TEST_F(ApartmentTest, EndsALoopWithTheQuitMessage) {
    PostHere(kFirstId);
    PostHere(kMessageQuit);
    PostHere(kFirstId + 1);
    Message message;
    EXPECT_TRUE(GetMessage(&message));
    EXPECT_FALSE(GetMessage(&message));
    EXPECT_TRUE(GetMessage(&message)) << "it is taken, and what follows is there";
    EXPECT_EQ(message.id, kFirstId + 1);
    // A call whose number is that of the quit message ends nothing.
    ASSERT_TRUE(CurrentQueue()->Post({.window = kCallWindow, .id = kMessageQuit}));
    EXPECT_TRUE(GetMessage(&message));
}

TEST_F(ApartmentTest, HasADescriptorThatIsReadableExactlyWhileMessagesPend) {
    const int descriptor = MessageDescriptor();
    ASSERT_GE(descriptor, 0);
    EXPECT_FALSE(IsReadable(descriptor));
    Message message;
    for (int round = 0; round < 3; ++round) {
        for (int count = 1; count <= 3; ++count) {
            PostHere(kFirstId);
            EXPECT_TRUE(IsReadable(descriptor));
        }
        for (int left = 3; left > 0; --left) {
            EXPECT_TRUE(PeekMessage(&message, false));
            EXPECT_TRUE(IsReadable(descriptor)) << "peeking takes nothing";
            EXPECT_TRUE(GetMessage(&message));
            EXPECT_EQ(IsReadable(descriptor), left > 1);
        }
    }
    PostCall([] { return S_OK; });
    EXPECT_TRUE(IsReadable(descriptor));
    EXPECT_FALSE(PumpMessages());
    EXPECT_FALSE(IsReadable(descriptor));
    CurrentQueue()->Wake();
    EXPECT_FALSE(IsReadable(descriptor)) << "a wake-up is no message";
}

TEST_F(ApartmentTest, RunsCallsOnlyWhenTheyAreDispatched) {
    int runs = 0;
    const auto call = PostCall([&] { return ++runs; });
    Message message;
    ASSERT_TRUE(GetMessage(&message));
    EXPECT_EQ(runs, 0);
    DispatchMessage(message);
    EXPECT_EQ(runs, 1);
    DispatchMessage(message);
    EXPECT_EQ(runs, 1) << "a call runs once";
    EXPECT_EQ(call->Wait(), 1);
    PostHere(kFirstId);
    ASSERT_TRUE(GetMessage(&message));
    DispatchMessage(message);
}

TEST_F(ApartmentTest, PumpsUpToAQuitMessage) {
    std::vector<int> runs;
    const auto post = [&](int number) {
        PostCall([&runs, number] {
            runs.push_back(number);
            return S_OK;
        });
    };
    post(1);
    post(2);
    PostHere(kMessageQuit);
    post(3);
    EXPECT_TRUE(PumpMessages());
    EXPECT_EQ(runs, (std::vector<int>{1, 2}));
    EXPECT_FALSE(PumpMessages());
    EXPECT_EQ(runs, (std::vector<int>{1, 2, 3}));
}

TEST_F(ApartmentTest, IsWokenByOtherThreads) {
    const ThreadId here = CurrentThread();
    std::thread other([here] { EXPECT_TRUE(PostThreadMessage(here, kFirstId, 0, 0)); });
    EXPECT_TRUE(WaitForMessage(kLimitMs));
    Message message;
    EXPECT_TRUE(GetMessage(&message));
    EXPECT_EQ(message.id, kFirstId);
    other.join();
    EXPECT_FALSE(WaitForMessage(0)) << "there was one";
}

TEST_F(ApartmentTest, KeepsTheOrderOfEachOfManyThreads) {
    constexpr std::uint32_t kThreads = 4;
    constexpr std::int64_t kEach = 500;
    const ThreadId here = CurrentThread();
    std::vector<std::thread> threads;
    for (std::uint32_t number = 0; number < kThreads; ++number) {
        threads.emplace_back([=] {
            for (std::int64_t i = 0; i < kEach; ++i) {
                EXPECT_TRUE(PostThreadMessage(here, kFirstId + number, 0, i));
            }
        });
    }
    std::vector<std::int64_t> next(kThreads, 0);
    for (std::int64_t i = 0; i < kThreads * kEach; ++i) {
        ASSERT_TRUE(WaitForMessage(kLimitMs));
        Message message;
        ASSERT_TRUE(GetMessage(&message));
        EXPECT_EQ(message.lparam, next[message.id - kFirstId]++);
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_FALSE(IsReadable(MessageDescriptor()));
}

TEST_F(ApartmentTest, NestsAndEndsWithTheOutermost) {
    EXPECT_EQ(EnterApartment(), S_FALSE);
    PostHere(kFirstId);
    LeaveApartment();
    Message message;
    EXPECT_TRUE(PeekMessage(&message, true)) << "still there";
    LeaveApartment();
    EXPECT_FALSE(PostHere(kFirstId));
    LeaveApartment();  // without effect
    ASSERT_EQ(EnterApartment(), S_OK);
    EXPECT_FALSE(PeekMessage(&message, true)) << "a new queue";
    EXPECT_TRUE(PostHere(kFirstId));
}

TEST_F(ApartmentTest, FailsTheCallsLeftInItWhenItEnds) {
    bool has_run = false;
    const auto call = PostCall([&] {
        has_run = true;
        return S_OK;
    });
    const auto queue = CurrentQueue();
    LeaveApartment();
    EXPECT_EQ(call->Wait(), RPC_E_DISCONNECTED);
    call->Run(1);
    EXPECT_FALSE(has_run);
    EXPECT_FALSE(queue->Post({.id = kFirstId})) << "also for those who still hold the queue";
}

TEST(NoApartment, HasNoMessages) {
    std::thread([] {
        Message message;
        EXPECT_FALSE(PeekMessage(&message, true));
        EXPECT_FALSE(GetMessage(&message));
        EXPECT_FALSE(PumpMessages());
        EXPECT_FALSE(WaitForMessage(0));
        EXPECT_EQ(MessageDescriptor(), -1);
        EXPECT_FALSE(PostHere(kFirstId));
        LeaveApartment();
        EXPECT_EQ(EnterApartment(), S_OK) << "leaving too often is no debt";
        LeaveApartment();
    }).join();
    EXPECT_FALSE(PostThreadMessage(0, kFirstId, 0, 0));
}

TEST(CurrentThread, IsDifferentForEveryThread) {
    const ThreadId here = CurrentThread();
    EXPECT_NE(here, 0U);
    EXPECT_EQ(CurrentThread(), here);
    std::thread([here] {
        EXPECT_NE(CurrentThread(), here);
        EXPECT_NE(CurrentThread(), 0U);
    }).join();
}

}  // namespace
}  // namespace torval

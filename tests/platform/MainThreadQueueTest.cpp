#include "platform/MainThreadQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace cutstack {
namespace {

using namespace std::chrono_literals;

constexpr auto kAsLongAsItTakes = std::chrono::milliseconds::max();

TEST(MainThreadQueue, RunsWorkOfOtherThreadsInOrderOnTheMainThread) {
    MainThreadQueue& queue = mainThreadQueue();
    EXPECT_TRUE(queue.isMainThread());
    EXPECT_FALSE(queue.runPending(0ms));

    std::vector<int> order;
    bool isMain = true;
    bool waited = false;
    std::thread other([&] {
        isMain = queue.isMainThread();
        queue.perform([&] { order.push_back(1); });
        queue.performAndWait([&] {
            EXPECT_TRUE(queue.isMainThread());
            order.push_back(2);
        });
        waited = order == std::vector{1, 2};
    });
    EXPECT_TRUE(queue.runPending(kAsLongAsItTakes));
    EXPECT_TRUE(queue.runPending(kAsLongAsItTakes));
    other.join();
    EXPECT_FALSE(isMain);
    EXPECT_TRUE(waited);
    EXPECT_FALSE(queue.runPending(0ms));
}

TEST(MainThreadQueue, TheMainThreadDoesNotWaitForItself) {
    MainThreadQueue& queue = mainThreadQueue();
    std::vector<int> order;
    queue.perform([&] {
        order.push_back(1);
        queue.perform([&] { order.push_back(3); });
    });
    queue.performAndWait([&] { order.push_back(0); });
    EXPECT_EQ(order, std::vector{0});
    runWaitingWork(); // not what it adds
    EXPECT_EQ(order, (std::vector{0, 1}));
    runWaitingWork();
    EXPECT_EQ(order, (std::vector{0, 1, 3}));
}

TEST(MainThreadQueue, AnAttachedEventLoopIsWokenAndHandlesEvents) {
    MainThreadQueue& queue = mainThreadQueue();
    std::atomic<int> timesWoken = 0;
    std::vector<std::chrono::milliseconds> waits;
    std::vector<bool> events = {true, false, false};
    std::vector<int> order;
    queue.perform([&] { order.push_back(1); });
    attachEventLoop({[&] { ++timesWoken; },
                     [&](std::chrono::milliseconds wait) {
                         waits.push_back(wait);
                         const bool isEvent = events.front();
                         events.erase(events.begin());
                         if (events.size() == 1) // work comes while the loop waits in vain
                             queue.perform([&] { order.push_back(2); });
                         return isEvent;
                     }});
    EXPECT_EQ(timesWoken, 1); // for what waited already
    EXPECT_TRUE(queue.runPending(5ms));
    EXPECT_EQ(order, std::vector{1});
    EXPECT_TRUE(queue.runPending(6ms)); // an event
    EXPECT_TRUE(queue.runPending(7ms)); // none, but work
    EXPECT_EQ(order, (std::vector{1, 2}));
    EXPECT_FALSE(queue.runPending(8ms));
    EXPECT_EQ(waits, (std::vector<std::chrono::milliseconds>{6ms, 7ms, 8ms}));
    EXPECT_EQ(timesWoken, 2);

    attachEventLoop({});
    queue.perform([] {});
    EXPECT_EQ(timesWoken, 2);
    EXPECT_TRUE(queue.runPending(0ms));
}

TEST(MainThreadQueue, AThreadThatWaitsInVainLetsTheProcessEnd) {
    const auto endWithAWaitingThread = [] {
        std::atomic<bool> begins = false;
        std::thread([&begins] {
            begins = true;
            begins.notify_one();
            mainThreadQueue().performAndWait([] {});
        }).detach();
        begins.wait(false);
        std::exit(5);
    };
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(endWithAWaitingThread(), testing::ExitedWithCode(5), "");
}

} // namespace
} // namespace cutstack

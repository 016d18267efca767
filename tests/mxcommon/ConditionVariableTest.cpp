#include "mxcommon/ConditionVariable.h"

#include "common/WaitableEvent.h"
#include "mxcommon/Mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <thread>

namespace {

using namespace mxcommon;
using namespace std::chrono_literals;
using zebdiscovery::WaitableEvent;

TEST(AConditionVariable, WakesOneWaiterForEachSignal) {
    Mutex mutex;
    ConditionVariable condition;
    int tickets = 0;
    int served = 0;
    const auto waiter = [&] {
        MutexLock lock(mutex);
        while (tickets == 0) {
            condition.wait(lock);
        }
        --tickets;
        ++served;
    };

    std::thread first(waiter);
    std::thread second(waiter);
    for (int i = 0; i < 2; ++i) {
        MutexLock lock(mutex);
        ++tickets;
        condition.signal();
    }
    first.join();
    second.join();

    EXPECT_EQ(served, 2);
}

TEST(ATimedWait, IsTrueWhenWoken) {
    Mutex mutex;
    ConditionVariable condition;
    bool ready = false;
    bool woken = true;
    std::thread signaller;
    {
        MutexLock lock(mutex);
        // Can't signal before the wait gives the mutex up.
        signaller = std::thread([&] {
            MutexLock inner(mutex);
            ready = true;
            condition.signal();
        });
        while (!ready && woken) {
            woken = condition.timedWait(lock, 1h);
        }
    }
    signaller.join();

    EXPECT_TRUE(woken);
}

TEST(ATimedWait, IsFalseNotBeforeItsTimeHasRunOut) {
    Mutex mutex;
    ConditionVariable condition;
    MutexLock lock(mutex);

    const auto start = std::chrono::steady_clock::now();
    while (condition.timedWait(lock, 20ms)) {
    }

    EXPECT_GE(std::chrono::steady_clock::now() - start, 20ms);
}

TEST(ATimedWait, ReturnsAtOnceWithoutUnlockingWhenThereIsNoTime) {
    Mutex mutex;
    ConditionVariable condition;
    MutexLock lock(mutex);

    for (const Clock::rep none : {Clock::rep{0}, Clock::rep{-1}, Clock::rep{LLONG_MIN}}) {
        EXPECT_FALSE(condition.timedWait(lock, Clock::duration(none)));
    }
}

TEST(TheClock, CountsMillisecondsOfTheMonotonicClock) {
    timespec before{};
    timespec after{};
    const auto milliseconds = [](const timespec& t) {
        return std::int64_t{t.tv_sec} * 1000 + t.tv_nsec / 1'000'000;
    };

    clock_gettime(CLOCK_MONOTONIC, &before);
    const Clock::time_point now = Clock::now();
    clock_gettime(CLOCK_MONOTONIC, &after);

    EXPECT_GE(now.time_since_epoch().count(), milliseconds(before));
    EXPECT_LE(now.time_since_epoch().count(), milliseconds(after));
}

TEST(AnAutoResetEvent, IsClearAfterOneWaitHoweverOftenItWasSet) {
    WaitableEvent event(false, false);
    event.set();
    event.set();

    event.wait();

    EXPECT_FALSE(event.timedWait(0));
}

TEST(AnAutoResetEvent, IsClearAfterASuccessfulTimedWait) {
    WaitableEvent event(false, true);

    EXPECT_TRUE(event.timedWait(0));
    EXPECT_FALSE(event.timedWait(0));
}

TEST(AManualResetEvent, StaysSetUntilItIsReset) {
    WaitableEvent event(true, false);
    event.set();

    event.wait();
    EXPECT_TRUE(event.timedWait(0));
    EXPECT_TRUE(event.timedWait(INT_MIN));
    event.reset();
    EXPECT_FALSE(event.timedWait(0));
}

TEST(AWaitableEvent, StartsAsItIsTold) {
    EXPECT_TRUE(WaitableEvent(true, true).timedWait(0));
    EXPECT_FALSE(WaitableEvent(true, false).timedWait(0));
}

TEST(AWaitableEvent, LeavesTheFlagAsItWasWhenTheTimeRunsOut) {
    WaitableEvent event(false, false);

    // Only a spurious wake-up could end it earlier, and say true.
    while (event.timedWait(5)) {
    }
    event.set();

    EXPECT_TRUE(event.timedWait(0));
}

TEST(AWaitableEvent, WakesAThreadThatWaits) {
    WaitableEvent event(true, false);
    std::atomic<bool> set = false;
    std::thread waiter([&] {
        while (!set) {
            event.wait();
        }
    });

    set = true;
    event.set();
    waiter.join();

    EXPECT_TRUE(event.timedWait(INT_MAX));
}

} // namespace

// What depends on the time, under a clock turned by hand.
#include "tests/mxcommon/SystemFaults.h"

#include "common/WaitableEvent.h"
#include "mxcommon/Clock.h"
#include "mxcommon/ConditionVariable.h"
#include "mxcommon/Mutex.h"
#include "mxcommon/OStreamLogHandler.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <limits>
#include <sstream>
#include <thread>

namespace {

using namespace mxcommon;
using namespace faults;
using namespace std::chrono_literals;

void setTime(std::int64_t milliseconds) {
    state().hasTime = true;
    state().time.tv_sec = static_cast<time_t>(milliseconds / 1000);
    state().time.tv_nsec = static_cast<long>(milliseconds % 1000 * 1'000'000);
}

struct Deadline {
    long nanoseconds;
    Clock::rep timeout;
    std::int64_t expectedSeconds;
    long expectedNanoseconds;
};

constexpr Deadline kDeadlines[] = {
    {900'000'000, 1500, 102, 400'000'000},
    {900'000'000, 99, 100, 999'000'000},
    {900'000'000, 100, 101, 0},
    {0, 1, 100, 1'000'000},
    {0, 1000, 101, 0},
    {999'999'999, 999, 101, 998'999'999},
    {999'999'999, 2999, 103, 998'999'999},
    {1, INT_MAX, 100 + 2'147'483, 647'000'001},
};

/** The deadline of a wait that starts 100 s and so many ns after the clock's beginning. */
timespec deadlineOf(const Deadline& row, bool monotonic) {
    Mutex mutex;
    std::unique_ptr<ConditionVariable> pCondition;
    {
        const Failing failing(kPthreadCondattrSetclock, monotonic ? 0 : EINVAL);
        pCondition = std::make_unique<ConditionVariable>();
    }
    MutexLock lock(mutex);
    const Failing failing(kPthreadCondTimedwait, ETIMEDOUT);
    state().hasTime = true;
    state().time = {100, row.nanoseconds};
    pCondition->timedWait(lock, Clock::duration(row.timeout));
    return state().deadline;
}

TEST(ADeadline, CarriesNanosecondsIntoTheSeconds) {
    for (const Deadline& row : kDeadlines) {
        const timespec deadline = deadlineOf(row, true);

        EXPECT_EQ(deadline.tv_sec, row.expectedSeconds) << row.timeout;
        EXPECT_EQ(deadline.tv_nsec, row.expectedNanoseconds) << row.timeout;
    }
}

TEST(ADeadline, OnTheWallClockHasItsMicroseconds) {
    for (const Deadline& row : kDeadlines) {
        const timespec deadline = deadlineOf(row, false);

        const Deadline whole{row.nanoseconds / 1000 * 1000, row.timeout, 0, 0};
        const timespec expected = deadlineOf(whole, true);
        EXPECT_EQ(deadline.tv_sec, expected.tv_sec) << row.timeout;
        EXPECT_EQ(deadline.tv_nsec, expected.tv_nsec) << row.timeout;
    }
}

TEST(ADeadline, BeyondTheLastSecondIsTheLastSecond) {
    const std::int64_t seconds = 100 + LLONG_MAX / 1000;
    const std::int64_t last = std::numeric_limits<time_t>::max();

    const timespec deadline = deadlineOf({0, LLONG_MAX, 0, 0}, true);

    EXPECT_EQ(deadline.tv_sec, std::min(seconds, last));
    EXPECT_EQ(deadline.tv_nsec, LLONG_MAX % 1000 * 1'000'000);
}

TEST(ATimedWait, ReadsNoClockWhenThereIsNoTime) {
    Mutex mutex;
    ConditionVariable condition;
    MutexLock lock(mutex);
    int reads = 0;
    int waits = 0;
    {
        const Failing nothing(kClockGettime, 0);
        condition.timedWait(lock, 0ms);
        condition.timedWait(lock, -1ms);
        reads = state().count[kClockGettime] + state().count[kGettimeofday];
        waits = state().count[kPthreadCondTimedwait];
    }

    EXPECT_EQ(reads, 0);
    EXPECT_EQ(waits, 0);
}

/** A condition variable made where the monotonic clock can't be used or read. */
class AWallClockConditionVariable : public testing::TestWithParam<Call> {
protected:
    AWallClockConditionVariable() {
        const Failing failing(GetParam(), EINVAL);
        mpCondition = std::make_unique<ConditionVariable>();
        mCalls = calls();
    }

    Mutex mMutex;
    std::unique_ptr<ConditionVariable> mpCondition;
    std::vector<std::string> mCalls;
};

TEST_P(AWallClockConditionVariable, IsMadeWithoutAttributes) {
    std::vector<std::string> expected{"pthread_condattr_init", "pthread_condattr_setclock monotonic"};
    if (GetParam() == kClockGettime) {
        expected.emplace_back("clock_gettime monotonic");
    }
    expected.emplace_back("pthread_cond_init without attributes");

    EXPECT_EQ(mCalls, expected);
}

TEST_P(AWallClockConditionVariable, WaitsItsTime) {
    MutexLock lock(mMutex);
    int wallReads = 0;
    const auto start = std::chrono::system_clock::now();
    {
        const Failing noMonotonicClock(kClockGettime, EINVAL);
        while (mpCondition->timedWait(lock, 20ms)) {
        }
        wallReads = state().count[kGettimeofday];
    }

    // By the same clock, of which the wait has only the microseconds.
    EXPECT_GE(std::chrono::system_clock::now() - start, 19ms);
    EXPECT_GE(wallReads, 1);
}

TEST_P(AWallClockConditionVariable, IsWoken) {
    bool ready = false;
    bool woken = true;
    std::thread signaller;
    {
        MutexLock lock(mMutex);
        signaller = std::thread([&] {
            MutexLock inner(mMutex);
            ready = true;
            mpCondition->signal();
        });
        while (!ready && woken) {
            woken = mpCondition->timedWait(lock, 1h);
        }
    }
    signaller.join();

    EXPECT_TRUE(woken);
}

INSTANTIATE_TEST_SUITE_P(WhenACallFails, AWallClockConditionVariable,
                         testing::Values(kPthreadCondattrSetclock, kClockGettime));

TEST(TheClock, FallsBackToTheWallClock) {
    std::int64_t now = 0;
    {
        const Failing failing(kClockGettime, EINVAL);
        setTime(1'234'567);
        now = Clock::now().time_since_epoch().count();
    }

    EXPECT_EQ(now, 1'234'567);
}

TEST(TheClock, CutsToWholeMilliseconds) {
    std::int64_t now = 0;
    {
        const Failing nothing(kClockGettime, 0);
        state().hasTime = true;
        state().time = {3, 4'999'999};
        now = Clock::now().time_since_epoch().count();
    }

    EXPECT_EQ(now, 3004);
}

std::string lineAfter(std::int64_t milliseconds) {
    std::ostringstream output;
    setTime(86'400'000);
    OStreamLogHandler handler(&output);
    setTime(86'400'000 + milliseconds);
    handler.log(10, "Usb", "Ready");
    state() = State();
    return output.str();
}

TEST(ALine, BeginsWithTheTimeSinceItsHandlerWasMade) {
    EXPECT_EQ(lineAfter(0), "[0.000] [Usb] [10] Ready\n");
    EXPECT_EQ(lineAfter(5), "[0.005] [Usb] [10] Ready\n");
    EXPECT_EQ(lineAfter(12'045), "[12.045] [Usb] [10] Ready\n");
    EXPECT_EQ(lineAfter(61'234), "[61.234] [Usb] [10] Ready\n");
    EXPECT_EQ(lineAfter(37'230'999), "[37230.999] [Usb] [10] Ready\n");
}

TEST(ALine, HasNoNegativeTimeWhenTheClockStepsBack) {
    EXPECT_EQ(lineAfter(-1'500), "[0.000] [Usb] [10] Ready\n");
}

TEST(ALine, IsFlushed) {
    class CountingBuffer : public std::stringbuf {
    public:
        int syncs = 0;

    private:
        int sync() override { return ++syncs, 0; }
    } buffer;
    std::ostream output(&buffer);
    OStreamLogHandler handler(&output);

    handler.log(30, "Usb", "Ready");

    EXPECT_EQ(buffer.syncs, 1);
}

} // namespace

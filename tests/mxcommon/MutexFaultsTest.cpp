// Every failing call of mutexes, condition variables and pipes.
#include "tests/mxcommon/SystemFaults.h"

#include "common/DiscoveryException.h"
#include "common/EventFd.h"
#include "common/WaitableEvent.h"
#include "mxcommon/ConditionVariable.h"
#include "mxcommon/Exceptions.h"
#include "mxcommon/Mutex.h"
#include "tests/mxcommon/Thrown.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <functional>

namespace {

using namespace mxcommon;
using namespace faults;
using zebdiscovery::DiscoveryException;
using zebdiscovery::EventFd;
using zebdiscovery::WaitableEvent;

void waitOnAConditionVariable() {
    Mutex mutex;
    ConditionVariable condition;
    MutexLock lock(mutex);
    condition.wait(lock);
}

void waitForAMillisecond() {
    Mutex mutex;
    ConditionVariable condition;
    MutexLock lock(mutex);
    condition.timedWait(lock, Clock::duration(1));
}

struct Row {
    const char* name;
    Call call;
    int error;
    void (*action)();
    Thrown expected;
};

class AFailingCall : public testing::TestWithParam<Row> {};

TEST_P(AFailingCall, IsAnExceptionThatNamesIt) {
    const Row& row = GetParam();
    Thrown thrown;
    {
        const Failing failing(row.call, row.error);
        thrown = thrownBy(row.action);
    }

    EXPECT_EQ(thrown.type, row.expected.type);
    EXPECT_EQ(thrown.text, row.expected.text);
    EXPECT_EQ(thrown.code, row.expected.code);
}

const std::type_index kMutex = typeid(MutexException);
const std::type_index kCondition = typeid(ConditionVariableException);
const std::type_index kDiscovery = typeid(DiscoveryException);

INSTANTIATE_TEST_SUITE_P(
    OfMutexesConditionVariablesAndPipes, AFailingCall,
    testing::Values(
        Row{"MutexInit",
            kPthreadMutexInit,
            ENOMEM,
            [] { Mutex(); },
            {kMutex, "MutexException: pthread_mutex_init failed"}},
        Row{"MutexattrInit",
            kPthreadMutexattrInit,
            ENOMEM,
            [] { Mutex(); },
            {kMutex, "MutexException: pthread_mutexattr_init failed"}},
        Row{"MutexattrSettype",
            kPthreadMutexattrSettype,
            EINVAL,
            [] { Mutex(true); },
            {kMutex, "MutexException: pthread_mutexattr_settype failed"}},
        Row{"RecursiveMutexInit",
            kPthreadMutexInit,
            EAGAIN,
            [] { Mutex(true); },
            {kMutex, "MutexException: pthread_mutex_init failed"}},
        Row{"MutexLock",
            kPthreadMutexLock,
            EDEADLK,
            [] {
                Mutex mutex;
                const MutexLock lock(mutex);
            },
            {kMutex, "MutexException: pthread_mutex_lock failed"}},
        Row{"MutexUnlock",
            kPthreadMutexUnlock,
            EPERM,
            [] { Mutex().unlock(); },
            {kMutex, "MutexException: pthread_mutex_unlock failed"}},
        Row{"ConditionAttributes",
            kPthreadCondattrInit,
            ENOMEM,
            [] { ConditionVariable(); },
            {typeid(std::runtime_error), "pthread_condattr_init failed. Cannot allocate memory"}},
        Row{"ConditionInit",
            kPthreadCondInit,
            EAGAIN,
            [] { ConditionVariable(); },
            {kCondition,
             "ConditionVariableException: pthread_cond_init failed. Resource temporarily unavailable"}},
        Row{"ConditionSignal",
            kPthreadCondSignal,
            EINVAL,
            [] { ConditionVariable().signal(); },
            {kCondition, "ConditionVariableException: pthread_cond_signal failed. Invalid argument"}},
        Row{"ConditionWait",
            kPthreadCondWait,
            EPERM,
            waitOnAConditionVariable,
            {kCondition, "ConditionVariableException: pthread_cond_wait failed. Operation not permitted"}},
        Row{"ConditionTimedWait",
            kPthreadCondTimedwait,
            EPERM,
            waitForAMillisecond,
            {kCondition,
             "ConditionVariableException: pthread_cond_timedwait failed. Operation not permitted"}},
        Row{"Pipe",
            kPipe,
            EMFILE,
            [] { EventFd(); },
            {kDiscovery, "Unable to create the pipe needed by eventFd", EMFILE}},
        Row{"FcntlGet",
            kFcntlGet,
            EINVAL,
            [] { EventFd(); },
            {kDiscovery, "Unable set the read file descriptor to non-blocking for the eventFd", EINVAL}},
        Row{"FcntlSet",
            kFcntlSet,
            EPERM,
            [] { EventFd(); },
            {kDiscovery, "Unable set the read file descriptor to non-blocking for the eventFd", EPERM}}),
    [](const auto& row) { return row.param.name; });

TEST(AFailingClock, StopsATimedWaitOnceItHasBeenMonotonic) {
    Mutex mutex;
    ConditionVariable condition;
    MutexLock lock(mutex);
    Thrown thrown;
    {
        const Failing failing(kClockGettime, EINVAL);
        thrown = thrownBy([&] { condition.timedWait(lock, Clock::duration(1)); });
    }

    EXPECT_EQ(thrown.type, kCondition);
    EXPECT_EQ(thrown.text, "ConditionVariableException: clock_gettime failed. Invalid argument");
}

TEST(AFailingUnlockDeathTest, EndsTheProcessWhenALockDies) {
    const auto unlock = [] {
        Mutex mutex;
        const Failing failing(kPthreadMutexUnlock, EPERM);
        const MutexLock lock(mutex);
    };

    EXPECT_DEATH(unlock(), "MutexException: pthread_mutex_unlock failed");
}

TEST(AFailingConditionInit, ReleasesTheAttributes) {
    int released = 0;
    {
        const Failing failing(kPthreadCondInit, ENOMEM);
        thrownBy([] { ConditionVariable(); });
        released = state().count[kPthreadCondattrDestroy];
    }

    EXPECT_EQ(released, 1);
}

TEST(AFailingConditionInit, DestroysTheMutexOfAnEvent) {
    Thrown thrown;
    int destroyed = 0;
    {
        const Failing failing(kPthreadCondInit, ENOMEM);
        thrown = thrownBy([] { WaitableEvent(false, false); });
        destroyed = state().count[kPthreadMutexDestroy];
    }

    EXPECT_EQ(thrown.type, kCondition);
    EXPECT_EQ(destroyed, 1);
}

TEST(AnEventsMutex, IsUnlockedWhenACallInBetweenFails) {
    WaitableEvent event(false, false);
    struct {
        Call call;
        std::function<void()> action;
    } const rows[] = {{kPthreadCondSignal, [&] { event.set(); }},
                      {kPthreadCondWait, [&] { event.reset(), event.wait(); }},
                      {kPthreadCondTimedwait, [&] { event.timedWait(1); }}};
    for (const auto& row : rows) {
        int locks = 0;
        int unlocks = 0;
        Thrown thrown;
        {
            const Failing failing(row.call, EINVAL);
            thrown = thrownBy(row.action);
            locks = state().count[kPthreadMutexLock];
            unlocks = state().count[kPthreadMutexUnlock];
        }

        EXPECT_EQ(thrown.type, kCondition);
        EXPECT_GE(locks, 1);
        EXPECT_EQ(locks, unlocks);
    }
}

TEST(AnEventsSet, WakesOneWaiter) {
    WaitableEvent event(false, false);
    int signals = 0;
    {
        const Failing nothing(kPthreadCondSignal, 0);
        event.set();
        signals = state().count[kPthreadCondSignal];
    }

    EXPECT_EQ(signals, 1);
}

TEST(AnEventsWait, ReturnsUnsignalledWhenItIsWokenForNoReason) {
    WaitableEvent event(false, false);
    int waits = 0;
    bool woken = false;
    {
        const Failing nothing(kPthreadCondWait, 0);
        state().wakesSpuriously = true;
        event.wait();
        woken = event.timedWait(1);
        waits = state().count[kPthreadCondWait] + state().count[kPthreadCondTimedwait];
    }

    EXPECT_EQ(waits, 2);
    EXPECT_TRUE(woken);
    EXPECT_FALSE(event.timedWait(0));
}

int openDescriptors() {
    int count = 0;
    for (int fd = 0; fd < 256; ++fd) {
        count += ::fcntl(fd, F_GETFD) != -1 ? 1 : 0;
    }
    return count;
}

TEST(APipe, IsClosedAgainWhenItCannotBeMadeNonBlocking) {
    const int before = openDescriptors();

    for (const Call call : {kFcntlGet, kFcntlSet}) {
        const Failing failing(call, EINVAL);
        thrownBy([] { EventFd(); });
    }

    EXPECT_EQ(openDescriptors(), before);
}

} // namespace

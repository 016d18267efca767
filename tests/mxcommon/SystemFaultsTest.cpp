// Every failure of a system call that the runtime support turns into an exception.
#include "tests/mxcommon/SystemFaults.h"

#include "common/DiscoveryException.h"
#include "common/EventFd.h"
#include "common/WaitableEvent.h"
#include "mxcommon/AtThreadExitListener.h"
#include "mxcommon/ConditionVariable.h"
#include "mxcommon/Exceptions.h"
#include "mxcommon/Mutex.h"
#include "mxcommon/Thread.h"
#include "tests/mxcommon/RecordingLogHandler.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <fcntl.h>
#include <future>
#include <thread>
#include <typeindex>

namespace {

using namespace mxcommon;
using namespace faults;
using testing::ElementsAre;
using testing::IsEmpty;
using zebdiscovery::DiscoveryException;
using zebdiscovery::EventFd;
using zebdiscovery::WaitableEvent;

/** An exception's own class, text, and code where it has one. */
struct Thrown {
    std::type_index type = typeid(void);
    std::string text;
    int code = 0;
};

template <class Action>
Thrown thrownBy(Action action) {
    try {
        action();
    } catch (const DiscoveryException& e) {
        return {typeid(e), e.what(), e.error()};
    } catch (const std::exception& e) {
        return {typeid(e), e.what(), 0};
    }
    return {};
}

class IdleThread : public Thread {
public:
    explicit IdleThread(LogHandler* handler) : Thread(handler, "Idle") {}
    /** For subclasses that leave the joining to the base: run() has been entered. */
    void waitUntilRunning() { mRunning.get_future().wait(); }

private:
    void run() override { mRunning.set_value(); }

    std::promise<void> mRunning;
};

class IdleListener : public AtThreadExitListener {
public:
    using AtThreadExitListener::AtThreadExitListener;
    int told = 0;

private:
    void onThreadExit() override { ++told; }
};

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

TEST(AFailingThreadCreation, IsLoggedAndThrownAndMayBeTriedAgain) {
    RecordingLogHandler handler;
    IdleThread thread(&handler);
    Thrown thrown;
    {
        const Failing failing(kPthreadCreate, EAGAIN);
        thrown = thrownBy([&] { thread.start(); });
    }
    const bool isCurrent = thread.isCurrentThread();
    thread.join();
    thread.start();
    thread.join();

    EXPECT_EQ(thrown.type, typeid(ThreadException));
    EXPECT_EQ(thrown.text, "ThreadException: pthread_create failed");
    EXPECT_FALSE(isCurrent);
    EXPECT_THAT(handler.lines(), ElementsAre("10 Thread: Idle: pthread_create failed: return value 11."));
}

TEST(AFailingJoin, IsLoggedAndThrownAndNotTriedAgain) {
    RecordingLogHandler handler;
    IdleThread thread(&handler);
    thread.start();
    Thrown thrown;
    int joins = 0;
    {
        const Failing failing(kPthreadJoin, EINVAL);
        thrown = thrownBy([&] { thread.join(); });
        thread.join();
        joins = state().count[kPthreadJoin];
    }

    EXPECT_EQ(thrown.type, typeid(ThreadException));
    EXPECT_EQ(thrown.text, "ThreadException: pthread_join failed");
    EXPECT_EQ(joins, 1);
    EXPECT_THAT(handler.lines(), ElementsAre("10 Thread: Idle: pthread_join failed: return value 22."));
}

void destroyAThreadWhoseJoinFails(LogHandler* handler) {
    IdleThread thread(handler);
    thread.start();
    thread.waitUntilRunning();
    state().fails[kPthreadJoin] = 1;
    state().error[kPthreadJoin] = EINVAL;
}

TEST(AFailingJoin, IsOnlyLoggedByTheDestructor) {
    RecordingLogHandler handler;
    destroyAThreadWhoseJoinFails(&handler);
    state() = State();

    EXPECT_THAT(handler.lines(), ElementsAre("10 Thread: Idle: pthread_join failed: return value 22.",
                                             "10 Thread: Idle: Suppressed exception in Thread::~Thread: "
                                             "ThreadException: pthread_join failed"));
}

/** Throws from the given line on. */
template <class Exception>
class ThrowingLogHandler : public LogHandler {
public:
    ThrowingLogHandler(int firstLine, Exception exception) : mLeft(firstLine), mException(exception) {}

    void log(int, const char*, const char*) override {
        if (--mLeft <= 0) {
            throw mException;
        }
    }

    int mLeft;
    Exception mException;
};

TEST(AFailingJoin, IsForgottenByTheDestructorWhenTheLogThrowsToo) {
    ThrowingLogHandler<std::runtime_error> standard(1, std::runtime_error("no log"));
    destroyAThreadWhoseJoinFails(&standard);
    ThrowingLogHandler<int> other(2, 5);
    destroyAThreadWhoseJoinFails(&other);
    state() = State();

    EXPECT_EQ(standard.mLeft, -1);
    EXPECT_EQ(other.mLeft, 0);
}

TEST(AFailingJoinDeathTest, EndsTheProcessWhenTheDestructorMeetsAnythingElse) {
    ThrowingLogHandler<int> handler(1, 5);

    EXPECT_DEATH(destroyAThreadWhoseJoinFails(&handler), "terminate called");
}

TEST(AFailingKeyCreation, IsThrown) {
    RecordingLogHandler handler;
    Thrown thrown;
    {
        const Failing failing(kPthreadKeyCreate, EAGAIN);
        thrown = thrownBy([&] { IdleListener listener(&handler); });
    }

    EXPECT_EQ(thrown.type, typeid(ThreadException));
    EXPECT_EQ(thrown.text, "ThreadException: pthread_key_create failed with error 11");
    EXPECT_THAT(handler.lines(), IsEmpty());
}

TEST(AFailingRegistration, IsThrownAndLeavesNothingRegisteredAndNothingLocked) {
    RecordingLogHandler handler;
    Thrown thrown;
    int settings = 0;
    {
        IdleListener listener(&handler);
        std::thread([&] {
            {
                const Failing failing(kPthreadSetspecific, ENOMEM);
                thrown = thrownBy([&] { listener.registerCurrentThread(); });
            }
            listener.registerCurrentThread();
            listener.registerCurrentThread();
            settings = state().count[kPthreadSetspecific];
        }).join();
        EXPECT_EQ(listener.told, 1);
    }

    EXPECT_EQ(thrown.type, typeid(ThreadException));
    EXPECT_EQ(thrown.text, "ThreadException: pthread_setspecific failed with error 12");
    EXPECT_EQ(settings, 1);
    EXPECT_THAT(handler.lines(), IsEmpty());
}

TEST(AnExitCallback, IsNotMadeWhenTheLockFails) {
    RecordingLogHandler handler;
    IdleListener listener(&handler);

    std::thread([&] {
        listener.registerCurrentThread();
        state().fails[kPthreadMutexLock] = 1;
        state().error[kPthreadMutexLock] = EINVAL;
    }).join();

    EXPECT_EQ(listener.told, 0);
    EXPECT_THAT(handler.lines(),
                ElementsAre("10 AtThreadExitListener: Suppressed exception from thread exit handler: "
                            "MutexException: pthread_mutex_lock failed"));
}

} // namespace

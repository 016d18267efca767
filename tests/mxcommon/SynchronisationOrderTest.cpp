// The calls of mutexes, condition variables, events and pipes, in their order.
#include "tests/mxcommon/SystemFaults.h"

#include "common/EventFd.h"
#include "common/WaitableEvent.h"
#include "mxcommon/Clock.h"
#include "mxcommon/ConditionVariable.h"
#include "mxcommon/Mutex.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

namespace {

using namespace mxcommon;
using namespace faults;
using testing::ElementsAre;
using testing::IsEmpty;
using zebdiscovery::EventFd;
using zebdiscovery::WaitableEvent;
using namespace std::chrono_literals;

TEST(TheCallsOfAMutex, SetTheTypeOnlyToMakeItRecursiveAndLeaveTheAttributes) {
    EXPECT_THAT(callsOf([] { Mutex(); }),
                ElementsAre("pthread_mutexattr_init", "pthread_mutex_init m1", "pthread_mutex_destroy m1"));
    EXPECT_THAT(callsOf([] { Mutex(true); }),
                ElementsAre("pthread_mutexattr_init", "pthread_mutexattr_settype recursive",
                            "pthread_mutex_init m1", "pthread_mutex_destroy m1"));
}

TEST(TheCallsOfAMutex, EndWithTheFirstThatFails) {
    EXPECT_THAT(callsOf([] { Mutex(true); }, kPthreadMutexattrInit, ENOMEM),
                ElementsAre("pthread_mutexattr_init"));
    EXPECT_THAT(callsOf([] { Mutex(true); }, kPthreadMutexattrSettype, EINVAL),
                ElementsAre("pthread_mutexattr_init", "pthread_mutexattr_settype recursive"));
    EXPECT_THAT(callsOf([] { Mutex(true); }, kPthreadMutexInit, ENOMEM),
                ElementsAre("pthread_mutexattr_init", "pthread_mutexattr_settype recursive",
                            "pthread_mutex_init m1"));
}

TEST(TheCallsOfALock, AreOneToLockAndOneToUnlock) {
    Mutex mutex;

    EXPECT_THAT(callsOf([&] { const MutexLock lock(mutex); }),
                ElementsAre("pthread_mutex_lock m1", "pthread_mutex_unlock m1"));
    EXPECT_THAT(callsOf([&] { const MutexLock lock(mutex); }, kPthreadMutexLock, EINVAL),
                ElementsAre("pthread_mutex_lock m1"));
}

TEST(AFailingDestructionOfAMutex, IsNoMatter) {
    const Failing failing(kPthreadMutexDestroy, EBUSY);

    EXPECT_NO_THROW(Mutex());
}

TEST(TheCallsOfAConditionVariable, ProbeTheMonotonicClockAndDestroyTheAttributesLast) {
    EXPECT_THAT(callsOf([] { ConditionVariable(); }),
                ElementsAre("pthread_condattr_init", "pthread_condattr_setclock monotonic",
                            "clock_gettime monotonic", "pthread_cond_init with attributes",
                            "pthread_cond_destroy", "pthread_condattr_destroy"));
}

TEST(TheCallsOfAConditionVariable, DestroyOnlyWhatWasMadeWhenOneFails) {
    EXPECT_THAT(callsOf([] { ConditionVariable(); }, kPthreadCondattrInit, ENOMEM),
                ElementsAre("pthread_condattr_init", "vsnprintf"));
    EXPECT_THAT(callsOf([] { ConditionVariable(); }, kPthreadCondInit, ENOMEM),
                ElementsAre("pthread_condattr_init", "pthread_condattr_setclock monotonic",
                            "clock_gettime monotonic", "pthread_cond_init with attributes", "vsnprintf",
                            "pthread_condattr_destroy"));
}

/** A condition variable and a lock to wait with, made before what is recorded. */
class TheCallsOfAWait : public testing::Test {
protected:
    static std::unique_ptr<ConditionVariable> onTheWallClock() {
        const Failing failing(kPthreadCondattrSetclock, EINVAL);
        return std::make_unique<ConditionVariable>();
    }

    Mutex mMutex;
    ConditionVariable mCondition;
    MutexLock mLock{mMutex};
};

TEST_F(TheCallsOfAWait, AreOneOnTheLocksMutex) {
    EXPECT_THAT(callsOf([&] { mCondition.wait(mLock); }, kPthreadCondWait, EINTR),
                ElementsAre("pthread_cond_wait m1", "vsnprintf"));
    EXPECT_THAT(callsOf([&] { mCondition.signal(); }), ElementsAre("pthread_cond_signal"));
}

TEST_F(TheCallsOfAWait, WithATimeReadTheClockOfTheConditionFirst) {
    EXPECT_THAT(callsOf([&] { mCondition.timedWait(mLock, 1ms); }, kPthreadCondTimedwait, ETIMEDOUT),
                ElementsAre("clock_gettime monotonic", "pthread_cond_timedwait m1"));
    const auto pWall = onTheWallClock();
    EXPECT_THAT(callsOf([&] { pWall->timedWait(mLock, 1ms); }, kPthreadCondTimedwait, ETIMEDOUT),
                ElementsAre("gettimeofday", "pthread_cond_timedwait m1"));
}

TEST_F(TheCallsOfAWait, EndWithAClockThatFails) {
    EXPECT_THAT(callsOf([&] { mCondition.timedWait(mLock, 1ms); }, kClockGettime, EINVAL),
                ElementsAre("clock_gettime monotonic", "vsnprintf"));
}

TEST_F(TheCallsOfAWait, AreNoneWithoutAMillisecond) {
    EXPECT_THAT(callsOf([&] { mCondition.timedWait(mLock, 0ms); }), IsEmpty());
    EXPECT_THAT(callsOf([&] { mCondition.timedWait(mLock, -1ms); }), IsEmpty());
}

TEST(TheCallsOfTheClock, ReadTheMonotonicOneAndTheWallsOnlyWithoutIt) {
    EXPECT_THAT(callsOf([] { Clock::now(); }), ElementsAre("clock_gettime monotonic"));
    EXPECT_THAT(callsOf([] { Clock::now(); }, kClockGettime, EINVAL),
                ElementsAre("clock_gettime monotonic", "gettimeofday"));
}

TEST(TheCallsOfAnEvent, MakeTheMutexFirstAndDestroyItLast) {
    EXPECT_THAT(callsOf([] { WaitableEvent(false, false); }),
                ElementsAre("pthread_mutexattr_init", "pthread_mutex_init m1", "pthread_condattr_init",
                            "pthread_condattr_setclock monotonic", "clock_gettime monotonic",
                            "pthread_cond_init with attributes", "pthread_cond_destroy",
                            "pthread_condattr_destroy", "pthread_mutex_destroy m1"));
}

TEST(TheCallsOfAnEvent, AreMadeUnderItsLock) {
    WaitableEvent event(false, false);
    const auto spuriously = [](auto action) {
        return [action] {
            state().wakesSpuriously = true;
            action();
        };
    };

    EXPECT_THAT(callsOf([&] { event.set(); }),
                ElementsAre("pthread_mutex_lock m1", "pthread_cond_signal", "pthread_mutex_unlock m1"));
    EXPECT_THAT(callsOf([&] { event.wait(); }),
                ElementsAre("pthread_mutex_lock m1", "pthread_mutex_unlock m1"));
    EXPECT_THAT(callsOf(spuriously([&] { event.wait(); })),
                ElementsAre("pthread_mutex_lock m1", "pthread_cond_wait m1", "pthread_mutex_unlock m1"));
    EXPECT_THAT(callsOf(spuriously([&] { event.timedWait(1); })),
                ElementsAre("pthread_mutex_lock m1", "clock_gettime monotonic", "pthread_cond_timedwait m1",
                            "pthread_mutex_unlock m1"));
    for (const int none : {0, -1, INT_MIN}) {
        EXPECT_THAT(callsOf([&] { event.timedWait(none); }, kPthreadCondTimedwait, ETIMEDOUT),
                    ElementsAre("pthread_mutex_lock m1", "pthread_mutex_unlock m1"));
    }
    EXPECT_THAT(callsOf([&] { event.reset(); }),
                ElementsAre("pthread_mutex_lock m1", "pthread_mutex_unlock m1"));
}

TEST(AnEvent, IsSetAlsoWhenNobodyCanBeWoken) {
    WaitableEvent event(false, false);

    callsOf([&] { event.set(); }, kPthreadCondSignal, EINVAL);

    EXPECT_TRUE(event.timedWait(0));
}

/** Sets an event as another thread may: while a wait has given the lock up. */
class SetsMeanwhile : public Watcher {
public:
    explicit SetsMeanwhile(WaitableEvent& event) : mEvent(event) { state().pWatcher = this; }

    void about(Call call, const void* object) override {
        if (call == kPthreadCondWait || call == kPthreadCondTimedwait) {
            auto* const pMutex = static_cast<pthread_mutex_t*>(const_cast<void*>(object));
            pthread_mutex_unlock(pMutex);
            mEvent.set();
            pthread_mutex_lock(pMutex);
        }
    }

private:
    WaitableEvent& mEvent;
};

TEST(AnEvent, ThatIsSetAsTheTimeRunsOutStaysSet) {
    WaitableEvent event(false, false);
    bool woken = true;
    {
        const Failing failing(kPthreadCondTimedwait, ETIMEDOUT);
        SetsMeanwhile setter(event);
        woken = event.timedWait(1);
    }

    EXPECT_FALSE(woken);
    EXPECT_TRUE(event.timedWait(0));
}

TEST(AnEvent, IsClearAfterTheWaitThatItWasSetIn) {
    for (const bool manualReset : {false, true}) {
        WaitableEvent event(manualReset, false);
        {
            const Recording recording;
            state().wakesSpuriously = true;
            SetsMeanwhile setter(event);
            event.wait();
        }

        EXPECT_EQ(event.timedWait(0), manualReset);
    }
}

TEST(TheCallsOfAPipe, MakeTheReadEndNonBlockingAndCloseBothInOrder) {
    EXPECT_THAT(callsOf([] { EventFd(); }),
                ElementsAre("pipe", "fcntl F_GETFL the read end", "fcntl F_SETFL the read end",
                            "close the read end", "close the write end"));
}

TEST(TheCallsOfAPipe, CloseBothEndsOnceWhenItCannotBeMadeNonBlocking) {
    EXPECT_THAT(callsOf([] { EventFd(); }, kPipe, EMFILE), ElementsAre("pipe"));
    EXPECT_THAT(
        callsOf([] { EventFd(); }, kFcntlGet, EINVAL),
        ElementsAre("pipe", "fcntl F_GETFL the read end", "close the read end", "close the write end"));
    EXPECT_THAT(callsOf([] { EventFd(); }, kFcntlSet, EINVAL),
                ElementsAre("pipe", "fcntl F_GETFL the read end", "fcntl F_SETFL the read end",
                            "close the read end", "close the write end"));
}

TEST(TheCallsOfAPipe, AreOneForEachSignalAndOneToConsume) {
    const auto use = [] {
        EventFd event;
        event.signal();
        event.consume();
        event.consume();
    };

    EXPECT_THAT(callsOf(use), ElementsAre("pipe", "fcntl F_GETFL the read end", "fcntl F_SETFL the read end",
                                          "write the write end", "read the read end", "read the read end",
                                          "close the read end", "close the write end"));
}

TEST(APipe, KeepsTheFlagsThatItsReadEndHas) {
    const Recording recording;
    state().flagsToo = O_APPEND;
    EventFd event;

    EXPECT_EQ(state().flagsSet, O_APPEND | O_NONBLOCK);
}

TEST(APipe, TellsTheErrorOfTheCallThatFailedAndNotOfTheClosing) {
    for (const Call call : {kFcntlGet, kFcntlSet}) {
        Thrown thrown;
        {
            const Failing failing(call, EPERM);
            fail(kClose, EIO, 2);
            thrown = thrownBy([] { EventFd(); });
        }

        EXPECT_EQ(thrown.code, EPERM);
    }
}

TEST(AFailingWrite, IsTheResultOfASignalAndNoException) {
    EventFd event;
    int result = 0;
    {
        const Failing failing(kWrite, EIO);
        EXPECT_NO_THROW(result = event.signal());
    }

    EXPECT_EQ(result, -1);
    EXPECT_FALSE(event.consume());
}

TEST(AFailingRead, IsNoOccurrence) {
    EventFd event;
    event.signal();
    bool consumed = true;
    {
        const Failing failing(kRead, EIO);
        EXPECT_NO_THROW(consumed = event.consume());
    }

    EXPECT_FALSE(consumed);
    EXPECT_TRUE(event.consume());
}

TEST(TheEndOfTheFile, IsNoOccurrence) {
    EventFd event;
    const int empty = ::open("/dev/null", O_RDONLY);
    ::dup2(empty, event.readFd());
    ::close(empty);

    EXPECT_FALSE(event.consume());
}

} // namespace

// Every failing call of threads and of what they are built into.
#include "tests/mxcommon/SystemFaults.h"

#include "common/LibUsbThread.h"
#include "mxcommon/AtThreadExitListener.h"
#include "mxcommon/Exceptions.h"
#include "mxcommon/Thread.h"
#include "tests/mxcommon/RecordingLogHandler.h"
#include "tests/mxcommon/Thrown.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <future>
#include <stdexcept>
#include <thread>

namespace {

using namespace mxcommon;
using namespace faults;
using testing::ElementsAre;
using testing::IsEmpty;

class IdleThread : public Thread {
public:
    explicit IdleThread(LogHandler* handler) : Thread(handler, "Idle") {}
    /** For subclasses that leave the joining to the base: run() has been entered. */
    void waitUntilRunning() { mRunning.get_future().wait(); }

private:
    void run() override { mRunning.set_value(); }

    std::promise<void> mRunning;
};

TEST(AJoinedThread, IsNobodyAnyMore) {
    RecordingLogHandler handler;
    std::promise<pthread_t> id;
    class NamingThread : public Thread {
    public:
        NamingThread(LogHandler* handler, std::promise<pthread_t>& id) : Thread(handler, "Naming"), mId(id) {}

    private:
        void run() override { mId.set_value(pthread_self()); }

        std::promise<pthread_t>& mId;
    } thread(&handler, id);
    thread.start();

    // Whoever gets the id next is not this thread.
    const pthread_t reused = id.get_future().get();
    state().self = reused;
    const bool before = thread.isCurrentThread();
    state() = State();
    thread.join();
    state().self = reused;
    const bool after = thread.isCurrentThread();
    state() = State();

    EXPECT_TRUE(before);
    EXPECT_FALSE(after);
}

TEST(AThreadsId, IsZeroUntilItIsStartedAndAfterItIsJoined) {
    RecordingLogHandler handler;
    IdleThread thread(&handler);
    const auto isZero = [&] {
        state().self = pthread_t{0};
        const bool result = thread.isCurrentThread();
        state() = State();
        return result;
    };

    const bool before = isZero();
    thread.start();
    const bool meanwhile = isZero();
    thread.join();

    EXPECT_TRUE(before);
    EXPECT_FALSE(meanwhile);
    EXPECT_TRUE(isZero());
}

class IdleListener : public AtThreadExitListener {
public:
    using AtThreadExitListener::AtThreadExitListener;
    int told = 0;

private:
    void onThreadExit() override { ++told; }
};

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

TEST(ARegistrationWithoutMemory, IsFoundOutWhenTheThreadEnds) {
    RecordingLogHandler handler;
    IdleListener listener(&handler);
    Thrown thrown;

    std::thread([&] {
        const Failing failing(kMemory, ENOMEM);
        thrown = thrownBy([&] { listener.registerCurrentThread(); });
    }).join();

    EXPECT_EQ(thrown.type, typeid(std::bad_alloc));
    EXPECT_EQ(listener.told, 1);
    EXPECT_THAT(handler.lines(),
                ElementsAre("10 AtThreadExitListener: Thread exit handler called for non-registered thread"));
}

TEST(ALibUsbThread, IsNotMadeWithoutAThread) {
    // Never looked into: there is no thread to do so.
    int context = 0;
    Thrown thrown;
    {
        const Failing failing(kPthreadCreate, EAGAIN);
        thrown = thrownBy(
            [&] { zebdiscovery::LibUsbThread thread(reinterpret_cast<libusb_context*>(&context), true); });
    }

    EXPECT_EQ(thrown.type, typeid(ThreadException));
    EXPECT_EQ(thrown.text, "ThreadException: pthread_create failed");
}

} // namespace

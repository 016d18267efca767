// Every failing call of threads and of what they are built into.
#include "tests/mxcommon/SystemFaults.h"

#include "common/LibUsbThread.h"
#include "mxcommon/Exceptions.h"
#include "mxcommon/Thread.h"
#include "tests/mxcommon/RecordingLogHandler.h"
#include "tests/mxcommon/Thrown.h"
#include "tests/support/Assertions.h"

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

TEST(AThreadThatJoinsItself, IsToldSoAndIsNotJoinedAnyMore) {
    class SelfJoiningThread : public Thread {
    public:
        explicit SelfJoiningThread(LogHandler* handler) : Thread(handler, "Self") {}
        ~SelfJoiningThread() override { join(); }
        std::promise<pthread_t> ended;
        Thrown thrown;
        bool isStillItself = false;

    private:
        void run() override {
            thrown = thrownBy([&] { join(); });
            isStillItself = isCurrentThread();
            ended.set_value(pthread_self());
        }
    };
    RecordingLogHandler handler;
    SelfJoiningThread thread(&handler);
    thread.start();
    const pthread_t id = thread.ended.get_future().get();
    int joins = -1;
    {
        const Recording recording;
        thread.join();
        joins = state().count[kPthreadJoin];
    }
    pthread_join(id, nullptr);

    EXPECT_EQ(thread.thrown.text, "ThreadException: pthread_join failed");
    EXPECT_TRUE(thread.isStillItself);
    EXPECT_EQ(joins, 0);
    EXPECT_THAT(handler.lines(), ElementsAre("10 Thread: Self: pthread_join failed: return value 35."));
}

void destroyAThreadWhoseJoinFails(LogHandler* handler) {
    IdleThread thread(handler);
    thread.start();
    thread.waitUntilRunning();
    fail(kPthreadJoin, EINVAL);
}

TEST(AFailingJoin, IsOnlyLoggedByTheDestructor) {
    RecordingLogHandler handler;
    destroyAThreadWhoseJoinFails(&handler);
    state() = State();

    EXPECT_THAT(handler.lines(), ElementsAre("10 Thread: Idle: pthread_join failed: return value 22.",
                                             "10 Thread: Idle: Suppressed exception in Thread::~Thread: "
                                             "ThreadException: pthread_join failed"));
}

TEST(AFailingJoin, IsForgottenByTheDestructorWhenTheLogThrowsToo) {
    ThrowingLogHandler standard(1, std::runtime_error("no log"));
    destroyAThreadWhoseJoinFails(&standard);
    ThrowingLogHandler other(2, 5);
    destroyAThreadWhoseJoinFails(&other);
    state() = State();

    EXPECT_EQ(standard.mLeft, -1);
    EXPECT_EQ(other.mLeft, 0);
}

TEST(AFailingJoinDeathTest, EndsTheProcessWhenTheDestructorMeetsAnythingElse) {
    ThrowingLogHandler handler(1, 5);

    EXPECT_DEATH(destroyAThreadWhoseJoinFails(&handler), "terminate called");
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

TEST(ALibUsbThreadDeathTest, StopsWithoutAContextBeforeAnythingElseCanFail) {
    const auto makeWhile = [](Call call) {
        const Failing failing(call, ENOMEM);
        thrownBy([] { zebdiscovery::LibUsbThread thread(nullptr, true); });
    };

    for (const Call call : {kPipe, kPthreadMutexattrInit, kMemory}) {
        EXPECT_ASSERTION(makeWhile(call), "common/LibUsbThread.cpp", "mpLibusbCtx");
    }
}

} // namespace

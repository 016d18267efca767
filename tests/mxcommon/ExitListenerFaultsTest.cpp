// Every failing call of exit listeners, and logs that throw.
#include "tests/mxcommon/SystemFaults.h"

#include "mxcommon/AtThreadExitListener.h"
#include "mxcommon/Exceptions.h"
#include "tests/mxcommon/RecordingLogHandler.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <latch>
#include <memory>
#include <stdexcept>
#include <thread>

namespace {

using namespace mxcommon;
using namespace faults;
using testing::ElementsAre;
using testing::IsEmpty;

class IdleListener : public AtThreadExitListener {
public:
    using AtThreadExitListener::AtThreadExitListener;
    int told = 0;

private:
    void onThreadExit() override { ++told; }
};

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
        fail(kPthreadMutexLock, EINVAL);
    }).join();

    EXPECT_EQ(listener.told, 0);
    EXPECT_THAT(handler.lines(),
                ElementsAre("10 AtThreadExitListener: Suppressed exception from thread exit handler: "
                            "MutexException: pthread_mutex_lock failed"));
}

TEST(AnExitCallback, IgnoresAThreadWithoutAListener) {
    /** Finds out whom the thread library is told to call. */
    class Callback : public Watcher {
    public:
        void about(Call call, const void* object) override {
            if (call == kPthreadKeyCreate) {
                exit = reinterpret_cast<void (*)(void*)>(const_cast<void*>(object));
            }
        }
        void (*exit)(void*) = nullptr;
    } callback;
    RecordingLogHandler handler;
    state().pWatcher = &callback;
    IdleListener listener(&handler);
    state() = State();
    ASSERT_NE(callback.exit, nullptr);

    EXPECT_THAT(callsOf([&] { callback.exit(nullptr); }), IsEmpty());
    EXPECT_EQ(listener.told, 0);
}

/** Destroys a listener that three threads are registered with. */
template <class Prepare>
void leaveThreeThreadsBehind(LogHandler* handler, Prepare prepare) {
    std::latch registered(3);
    std::latch mayEnd(1);
    std::vector<std::thread> threads;
    auto pListener = std::make_unique<IdleListener>(handler);
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&] {
            pListener->registerCurrentThread();
            registered.count_down();
            mayEnd.wait();
        });
    }
    registered.wait();
    prepare();
    pListener.reset();
    state() = State();
    mayEnd.count_down();
    for (auto& thread : threads) {
        thread.join();
    }
}

TEST(AnExitListener, TellsOfEachThreadItLeavesBehindAlsoWhenTheLogThrows) {
    ThrowingLogHandler standard(1, std::runtime_error("no log"));
    leaveThreeThreadsBehind(&standard, [] {});
    ThrowingLogHandler other(1, 5);
    leaveThreeThreadsBehind(&other, [] {});

    EXPECT_EQ(standard.mLeft, -2);
    EXPECT_EQ(other.mLeft, -2);
}

TEST(AnExitListener, LetsNothingOutWhenItsLastCallsFail) {
    RecordingLogHandler withoutLock;
    leaveThreeThreadsBehind(&withoutLock, [] { fail(kPthreadMutexLock, EINVAL); });
    RecordingLogHandler withoutKey;
    leaveThreeThreadsBehind(&withoutKey, [] { fail(kPthreadKeyDelete, EINVAL); });

    EXPECT_THAT(withoutLock.lines(), IsEmpty());
    EXPECT_EQ(withoutKey.lines().size(), 3u);
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

} // namespace

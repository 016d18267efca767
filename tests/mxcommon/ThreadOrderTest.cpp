// The calls of threads and of exit listeners, in their order.
#include "tests/mxcommon/SystemFaults.h"

#include "mxcommon/AtThreadExitListener.h"
#include "mxcommon/LogHandler.h"
#include "mxcommon/Thread.h"
#include "tests/mxcommon/OpenedMember.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <latch>
#include <memory>
#include <optional>
#include <thread>

namespace {

using namespace mxcommon;
using namespace faults;
using testing::ElementsAre;

using Calls = std::vector<std::string>;

/** Puts its lines into the record, between the calls. */
class NotingLogHandler : public LogHandler {
public:
    void log(int level, const char*, const char*) override { note("log ", "", level); }
};

/** Notes its body, and keeps what its thread has called up to there. */
class NotingThread : public Thread {
public:
    explicit NotingThread(LogHandler* handler, const std::string& name = "Noting") : Thread(handler, name) {}
    ~NotingThread() override { join(); }

    Calls callsUpToTheBody;

private:
    void run() override {
        note("run");
        callsUpToTheBody = calls();
    }
};

NotingLogHandler gNoted;

TEST(TheCallsOfAThread, MakeTheTwoMutexesBeforeALongNameIsLogged) {
    EXPECT_THAT(callsOf([] { NotingThread thread(&gNoted, "sixteen letters!"); }),
                ElementsAre("pthread_mutexattr_init", "pthread_mutex_init m1", "pthread_mutexattr_init",
                            "pthread_mutex_init m2", "vsnprintf", "log 20",
                            // Nothing to be joined, twice.
                            "pthread_mutex_lock m1", "pthread_mutex_unlock m1", "pthread_mutex_lock m1",
                            "pthread_mutex_unlock m1", "pthread_mutex_destroy m2",
                            "pthread_mutex_destroy m1"));
}

TEST(TheCallsOfAThread, LockItsStateBeforeItsIdToStart) {
    std::optional<NotingThread> thread;
    const Calls first = callsOf([&] { thread.emplace(&gNoted).start(); });
    const Calls second = callsOf([&] { thread->start(); });

    EXPECT_THAT(first, ElementsAre("pthread_mutexattr_init", "pthread_mutex_init m1",
                                   "pthread_mutexattr_init", "pthread_mutex_init m2", "pthread_mutex_lock m1",
                                   "pthread_mutex_lock m2", "pthread_create without attributes",
                                   "pthread_mutex_unlock m2", "pthread_mutex_unlock m1"));
    EXPECT_THAT(second, ElementsAre("pthread_mutex_lock m1", "pthread_mutex_lock m2",
                                    "pthread_mutex_unlock m2", "pthread_mutex_unlock m1"));
}

TEST(TheCallsOfAThread, LogAFailingStartUnderBothLocks) {
    NotingThread thread(&gNoted);

    EXPECT_THAT(callsOf([&] { thread.start(); }, kPthreadCreate, EAGAIN),
                ElementsAre("pthread_mutex_lock m1", "pthread_mutex_lock m2",
                            "pthread_create without attributes", "vsnprintf", "log 10",
                            "pthread_mutex_unlock m2", "pthread_mutex_unlock m1"));
}

TEST(TheCallsOfAThread, NameItBeforeItsBodyRunsWhetherThatFailsOrNot) {
    for (const int error : {0, EFAULT}) {
        prctlError = error;
        NotingThread thread(&gNoted);
        thread.start();
        thread.join();
        prctlError = 0;

        EXPECT_THAT(thread.callsUpToTheBody, ElementsAre("prctl Noting", "run")) << error;
    }
}

TEST(TheCallsOfAThread, JoinItUnderItsStatesLockAlone) {
    NotingThread thread(&gNoted);
    thread.start();
    const Calls first = callsOf([&] { thread.join(); });
    const Calls second = callsOf([&] { thread.join(); });

    EXPECT_THAT(first, ElementsAre("pthread_mutex_lock m1", "pthread_mutex_lock m2",
                                   "pthread_mutex_unlock m2", "pthread_join", "pthread_mutex_lock m2",
                                   "pthread_mutex_unlock m2", "pthread_mutex_unlock m1"));
    EXPECT_THAT(second, ElementsAre("pthread_mutex_lock m1", "pthread_mutex_unlock m1"));
}

TEST(TheCallsOfAThread, LogAFailingJoinUnderItsStatesLock) {
    NotingThread thread(&gNoted);
    thread.start();

    EXPECT_THAT(callsOf([&] { thread.join(); }, kPthreadJoin, EINVAL),
                ElementsAre("pthread_mutex_lock m1", "pthread_mutex_lock m2", "pthread_mutex_unlock m2",
                            "pthread_join", "vsnprintf", "log 10", "pthread_mutex_unlock m1"));
}

/** Leaves the joining to its base, so that must not be before run() has been entered. */
class BareThread : public Thread {
public:
    explicit BareThread(LogHandler* handler) : Thread(handler, "Bare") {}

    std::latch running{1};

private:
    void run() override { running.count_down(); }
};

TEST(TheCallsOfAThread, JoinItOnceAndLogWhatFailsBeforeTheMutexesAreDestroyed) {
    auto pThread = std::make_unique<BareThread>(&gNoted);
    pThread->start();
    pThread->running.wait();

    EXPECT_THAT(callsOf([&] { pThread.reset(); }, kPthreadJoin, EINVAL),
                ElementsAre("pthread_mutex_lock m1", "pthread_mutex_lock m2", "pthread_mutex_unlock m2",
                            "pthread_join", "vsnprintf", "log 10", "pthread_mutex_unlock m1", "vsnprintf",
                            "log 10", "pthread_mutex_destroy m2", "pthread_mutex_destroy m1"));
}

OPEN(Thread, mStarted);
OPEN(Thread, mJoined);

TEST(TheCallsOfAThread, FindItNotYetStartedButAlreadyJoined) {
    /** Looks at the thread from inside the two calls. */
    class Looking : public Watcher {
    public:
        explicit Looking(const Thread& thread) : mThread(thread) {}
        void about(Call call, const void*) override {
            if (call == kPthreadCreate) {
                wasStarted = mThread.*OPENED(Thread, mStarted);
            } else if (call == kPthreadJoin) {
                wasJoined = mThread.*OPENED(Thread, mJoined);
            }
        }
        std::optional<bool> wasStarted;
        std::optional<bool> wasJoined;

    private:
        const Thread& mThread;
    };
    NotingThread thread(&gNoted);
    Looking looking(thread);
    {
        const Recording recording;
        state().pWatcher = &looking;
        thread.start();
        thread.join();
    }

    EXPECT_EQ(looking.wasStarted, false);
    EXPECT_EQ(looking.wasJoined, true);
}

TEST(TheCallsOfAThread, CompareItsIdUnderTheIdsLock) {
    NotingThread thread(&gNoted);

    EXPECT_THAT(callsOf([&] { thread.isCurrentThread(); }),
                ElementsAre("pthread_mutex_lock m1", "pthread_self", "pthread_mutex_unlock m1"));
}

/** Tells when its thread is about to wait for a mutex that another one has. */
class Waiting : public Watcher {
public:
    void about(Call call, const void* object) override {
        if (call != kPthreadMutexLock || mHasWaited) {
            return;
        }
        auto* const pMutex = static_cast<pthread_mutex_t*>(const_cast<void*>(object));
        if (pthread_mutex_trylock(pMutex) == 0) {
            pthread_mutex_unlock(pMutex);
        } else {
            tell();
        }
    }
    void tell() {
        if (!mHasWaited) {
            mHasWaited = true;
            told.count_down();
        }
    }

    std::latch told{1};

private:
    bool mHasWaited = false;
};

/** Keeps its thread in pthread_join until it is told to go on. */
class Held : public Watcher {
public:
    explicit Held(std::latch& mayGoOn) : mMayGoOn(mayGoOn) {}

    void about(Call call, const void*) override {
        if (call == kPthreadJoin) {
            reached.count_down();
            mMayGoOn.wait();
        }
    }

    std::latch reached{1};

private:
    std::latch& mMayGoOn;
};

/** Whether an action on a thread that is being joined has to wait; nothing else lets the join go on. */
bool waitsForTheJoin(const std::function<void(Thread&)>& action) {
    NotingThread thread(&gNoted);
    thread.start();
    Waiting waiting;
    Held held(waiting.told);
    bool hasWaited = false;
    std::thread joiner([&] {
        state().pWatcher = &held;
        thread.join();
    });
    std::thread other([&] {
        held.reached.wait();
        state().pWatcher = &waiting;
        thrownBy([&] { action(thread); });
        hasWaited = waiting.told.try_wait();
        waiting.tell();
    });
    joiner.join();
    other.join();
    return hasWaited;
}

TEST(AThreadThatIsBeingJoined, LetsAStartAndASecondJoinWaitButNotTheQuestionWhoItIs) {
    EXPECT_TRUE(waitsForTheJoin([](Thread& thread) { thread.start(); }));
    EXPECT_TRUE(waitsForTheJoin([](Thread& thread) { thread.join(); }));
    EXPECT_FALSE(waitsForTheJoin([](Thread& thread) { thread.isCurrentThread(); }));
}

class NotingListener : public AtThreadExitListener {
public:
    explicit NotingListener(LogHandler* handler) : AtThreadExitListener(handler) {}

    Calls callsUpToTheTelling;

private:
    void onThreadExit() override {
        note("onThreadExit");
        callsUpToTheTelling = calls();
    }
};

TEST(TheCallsOfAnExitListener, DeleteTheKeyBeforeTheLinesWhichAreWrittenUnderTheLock) {
    std::latch registered(2);
    std::latch mayEnd(1);
    std::vector<std::thread> threads;
    auto pListener = std::make_unique<NotingListener>(&gNoted);
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([&] {
            pListener->registerCurrentThread();
            registered.count_down();
            mayEnd.wait();
        });
    }
    registered.wait();
    const Calls made = callsOf([&] { pListener.reset(); });
    mayEnd.count_down();
    for (auto& thread : threads) {
        thread.join();
    }

    EXPECT_THAT(made,
                ElementsAre("pthread_key_delete", "pthread_mutex_lock m1", "vsnprintf", "log 10", "vsnprintf",
                            "log 10", "pthread_mutex_unlock m1", "pthread_mutex_destroy m1"));
}

TEST(TheCallsOfAnExitListener, MakeTheMutexBeforeTheKey) {
    EXPECT_THAT(callsOf([] { NotingListener listener(&gNoted); }),
                ElementsAre("pthread_mutexattr_init", "pthread_mutex_init m1", "pthread_key_create",
                            "pthread_key_delete", "pthread_mutex_lock m1", "pthread_mutex_unlock m1",
                            "pthread_mutex_destroy m1"));
    EXPECT_THAT(callsOf([] { NotingListener listener(&gNoted); }, kPthreadKeyCreate, EAGAIN),
                ElementsAre("pthread_mutexattr_init", "pthread_mutex_init m1", "pthread_key_create",
                            "vsnprintf", "pthread_mutex_destroy m1"));
}

TEST(TheCallsOfAnExitListener, SetTheKeyOnceUnderTheLock) {
    NotingListener listener(&gNoted);
    Calls first;
    Calls second;
    std::thread([&] {
        first = callsOf([&] { listener.registerCurrentThread(); });
        second = callsOf([&] { listener.registerCurrentThread(); });
    }).join();

    EXPECT_THAT(first, ElementsAre("pthread_self", "pthread_mutex_lock m1", "pthread_setspecific",
                                   "pthread_mutex_unlock m1"));
    EXPECT_THAT(second, ElementsAre("pthread_self", "pthread_mutex_lock m1", "pthread_mutex_unlock m1"));
}

TEST(TheCallsOfAnExitListener, UnlockBeforeTheListenerIsTold) {
    NotingListener listener(&gNoted);

    std::thread([&] { callsOf([&] { listener.registerCurrentThread(); }); }).join();

    EXPECT_THAT(listener.callsUpToTheTelling, ElementsAre("pthread_mutex_lock m1", "pthread_self",
                                                          "pthread_mutex_unlock m1", "onThreadExit"));
}

TEST(TheCallsOfAnExitListener, LogAThreadThatIsNotRegisteredUnderTheLock) {
    NotingListener listener(&gNoted);

    // Without memory the key is set and the thread is not.
    std::thread([&] {
        const Failing failing(kMemory, ENOMEM);
        thrownBy([&] { listener.registerCurrentThread(); });
    }).join();

    EXPECT_THAT(listener.callsUpToTheTelling,
                ElementsAre("pthread_mutex_lock m1", "pthread_self", "vsnprintf", "log 10",
                            "pthread_mutex_unlock m1", "onThreadExit"));
}

} // namespace

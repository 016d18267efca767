#include "mxcommon/Thread.h"

#include "mxcommon/AtThreadExitListener.h"
#include "mxcommon/Exceptions.h"
#include "mxcommon/ThreadId.h"
#include "tests/mxcommon/RecordingLogHandler.h"

#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <future>
#include <latch>
#include <thread>

namespace {

using namespace mxcommon;
using testing::ElementsAre;
using testing::IsEmpty;

class BodyThread : public Thread {
public:
    BodyThread(LogHandler* handler, const std::string& name, std::function<void()> body) :
        Thread(handler, name), mBody(std::move(body)) {}
    ~BodyThread() override { join(); }

private:
    void run() override { mBody(); }

    std::function<void()> mBody;
};

TEST(AThread, RunsItsBodyOnceOnAThreadOfItsOwn) {
    RecordingLogHandler handler;
    int runs = 0;
    pthread_t runner{};
    BodyThread thread(&handler, "Runner", [&] {
        ++runs;
        runner = pthread_self();
    });

    thread.start();
    thread.join();

    EXPECT_EQ(runs, 1);
    EXPECT_NE(runner, pthread_self());
    EXPECT_THAT(handler.lines(), IsEmpty());
}

std::string nameShownFor(const std::string& name, LogHandler* handler) {
    char shown[16] = {};
    BodyThread thread(handler, name, [&] { pthread_getname_np(pthread_self(), shown, sizeof shown); });
    thread.start();
    thread.join();
    return shown;
}

TEST(AThread, ShowsANameOfFifteenCharactersWithoutAWarning) {
    RecordingLogHandler handler;

    EXPECT_EQ(nameShownFor("fifteen letters", &handler), "fifteen letters");
    EXPECT_THAT(handler.lines(), IsEmpty());
}

TEST(AThread, WarnsOnceThatALongerNameIsCut) {
    RecordingLogHandler handler;

    EXPECT_EQ(nameShownFor("sixteen letters!", &handler), "sixteen letters");
    EXPECT_THAT(handler.lines(),
                ElementsAre("20 Thread: sixteen letters!: Long thread name 'sixteen letters!' "
                            "may be truncated by pthreads"));
}

TEST(AThread, StartsOnlyOnce) {
    RecordingLogHandler handler;
    BodyThread thread(&handler, "Once", [] {});
    thread.start();

    for (const bool joined : {false, true}) {
        if (joined) {
            thread.join();
        }
        try {
            thread.start();
            FAIL();
        } catch (const ThreadException& e) {
            EXPECT_STREQ(e.what(), "ThreadException: Attempt to start thread multiple times");
        }
    }
    EXPECT_THAT(handler.lines(), IsEmpty());
}

TEST(AThread, CanBeStartedAfterAJoinThatHadNothingToDo) {
    RecordingLogHandler handler;
    std::atomic<bool> ran = false;
    BodyThread thread(&handler, "Late", [&] { ran = true; });

    thread.join();
    thread.start();
    thread.join();
    thread.join();

    EXPECT_TRUE(ran);
}

TEST(AThread, NeedsNoStartToBeDestroyed) {
    RecordingLogHandler handler;

    {
        BodyThread thread(&handler, "Never", [] {});
    }

    EXPECT_THAT(handler.lines(), IsEmpty());
}

TEST(AThread, KnowsItselfAlsoWhileAnotherThreadJoinsIt) {
    RecordingLogHandler handler;
    std::promise<void> mayEnd;
    bool insideSaid = false;
    BodyThread* pThread = nullptr;
    BodyThread thread(&handler, "Self", [&] {
        mayEnd.get_future().wait();
        insideSaid = pThread->isCurrentThread();
    });
    pThread = &thread;
    EXPECT_FALSE(thread.isCurrentThread());
    thread.start();

    std::thread joiner([&] { thread.join(); });
    EXPECT_FALSE(thread.isCurrentThread());
    mayEnd.set_value();
    joiner.join();

    EXPECT_TRUE(insideSaid);
    EXPECT_FALSE(thread.isCurrentThread());
}

TEST(AThread, LetsEveryJoinWaitForItsEnd) {
    RecordingLogHandler handler;
    std::promise<void> mayEnd;
    std::atomic<bool> ended = false;
    std::atomic<int> endsSeen = 0;
    BodyThread thread(&handler, "Joined", [&] {
        mayEnd.get_future().wait();
        ended = true;
    });
    thread.start();
    const auto join = [&] {
        thread.join();
        endsSeen += ended ? 1 : 0;
    };

    std::thread first(join);
    std::thread second(join);
    mayEnd.set_value();
    first.join();
    second.join();

    EXPECT_EQ(endsSeen, 2);
}

TEST(AThreadDeathTest, EndsTheProcessWhenAnExceptionLeavesItsBody) {
    RecordingLogHandler handler;
    const auto run = [&] {
        BodyThread thread(&handler, "Thrower", [] { throw std::runtime_error("from the body"); });
        thread.start();
        thread.join();
    };

    EXPECT_DEATH(run(), "from the body");
}

TEST(AThreadId, EqualsOnlyAValidOneOfTheSameThread) {
    const ThreadId mine = ThreadId::current();
    ThreadId others;
    std::thread([&] { others = ThreadId::current(); }).join();
    const ThreadId invalid{false, mine.id};

    EXPECT_TRUE(mine == ThreadId::current());
    EXPECT_TRUE(mine.isCurrent());
    EXPECT_TRUE(mine != others);
    EXPECT_FALSE(others.isCurrent());
    EXPECT_FALSE(mine == invalid);
    EXPECT_FALSE(invalid == mine);
    EXPECT_FALSE(invalid == invalid);
    EXPECT_TRUE(ThreadId() != ThreadId());
}

TEST(AThreadId, NamesNoThreadAndHasNoIdWhenItIsNew) {
    EXPECT_FALSE(ThreadId().valid);
    EXPECT_EQ(ThreadId().id, pthread_t{0});
}

TEST(AThreadId, IsOrderedByTheIdAlone) {
    EXPECT_TRUE((ThreadId{true, 1} < ThreadId{false, 2}));
    EXPECT_FALSE((ThreadId{false, 2} < ThreadId{true, 1}));
    EXPECT_FALSE((ThreadId{false, 1} < ThreadId{true, 1}));
}

class Listener : public AtThreadExitListener {
public:
    Listener(LogHandler* handler, std::function<void()> onExit) :
        AtThreadExitListener(handler), mOnExit(std::move(onExit)) {}

private:
    void onThreadExit() override { mOnExit(); }

    std::function<void()> mOnExit;
};

TEST(AnExitListener, IsToldOnTheEndingThreadOnce) {
    RecordingLogHandler handler;
    std::vector<pthread_t> told;
    pthread_t registered{};
    Listener listener(&handler, [&] { told.push_back(pthread_self()); });

    std::thread([&] {
        registered = pthread_self();
        listener.registerCurrentThread();
        listener.registerCurrentThread();
    }).join();
    std::thread([] {}).join();

    EXPECT_THAT(told, ElementsAre(registered));
    EXPECT_THAT(handler.lines(), IsEmpty());
}

TEST(AnExitListener, HasForgottenTheThreadWhenItIsTold) {
    RecordingLogHandler handler;
    int told = 0;
    Listener* pListener = nullptr;
    Listener listener(&handler, [&] {
        // Goes through only if the thread is registered no more; so it is told a second time.
        if (++told == 1) {
            pListener->registerCurrentThread();
        }
    });
    pListener = &listener;

    std::thread([&] { listener.registerCurrentThread(); }).join();

    EXPECT_EQ(told, 2);
    EXPECT_THAT(handler.lines(), IsEmpty());
}

TEST(AnExitListener, LogsWhatItsCallbackThrowsAndTheThreadEndsNormally) {
    RecordingLogHandler handler;
    Listener standard(&handler, [] { throw std::runtime_error("out of luck"); });
    Listener other(&handler, [] { throw 5; });
    bool reachedTheEnd = false;

    std::thread([&] {
        standard.registerCurrentThread();
        reachedTheEnd = true;
    }).join();
    std::thread([&] { other.registerCurrentThread(); }).join();

    EXPECT_TRUE(reachedTheEnd);
    EXPECT_THAT(
        handler.lines(),
        ElementsAre("10 AtThreadExitListener: Suppressed exception from thread exit handler: out of luck",
                    "10 AtThreadExitListener: Suppressed unknown exception from thread exit handler"));
}

TEST(AnExitListener, LetsNothingOutEvenWhenItsLogThrows) {
    ThrowingLogHandler handler(1, 7);
    int told = 0;
    Listener listener(&handler, [&] {
        ++told;
        throw 5;
    });

    std::thread([&] { listener.registerCurrentThread(); }).join();

    EXPECT_EQ(told, 1);
}

TEST(AnExitListener, LogsALineForEachThreadItLeavesBehind) {
    RecordingLogHandler handler;
    std::latch registered(2);
    std::latch mayEnd(1);
    std::atomic<int> told = 0;
    std::vector<std::thread> threads;
    {
        Listener listener(&handler, [&] { ++told; });
        for (int i = 0; i < 2; ++i) {
            threads.emplace_back([&] {
                listener.registerCurrentThread();
                registered.count_down();
                mayEnd.wait();
            });
        }
        registered.wait();
    }
    mayEnd.count_down();
    for (auto& thread : threads) {
        thread.join();
    }

    const std::string line =
        "10 AtThreadExitListener: AtThreadExitListener being destroyed with thread still registered";
    EXPECT_THAT(handler.lines(), ElementsAre(line, line));
    EXPECT_EQ(told, 0);
}

TEST(AnExitListener, SharesAThreadWithAnother) {
    RecordingLogHandler handler;
    int firstTold = 0;
    int secondTold = 0;
    Listener first(&handler, [&] { ++firstTold; });
    Listener second(&handler, [&] { ++secondTold; });

    std::thread([&] {
        first.registerCurrentThread();
        second.registerCurrentThread();
    }).join();

    EXPECT_EQ(firstTold, 1);
    EXPECT_EQ(secondTold, 1);
    EXPECT_THAT(handler.lines(), IsEmpty());
}

} // namespace

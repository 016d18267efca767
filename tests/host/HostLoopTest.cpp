#include "host/Clock.h"
#include "host/EntryPoints.h"
#include "tests/host/TestHost.h"

#include <csignal>
#include <sys/eventfd.h>
#include <unistd.h>

using namespace testing;

namespace zebhost {
namespace {

TEST_F(AHost, TellsThatAHandleIsReadable) {
    APipe pipe;
    list(pipe.reader());
    int told = -1;
    gCalls.event = [&](int handle) {
        told = handle;
        mLoop.quit();
    };
    ASSERT_EQ(write(pipe.writer(), "x", 1), 1);

    runUntilQuit();

    EXPECT_EQ(told, pipe.reader());
}

TEST_F(AHost, TellsThatAHandleIsWritableOnlyWhenAsked) {
    APipe pipe;
    list(pipe.writer());
    runFor(5000);
    EXPECT_THAT(gCalls.made, IsEmpty());

    list(pipe.writer(), 1);
    gCalls.event = [&](int) { mLoop.quit(); };
    runUntilQuit();

    EXPECT_THAT(gCalls.made, ElementsAre("handleSingleEvent"));
}

TEST_F(AHost, WatchesAHandleNoMoreThatIsNotListed) {
    APipe pipe;
    list(pipe.reader());
    ASSERT_EQ(write(pipe.writer(), "x", 1), 1);
    gCalls.event = [](int) { gCalls.handles = {ZEBDiscovererNoEventHandle}; };

    runFor(5000);

    EXPECT_THAT(gCalls.made, ElementsAre("handleSingleEvent"));
}

TEST_F(AHost, TellsAnEntityThatItsOwnHandleIsReadable) {
    APipe pipe;
    addEntity(0);
    mHost.beforeWait();
    gCalls.entityHandle = pipe.reader();
    gCalls.event = [&](int) { mLoop.quit(); };
    ASSERT_EQ(write(pipe.writer(), "x", 1), 1);

    runUntilQuit();

    EXPECT_THAT(gCalls.made, ElementsAre("handleEntityEvent"));
}

TEST_F(AHost, ReportsAHandleThatIsClosed) {
    int descriptor = eventfd(0, 0);
    close(descriptor);
    list(descriptor);

    mHost.beforeWait();
    mHost.beforeWait();

    EXPECT_THAT(mLines.violations(), ElementsAre(HasSubstr("can't be waited for")));
}

TEST_F(AHost, FiresAnEntityTimerOnceAndNotBefore) {
    addEntity(0);
    uint64_t start = monotonicMicroseconds();
    uint64_t fired = 0;
    unsigned times = 0;
    gCalls.entityTimeout = [&](ZEBDiscovererEntity*) {
        fired = monotonicMicroseconds();
        ++times;
    };

    gHost.setEntityTimer(gContext, entity(0), 3000);
    runFor(20000);

    EXPECT_EQ(times, 1u);
    EXPECT_GE(fired - start, 3000u);
}

TEST_F(AHost, FiresATimerOfZeroFromTheLoop) {
    addEntity(0);
    bool fired = false;
    gCalls.entityTimeout = [&](ZEBDiscovererEntity*) {
        fired = true;
        mLoop.quit();
    };

    gHost.setEntityTimer(gContext, entity(0), 0);
    EXPECT_FALSE(fired);
    runUntilQuit();

    EXPECT_TRUE(fired);
}

TEST_F(AHost, ReplacesAndCancelsAnEntityTimer) {
    addEntity(0);
    addEntity(1);
    std::vector<ZEBDiscovererEntity*> fired;
    gCalls.entityTimeout = [&](ZEBDiscovererEntity* entity) { fired.push_back(entity); };

    gHost.setEntityTimer(gContext, entity(0), 1000000);
    gHost.setEntityTimer(gContext, entity(0), 1000);
    gHost.setEntityTimer(gContext, entity(1), 1000);
    gHost.setEntityTimer(gContext, entity(1), -1);
    runFor(20000);

    EXPECT_THAT(fired, ElementsAre(entity(0)));
}

TEST_F(AHost, FiresTheTimerOfAHandle) {
    APipe pipe;
    list(pipe.reader());
    ZEBDiscovererEventHandle handle = pipe.reader();
    int fired = -1;
    gCalls.handleTimeout = [&](int descriptor) {
        fired = descriptor;
        mLoop.quit();
    };

    gHost.setTimerForHandle(gContext, nullptr, &handle, 1000);
    handle = -1;
    runUntilQuit();

    EXPECT_EQ(fired, pipe.reader());
    EXPECT_THAT(mLines.violations(), IsEmpty());
}

TEST_F(AHost, DropsTheTimerOfAHandleThatIsNoLongerListed) {
    APipe pipe;
    list(pipe.reader());
    mHost.beforeWait();
    ZEBDiscovererEventHandle handle = pipe.reader();
    gCalls.handleTimeout = [](int) { gCalls.made.push_back("fired"); };

    gHost.setTimerForHandle(gContext, nullptr, &handle, 2000);
    gCalls.handles.clear();
    runFor(20000);

    EXPECT_THAT(gCalls.made, IsEmpty());
    EXPECT_THAT(mLines.violations(), IsEmpty());
}

TEST_F(AHost, ReportsATimerOnAnUnknownHandle) {
    APipe pipe;
    ZEBDiscovererEventHandle handle = pipe.reader();

    gHost.setTimerForHandle(gContext, nullptr, &handle, 1000);
    mHost.beforeWait();
    gHost.setTimerForHandle(gContext, nullptr, nullptr, 1000);

    EXPECT_THAT(mLines.violations(),
                ElementsAre(HasSubstr("is none of the discoverer's"), "setTimerForHandle: no handle"));
}

TEST_F(AHost, AsksAgainWhenAThreadSaysThatHandlesChanged) {
    APipe pipe;
    std::thread changer;
    gCalls.event = [&](int) { mLoop.quit(); };
    ASSERT_EQ(write(pipe.writer(), "x", 1), 1);
    unsigned waits = 0;

    mLoop.run([&] {
        mHost.beforeWait();
        if (++waits == 1)
            changer = std::thread([] { gHost.eventHandlesChanged(gContext, nullptr); });
        if (waits == 2)
            list(pipe.reader()), mHost.beforeWait();
    });
    changer.join();

    EXPECT_THAT(gCalls.made, ElementsAre("handleSingleEvent"));
}

TEST_F(AHost, SleepsWhileNothingHappens) {
    APipe pipe;
    list(pipe.reader());
    addEntity(0);
    Timer end(mLoop, [this] { mLoop.quit(); });
    end.arm(50000);
    unsigned waits = 0;

    mLoop.run([&] {
        mHost.beforeWait();
        ++waits;
    });

    // One wait, which the end interrupts.
    EXPECT_EQ(waits, 2u);
}

TEST_F(AHostOfOneHandle, TellsThatItIsReadable) {
    APipe pipe;
    gCalls.singleHandle = pipe.reader();
    gCalls.event = [&](int) { mLoop.quit(); };
    ASSERT_EQ(write(pipe.writer(), "x", 1), 1);

    runUntilQuit();

    EXPECT_THAT(gCalls.made, ElementsAre("handleEvent"));
}

TEST_F(AHostOfOneHandle, WaitsWithoutAHandle) {
    runFor(5000);

    EXPECT_THAT(gCalls.made, IsEmpty());
    EXPECT_THAT(mLines.violations(), IsEmpty());
}

TEST_F(AHostOfOneHandle, TellsThatItsTimerExpired) {
    uint64_t begin = monotonicMicroseconds();
    gHost.setTimer(gContext, nullptr, 3000);
    gCalls.timeout = [&] { mLoop.quit(); };

    runUntilQuit();

    EXPECT_GE(monotonicMicroseconds() - begin, 3000u);
    EXPECT_THAT(gCalls.made, ElementsAre("handleTimeout"));
}

TEST_F(AHostOfOneHandle, ForgetsATimerThatIsCancelled) {
    gHost.setTimer(gContext, nullptr, 0);
    gHost.setTimer(gContext, nullptr, ZEBDiscoverySDKTimeoutCancel);

    runFor(5000);

    EXPECT_THAT(gCalls.made, IsEmpty());
}

TEST_F(AHost, HasNoTimerForADiscovererOfManyHandles) {
    gHost.setTimer(gContext, nullptr, 1000);

    runFor(5000);

    EXPECT_THAT(mLines.violations(), ElementsAre("setTimer: nobody asked for this"));
}

TEST(AHostsEntryPoints, AreThoseOfOneModeAtLeast) {
    ZEBDiscovererInterface table{};
    EXPECT_THAT(missingEntryPoints(table), HasSubstr("setContext"));
    EXPECT_THAT(missingEntryPoints(table), HasSubstr("getMultipleEventHandlesEx"));

    table.getEventHandle = [](ZEBDiscoverer*) -> ZEBDiscovererEventHandle* { return nullptr; };
    table.handleEvent = [](ZEBDiscoverer*) {};
    EXPECT_THAT(missingEntryPoints(table), HasSubstr("handleSingleEvent"));
    table.handleTimeout = [](ZEBDiscoverer*) {};
    EXPECT_THAT(missingEntryPoints(table), AllOf(HasSubstr("setContext"), Not(HasSubstr("handleSingleEvent")),
                                                 Not(HasSubstr("getMultipleEventHandlesEx"))));
}

TEST(TheEndingSignals, AreBlockedOnThreadsThatComeLater) {
    sigset_t before, blocked;
    pthread_sigmask(SIG_BLOCK, nullptr, &before);
    blockSignals();

    std::thread([&blocked] { pthread_sigmask(SIG_BLOCK, nullptr, &blocked); }).join();
    pthread_sigmask(SIG_SETMASK, &before, nullptr);

    for (int signal : {SIGINT, SIGTERM, SIGHUP}) {
        EXPECT_EQ(sigismember(&before, signal), 0) << signal;
        EXPECT_EQ(sigismember(&blocked, signal), 1) << signal;
    }
}

// As under nohup, and for SIGINT behind a shell without job control.
TEST(TheEndingSignals, StayIgnoredWhenTheyAreAtTheStart) {
    sigset_t before;
    pthread_sigmask(SIG_BLOCK, nullptr, &before);
    auto handler = std::signal(SIGHUP, SIG_IGN);
    blockSignals();
    Loop loop;
    std::vector<int> told;
    loop.watchSignals([&told](int signal) { told.push_back(signal); });

    raise(SIGHUP);
    raise(SIGTERM);
    Timer end(loop, [&loop] { loop.quit(); });
    end.arm(10'000);
    loop.run([] {});

    std::signal(SIGHUP, handler);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    EXPECT_THAT(told, ElementsAre(SIGTERM));
}

} // namespace
} // namespace zebhost

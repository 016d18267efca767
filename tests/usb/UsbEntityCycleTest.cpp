#include "tests/usb/EntityFixtures.h"

using namespace testing;
using namespace zebtest;

namespace {

constexpr int kCancel = -1, kRetry = 1000000, kWait = 3000000;

// start

TEST_F(AnEntity, TriesAgainInASecondWhenThePortCantBeOpened) {
    entity->ports = {Status::TryLater};

    entity->start();

    EXPECT_THAT(host.calls(), ElementsAre(timer(kCancel), timer(kRetry)));
    EXPECT_THAT(host.logLines(), ElementsAre(LogLine{80, "Can't open the port, waiting for interval"}));
}

TEST_F(AnEntity, IsGivenUpByTheNextTimeoutWhenItsPortIsNotSupported) {
    entity->ports = {Status::NotSupported};

    entity->start();

    EXPECT_THAT(host.calls(), ElementsAre(timer(kCancel), timer(0)));
    EXPECT_THAT(host.logLines(), ElementsAre(LogLine{80, "Open port returned not supported"}));
    EXPECT_FALSE(entity->handleTimeout());
    EXPECT_EQ(entity->portsOpened, 1) << "not tried again";
}

TEST_F(AnEntity, WaitsForItsCommandWhenThePortIsOpen) {
    entity->start();

    EXPECT_THAT(host.calls(), ElementsAre(timer(kCancel), timer(kWait)));
    EXPECT_THAT(host.logLines(), ElementsAre(LogLine{80, "Port opened successfully"}));
}

TEST_F(AnEntity, WaitsForNothingWhenOpeningThePortGaveTheCommand) {
    entity->inOpenPort = [&] { entity->setZebCmd(500000); };

    entity->start();

    EXPECT_THAT(host.calls(), ElementsAre(timer(kCancel), timer(500000)));
    EXPECT_THAT(host.logLines(), ElementsAre(LogLine{80, "Port opened successfully"}));
}

TEST_F(AnEntity, DoesNothingMoreForAStatusWithoutAName) {
    entity->ports = {kOtherStatus};

    entity->start();

    EXPECT_THAT(host.calls(), ElementsAre(timer(kCancel)));
    EXPECT_THAT(host.logLines(), IsEmpty());
}

TEST_F(AnEntity, IsStartedOnce) {
    entity->start();
    host.takeCalls();

    entity->start();

    EXPECT_THAT(host.calls(), IsEmpty());
    EXPECT_EQ(entity->portsOpened, 1);
}

TEST_F(AnEntity, ArmsNoTimerWhenItIsStartedWithItsCommand) {
    giveCommand(kCancel);

    entity->start();

    EXPECT_THAT(host.calls(), IsEmpty());
    EXPECT_THAT(host.logLines(),
                ElementsAre(LogLine{80, "ZebCmd present already, no need to re-initialize"}));
    EXPECT_EQ(entity->portsOpened, 0);
}

TEST_F(AnEntity, LeavesTheWaitBehindWhenItIsStartedAgain) {
    entity->start(); // waits
    entity->stop();
    giveCommand(kCancel);
    entity->start(); // with a command: clears the wait, and nothing else
    EXPECT_TRUE(entity->handleTimeout());
}

// The budget.

TEST_F(AnEntity, IsLostAfterTwentyOneFailures) {
    entity->ports = {Status::TryLater};
    entity->start();
    host.takeCalls();

    for (int attempt = 2; attempt <= 20; ++attempt)
        ASSERT_TRUE(entity->handleTimeout()) << attempt;
    EXPECT_FALSE(entity->handleTimeout());

    EXPECT_EQ(entity->portsOpened, 21);
    EXPECT_THAT(host.calls(), AllOf(SizeIs(20), Each(timer(kRetry)))) << "armed the last time too";
}

TEST_F(AnEntity, StaysWhenTheLastAttemptSucceeds) {
    entity->ports = std::deque<Status>(20, Status::TryLater);
    entity->ports.push_back(Status::Done);
    entity->start();

    for (int attempt = 2; attempt <= 21; ++attempt)
        ASSERT_TRUE(entity->handleTimeout()) << attempt;

    EXPECT_EQ(entity->portsOpened, 21);
    EXPECT_EQ(host.calls().back(), timer(kWait));
}

TEST_F(AnEntity, IsLostAfterTenWaitsForItsCommand) {
    const int descriptor = giveHandle();
    entity->start();
    EXPECT_TRUE(isOpen(descriptor));
    host.takeCalls();

    for (int wait = 1; wait <= 9; ++wait)
        ASSERT_TRUE(entity->handleTimeout()) << wait;
    EXPECT_FALSE(entity->handleTimeout());

    EXPECT_EQ(entity->portsOpened, 10);
    EXPECT_FALSE(isOpen(descriptor));
    EXPECT_THAT(host.calls(), AllOf(SizeIs(9), Each(timer(kWait))));
}

TEST_F(AnEntity, SpendsTwoRetriesOnAWaitWhoseNextAttemptFails) {
    entity->start(); // budget 10, waiting
    entity->ports = {Status::TryLater};

    EXPECT_TRUE(entity->handleTimeout()); // the wait: 9; the attempt: 8
    for (int left = 7; left >= 1; --left)
        ASSERT_TRUE(entity->handleTimeout()) << left;

    EXPECT_FALSE(entity->handleTimeout());
}

TEST_F(AnEntity, HasNoBudgetAfterAStop) {
    entity->ports = {Status::TryLater};
    entity->start();
    entity->stop();
    host.takeCalls();

    EXPECT_FALSE(entity->handleTimeout()) << "0 stays 0";

    EXPECT_THAT(host.calls(), ElementsAre(timer(kRetry)));
}

// handleTimeout

TEST_F(AnEntity, IsLostWhenATimeoutFindsThePortNotSupported) {
    entity->ports = {Status::TryLater, Status::NotSupported, Status::TryLater};
    entity->start();
    host.takeCalls();

    EXPECT_FALSE(entity->handleTimeout());

    EXPECT_THAT(host.calls(), IsEmpty());
    EXPECT_FALSE(entity->handleTimeout()) << "the budget is spent";
}

TEST_F(AnEntity, WaitsForItsCommandWhenATimeoutOpensThePort) {
    entity->ports = {Status::TryLater, Status::Done};
    entity->start();
    host.takeCalls();

    EXPECT_TRUE(entity->handleTimeout());

    EXPECT_THAT(host.calls(), ElementsAre(timer(kWait)));
}

TEST_F(AnEntity, StaysForAStatusWithoutAName) {
    entity->ports = {Status::TryLater, kOtherStatus};
    entity->start();
    host.takeCalls();

    EXPECT_TRUE(entity->handleTimeout());

    EXPECT_THAT(host.calls(), IsEmpty());
}

TEST_F(AnEntity, WaitsForNothingWhenATimeoutOpensThePortWithTheCommand) {
    entity->ports = {Status::TryLater, Status::Done};
    entity->start();
    host.takeCalls();
    entity->inOpenPort = [&] { entity->setZebCmd(500000); };

    EXPECT_TRUE(entity->handleTimeout());

    EXPECT_THAT(host.calls(), ElementsAre(timer(500000)));
}

TEST_F(AnEntity, AnswersAPendingFetchAtTheTimeoutOnceItHasItsCommand) {
    const void* request = fetch("zebcmd");
    giveCommand(500000);

    EXPECT_TRUE(entity->handleTimeout());
    EXPECT_TRUE(entity->handleTimeout());

    EXPECT_THAT(host.calls(), ElementsAre(answer("zebcmd", request, 0, "zebcmd:test")));
    EXPECT_EQ(entity->portsOpened, 0);
}

// stop

TEST_F(AnEntity, ClosesItsHandleAndCancelsItsTimerWhenStopped) {
    const int descriptor = giveHandle();
    entity->start();
    host.takeCalls();

    entity->stop();

    EXPECT_THAT(host.calls(), ElementsAre(timer(kCancel)));
    EXPECT_FALSE(isOpen(descriptor));
    EXPECT_EQ(*entity->getEventHandle(), -1);
}

TEST_F(AnEntity, CanBeStartedAgainAfterAStop) {
    entity->start();
    entity->stop();

    entity->start();

    EXPECT_EQ(entity->portsOpened, 2);
}

TEST_F(AnEntity, ForgetsItsWaitWhenStopped) {
    entity->start();
    entity->stop();

    EXPECT_TRUE(entity->handleTimeout()) << "opens the port instead of giving up";

    EXPECT_EQ(entity->portsOpened, 2);
}

TEST_F(AnEntity, KeepsItsCommandButNotItsScheduleWhenStopped) {
    giveCommand(500000);
    entity->stop();
    host.takeCalls();

    const void* request = fetch("zebcmd");

    EXPECT_EQ(entity->portsOpened, 1) << "looks at the link at once";
    EXPECT_THAT(host.calls(), ElementsAre(timer(kCancel), answer("zebcmd", request, 0, "zebcmd:test")));
}

// handleEvent

TEST_F(AnEntity, CancelsItsTimerAtAnEventAndWaitsForItsCommand) {
    int handle = 5;

    EXPECT_TRUE(entity->handleEvent(&handle));

    EXPECT_EQ(entity->lastHandle, &handle);
    EXPECT_THAT(host.calls(), ElementsAre(timer(kCancel), timer(kWait)));
}

TEST_F(AnEntity, WaitsForNothingAtAnEventWhenItHasItsCommand) {
    int handle = 5;
    giveCommand(kCancel);

    EXPECT_TRUE(entity->handleEvent(&handle));

    EXPECT_THAT(host.calls(), ElementsAre(timer(kCancel)));
}

TEST_F(AnEntity, IsLostAtAnEventThatIsNotSupported) {
    int handle = 5;
    entity->ports = {Status::TryLater};
    entity->start();
    entity->eventResult = Status::NotSupported;
    host.takeCalls();

    EXPECT_FALSE(entity->handleEvent(&handle));

    EXPECT_THAT(host.calls(), ElementsAre(timer(kCancel)));
    EXPECT_FALSE(entity->handleTimeout()) << "the budget is spent";
}

TEST_F(AnEntity, SpendsARetryOnAFailedEvent) {
    for (const Status failed : {Status::TryLater, kOtherStatus}) {
        int handle = 5;
        entity->stop();
        const int descriptor = giveHandle();
        entity->start(); // budget 10, waiting
        entity->eventResult = failed;
        host.takeCalls();

        EXPECT_TRUE(entity->handleEvent(&handle));
        EXPECT_THAT(host.takeCalls(), ElementsAre(timer(kCancel), timer(kRetry)));
        EXPECT_FALSE(isOpen(descriptor));
        for (int left = 8; left >= 1; --left)
            ASSERT_TRUE(entity->handleEvent(&handle)) << left;
        host.takeCalls();
        EXPECT_FALSE(entity->handleEvent(&handle));
        EXPECT_THAT(host.takeCalls(), ElementsAre(timer(kCancel))) << "nothing is armed for a lost one";
        EXPECT_FALSE(entity->handleEvent(&handle)) << "0 stays 0";
    }
}

TEST_F(AnEntity, StopsWaitingAtAnEvent) {
    int handle = 5;
    entity->start(); // budget 10, waiting
    entity->eventResult = Status::TryLater;
    EXPECT_TRUE(entity->handleEvent(&handle)); // 9, no longer waiting
    entity->ports = {Status::TryLater};

    for (int left = 8; left >= 1; --left)
        ASSERT_TRUE(entity->handleTimeout()) << left; // a wait would have cost one more

    EXPECT_FALSE(entity->handleTimeout());
}

TEST_F(AnEntity, StopsTheProcessAtAnEventWithoutAHandle) {
    EXPECT_ASSERTION(entity->handleEvent(nullptr), "usb/UsbEntity\\.cpp", "pHandle");
}

// handleTimeoutForHandle

TEST_F(AnEntity, StaysAtATimeoutOfAHandleThatWentWell) {
    int handle = 5;

    EXPECT_TRUE(entity->handleTimeoutForHandle(&handle));

    EXPECT_EQ(entity->lastHandle, &handle);
    EXPECT_THAT(host.calls(), IsEmpty());
}

TEST_F(AnEntity, IsLostAtATimeoutOfAHandleThatIsNotSupported) {
    int handle = 5;
    entity->ports = {Status::TryLater};
    entity->start();
    entity->timeoutResult = Status::NotSupported;

    EXPECT_FALSE(entity->handleTimeoutForHandle(&handle));
    EXPECT_FALSE(entity->handleTimeout()) << "the budget is spent";
}

TEST_F(AnEntity, SpendsARetryOnAFailedTimeoutOfAHandleWithoutATimer) {
    for (const Status failed : {Status::TryLater, kOtherStatus}) {
        int handle = 5;
        entity->stop();
        const int descriptor = giveHandle();
        entity->start();
        entity->timeoutResult = failed;
        host.takeCalls();

        for (int left = 9; left >= 1; --left)
            ASSERT_TRUE(entity->handleTimeoutForHandle(&handle)) << left;
        EXPECT_FALSE(entity->handleTimeoutForHandle(&handle));

        EXPECT_FALSE(isOpen(descriptor));
        EXPECT_THAT(host.calls(), IsEmpty());
        EXPECT_FALSE(entity->handleTimeoutForHandle(&handle)) << "0 stays 0";
    }
}

} // namespace

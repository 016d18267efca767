#include "tests/usb/EntityFixtures.h"

using namespace testing;
using namespace zebtest;

namespace {

constexpr int kCancel = -1, kRetry = 1000000, kWait = 3000000;

// start

TEST_F(AnEntity, TriesAgainInASecondWhenThePortCantBeOpened) {
    entity->ports = {Status::TryLater};

    entity->start();

    EXPECT_THAT(happened(),
                ElementsAre(timer(kCancel), kOpenPort,
                            logged(80, "Can't open the port, waiting for interval"), timer(kRetry)));
}

TEST_F(AnEntity, IsGivenUpByTheNextTimeoutWhenItsPortIsNotSupported) {
    entity->ports = {Status::NotSupported};

    entity->start();

    EXPECT_THAT(happened(), ElementsAre(timer(kCancel), kOpenPort,
                                        logged(80, "Open port returned not supported"), timer(0)));
    EXPECT_FALSE(entity->handleTimeout());
    EXPECT_THAT(happened(), IsEmpty()) << "not tried again";
}

TEST_F(AnEntity, IsGivenUpEvenIfTheHostTellsOfTheTimeoutWhileItIsArmed) {
    entity->ports = {Status::NotSupported};
    bool kept = true;
    host.on["setEntityTimer"] = [&] {
        if (host.entityTimers().contains(handle()))
            kept = entity->handleTimeout();
    };

    entity->start();

    EXPECT_FALSE(kept) << "the budget is spent and the wait noted before the timer is armed";
    EXPECT_EQ(entity->portsOpened, 1);
}

TEST_F(AnEntity, WaitsForItsCommandWhenThePortIsOpen) {
    entity->start();

    EXPECT_THAT(happened(),
                ElementsAre(timer(kCancel), kOpenPort, logged(80, "Port opened successfully"), timer(kWait)));
}

TEST_F(AnEntity, WaitsForItsCommandBeforeTheTimerIsArmed) {
    const int descriptor = giveHandle();
    host.on["setEntityTimer"] = [&] {
        if (!host.entityTimers().contains(handle()))
            return;
        host.on["setEntityTimer"] = nullptr;
        entity->handleTimeout();
    };

    entity->start();

    EXPECT_FALSE(isOpen(descriptor)) << "the end of a wait closes it";
}

TEST_F(AnEntity, WaitsForNothingWhenOpeningThePortGaveTheCommand) {
    entity->inOpenPort = [&] { entity->setZebCmd(500000); };

    entity->start();

    EXPECT_THAT(happened(), ElementsAre(timer(kCancel), kOpenPort, Call{"doSetZebCmd", {}},
                                        Call{"allocString", {"zebcmd:test", -1}}, timer(500000),
                                        logged(80, "Port opened successfully")));
}

TEST_F(AnEntity, DoesNothingMoreForAStatusWithoutAName) {
    entity->ports = {kOtherStatus};

    entity->start();

    EXPECT_THAT(happened(), ElementsAre(timer(kCancel), kOpenPort));
}

TEST_F(AnEntity, IsStartedOnce) {
    entity->start();
    forget();

    entity->start();

    EXPECT_THAT(happened(), IsEmpty());
}

TEST_F(AnEntity, IsStartedOnceEvenFromInsideItsStart) {
    entity->inOpenPort = [&] { entity->start(); };

    entity->start();

    EXPECT_EQ(entity->portsOpened, 1);
}

TEST_F(AnEntity, ArmsNoTimerWhenItIsStartedWithItsCommand) {
    giveCommand(kCancel);

    entity->start();

    EXPECT_THAT(happened(), ElementsAre(logged(80, "ZebCmd present already, no need to re-initialize")));
    entity->start();
    EXPECT_THAT(happened(), IsEmpty()) << "it counts as started";
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
    forget();

    for (int attempt = 2; attempt <= 20; ++attempt) {
        ASSERT_TRUE(entity->handleTimeout()) << attempt;
        ASSERT_THAT(happened(), ElementsAre(kOpenPort, timer(kRetry)));
    }
    EXPECT_FALSE(entity->handleTimeout());

    EXPECT_EQ(entity->portsOpened, 21);
    EXPECT_THAT(happened(), ElementsAre(kOpenPort, timer(kRetry))) << "armed the last time too";
}

TEST_F(AnEntity, StaysWhenTheLastAttemptSucceeds) {
    entity->ports = std::deque<Status>(20, Status::TryLater);
    entity->ports.push_back(Status::Done);
    entity->start();

    for (int attempt = 2; attempt <= 21; ++attempt)
        ASSERT_TRUE(entity->handleTimeout()) << attempt;

    EXPECT_EQ(entity->portsOpened, 21);
    EXPECT_EQ(happened().back(), timer(kWait));
}

TEST_F(AnEntity, IsLostAfterTenWaitsForItsCommand) {
    const int descriptor = giveHandle();
    entity->start();
    EXPECT_TRUE(isOpen(descriptor));
    forget();

    ASSERT_TRUE(entity->handleTimeout());
    EXPECT_THAT(happened(), ElementsAre(Call{"close", {descriptor}}, kOpenPort, timer(kWait)));
    for (int wait = 2; wait <= 9; ++wait) {
        ASSERT_TRUE(entity->handleTimeout()) << wait;
        ASSERT_THAT(happened(), ElementsAre(kOpenPort, timer(kWait)));
    }
    const int last = giveHandle();
    EXPECT_FALSE(entity->handleTimeout());

    EXPECT_THAT(happened(), ElementsAre(Call{"close", {last}})) << "closed, and not opened again";
    EXPECT_EQ(entity->portsOpened, 10);
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
    forget();

    EXPECT_FALSE(entity->handleTimeout()) << "0 stays 0";

    EXPECT_THAT(happened(), ElementsAre(kOpenPort, timer(kRetry)));
}

TEST_F(AnEntity, HasItsBudgetAnewWithEachStart) {
    entity->ports = {Status::TryLater};
    entity->start();
    for (int attempt = 2; attempt <= 20; ++attempt)
        entity->handleTimeout();
    entity->stop();
    entity->start();

    for (int attempt = 2; attempt <= 20; ++attempt)
        ASSERT_TRUE(entity->handleTimeout()) << attempt;
    EXPECT_FALSE(entity->handleTimeout());
}

// handleTimeout

TEST_F(AnEntity, IsLostWhenATimeoutFindsThePortNotSupported) {
    entity->ports = {Status::TryLater, Status::NotSupported, Status::TryLater};
    entity->start();
    forget();

    EXPECT_FALSE(entity->handleTimeout());

    EXPECT_THAT(happened(), ElementsAre(kOpenPort));
    EXPECT_FALSE(entity->handleTimeout()) << "the budget is spent";
}

TEST_F(AnEntity, WaitsForItsCommandWhenATimeoutOpensThePort) {
    entity->ports = {Status::TryLater, Status::Done};
    entity->start();
    forget();

    EXPECT_TRUE(entity->handleTimeout());

    EXPECT_THAT(happened(), ElementsAre(kOpenPort, timer(kWait)));
}

TEST_F(AnEntity, StaysForAStatusWithoutAName) {
    entity->ports = {Status::TryLater, kOtherStatus};
    entity->start();
    forget();

    EXPECT_TRUE(entity->handleTimeout());

    EXPECT_THAT(happened(), ElementsAre(kOpenPort));
}

TEST_F(AnEntity, WaitsForNothingWhenATimeoutOpensThePortWithTheCommand) {
    entity->ports = {Status::TryLater, Status::Done};
    entity->start();
    forget();
    entity->inOpenPort = [&] { entity->setZebCmd(500000); };

    EXPECT_TRUE(entity->handleTimeout());

    EXPECT_THAT(happened(), ElementsAre(kOpenPort, Call{"doSetZebCmd", {}},
                                        Call{"allocString", {"zebcmd:test", -1}}, timer(500000)));
}

TEST_F(AnEntity, AnswersAPendingFetchAtTheTimeoutOnceItHasItsCommand) {
    const void* request = fetch("zebcmd");
    giveCommand(500000);

    EXPECT_TRUE(entity->handleTimeout());
    EXPECT_THAT(happened(), ElementsAre(Call{"allocString", {"zebcmd:test", -1}},
                                        answer("zebcmd", request, 0, "zebcmd:test")));
    EXPECT_TRUE(entity->handleTimeout());
    EXPECT_THAT(happened(), IsEmpty()) << "there is nothing to answer, and nothing to open";
}

TEST_F(AnEntity, HasItsCommandForEverybodyFromInsideTheAnswerOfTheTimeout) {
    fetch("zebcmd");
    giveCommand(500000);
    host.on["fetchComplete"] = [&] {
        host.on["fetchComplete"] = nullptr;
        fetch("zebcmd");
    };

    entity->handleTimeout();

    EXPECT_EQ(entity->portsOpened, 1) << "the schedule is over before the answer is sent";
}

// stop

TEST_F(AnEntity, ClosesItsHandleThenCancelsItsTimerWhenStopped) {
    const int descriptor = giveHandle();
    entity->start();
    forget();

    entity->stop();

    EXPECT_THAT(happened(), ElementsAre(Call{"close", {descriptor}}, timer(kCancel)));
    EXPECT_EQ(*entity->getEventHandle(), -1);
}

TEST_F(AnEntity, CanBeStartedAgainAfterAStop) {
    entity->start();
    entity->stop();
    forget();

    entity->start();

    EXPECT_THAT(happened(), Contains(kOpenPort));
}

TEST_F(AnEntity, CanBeStartedAgainEvenIfTheHostWouldNotCancelItsTimer) {
    entity->start();
    host.on["setEntityTimer"] = [] { throw std::runtime_error("no timers"); };
    EXPECT_THROW(entity->stop(), std::runtime_error);
    host.on["setEntityTimer"] = nullptr;
    entity->ports = {Status::TryLater};

    EXPECT_TRUE(entity->handleTimeout()) << "it waits no more, with some of its budget left";

    entity->start();
    EXPECT_EQ(entity->portsOpened, 3);
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
    forget();

    const void* request = fetch("zebcmd");

    EXPECT_THAT(happened(), ElementsAre(kOpenPort, timer(kCancel), Call{"allocString", {"zebcmd:test", -1}},
                                        answer("zebcmd", request, 0, "zebcmd:test")))
        << "looks at the link at once";
}

} // namespace

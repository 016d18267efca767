#include "tests/usb/EntityFixtures.h"

using namespace testing;
using namespace zebtest;

namespace {

constexpr int kCancelled = -1, kAgain = 1000000, kForTheCommand = 3000000;

class AnEntityWithAnEvent : public AnEntity {
protected:
    Call event() const { return {"doHandleEvent", {static_cast<const void*>(&five)}}; }
    Call timeout() const { return {"doHandleTimeout", {static_cast<const void*>(&five)}}; }

    int five = 5;
};

// handleEvent

TEST_F(AnEntityWithAnEvent, CancelsItsTimerAndWaitsForItsCommand) {
    EXPECT_TRUE(entity->handleEvent(&five));

    EXPECT_THAT(happened(), ElementsAre(timer(kCancelled), event(), timer(kForTheCommand)));
}

TEST_F(AnEntityWithAnEvent, WaitsForNothingWhenItHasItsCommand) {
    giveCommand(kCancelled);

    EXPECT_TRUE(entity->handleEvent(&five));

    EXPECT_THAT(happened(), ElementsAre(timer(kCancelled), event()));
}

TEST_F(AnEntityWithAnEvent, IsLostWhenItIsNotSupported) {
    const int descriptor = giveHandle();
    entity->ports = {Status::TryLater};
    entity->start();
    entity->eventResult = Status::NotSupported;
    forget();

    EXPECT_FALSE(entity->handleEvent(&five));

    EXPECT_THAT(happened(), ElementsAre(timer(kCancelled), event()));
    EXPECT_TRUE(isOpen(descriptor)) << "closed after failures only";
    EXPECT_FALSE(entity->handleTimeout()) << "the budget is spent";
}

TEST_F(AnEntityWithAnEvent, SpendsARetryWhenItFails) {
    for (const Status failed : {Status::TryLater, kOtherStatus}) {
        entity->stop();
        const int descriptor = giveHandle();
        entity->start(); // budget 10, waiting
        entity->eventResult = failed;
        forget();

        EXPECT_TRUE(entity->handleEvent(&five));
        EXPECT_THAT(happened(),
                    ElementsAre(timer(kCancelled), event(), Call{"close", {descriptor}}, timer(kAgain)));
        for (int left = 8; left >= 1; --left)
            ASSERT_TRUE(entity->handleEvent(&five)) << left;
        forget();
        const int last = giveHandle();
        EXPECT_FALSE(entity->handleEvent(&five));
        EXPECT_THAT(happened(), ElementsAre(timer(kCancelled), event(), Call{"close", {last}}))
            << "nothing is armed for a lost one";
        EXPECT_FALSE(entity->handleEvent(&five)) << "0 stays 0";
    }
}

TEST_F(AnEntityWithAnEvent, WaitsNoMore) {
    entity->start(); // budget 10, waiting
    entity->eventResult = Status::TryLater;
    EXPECT_TRUE(entity->handleEvent(&five)); // 9, no longer waiting
    entity->ports = {Status::TryLater};

    for (int left = 8; left >= 1; --left)
        ASSERT_TRUE(entity->handleTimeout()) << left; // a wait would have cost one more

    EXPECT_FALSE(entity->handleTimeout());
}

TEST_F(AnEntityWithAnEvent, WaitsNoMoreBeforeItLooksAtTheEvent) {
    entity->start(); // waiting
    bool kept = false;
    entity->inDoHandleEvent = [&] { kept = entity->handleTimeout(); };

    entity->handleEvent(&five);

    EXPECT_TRUE(kept);
    for (int left = 9; left >= 1; --left)
        ASSERT_TRUE(entity->handleTimeout()) << left << ": the one inside spent nothing";
    EXPECT_FALSE(entity->handleTimeout());
}

TEST_F(AnEntityWithAnEvent, LeavesItsWaitBehindWhenItIsStarted) {
    entity->handleEvent(&five); // waits, though it was not started
    entity->ports = {Status::TryLater};
    entity->start(); // budget 20

    for (int left = 19; left >= 1; --left)
        ASSERT_TRUE(entity->handleTimeout()) << left << ": a wait would have cost one more";
    EXPECT_FALSE(entity->handleTimeout());
}

TEST_F(AnEntityWithAnEvent, StopsTheProcessWithoutAHandleBeforeItsTimerIsCancelled) {
    host.on["setEntityTimer"] = [] { throw std::runtime_error("too late"); };

    EXPECT_ASSERTION(entity->handleEvent(nullptr), "usb/UsbEntity\\.cpp", "pHandle");
    host.on["setEntityTimer"] = nullptr;
}

// handleTimeoutForHandle

TEST_F(AnEntityWithAnEvent, StaysAtATimeoutOfAHandleThatWentWell) {
    EXPECT_TRUE(entity->handleTimeoutForHandle(&five));

    EXPECT_THAT(happened(), ElementsAre(timeout()));
}

TEST_F(AnEntityWithAnEvent, IsLostAtATimeoutOfAHandleThatIsNotSupported) {
    const int descriptor = giveHandle();
    entity->ports = {Status::TryLater};
    entity->start();
    entity->timeoutResult = Status::NotSupported;
    forget();

    EXPECT_FALSE(entity->handleTimeoutForHandle(&five));

    EXPECT_THAT(happened(), ElementsAre(timeout()));
    EXPECT_TRUE(isOpen(descriptor)) << "closed after failures only";
    EXPECT_FALSE(entity->handleTimeout()) << "the budget is spent";
}

TEST_F(AnEntityWithAnEvent, SpendsARetryOnAFailedTimeoutOfAHandleWithoutATimer) {
    for (const Status failed : {Status::TryLater, kOtherStatus}) {
        entity->stop();
        const int descriptor = giveHandle();
        entity->start();
        entity->timeoutResult = failed;
        forget();

        EXPECT_TRUE(entity->handleTimeoutForHandle(&five));
        EXPECT_THAT(happened(), ElementsAre(timeout(), Call{"close", {descriptor}}));
        for (int left = 8; left >= 1; --left)
            ASSERT_TRUE(entity->handleTimeoutForHandle(&five)) << left;
        const int last = giveHandle();
        forget();
        EXPECT_FALSE(entity->handleTimeoutForHandle(&five));
        EXPECT_THAT(happened(), ElementsAre(timeout(), Call{"close", {last}}));
        EXPECT_FALSE(entity->handleTimeoutForHandle(&five)) << "0 stays 0";
    }
}

} // namespace

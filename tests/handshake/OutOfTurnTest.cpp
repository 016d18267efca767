// Timers and events that come when nothing is due: what they change, and what they leave alone.
#include "tests/handshake/Sequence.h"

using namespace testing;

namespace zebtest {
namespace {

class ALateTimeout : public ASequence {};

TEST_F(ALateTimeout, OfAnEntityThatIsNotSupportedReportsItLostAgain) {
    advanceTo(0);
    completeAs(LIBUSB_TRANSFER_STALL, 0);
    ASSERT_EQ(rig.lostCalls(), 1);
    taken();

    rig.host.expireEntityTimer(rig.entity);
    EXPECT_EQ(taken(), Calls{lost()});
    rig.host.expireEntityTimer(rig.entity);
    EXPECT_EQ(taken(), Calls{lost()});
}

TEST_F(ALateTimeout, OfAnEntityThatFailedSpendsATryAndNoRequest) {
    advanceTo(1);
    completeAs(LIBUSB_TRANSFER_ERROR, 0);
    taken();

    rig.host.expireEntityTimer(rig.entity);

    EXPECT_EQ(taken(), Calls{timer(1'000'000)});
}

TEST_F(ALateTimeout, OfAnEntityThatIsUnderWayOpensNothingAgain) {
    for (const std::size_t transfer : {0U, 1U, 6U, 7U}) {
        SCOPED_TRACE(kTransfers[transfer].name);
        advanceTo(transfer);

        rig.host.expireEntityTimer(rig.entity);

        EXPECT_EQ(taken(), Calls{timer(3'000'000)});
        EXPECT_EQ(rig.phone->pending(), 1U);
    }
}

TEST_F(ALateTimeout, OfTheWakeEventIsOnlyForWhereItIsAwaited) {
    for (std::size_t transfer = 0; transfer < kTransfers.size(); ++transfer) {
        SCOPED_TRACE(kTransfers[transfer].name);
        advanceTo(transfer);

        expireTimer();

        EXPECT_EQ(taken(), Calls{});
    }
    rig.completeOne();
    taken();
    expireTimer();
    EXPECT_EQ(taken(), Calls{}) << "all has been sent";
}

TEST_F(ALateTimeout, OfTheWakeEventDoesNothingToAnEntityThatIsAtItsEnd) {
    for (const int status : {LIBUSB_TRANSFER_STALL, LIBUSB_TRANSFER_ERROR}) {
        advanceTo(0);
        completeAs(status, 0);
        taken();

        expireTimer();

        EXPECT_EQ(taken(), Calls{});
        rig.host.entry.stop(rig.host.discoverer);
        rig.host.entry.start(rig.host.discoverer);
    }
}

// Events when nothing has happened.

class AnEvent : public ASequence {};

TEST_F(AnEvent, LooksAtLibusbOnceWithoutWaiting) {
    advanceTo(2);

    wake();

    EXPECT_EQ(taken(), (Calls{timer(-1), events(), timer(3'000'000)}));
}

TEST_F(AnEvent, OfAnEntityThatFailedDoesNotLookAtLibusb) {
    advanceTo(2);
    completeAs(LIBUSB_TRANSFER_ERROR, 0);
    taken();

    wake();

    EXPECT_EQ(taken(), (Calls{timer(-1), timer(1'000'000)}));
}

TEST_F(AnEvent, OfAnEntityThatIsNotSupportedReportsItLostAgain) {
    advanceTo(2);
    completeAs(LIBUSB_TRANSFER_COMPLETED, 0);
    taken();

    wake();

    EXPECT_EQ(taken(), (Calls{timer(-1), events(), lost()}));
}

TEST_F(AnEvent, ThatLibusbFailsSpendsATryWhateverItsError) {
    for (const int error : {-10, -99, 1}) {
        advanceTo(2);
        usb.nextEvents = error;

        wake();

        EXPECT_EQ(taken(), (Calls{timer(-1), events(), timer(1'000'000)}));
    }
}

} // namespace
} // namespace zebtest

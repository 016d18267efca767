// How an entity ends: each call of the host and libusb in its order, and what the host watches meanwhile.
#include "tests/handshake/Sequence.h"

using namespace testing;
using namespace zebphones;

namespace zebtest {
namespace {

class AnEnd : public ASequence {
protected:
    using ASequence::ASequence;
    using Watched = std::vector<std::pair<int, int>>;

    void stop() { rig.host.entry.stop(rig.host.discoverer); }
    /** A transfer is cancelled and has come back so. */
    Calls cancelling() const { return {cancelled(), events(), finished(LIBUSB_TRANSFER_CANCELLED, 0)}; }
    /** Then all is given back. */
    Calls closing(const Calls& before, const Calls& after) const {
        Calls all = before;
        all.insert(all.end(), {transferFreed(), closed(), ended()});
        all.insert(all.end(), after.begin(), after.end());
        return all;
    }
    static Watched without(const Watched& handles, int descriptor) {
        Watched rest = handles;
        std::erase_if(rest, [&](const auto& handle) { return handle.first == descriptor; });
        return rest;
    }
};

TEST_F(AnEnd, CancelsFreesTheTransferClosesTheDeviceAndEndsLibusbBeforeTheTimer) {
    advanceTo(3);

    stop();

    EXPECT_EQ(taken(), closing(cancelling(), {timer(-1), stopped()}));
}

TEST_F(AnEnd, TakesTheNodeWithTheDeviceTheWakeEventBeforeLibusbAndTheRestWithLibusb) {
    advanceTo(3);
    const Watched all = rig.host.handles();
    int node = -1;
    for (const auto& [descriptor, write] : all)
        node = write ? descriptor : node;
    Watched atClose, atExit;
    usb.on["libusb_close"] = [&] { atClose = rig.host.handles(); };
    usb.on["libusb_exit"] = [&] { atExit = rig.host.handles(); };

    stop();

    EXPECT_EQ(atClose, all);
    EXPECT_EQ(atExit, without(without(all, node), all.back().first));
    EXPECT_THAT(rig.host.handles(), IsEmpty());
}

TEST_F(AnEnd, WithoutAPendingTransferAsksLibusbForNoEvents) {
    advanceTo(6);
    rig.completeOne();
    taken();

    stop();

    EXPECT_EQ(taken(), closing({}, {timer(-1), stopped()}));
}

TEST_F(AnEnd, OfWhatHasEndedOnlyCancelsTheTimer) {
    advanceTo(2);
    stop();
    taken();

    stop();

    EXPECT_EQ(taken(), (Calls{timer(-1), stopped()}));
}

TEST_F(AnEnd, CancelsAgainUntilTheTransferIsBack) {
    advanceTo(2);
    usb.nextEvents = -10;

    stop();

    Calls twice = {cancelled(), events()};
    const Calls rest = cancelling();
    twice.insert(twice.end(), rest.begin(), rest.end());
    EXPECT_EQ(taken(), closing(twice, {timer(-1), stopped()}));
}

class AnEndThatComesTooLate : public AnEnd, public WithParamInterface<std::size_t> {};

TEST_P(AnEndThatComesTooLate, SendsNothingMoreThoughTheTransferCameBackWhole) {
    const int length = kTransfers[GetParam()].length;
    advanceTo(GetParam());
    usb.nextOutcome = LibUsbSpy::Outcome{LIBUSB_TRANSFER_COMPLETED, length};

    stop();

    EXPECT_EQ(taken(), closing({cancelled(), events(), finished(LIBUSB_TRANSFER_COMPLETED, length)},
                               {timer(-1), stopped()}));
    EXPECT_THAT(rig.host.handleTimers(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(AtMostMoments, AnEndThatComesTooLate, Values<std::size_t>(0, 1, 6, 7));

TEST_F(AnEnd, OfAFailedTransferLetsTheEntityBeginAgain) {
    advanceTo(4);
    usb.nextOutcome = LibUsbSpy::Outcome{LIBUSB_TRANSFER_ERROR, 0};

    stop();

    EXPECT_EQ(taken(), closing({cancelled(), events(), finished(LIBUSB_TRANSFER_ERROR, 0),
                                line(10, "USB transfer failed with status 1")},
                               {timer(-1), stopped()}));
    rig.host.entry.start(rig.host.discoverer);
    EXPECT_THAT(rig.below("libusb_submit_transfer"), ElementsAre(submitted(kSetups[0])));
}

TEST_F(AnEnd, WithoutADeviceClosesNone) {
    usb.nextOpen = -3;
    rig.offer();
    taken();

    stop();

    EXPECT_EQ(taken(), (Calls{transferFreed(), ended(), timer(-1), stopped()}));
}

TEST_F(AnEnd, WithoutATransferFreesNone) {
    usb.nextAllocationFails = true;
    rig.offer();
    taken();

    stop();

    EXPECT_EQ(taken(), (Calls{ended(), timer(-1), stopped()}));
}

TEST_F(AnEnd, WithoutAContextEndsNone) {
    usb.nextInit = -1;
    rig.offer();
    taken();

    stop();

    EXPECT_EQ(taken(), (Calls{timer(-1), stopped()}));
}

TEST_F(AnEnd, OfARemovedDeviceComesBeforeTheHostIsTold) {
    advanceTo(2);

    rig.removeDevice();

    EXPECT_EQ(taken(), closing(cancelling(), {timer(-1), lost()}));
}

TEST_F(AnEnd, OfADestroyedEntityCancelsTheTimerTwice) {
    advanceTo(2);
    const Call released = {"releaseDevice", {rig.host.provider, rig.record->get()}};

    rig.host.destroyEntity(rig.entity);

    Calls expected = {released};
    const Calls rest = closing(cancelling(), {timer(-1), timer(-1)});
    expected.insert(expected.end(), rest.begin(), rest.end());
    EXPECT_EQ(taken(), expected);
}

TEST_F(AnEnd, IsReachedBeforeTheTimerIsCancelled) {
    advanceTo(2);
    usb.nextOutcome = LibUsbSpy::Outcome{LIBUSB_TRANSFER_ERROR, 0};
    Calls before;
    rig.host.on["setEntityTimer"] = [&] {
        rig.host.on.erase("setEntityTimer");
        before = taken();
        rig.host.entry.handleEntityTimeout(rig.host.discoverer, rig.entity);
    };

    stop();

    EXPECT_EQ(before.back(), timer(-1));
    EXPECT_THAT(rig.below("libusb_open"), SizeIs(1)) << "it may be opened again";
}

TEST_F(AnEnd, IsFollowedByAWholeOpening) {
    advanceTo(2);
    stop();
    taken();

    rig.host.entry.start(rig.host.discoverer);

    EXPECT_EQ(taken(), (Calls{{"discovererStarted", {rig.host.discoverer, 0}},
                              timer(-1),
                              initialised(),
                              logLevelSet(),
                              allocated(),
                              listed(),
                              asked("/dev/bus/usb/001/002"),
                              opened(phoneName()),
                              listFreed(),
                              notifiersSet(),
                              descriptorsListed(),
                              submitted(kSetups[0]),
                              line(80, "Port opened successfully"),
                              timer(3'000'000)}));
}

} // namespace
} // namespace zebtest

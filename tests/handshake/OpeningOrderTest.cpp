// From the offer to the first request: each call of the host, libusb and the system in its order.
#include "tests/handshake/Sequence.h"
#include "tests/support/FailingNew.h"

#include <poll.h>

using namespace testing;
using namespace zebphones;

namespace zebtest {
namespace {

const char kFound[] = "Potentially found an Android device that supports AAP";
const char kDevPath[] = "/dev/bus/usb/001/002";
const char kProcPath[] = "/proc/bus/usb/001/002";

class AnOpening : public ASequence {
protected:
    using ASequence::ASequence;

    /** The offer, then its own steps, and how the entity takes it. */
    Calls offered(const Calls& steps, const char* text, int timeout) const {
        Calls all = {
            line(30, kFound), {"addUnpublishedEntity", {rig.host.discoverer, rig.entity}}, timer(-1)};
        all.insert(all.end(), steps.begin(), steps.end());
        all.insert(all.end(), {line(80, text), timer(timeout)});
        return all;
    }
    /** It came to an end; no request was sent. */
    Calls triedAgain(const Calls& steps) const {
        return offered(steps, "Can't open the port, waiting for interval", 1'000'000);
    }
    Calls givenUp(const Calls& steps) const { return offered(steps, "Open port returned not supported", 0); }
    /** The retry timer expires, and this time the phone is sent its first request. */
    Calls retried(const Calls& steps) const {
        Calls all = steps;
        all.insert(all.end(), {listed(), asked(kDevPath), opened(phoneName()), listFreed(), notifiersSet(),
                               descriptorsListed(), submitted(kSetups[0]), timer(3'000'000)});
        return all;
    }
    /** What the host would wait on. */
    std::vector<std::pair<int, int>> watched() { return rig.host.handles(); }
};

TEST_F(AnOpening, GoesStepByStep) {
    rig.offer();

    EXPECT_EQ(taken(), offered({initialised(), logLevelSet(), allocated(), listed(), asked(kDevPath),
                                opened(phoneName()), listFreed(), notifiersSet(), descriptorsListed(),
                                submitted(kSetups[0])},
                               "Port opened successfully", 3'000'000));
}

TEST_F(AnOpening, HasTheHostWatchLibusbsDescriptorsInTheirOrderThenTheWakeEventBeforeTheFirstRequest) {
    std::vector<std::pair<int, int>> atNotifiers = {{0, 0}}, atRequest;
    usb.on["libusb_set_pollfd_notifiers"] = [&] { atNotifiers = watched(); };
    usb.on["libusb_submit_transfer"] = [&] { atRequest = watched(); };

    rig.offer();

    EXPECT_THAT(atNotifiers, IsEmpty());
    ASSERT_EQ(atRequest.size(), usb.pollFds.size() + 1);
    for (std::size_t i = 0; i < usb.pollFds.size(); ++i)
        EXPECT_EQ(atRequest[i],
                  std::pair(usb.pollFds[i].first, (usb.pollFds[i].second & POLLOUT) != 0 ? 1 : 0));
    EXPECT_EQ(atRequest.back().second, 0);
}

TEST_F(AnOpening, ThatCannotInitialiseLibusbGoesNoFurther) {
    usb.nextInit = -99;

    rig.offer();

    EXPECT_EQ(taken(), triedAgain({initialised(), line(10, "Failed to initialise libusb with error -99")}));
    rig.host.advance(1'000'000);
    EXPECT_EQ(taken(), retried({initialised(), logLevelSet(), allocated()}));
}

TEST_F(AnOpening, SetsTheLogLevelEachTimeAndMakesTheContextOnce) {
    usb.nextAllocationFails = true;

    rig.offer();

    EXPECT_EQ(taken(), triedAgain({initialised(), logLevelSet(), allocated(),
                                   line(10, "Failed to allocate USB transfer object")}));
    rig.host.advance(1'000'000);
    EXPECT_EQ(taken(), retried({logLevelSet(), allocated()}));
}

TEST_F(AnOpening, WithoutAListFreesNone) {
    usb.nextDeviceList = -11;

    rig.offer();

    EXPECT_EQ(taken(), givenUp({initialised(), logLevelSet(), allocated(), listed()}));
}

TEST_F(AnOpening, WithAnEmptyListFreesIt) {
    usb.nextListIsEmpty = true;

    rig.offer();

    EXPECT_EQ(taken(), givenUp({initialised(), logLevelSet(), allocated(), listed(), listFreed()}));
}

TEST_F(AnOpening, OfADeviceThatIsNotListedFreesTheListAndAsksForNoNode) {
    rig.record = std::make_unique<zebphones::DeviceRecord>(loadPhone("accessory").normal, 1, 99, 3);

    rig.offer();

    EXPECT_EQ(taken(), givenUp({initialised(), logLevelSet(), allocated(), listed(), listFreed()}));
}

TEST_F(AnOpening, OfANodeThatMayNotBeUsedFreesTheList) {
    NodeAccess::instance().allow = [](const std::string&) { return false; };

    rig.offer();

    EXPECT_EQ(taken(), givenUp({initialised(), logLevelSet(), allocated(), listed(), asked(kDevPath),
                                asked(kProcPath), listFreed()}));
}

TEST_F(AnOpening, ThatFailsIsLoggedBeforeTheListIsFreed) {
    usb.nextOpen = -3;

    rig.offer();

    EXPECT_EQ(taken(), givenUp({initialised(), logLevelSet(), allocated(), listed(), asked(kDevPath),
                                opened(phoneName()), line(10, "Failed to open USB device with error -3"),
                                listFreed()}));
}

TEST_F(AnOpening, ThatIsRefusedItsRequestSaysSoBeforeItWaits) {
    rig.phone->withModel([](PhoneModel& model) {
        model.setFaults({{.request = kGetProtocol, .reaction = Reaction::RefusedNoDevice}});
    });

    rig.offer();

    EXPECT_EQ(taken(), triedAgain({initialised(), logLevelSet(), allocated(), listed(), asked(kDevPath),
                                   opened(phoneName()), listFreed(), notifiersSet(), descriptorsListed(),
                                   submitted(kSetups[0]),
                                   line(10, "Submission of control transfer failed, error -4")}));
}

TEST_F(AnOpening, DuringWhichAnotherWasMadeSendsNoRequestOfItsOwn) {
    usb.on["libusb_get_pollfds"] = [&] {
        usb.on.clear();
        rig.host.entry.handleEntityTimeout(rig.host.discoverer, rig.host.entities().back());
    };

    rig.offer();

    EXPECT_EQ(taken(), triedAgain({initialised(), logLevelSet(), allocated(), listed(), asked(kDevPath),
                                   opened(phoneName()), listFreed(), notifiersSet(), descriptorsListed(),
                                   logLevelSet(), notifiersSet(), descriptorsListed(), submitted(kSetups[0]),
                                   timer(3'000'000)}));
}

/** Memory runs out in an opening that a start has begun; the entity is kept, and the host tries it again. */
class AnOpeningThatMemoryFailed : public AnOpening {
protected:
    AnOpeningThatMemoryFailed() {
        rig.offer();
        rig.host.entry.stop(rig.host.discoverer);
    }

    /** The n-th allocation after libusb has told its descriptors fails; what the host watches then. */
    std::vector<std::pair<int, int>> startFailingAt(int n) {
        std::unique_ptr<FailingNew> failing;
        usb.on["libusb_get_pollfds"] = [&] {
            failing = std::unique_ptr<FailingNew>(new FailingNew(FailingNew::at(n)));
        };
        usb.on["libusb_submit_transfer"] = [&] { failing.reset(); };
        rig.host.entry.start(rig.host.discoverer);
        usb.on.clear();
        EXPECT_TRUE(failing) << "there is memory for all of it";
        failing.reset();
        rig.host.takeRecord();
        return watched();
    }
};

TEST_F(AnOpeningThatMemoryFailed, GoesOnWithTheDeviceThatIsOpen) {
    ASSERT_THAT(startFailingAt(1), IsEmpty());

    rig.host.expireEntityTimer(rig.entity);

    EXPECT_EQ(taken(), (Calls{logLevelSet(), notifiersSet(), descriptorsListed(), submitted(kSetups[0]),
                              timer(3'000'000)}));
}

TEST_F(AnOpeningThatMemoryFailed, IsNotRepeatedWhileTheHostWatchesAHandle) {
    std::vector<std::pair<int, int>> handles;
    for (int n = 2; handles.empty(); ++n) {
        rig.host.entry.stop(rig.host.discoverer);
        handles = startFailingAt(n);
        ASSERT_LT(n, 100);
    }

    rig.host.expireEntityTimer(rig.entity);

    EXPECT_EQ(taken(), Calls{timer(3'000'000)});
}

class AnOpeningOfAnAccessory : public AnOpening {
protected:
    AnOpeningOfAnAccessory() : AnOpening(phoneInAccessoryMode()) {}
};

TEST_F(AnOpeningOfAnAccessory, FormsItsCommandBeforeTheTimerAndAsksLibusbNothing) {
    rig.offer();

    EXPECT_EQ(taken(), (Calls{line(30, kFound),
                              line(30, "Device already in AAP mode, assuming it's the correct AAP settings."),
                              {"addEntity", {rig.host.discoverer, rig.entity}},
                              timer(-1),
                              {"allocString", {nullptr, 56}},
                              timer(1'000'000),
                              line(80, "Port opened successfully")}));
}

} // namespace
} // namespace zebtest

#include "tests/support/FailingNew.h"
#include "tests/usb/DiscovererFixture.h"

#include <new>

using namespace testing;
using namespace zebtest;

namespace {

// Interest.

TEST_F(TheUsbDiscoverer, SaysHowMuchItWantsADeviceAndWhy) {
    struct {
        const DeviceRecord& device;
        int level;
        const char* description;
    } const rows[] = {
        {phone, 15, "103"}, {accessory, 10, "106"}, {switchable, 30, "105"}, {unusable, 100, nullptr}};

    for (const auto& row : rows) {
        char untouched = 0;
        char* out = &untouched;
        EXPECT_EQ(host.entry.getDeviceInterest(host.discoverer, host.provider, row.device, &out), row.level);
        if (row.description) {
            EXPECT_THAT(happened(), ElementsAre(Call{"allocString", {row.description, -1}}));
            EXPECT_EQ(host.receive(out), row.description);
        } else {
            EXPECT_THAT(happened(), IsEmpty());
            EXPECT_EQ(out, &untouched);
        }
        host.entry.getDeviceInterest(host.discoverer, host.provider, row.device, nullptr);
        EXPECT_THAT(happened(), IsEmpty()) << "nobody wants to know why";
    }
}

TEST_F(TheUsbDiscoverer, SaysSoWithoutADescriptionWhenThereIsNoMemory) {
    char* out = nullptr;
    host.failAllocations = true;

    EXPECT_EQ(host.entry.getDeviceInterest(host.discoverer, host.provider, phone, &out), 15);

    EXPECT_EQ(out, nullptr);
    EXPECT_THAT(happened(), ElementsAre(Call{"allocString", {"103", -1}}));
}

// Offers.

TEST_F(TheUsbDiscoverer, HandsOverATetheringPhoneThenStartsIt) {
    ZEBDiscovererEntity* entity = offer(phone);

    EXPECT_THAT(told(), ElementsAre(kFoundTethering, added(entity), cancelled(entity), kWaiting,
                                    armed(entity, 1000000)));
}

TEST_F(TheUsbDiscoverer, HandsOverASwitchedPhoneThenStartsIt) {
    ZEBDiscovererEntity* entity = offer(accessory);

    EXPECT_THAT(told(), ElementsAre(kFoundCandidate, kSwitched, added(entity), cancelled(entity),
                                    Call{"allocString", {nullptr, 56}}, armed(entity, 1000000),
                                    logged(80, "Port opened successfully")));
}

TEST_F(TheUsbDiscoverer, HandsOverAPhoneToBeSwitchedUnpublished) {
    ZEBDiscovererEntity* entity = offer(switchable);

    EXPECT_THAT(host.callsOf("addEntity"), IsEmpty());
    std::vector<Call> first = told();
    first.resize(3);
    EXPECT_THAT(first, ElementsAre(kFoundCandidate, Call{"addUnpublishedEntity", {host.discoverer, entity}},
                                   cancelled(entity)));
}

TEST_F(TheUsbDiscoverer, ReleasesADeviceThatIsNoneOfIts) {
    EXPECT_EQ(offer(unusable), nullptr);

    EXPECT_THAT(happened(), ElementsAre(released(unusable)));
}

TEST_F(TheUsbDiscoverer, JudgesADeviceAnewWhenItIsOffered) {
    char* out = nullptr;
    EXPECT_EQ(host.entry.getDeviceInterest(host.discoverer, host.provider, accessory, &out), 10);
    host.receive(out);
    forget();
    accessory.claimPropertiesCount(2);

    EXPECT_EQ(offer(accessory), nullptr);

    EXPECT_THAT(happened(), ElementsAre(released(accessory)));
}

TEST_F(TheUsbDiscoverer, ReleasesADeviceWhenItsEntityCantBeAllocated) {
    for (const DeviceRecord* device : {&phone, &accessory}) {
        {
            const FailingNew failing = FailingNew::at(1);
            host.entry.offerDevice(host.discoverer, host.provider, *device);
            EXPECT_TRUE(failing.hasFailed());
        }

        EXPECT_THAT(happened(),
                    ElementsAre(device == &phone ? kFoundTethering : kFoundCandidate, released(*device)));
        EXPECT_THAT(host.entities(), IsEmpty());
    }
}

TEST_F(TheUsbDiscoverer, ReleasesADeviceThenDeletesItsEntityWhenItCantKeepIt) {
    offer(unusable); // what the host makes once
    forget();
    const long before = liveAllocations();
    bool failed = false;
    {
        const FailingNew failing = FailingNew::at(2); // the set's node
        host.entry.offerDevice(host.discoverer, host.provider, phone);
        failed = failing.hasFailed();
    }
    EXPECT_TRUE(failed);
    {
        const std::vector<Call> calls = told();
        ASSERT_EQ(calls.size(), 3U);
        EXPECT_EQ(calls[0], kFoundTethering);
        EXPECT_EQ(calls[1], released(phone));
        EXPECT_EQ(calls[2].name, "setEntityTimer") << "the deleted entity's stop";
    }
    EXPECT_EQ(liveAllocations(), before);
}

TEST_F(TheUsbDiscoverer, ForgetsAnEntityThatTheHostHadNoMemoryFor) {
    for (const DeviceRecord* device : {&phone, &accessory}) {
        host.on["addEntity"] = [] { throw std::bad_alloc(); };
        host.on["releaseDevice"] = [&] {
            host.on["releaseDevice"] = nullptr;
            host.entry.removeDevice(host.discoverer, host.provider, *device);
        };

        ZEBDiscovererEntity* entity = offer(*device);

        std::vector<Call> expected = {kFoundTethering, added(entity), released(*device), cancelled(entity)};
        if (device == &accessory)
            expected = {kFoundCandidate,   kSwitched,        added(entity), released(*device),
                        cancelled(entity), cancelled(entity)}; // its own stop, then the base's
        EXPECT_EQ(told(), expected);
    }
    host.on["addEntity"] = nullptr;
    host.entry.stop(host.discoverer);
    EXPECT_THAT(told(), ElementsAre(Call{"discovererStopped", {host.discoverer, 0}}));
}

TEST_F(TheUsbDiscoverer, TakesNoProtocols) {
    host.entry.offerDeviceForProtocol(host.discoverer, host.provider, phone, host.handOver("p"));

    EXPECT_THAT(told(), ElementsAre(logged(10, "Unknown protocol offered to discoverer"), released(phone),
                                    Call{"freeProtocolString", {"p"}}));
}

} // namespace

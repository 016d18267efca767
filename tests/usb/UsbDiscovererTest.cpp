#include "tests/support/FailingNew.h"
#include "tests/usb/DiscovererFixture.h"

#include <new>
#include <stdexcept>

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
        if (row.description)
            EXPECT_EQ(host.receive(out), row.description);
        else
            EXPECT_EQ(out, &untouched);
    }
    EXPECT_THAT(host.calls(), IsEmpty());
}

TEST_F(TheUsbDiscoverer, SaysSoWithoutADescriptionWhenThereIsNoMemory) {
    char* out = nullptr;
    host.failAllocations = true;

    EXPECT_EQ(host.entry.getDeviceInterest(host.discoverer, host.provider, phone, &out), 15);

    EXPECT_EQ(out, nullptr);
}

// Offers.

TEST_F(TheUsbDiscoverer, HandsOverATetheringPhoneThenStartsIt) {
    ZEBDiscovererEntity* entity = offer(phone);

    EXPECT_THAT(host.calls(), ElementsAre(Call{"addEntity", {host.discoverer, entity}}, cancelled(entity),
                                          Call{"setEntityTimer", {entity, 1000000}}));
    EXPECT_EQ(host.logLines().front(), (LogLine{30, "Found an Android device in tethering mode"}));
}

TEST_F(TheUsbDiscoverer, HandsOverASwitchedPhoneThenStartsIt) {
    ZEBDiscovererEntity* entity = offer(accessory);

    EXPECT_THAT(host.calls(), ElementsAre(Call{"addEntity", {host.discoverer, entity}}, cancelled(entity),
                                          Call{"setEntityTimer", {entity, 1000000}}));
    EXPECT_EQ(host.logLines().front(),
              (LogLine{30, "Potentially found an Android device that supports AAP"}));
}

TEST_F(TheUsbDiscoverer, HandsOverAPhoneToBeSwitchedUnpublished) {
    ZEBDiscovererEntity* entity = offer(switchable);

    EXPECT_EQ(host.calls().front(), (Call{"addUnpublishedEntity", {host.discoverer, entity}}));
    EXPECT_THAT(host.callsOf("addEntity"), IsEmpty());
    EXPECT_EQ(host.logLines().front(),
              (LogLine{30, "Potentially found an Android device that supports AAP"}));
}

TEST_F(TheUsbDiscoverer, ReleasesADeviceThatIsNoneOfIts) {
    EXPECT_EQ(offer(unusable), nullptr);

    EXPECT_THAT(host.calls(), ElementsAre(released(unusable)));
    EXPECT_THAT(host.logLines(), IsEmpty());
}

TEST_F(TheUsbDiscoverer, ReleasesADeviceWhenItsEntityCantBeAllocated) {
    for (const DeviceRecord* device : {&phone, &accessory}) {
        host.logLevel = -1;
        {
            const FailingNew failing = FailingNew::at(1);
            host.entry.offerDevice(host.discoverer, host.provider, *device);
            EXPECT_TRUE(failing.hasFailed());
        }

        EXPECT_THAT(host.takeCalls(), ElementsAre(released(*device)));
        EXPECT_THAT(host.entities(), IsEmpty());
    }
}

TEST_F(TheUsbDiscoverer, ReleasesADeviceThenDeletesItsEntityWhenItCantKeepIt) {
    host.logLevel = -1;
    const long before = liveAllocations();
    bool failed = false;
    {
        const FailingNew failing = FailingNew::at(2); // the set's node
        host.entry.offerDevice(host.discoverer, host.provider, phone);
        failed = failing.hasFailed();
    }
    EXPECT_TRUE(failed);
    const std::vector<Call> calls = host.takeCalls();

    ASSERT_EQ(calls.size(), 2U);
    EXPECT_EQ(calls[0], released(phone));
    EXPECT_EQ(calls[1].name, "setEntityTimer") << "the deleted entity's stop";
    host.takeLogLines();
    EXPECT_LE(liveAllocations(), before + 8) << "but for what the host remembers";
}

TEST_F(TheUsbDiscoverer, ForgetsAnEntityThatTheHostHadNoMemoryFor) {
    for (const DeviceRecord* device : {&phone, &accessory}) {
        host.on["addEntity"] = [] { throw std::bad_alloc(); };
        host.on["releaseDevice"] = [&] {
            host.on["releaseDevice"] = nullptr;
            host.entry.removeDevice(host.discoverer, host.provider, *device);
        };

        ZEBDiscovererEntity* entity = offer(*device);

        std::vector<Call> expected = {
            {"addEntity", {host.discoverer, entity}}, released(*device), cancelled(entity)};
        if (device == &accessory)
            expected.push_back(cancelled(entity)); // its own stop, then the base's
        EXPECT_EQ(host.takeCalls(), expected);
    }
    host.on["addEntity"] = nullptr;
    host.entry.stop(host.discoverer);
    EXPECT_THAT(host.calls(), ElementsAre(Call{"discovererStopped", {host.discoverer, 0}}));
}

TEST_F(TheUsbDiscoverer, LeavesOtherExceptionsToTheBarrier) {
    host.on["addEntity"] = [] { throw std::runtime_error("host"); };

    ZEBDiscovererEntity* entity = offer(phone);

    // The entity goes with its device, whose record is the provider's again.
    EXPECT_THAT(host.calls(), ElementsAre(Call{"addEntity", {host.discoverer, entity}},
                                          Call{"setEntityTimer", {entity, -1}}, released(phone)));
    EXPECT_TRUE(host.hasLogged(10, "ZEBDiscoverer::offerDevice caught exception: host"));
}

TEST_F(TheUsbDiscoverer, TakesNoProtocols) {
    host.entry.offerDeviceForProtocol(host.discoverer, host.provider, phone, host.handOver("p"));

    EXPECT_THAT(host.calls(), ElementsAre(released(phone), Call{"freeProtocolString", {"p"}}));
    EXPECT_TRUE(host.hasLogged(10, "Unknown protocol offered to discoverer"));
}

// Removal.

TEST_F(TheUsbDiscoverer, StopsAndReportsTheEntityOfARemovedDevice) {
    ZEBDiscovererEntity* entity = offer(phone);
    offer(second);
    host.takeCalls();

    host.entry.removeDevice(host.discoverer, host.provider, phone);

    EXPECT_THAT(host.calls(), ElementsAre(cancelled(entity), Call{"entityLost", {entity}}));
}

TEST_F(TheUsbDiscoverer, KnowsARemovedDeviceByItsIdToo) {
    ZEBDiscovererEntity* entity = offer(phone);
    const DeviceRecord same(1, {});
    const DeviceRecord other(77, {});
    host.takeCalls();

    host.entry.removeDevice(host.discoverer, host.provider, other);
    EXPECT_THAT(host.calls(), IsEmpty());
    host.entry.removeDevice(host.discoverer, host.provider, same);

    EXPECT_THAT(host.calls(), ElementsAre(cancelled(entity), Call{"entityLost", {entity}}));
}

TEST_F(TheUsbDiscoverer, ReportsAnEntityLostEachTimeItsDeviceIsRemoved) {
    ZEBDiscovererEntity* entity = offer(phone);

    host.entry.removeDevice(host.discoverer, host.provider, phone);
    host.entry.removeDevice(host.discoverer, host.provider, phone);

    EXPECT_EQ(host.callsOf("entityLost").size(), 2U);
    host.destroyEntity(entity);
    host.entry.removeDevice(host.discoverer, host.provider, phone);
    EXPECT_EQ(host.callsOf("entityLost").size(), 2U);
}

TEST_F(TheUsbDiscoverer, ReportsEveryEntityOfADeviceEvenIfTheHostDestroysThem) {
    offer(phone);
    offer(phone);
    offer(second);
    host.takeCalls();
    const std::vector<ZEBDiscovererEntity*> mine(host.entities().begin(), host.entities().begin() + 2);
    host.on["entityLost"] = [&] {
        const Call last = host.callsOf("entityLost").back();
        for (ZEBDiscovererEntity* entity : mine) {
            if (last.arguments[0] == Argument(static_cast<void*>(entity)))
                host.destroyEntity(entity);
        }
    };

    host.entry.removeDevice(host.discoverer, host.provider, phone);

    EXPECT_EQ(host.callsOf("entityLost").size(), 2U);
    EXPECT_EQ(host.entities().size(), 1U);
}

TEST_F(TheUsbDiscoverer, ReleasesTheDeviceOfADestroyedEntityThenDeletesIt) {
    ZEBDiscovererEntity* entity = offer(phone);
    host.takeCalls();

    host.destroyEntity(entity);

    EXPECT_THAT(host.calls(), ElementsAre(released(phone), cancelled(entity)));
}

} // namespace

// What failing calls have brought to light, each with its story.
#include "tests/reliability/Faults.h"
#include "tests/reliability/Loaded.h"
#include "tests/reliability/Stage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace testing;

namespace zebtest {
namespace {

// The discoverer lives on when there is no memory for its accessory configuration, but the first phone
// that asked for an identification string then made it read through a null pointer.
TEST(ADiscovererWithoutAConfiguration, SwitchesPhonesWithTheDefaultStrings) {
    Stage stage(Loaded::plugin().initialize());
    Faults::arm("operator new", 2);
    ASSERT_TRUE(stage.initialize());
    Faults::disarm();
    stage.setUp();
    ASSERT_TRUE(stage.host.hasLogged(10, "Failed to alocate AAP configuration, disabling AAP detection"));
    Plugged& phone = stage.plug();

    ASSERT_NE(stage.offer(phone), nullptr);
    EXPECT_TRUE(stage.liveUntil([&] { return phone.device->switchRequested(); }));

    const auto received = phone.device->received();
    EXPECT_EQ(std::string(received.at(1).data.begin(), received.at(1).data.end()), "Example Company");
    stage.remove(phone);
    stage.end();
}

// An entity that can't be started for want of memory is deleted, but the host has been told of it by then.
// Whatever the host asked of it afterwards, destroyEntity at the latest, was asked of freed memory.
TEST(AnEntityThatCouldNotBeStarted, IsUnknownWhenTheHostNamesIt) {
    Stage stage(Loaded::plugin().initialize());
    stage.initialize();
    stage.setUp();
    Plugged& phone = stage.plug();
    stage.host.on["addUnpublishedEntity"] = [] { Faults::arm("operator new", 1); };
    ZEBDiscovererEntity* entity = stage.offer(phone);
    Faults::disarm();
    stage.host.on.clear();
    ASSERT_NE(entity, nullptr);
    ASSERT_EQ(stage.releases(phone), 1);
    stage.host.takeCalls();

    ZEBDiscoverySDKRequest* fetched = stage.host.fetch(entity, "id");
    ZEBDiscoverySDKRequest* posted = stage.host.post(entity, "password", "secret");
    stage.host.entry.handleEntityTimeout(stage.host.discoverer, entity);
    EXPECT_EQ(stage.host.entry.getEntityEventHandle(stage.host.discoverer, entity), nullptr);
    stage.host.destroyEntity(entity);

    EXPECT_THAT(stage.host.calls(),
                ElementsAre(Call{"fetchComplete", {entity, "id", fetched, 1, nullptr}},
                            Call{"postComplete", {entity, "password", "secret", posted, 1}}));
    EXPECT_TRUE(stage.host.hasLogged(10, "Unknown entity: 1 (error 1)"));
    stage.end();
}

// The same when something else than memory was missing: the entity stayed, with a device that had been
// given back, whose record it went on reading whenever a device was removed.
TEST(AnEntityThatFailedToStart, IsGoneWhenItsDeviceHasBeenReleased) {
    Stage stage(Loaded::plugin().initialize());
    stage.initialize();
    stage.setUp();
    Plugged& phone = stage.plug();
    stage.host.on["addUnpublishedEntity"] = [] { Faults::arm("pthread_mutex_lock", 1); };
    ZEBDiscovererEntity* entity = stage.offer(phone);
    Faults::disarm();
    stage.host.on.clear();
    EXPECT_TRUE(stage.host.hasLogged(
        10, "ZEBDiscoverer::offerDevice caught exception: MutexException: pthread_mutex_lock failed"));
    ASSERT_EQ(stage.releases(phone), 1);

    stage.remove(phone);
    stage.host.destroyEntity(entity);

    EXPECT_THAT(stage.host.callsOf("entityLost"), IsEmpty());
    EXPECT_EQ(stage.releases(phone), 1);
    stage.end();
}

// When a descriptor could not be taken from the handles, the host was made to watch one that no entity
// owned any more, and its next report of it stopped the process.
TEST(AHandleThatCouldNotBeRemoved, KeepsItsOwner) {
    Stage stage(Loaded::plugin().initialize());
    stage.initialize();
    stage.setUp();
    Plugged& phone = stage.plug();
    ASSERT_NE(stage.offer(phone), nullptr);
    ASSERT_TRUE(stage.advanceTo(phone, 0));
    stage.unplug(phone);

    // The entity's timer is cancelled before libusb is asked what has happened.
    stage.host.on["setEntityTimer"] = [] { Faults::arm("pthread_mutex_lock", 1); };
    stage.host.dispatch(0);
    Faults::disarm();
    stage.host.on.erase("setEntityTimer");
    ASSERT_TRUE(stage.host.hasLogged(
        10, "Unable to add libusb event handle: 'MutexException: pthread_mutex_lock failed'"));
    stage.settle();

    stage.remove(phone);
    EXPECT_THAT(stage.host.handles(), IsEmpty());
    stage.end();
}

// And when it was the wake-up event's, the second that a stop removes.
TEST(AHandleThatCouldNotBeRemoved, CostsALineAndNotTheStop) {
    Stage stage(Loaded::plugin().initialize());
    stage.initialize();
    stage.setUp();
    Plugged& phone = stage.plug();
    ASSERT_NE(stage.offer(phone), nullptr);
    ASSERT_TRUE(stage.advanceTo(phone, 0));

    Faults::arm("pthread_mutex_lock", 2);
    stage.host.entry.stop(stage.host.discoverer);
    Faults::disarm();

    EXPECT_TRUE(stage.host.hasLogged(
        10, "Unable to remove the wake-up event's handle: 'MutexException: pthread_mutex_lock failed'"));
    EXPECT_THAT(stage.host.handles(), IsEmpty());
    stage.remove(phone);
    stage.end();
}

} // namespace
} // namespace zebtest

// A host ends an entity at any moment of the hand-shake, in each way that it has.
#include "tests/handshake/LibUsbSpy.h"
#include "tests/handshake/Rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace testing;
using namespace zebphones;

namespace zebtest {
namespace {

/** 0 to 7: that transfer is pending; then the timer runs, and all has been sent. */
constexpr int kTimerRuns = 8;
constexpr int kAllSent = 9;

void advanceToMoment(Rig& rig, int moment) {
    if (moment < kTimerRuns)
        return rig.advanceTo(static_cast<std::size_t>(moment));
    rig.advanceTo(moment == kTimerRuns ? 6 : 7);
    rig.completeOne();
}

class AtAnyMoment : public TestWithParam<int> {};

TEST_P(AtAnyMoment, StopCancelsAndClosesEverything) {
    Rig rig;
    advanceToMoment(rig, GetParam());

    rig.host.entry.stop(rig.host.discoverer);

    EXPECT_EQ(rig.phone->pending(), 0U);
    EXPECT_THAT(rig.host.handles(), IsEmpty());
    EXPECT_THAT(rig.host.entityTimers(), IsEmpty());
    EXPECT_THAT(rig.host.callsOf("discovererStopped"), SizeIs(1));
    EXPECT_THAT(rig.logged(10), IsEmpty());
    EXPECT_EQ(rig.lostCalls(), 0);
}

TEST_P(AtAnyMoment, AStoppedEntityStartsFromTheBeginning) {
    Rig rig;
    advanceToMoment(rig, GetParam());
    rig.host.entry.stop(rig.host.discoverer);
    const std::size_t before = rig.requests();
    rig.phone->hold(false);

    rig.host.entry.start(rig.host.discoverer);

    ASSERT_TRUE(rig.runUntil([&] { return rig.requests() == before + 7; }));
    EXPECT_EQ(rig.phone->received().at(before).setup.request, kGetProtocol);
}

TEST_P(AtAnyMoment, RemoveDeviceReportsItLost) {
    Rig rig;
    advanceToMoment(rig, GetParam());
    rig.bed.unplug(1);

    rig.removeDevice();
    EXPECT_EQ(rig.lostCalls(), 1);
    EXPECT_THAT(rig.host.handles(), IsEmpty());
    rig.host.destroyEntity(rig.entity);

    EXPECT_THAT(rig.host.callsOf("releaseDevice"), SizeIs(1));
    EXPECT_THAT(rig.host.entities(), IsEmpty());
}

TEST_P(AtAnyMoment, DestroyEntityCancelsItsTimerTwice) {
    Rig rig;
    advanceToMoment(rig, GetParam());
    rig.host.takeCalls();

    rig.host.destroyEntity(rig.entity);

    // The entity's own stop, and its base's.
    const std::vector<Call> cancelled = rig.host.callsOf("setEntityTimer");
    ASSERT_GE(cancelled.size(), 2U);
    EXPECT_THAT(cancelled, Each(Call{"setEntityTimer", {rig.entity, -1}}));
    EXPECT_THAT(rig.host.callsOf("releaseDevice"), SizeIs(1));
    EXPECT_EQ(rig.phone->pending(), 0U);
    EXPECT_THAT(rig.host.handles(), IsEmpty());
}

TEST_P(AtAnyMoment, DestroyingTheDiscovererEndsAll) {
    Rig rig;
    advanceToMoment(rig, GetParam());

    // The rig's own end does it, and finds everything returned.
}

INSTANTIATE_TEST_SUITE_P(OfTheHandshake, AtAnyMoment, Range(0, kAllSent + 1));

TEST(AnIdleEntity, CancelsItsTimerExactlyTwiceWhenDeleted) {
    PhoneDescription description = loadPhone("accessory");
    description.normal = description.accessory;
    Rig rig(description);
    rig.offer();
    rig.host.takeCalls();

    rig.host.destroyEntity(rig.entity);

    EXPECT_THAT(rig.host.callsOf("setEntityTimer"), SizeIs(2));
}

TEST(ARemovedDevice, IsReportedLostEachTimeUntilItIsDestroyed) {
    Rig rig;
    rig.advanceTo(1);

    rig.removeDevice();
    rig.removeDevice();

    EXPECT_EQ(rig.lostCalls(), 2);
    rig.host.destroyEntity(rig.entity);
    rig.removeDevice();
    EXPECT_EQ(rig.lostCalls(), 2);
}

TEST(ALostEntity, MayBeDestroyedFromInsideTheCall) {
    PhoneDescription description = loadPhone("accessory");
    description.faults = {{.request = kGetProtocol, .reaction = Reaction::Stall}};
    Rig rig(description);
    rig.host.on["entityLost"] = [&] { rig.host.destroyEntity(rig.host.entities().front()); };

    rig.offer();

    EXPECT_TRUE(rig.runUntil([&] { return rig.host.entities().empty(); }));
    EXPECT_THAT(rig.host.handles(), IsEmpty());
    EXPECT_EQ(rig.lostCalls(), 1);
}

TEST(AFailedEntity, StopsCleanly) {
    PhoneDescription description = loadPhone("accessory");
    description.faults = {{.request = kSendString, .index = 1, .reaction = Reaction::BusError}};
    Rig rig(description);
    rig.offer();
    ASSERT_TRUE(rig.runUntil([&] { return !rig.logged(10).empty(); }));

    rig.host.entry.stop(rig.host.discoverer);

    EXPECT_THAT(rig.host.handles(), IsEmpty());
    EXPECT_THAT(rig.host.entityTimers(), IsEmpty());
}

} // namespace
} // namespace zebtest

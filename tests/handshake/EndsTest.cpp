// A host ends an entity and starts it again. All ways to end one, at every moment and in every order, are in
// tests/reliability/EveryMomentTest.cpp.
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

TEST(AFailedEntity, StopsCleanlyAndStartsFromTheBeginning) {
    PhoneDescription description = loadPhone("accessory");
    description.faults = {{.request = kSendString, .index = 1, .reaction = Reaction::BusError}};
    Rig rig(description);
    rig.offer();
    ASSERT_TRUE(rig.runUntil([&] { return !rig.logged(10).empty(); }));

    rig.host.entry.stop(rig.host.discoverer);

    EXPECT_THAT(rig.host.handles(), IsEmpty());
    EXPECT_THAT(rig.host.entityTimers(), IsEmpty());
    const std::size_t before = rig.requests();
    rig.phone->withModel([](PhoneModel& model) { model.setFaults({}); });

    rig.host.entry.start(rig.host.discoverer);

    ASSERT_TRUE(rig.runUntil([&] { return rig.requests() == before + 7; }));
    EXPECT_EQ(rig.phone->received().at(before).setup.request, kGetProtocol);
}

TEST(APhoneWhoseCommandIsDue, AnswersAtOnceAfterAStop) {
    PhoneDescription description = loadPhone("accessory");
    description.normal = description.accessory;
    Rig rig(description);
    rig.offer();

    rig.host.entry.stop(rig.host.discoverer);
    EXPECT_THAT(rig.host.entityTimers(), IsEmpty());
    rig.host.entry.start(rig.host.discoverer);
    EXPECT_THAT(rig.host.entityTimers(), IsEmpty());
    rig.host.fetch(rig.entity, "zebcmd");

    const std::string command = "zebcmd:v=1;t=USBAAP;bus=1;dev=" + std::to_string(rig.phone->address());
    ASSERT_THAT(rig.host.callsOf("fetchComplete"), SizeIs(1));
    EXPECT_THAT(rig.host.callsOf("fetchComplete")[0].arguments, Contains(Argument(command)));
}

} // namespace
} // namespace zebtest

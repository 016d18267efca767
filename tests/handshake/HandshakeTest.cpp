// The whole hand-shake over the real libusb, seen from the host and from the phone.
#include "tests/handshake/Rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace testing;
using namespace zebphones;

namespace zebtest {
namespace {

std::vector<std::uint8_t> bytes(const std::string& text) { return {text.begin(), text.end()}; }

std::string interestOf(Rig& rig) {
    char* why = nullptr;
    const int level =
        rig.host.entry.getDeviceInterest(rig.host.discoverer, rig.host.provider, rig.record->get(), &why);
    return std::to_string(level) + "/" + (why ? rig.host.receive(why) : "none");
}

std::vector<std::int64_t> remaining(const std::map<ZEBDiscovererEventHandle*, std::int64_t>& timers) {
    std::vector<std::int64_t> times;
    for (const auto& [handle, left] : timers)
        times.push_back(left);
    return times;
}

TEST(APhoneToBeSwitched, IsClaimedAndHandedOverUnpublished) {
    Rig rig;

    EXPECT_EQ(interestOf(rig), "30/105");
    ASSERT_NE(rig.offer(), nullptr);

    EXPECT_THAT(rig.host.callsOf("addUnpublishedEntity"), SizeIs(1));
    EXPECT_THAT(rig.host.callsOf("addEntity"), IsEmpty());
    EXPECT_TRUE(rig.host.hasLogged(30, "Potentially found an Android device that supports AAP"));
    EXPECT_TRUE(rig.host.hasLogged(80, "Port opened successfully"));
}

TEST(APhoneToBeSwitched, MakesTheHostWatchLibusbAndTheWakeEvent) {
    Rig rig;

    rig.offer();

    // libusb's event and timer descriptors, the device's node (writable: a request has ended), ours.
    std::vector<int> writeFlags;
    for (const auto& [handle, write] : rig.host.handles())
        writeFlags.push_back(write);
    EXPECT_THAT(writeFlags, UnorderedElementsAre(0, 0, 1, 0));
}

TEST(APhoneToBeSwitched, IsSentItsEightRequestsToTheByte) {
    Rig rig;
    rig.offer();
    ASSERT_TRUE(rig.runUntil([&] { return !rig.host.handleTimers().empty(); }));
    rig.host.advance(1'000'000);
    ASSERT_TRUE(rig.runUntil([&] { return rig.phone->switchRequested(); }));

    const std::vector<Exchange> received = rig.phone->received();

    ASSERT_THAT(received, SizeIs(8));
    EXPECT_EQ(received[0].setup, (SetupPacket{0xc0, 51, 0, 0, 2}));
    for (std::uint16_t i = 0; i < 6; ++i) {
        const std::string& text = kDefaultStrings[i];
        EXPECT_EQ(received[i + 1U].setup,
                  (SetupPacket{0x40, 52, 0, i, static_cast<std::uint16_t>(text.size())}));
        EXPECT_EQ(received[i + 1U].data, bytes(text));
    }
    EXPECT_EQ(received[7].setup, (SetupPacket{0x40, 53, 0, 0, 0}));
    EXPECT_THAT(rig.logged(30),
                ElementsAre("Potentially found an Android device that supports AAP", "Setting AAP timer.",
                            "Asking AAP device to switch to accessory mode"));
}

TEST(APhoneToBeSwitched, GetsOneRequestAtATime) {
    Rig rig;
    for (std::size_t transfer = 0; transfer < kTransfers.size(); ++transfer) {
        rig.advanceTo(transfer);

        EXPECT_EQ(rig.requests(), transfer + 1) << kTransfers[transfer].name;
        EXPECT_EQ(rig.phone->pending(), 1U) << kTransfers[transfer].name;
        EXPECT_EQ(rig.phone->received().back().setup.request, kTransfers[transfer].request);
        EXPECT_EQ(rig.phone->received().back().setup.index, kTransfers[transfer].index);
    }
}

TEST(APhoneToBeSwitched, WaitsOneSecondFromTheLastStringToTheStart) {
    Rig rig;
    rig.advanceTo(6);
    EXPECT_THAT(rig.host.handleTimers(), IsEmpty());

    rig.completeOne();
    EXPECT_THAT(remaining(rig.host.handleTimers()), ElementsAre(1'000'000));
    rig.host.advance(999'999);
    EXPECT_EQ(rig.requests(), 7U);
    rig.host.advance(1);

    EXPECT_EQ(rig.requests(), 8U);
    EXPECT_THAT(rig.host.handleTimers(), IsEmpty());
}

TEST(APhoneToBeSwitched, HasItsTimerOnTheWakeEventsHandle) {
    Rig rig;
    rig.offer();
    std::vector<int> libusbHandles;
    rig.advanceTo(6);

    rig.completeOne();

    ASSERT_THAT(rig.host.handleTimers(), SizeIs(1));
    // The wake event was added last, after libusb's own three.
    EXPECT_EQ(*rig.host.handleTimers().begin()->first, rig.host.handles().back().first);
}

TEST(APhoneToBeSwitched, IsSeenThroughLibusbsRecursionAfterTheStart) {
    Rig rig;
    rig.advanceTo(7);

    rig.completeOne();

    EXPECT_EQ(rig.lostCalls(), 0);
    EXPECT_THAT(rig.logged(10), IsEmpty());
    EXPECT_THAT(rig.host.entityTimers(), ElementsAre(Pair(rig.entity, 3'000'000)));
}

TEST(APhoneToBeSwitched, GoesAndComesBackAsAnAccessory) {
    Rig rig;
    rig.advanceTo(7);
    rig.completeOne();
    rig.phone = rig.bed.reappearInAccessoryMode(1);
    rig.settle();
    rig.removeDevice();
    rig.host.destroyEntity(rig.entity);
    rig.host.takeCalls();
    const DeviceRecord accessory(zebphones::loadPhone("accessory").accessory, rig.phone->bus(),
                                 rig.phone->address(), 2);
    rig.host.entry.offerDevice(rig.host.discoverer, rig.host.provider, accessory.get());
    ZEBDiscovererEntity* entity = rig.host.entities().back();

    rig.host.fetch(entity, "zebcmd");
    EXPECT_THAT(rig.host.callsOf("fetchComplete"), IsEmpty());
    rig.host.advance(999'999);
    EXPECT_THAT(rig.host.callsOf("fetchComplete"), IsEmpty());
    rig.host.advance(1);

    ASSERT_THAT(rig.host.callsOf("fetchComplete"), SizeIs(1));
    const std::string command = "zebcmd:v=1;t=USBAAP;bus=1;dev=" + std::to_string(rig.phone->address());
    EXPECT_THAT(rig.host.callsOf("fetchComplete")[0].arguments, Contains(Argument(command)));
    EXPECT_THAT(rig.host.callsOf("addEntity"), SizeIs(1));
}

TEST(APhoneInAccessoryMode, IsPublishedAfterOneSecondAndAskedNothing) {
    PhoneDescription description = loadPhone("accessory");
    description.normal = description.accessory;
    Rig rig(description);

    EXPECT_EQ(interestOf(rig), "10/106");
    rig.offer();

    EXPECT_THAT(rig.host.callsOf("addEntity"), SizeIs(1));
    EXPECT_THAT(rig.host.entityTimers(), ElementsAre(Pair(rig.entity, 1'000'000)));
    EXPECT_TRUE(
        rig.host.hasLogged(30, "Device already in AAP mode, assuming it's the correct AAP settings."));
    EXPECT_EQ(rig.requests(), 0U);
    EXPECT_THAT(rig.host.handles(), IsEmpty());
}

TEST(ATetheringPhone, IsClaimedAndAskedNothing) {
    Rig rig(loadPhone("rndis"));

    EXPECT_EQ(interestOf(rig), "15/103");
    rig.offer();

    EXPECT_EQ(rig.requests(), 0U);
}

TEST(ASlowPhone, IsSwitchedAllTheSame) {
    PhoneDescription description = loadPhone("accessory");
    description.delay = std::chrono::milliseconds(30);
    Rig rig(description);

    rig.offer();
    ASSERT_TRUE(rig.runUntil([&] { return !rig.host.handleTimers().empty(); }));
    rig.host.advance(1'000'000);

    EXPECT_TRUE(rig.runUntil([&] { return rig.phone->switchRequested(); }));
}

TEST(TwoPhones, AreSwitchedSideBySide) {
    Rig rig;
    const auto other = rig.bed.plug(loadPhone("accessory"), 2);
    const DeviceRecord record(loadPhone("accessory").normal, other->bus(), other->address(), 7);
    rig.offer();
    rig.host.entry.offerDevice(rig.host.discoverer, rig.host.provider, record.get());

    ASSERT_TRUE(rig.runUntil([&] { return rig.host.handleTimers().size() == 2; }));
    rig.host.advance(1'000'000);

    EXPECT_TRUE(rig.runUntil([&] { return rig.phone->switchRequested() && other->switchRequested(); }));
    EXPECT_EQ(other->received().size(), 8U);
    rig.host.destroyEntity(rig.host.entities().back());
}

} // namespace
} // namespace zebtest

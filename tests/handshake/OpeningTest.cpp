// Before the first request: the node, libusb's own failures, and the strings a host may set.
#include "tests/handshake/LibUsbSpy.h"
#include "tests/handshake/NodeAccess.h"
#include "tests/handshake/Rig.h"

#include <cstdio>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace testing;
using namespace zebphones;

namespace zebtest {
namespace {

constexpr int kReadWrite = R_OK | W_OK;
const char kDevNode[] = "/dev/bus/usb/001/002";
const char kProcNode[] = "/proc/bus/usb/001/002";

void expectGivenUp(Rig& rig) {
    EXPECT_TRUE(rig.host.hasLogged(80, "Open port returned not supported"));
    EXPECT_THAT(rig.host.entityTimers(), ElementsAre(Pair(rig.entity, 0)));
    EXPECT_EQ(rig.lostCalls(), 0);
    rig.host.advance(0);
    EXPECT_EQ(rig.lostCalls(), 1);
    EXPECT_EQ(rig.requests(), 0U);
}

void expectTriedAgain(Rig& rig) {
    EXPECT_TRUE(rig.host.hasLogged(80, "Can't open the port, waiting for interval"));
    EXPECT_THAT(rig.host.entityTimers(), ElementsAre(Pair(rig.entity, 1'000'000)));
    EXPECT_EQ(rig.requests(), 0U);
    rig.host.advance(1'000'000);
    EXPECT_TRUE(rig.runUntil([&] { return rig.requests() == 7; }));
}

TEST(ADeviceNode, IsAskedForReadingAndWriting) {
    Rig rig;

    rig.offer();

    EXPECT_THAT(rig.below("euidaccess"), ElementsAre(Call{"euidaccess", {kDevNode, kReadWrite}}));
}

TEST(ADeviceNode, IsLookedForUnderProcNext) {
    Rig rig;
    NodeAccess::instance().allow = [](const std::string& path) { return path == kProcNode; };

    rig.offer();

    EXPECT_THAT(rig.below("euidaccess"), ElementsAre(Call{"euidaccess", {kDevNode, kReadWrite}},
                                                     Call{"euidaccess", {kProcNode, kReadWrite}}));
    EXPECT_TRUE(rig.runUntil([&] { return rig.requests() > 0; }));
}

TEST(ADeviceNode, ThatMayNotBeUsedEndsTheEntityWithoutAnError) {
    Rig rig;
    NodeAccess::instance().allow = [](const std::string&) { return false; };

    rig.offer();

    EXPECT_THAT(rig.below("euidaccess"), SizeIs(2));
    EXPECT_THAT(rig.logged(10), IsEmpty());
    expectGivenUp(rig);
}

TEST(ADeviceNode, ThatIsMissingEndsTheEntityWithoutAnError) {
    Rig rig;
    rig.phone->removeNode();

    rig.offer();

    EXPECT_THAT(rig.logged(10), IsEmpty());
    expectGivenUp(rig);
}

TEST(ADevice, ThatLibusbDoesNotListIsNotLookedFor) {
    Rig rig;
    rig.record = std::make_unique<zebphones::DeviceRecord>(loadPhone("accessory").normal, 1, 99, 3);

    rig.offer();

    EXPECT_THAT(rig.below("euidaccess"), IsEmpty());
    expectGivenUp(rig);
}

TEST(AFailureOfLibusb, ToInitialiseIsTriedAgain) {
    Rig rig;
    LibUsbSpy::instance().nextInit = -99;

    rig.offer();

    EXPECT_THAT(rig.logged(10), ElementsAre("Failed to initialise libusb with error -99"));
    expectTriedAgain(rig);
}

TEST(AFailureOfLibusb, ToAllocateATransferIsTriedAgain) {
    Rig rig;
    LibUsbSpy::instance().nextAllocationFails = true;

    rig.offer();

    EXPECT_THAT(rig.logged(10), ElementsAre("Failed to allocate USB transfer object"));
    expectTriedAgain(rig);
}

TEST(AFailureOfLibusb, ToListDevicesEndsTheEntity) {
    Rig rig;
    LibUsbSpy::instance().nextDeviceList = -11;

    rig.offer();

    EXPECT_THAT(rig.logged(10), IsEmpty());
    expectGivenUp(rig);
}

TEST(AFailureOfLibusb, ToOpenEndsTheEntityWithALine) {
    Rig rig;
    LibUsbSpy::instance().nextOpen = -3;

    rig.offer();

    EXPECT_THAT(rig.logged(10), ElementsAre("Failed to open USB device with error -3"));
    expectGivenUp(rig);
}

TEST(AFailureToOpen, IsTriedTwentyOneTimes) {
    Rig rig;
    rig.host.on["setEntityTimer"] = [] { LibUsbSpy::instance().nextInit = -1; };

    rig.offer();
    LibUsbSpy::instance().nextInit = -1;
    rig.host.advance(19'000'000);
    EXPECT_EQ(rig.lostCalls(), 0);
    rig.host.advance(1'000'000);

    EXPECT_EQ(rig.lostCalls(), 1);
    EXPECT_THAT(rig.logged(10), SizeIs(21));
}

void set(Rig& rig, const char* key, const std::string& value) {
    ASSERT_EQ(rig.host.entry.setProperty(rig.host.discoverer, key, value.c_str()), ZEBDiscoverySDKErrorNone);
}

TEST(TheIdentification, IsWhatTheHostHasSet) {
    const char* keys[] = {"aapmanufacturer", "aapmodel", "aapdescription",
                          "aapversion",      "aapuri",   "aapserial"};
    Rig rig;
    for (const char* key : keys)
        set(rig, key, std::string("my ") + key);

    rig.offer();
    ASSERT_TRUE(rig.runUntil([&] { return !rig.host.handleTimers().empty(); }));

    rig.phone->withModel([&](PhoneModel& model) {
        for (std::size_t i = 0; i < kStringCount; ++i)
            EXPECT_EQ(model.string(i), std::string("my ") + keys[i]);
    });
}

TEST(TheIdentification, MayBeEmpty) {
    Rig rig;
    set(rig, "aapserial", "");

    rig.offer();

    ASSERT_TRUE(rig.runUntil([&] { return !rig.host.handleTimers().empty(); }));
    EXPECT_EQ(rig.phone->received().back().setup, (SetupPacket{0x40, 52, 0, 5, 0}));
}

TEST(TheIdentification, IsStalledWhenEmptyByAPhoneThatDoesItInUserSpace) {
    PhoneDescription description = loadPhone("accessory");
    description.stallsEmptyStrings = true;
    Rig rig(description);
    set(rig, "aapmodel", "");

    rig.offer();

    EXPECT_TRUE(rig.runUntil([&] { return rig.host.hasLogged(10, "USB transfer failed with status 4"); }));
}

TEST(TheIdentification, MayHaveTwoHundredAndFiftyFiveCharacters) {
    Rig rig;
    set(rig, "aapuri", std::string(255, 'u'));

    rig.offer();
    ASSERT_TRUE(rig.runUntil([&] { return !rig.host.handleTimers().empty(); }));

    EXPECT_EQ(rig.phone->received().at(5).data.size(), 255U);
}

// Everything is made in the child: threads do not survive the fork.
TEST(TheIdentificationDeathTest, StopsTheProcessWithOneCharacterMore) {
    EXPECT_DEATH(
        {
            Rig rig;
            set(rig, "aapuri", std::string(256, 'u'));
            LibUsbSpy::instance().on["libusb_submit_transfer"] = [] { std::fputs("request, ", stderr); };
            rig.offer();
            rig.runUntil([] { return false; });
        },
        // Of the eight requests the uri's is the sixth.
        "^(request, ){5}[^,]*strlen\\(identifier\\) < AAP_PROTOCOL_STRING_MAX_LENGTH");
}

TEST(AForeignHandleDeathTest, StopsTheProcessWhenItsTimerExpires) {
    EXPECT_DEATH(
        {
            Rig rig;
            rig.offer();
            ZEBDiscovererEventHandle nobodys = 0;
            rig.host.entry.handleTimeoutForEventHandle(rig.host.discoverer, &nobodys);
        },
        "false");
}

} // namespace
} // namespace zebtest

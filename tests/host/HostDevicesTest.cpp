#include "tests/host/TestHost.h"

#include <memory>
#include <unistd.h>

using namespace testing;

namespace zebhost {
namespace {

UsbDevice phone(int number, int activeConfiguration = 1) {
    return {"1-1",
            1,
            number,
            "Phone",
            activeConfiguration,
            {0x18d1, 0x4ee7, 0, {{1, {UsbInterface{255, 255, 0, 0}}}}}};
}

TEST_F(AHost, OffersADeviceThatIsWanted) {
    mHost.devices().seen(phone(4));

    EXPECT_THAT(gCalls.made, ElementsAre("offerDevice"));
    EXPECT_THAT(mLines.of("interest", "level"), ElementsAre("15"));
    EXPECT_THAT(mLines.of("interest", "description"), ElementsAre("103"));
}

TEST_F(AHost, KeepsADeviceThatIsNotWanted) {
    gCalls.interest = 100;

    mHost.devices().seen(phone(4));
    mHost.devices().gone("1-1");

    EXPECT_THAT(gCalls.made, IsEmpty());
    EXPECT_THAT(mLines.of("device", "action"), ElementsAre("add", "remove"));
}

TEST_F(AHost, JudgesADeviceAgainWhenItsConfigurationWasChosen) {
    mHost.devices().seen(phone(4, 0));
    mHost.devices().seen(phone(4, 0));

    mHost.devices().seen(phone(4, 1));

    EXPECT_THAT(mLines.of("device", "action"), ElementsAre("add"));
    EXPECT_THAT(mLines.of("verdict", "rule"), ElementsAre("no-active-interface", "phone-mtp"));
    EXPECT_THAT(gCalls.made, ElementsAre("offerDevice"));
}

TEST_F(AHost, TellsThePluginNothingOfAStranger) {
    UsbDevice mouse = phone(4);
    mouse.descriptors.configurations = {{1, {UsbInterface{3, 1, 2, 0}}}};

    mHost.devices().seen(mouse);
    mHost.devices().gone("1-1");

    EXPECT_THAT(mLines.of("verdict", "rule"), ElementsAre("hid"));
    EXPECT_THAT(mLines.of("interest", "level"), IsEmpty());
    EXPECT_THAT(gCalls.made, IsEmpty());
}

TEST_F(AHost, OffersNothingInADryRun) {
    mHost.devices().setPolicy({.dryRun = true});

    mHost.devices().seen(phone(4));
    mHost.devices().gone("1-1");

    EXPECT_THAT(mLines.of("verdict", "offered"), ElementsAre("true"));
    EXPECT_THAT(mLines.of("verdict", "dry_run"), ElementsAre("true"));
    EXPECT_THAT(mLines.of("interest", "level"), ElementsAre("15"));
    EXPECT_THAT(gCalls.made, IsEmpty());
}

TEST_F(AHost, OffersAPostponedDeviceWhenItIsAskedToTryAgain) {
    bool mayOffer = false;
    mHost.devices().setGate([&mayOffer](const UsbDevice&, const Verdict&) { return mayOffer; });
    mHost.devices().seen(phone(4));
    mHost.devices().retry("1-1");
    EXPECT_THAT(gCalls.made, IsEmpty());
    EXPECT_THAT(mLines.of("interest", "level"), IsEmpty());

    mayOffer = true;
    mHost.devices().retry("1-2");
    mHost.devices().retry("1-1");
    mHost.devices().retry("1-1");

    EXPECT_THAT(gCalls.made, ElementsAre("offerDevice"));
    EXPECT_THAT(mLines.of("verdict", "rule"), ElementsAre("phone-mtp"));
}

TEST_F(AHost, AsksTheGateAgainWhenAPostponedDeviceIsSeenAgain) {
    bool mayOffer = false;
    mHost.devices().setGate([&mayOffer](const UsbDevice&, const Verdict&) { return mayOffer; });
    mHost.devices().seen(phone(4));

    mayOffer = true;
    mHost.devices().seen(phone(4));
    mHost.devices().seen(phone(4));

    EXPECT_THAT(gCalls.made, ElementsAre("offerDevice"));
}

TEST_F(AHost, LeavesADeviceThatIsHeldAsItIs) {
    mHost.devices().seen(phone(4, 1));

    mHost.devices().seen(phone(4, 0));

    EXPECT_THAT(gCalls.made, ElementsAre("offerDevice"));
}

TEST_F(AHost, TakesAnotherNumberOnTheSamePortForAnotherDevice) {
    mHost.devices().seen(phone(4));
    mHost.devices().seen(phone(5));

    EXPECT_THAT(mLines.of("device", "action"), ElementsAre("add", "remove", "add"));
    EXPECT_THAT(gCalls.made, ElementsAre("offerDevice", "removeDevice", "offerDevice"));
}

TEST_F(AHost, KeepsARecordUntilItsEntityIsDestroyed) {
    const ZEBDeviceInfo* record = nullptr;
    gCalls.offer = [&](const ZEBDeviceInfo* device) {
        record = device;
        addEntity(0);
    };
    gCalls.destroy = [&](ZEBDiscovererEntity*) {
        gHost.releaseDevice(gContext, nullptr, record);
        EXPECT_STREQ(record->properties[4], "Phone (usb 1-1)");
    };
    mHost.devices().seen(phone(4));
    mHost.devices().gone("1-1");
    EXPECT_STREQ(record->properties[4], "Phone (usb 1-1)");

    gHost.entityLost(gContext, entity(0));
    mHost.beforeWait();
    mHost.conclude();

    EXPECT_THAT(mLines.of("entity", "device"), ElementsAre("4", "4", "4"));
    EXPECT_THAT(mLines.violations(), IsEmpty());
}

TEST_F(AHost, AcceptsThatADeviceIsReleasedWhileItIsOffered) {
    gCalls.offer = [](const ZEBDeviceInfo* device) { gHost.releaseDevice(gContext, nullptr, device); };

    mHost.devices().seen(phone(4));
    mHost.devices().gone("1-1");

    EXPECT_THAT(gCalls.made, ElementsAre("offerDevice"));
    EXPECT_THAT(mLines.violations(), IsEmpty());
}

TEST_F(AHost, ReportsADeviceThatIsReleasedTwice) {
    gCalls.offer = [](const ZEBDeviceInfo* device) {
        gHost.releaseDevice(gContext, nullptr, device);
        gHost.releaseDevice(gContext, nullptr, device);
    };

    mHost.devices().seen(phone(4));

    EXPECT_THAT(mLines.violations(), ElementsAre(HasSubstr("a device that the discoverer does not hold")));
}

TEST_F(AHost, ReportsADeviceThatWasNeverReleased) {
    mHost.devices().seen(phone(4));

    mHost.conclude();

    EXPECT_THAT(mLines.violations(), ElementsAre("device Phone (usb 1-1) was never released"));
}

TEST_F(AHost, WatchesAHandleAnewThatAnotherPhoneGotUnderTheSameNumber) {
    std::unique_ptr<APipe> pipe;
    gCalls.offer = [&](const ZEBDeviceInfo*) {
        pipe = std::make_unique<APipe>();
        list(pipe->reader());
    };
    gCalls.remove = [&] {
        pipe.reset();
        gCalls.handles.clear();
    };
    gCalls.event = [&](int) { mLoop.quit(); };
    mHost.devices().seen(phone(4));
    mHost.beforeWait();
    int first = pipe->reader();

    mHost.devices().seen(phone(5));
    ASSERT_EQ(pipe->reader(), first);
    ASSERT_EQ(write(pipe->writer(), "x", 1), 1);
    runFor(100000);

    EXPECT_THAT(gCalls.made, Contains("handleSingleEvent"));
}

TEST_F(AHost, ProvidesUsbAndNothingElse) {
    ZEBDiscovererDeviceProvider* provider = nullptr;

    EXPECT_EQ(gHost.subscribeToDeviceProvider(gContext, "bluetooth", &provider), 9);
    EXPECT_EQ(provider, nullptr);
    EXPECT_EQ(gHost.subscribeToDeviceProvider(gContext, "usb", &provider), 0);
    EXPECT_NE(provider, nullptr);
    EXPECT_EQ(gHost.setDeviceProviderProperty(gContext, provider, "any", "value"), 9);
    gHost.unsubscribeFromDeviceProvider(gContext, provider);
    EXPECT_THAT(mLines.violations(), IsEmpty());
}

} // namespace
} // namespace zebhost

#include "tests/support/FailingNew.h"
#include "tests/usb/DiscovererFixture.h"
#include "tests/usb/OwnEntities.h"

#include <new>

using namespace testing;
using namespace zebtest;

namespace {

// Start and stop, in the order of the set.

TEST_F(TheUsbDiscoverer, StopsItsEntitiesInOrderThenSaysSo) {
    for (const DeviceRecord* device : {&phone, &accessory, &second})
        offer(*device);
    const std::vector<ZEBDiscovererEntity*> all = inOrder();
    forget();

    host.entry.stop(host.discoverer);

    EXPECT_THAT(told(), ElementsAre(cancelled(all[0]), cancelled(all[1]), cancelled(all[2]),
                                    Call{"discovererStopped", {host.discoverer, 0}}));
}

TEST_F(TheUsbDiscoverer, SaysThatItHasStartedThenStartsItsEntitiesInOrder) {
    for (int i = 0; i < 3; ++i)
        offer(phone);
    const std::vector<ZEBDiscovererEntity*> all = inOrder();
    host.entry.stop(host.discoverer);
    forget();

    host.entry.start(host.discoverer);

    std::vector<Call> expected = {{"discovererStarted", {host.discoverer, 0}}};
    for (ZEBDiscovererEntity* entity : all)
        expected.insert(expected.end(), {cancelled(entity), kWaiting, armed(entity, 1000000)});
    EXPECT_EQ(told(), expected);
}

TEST_F(TheUsbDiscoverer, StartsASwitchedPhoneAgainWithTheCommandItHas) {
    offer(accessory);
    host.entry.stop(host.discoverer);
    forget();

    host.entry.start(host.discoverer);

    EXPECT_THAT(told(), ElementsAre(Call{"discovererStarted", {host.discoverer, 0}},
                                    logged(80, "ZebCmd present already, no need to re-initialize")));
}

TEST_F(TheUsbDiscoverer, StopsWhenItsProviderStopsWhateverTheError) {
    for (const int error : {0, 7}) {
        ZEBDiscovererEntity* entity = offer(phone);
        forget();

        host.entry.deviceProviderStopped(host.discoverer, host.provider, error);

        EXPECT_THAT(told(), ElementsAre(cancelled(entity), Call{"discovererStopped", {host.discoverer, 0}}));
        host.destroyEntity(entity);
    }
}

TEST_F(TheUsbDiscoverer, ReportsAProviderThatWouldNotStart) {
    host.entry.deviceProviderStarted(host.discoverer, host.provider, 0);
    EXPECT_THAT(happened(), IsEmpty());

    host.entry.deviceProviderStarted(host.discoverer, host.provider, 7);

    EXPECT_THAT(happened(), ElementsAre(Call{"discovererStopped", {host.discoverer, 7}}));
}

TEST_F(TheUsbDiscoverer, UnsubscribesThenDeletesItsEntitiesInOrderWhenItGoes) {
    offer(phone);
    offer(second);
    const std::vector<ZEBDiscovererEntity*> all = inOrder();
    forget();

    host.destroy();

    EXPECT_THAT(told(), ElementsAre(Call{"unsubscribeFromDeviceProvider", {host.provider}}, cancelled(all[0]),
                                    cancelled(all[1])));
}

TEST_F(TheUsbDiscoverer, HasItsProviderAndItsIdentificationUntilItHasUnsubscribed) {
    host.results["setDeviceProviderProperty"] = 9;
    int result = -1;
    host.on["unsubscribeFromDeviceProvider"] = [&] {
        result = host.entry.setProperty(host.discoverer, "aapmodel", "X");
    };

    host.destroy();

    EXPECT_THAT(happened(), ElementsAre(Call{"unsubscribeFromDeviceProvider", {host.provider}},
                                        Call{"setDeviceProviderProperty", {host.provider, "aapmodel", "X"}}));
    EXPECT_EQ(result, 0);
}

TEST_F(TheUsbDiscoverer, HasItsIdentificationButNoProviderWhenItDeletesItsEntities) {
    offer(accessory);
    std::vector<bool> hasIdentification;
    host.on["setEntityTimer"] = [&] { hasIdentification.push_back(configurationOf(*discoverer) != nullptr); };
    EXPECT_ASSERTION(
        {
            host.on["setEntityTimer"] = [&] { host.entry.setProperty(host.discoverer, "aapmodel", "X"); };
            host.destroy();
        },
        "common/ZEBDiscovererImpl\\.cpp", "pDeviceProvider");

    host.destroy();

    EXPECT_THAT(hasIdentification, ElementsAre(true, true)) << "its own stop, then the base's";
}

// Making it, and initialisation.

/** A discoverer as the plug-in's function makes it, and no more. */
class AUsbDiscovererBeforeInit : public Test {
protected:
    void make() {
        discoverer = new UsbDiscoverer(&host.entry, host.interfaceSize, &host.callbacks, host.callbackSize);
        host.adopt(reinterpret_cast<ZEBDiscoverer*>(discoverer));
    }
    void makeWithContext() {
        make();
        host.setContext();
        host.takeRecord();
    }
    void TearDown() override {
        if (host.discoverer)
            host.destroy();
        EXPECT_THAT(host.complaints(), IsEmpty());
    }
    void expectToStopAtAProperty() {
        EXPECT_ASSERTION(
            {
                tellNothingBut(host, "");
                host.entry.setProperty(host.discoverer, "aapmodel", "X");
            },
            "common/ZEBDiscovererImpl\\.cpp", "pDeviceProvider");
    }

    FakeHost host;
    UsbDiscoverer* discoverer = nullptr;
};

TEST_F(AUsbDiscovererBeforeInit, HasToldTheHostNothing) {
    make();

    EXPECT_THAT(host.takeRecord(), IsEmpty());
}

TEST_F(AUsbDiscovererBeforeInit, SubscribesToTheProviderUsb) {
    makeWithContext();

    EXPECT_EQ(host.entry.init(host.discoverer), 0);

    EXPECT_THAT(host.takeRecord(), ElementsAre(Call{"subscribeToDeviceProvider", {"usb"}}));
}

TEST_F(AUsbDiscovererBeforeInit, PassesOnThatItCouldNotSubscribeAndNeverUnsubscribes) {
    host.results["subscribeToDeviceProvider"] = 44;
    makeWithContext();

    EXPECT_EQ(host.entry.init(host.discoverer), 44);
    host.destroy();

    EXPECT_THAT(host.takeRecord(), ElementsAre(Call{"subscribeToDeviceProvider", {"usb"}}));
}

TEST_F(AUsbDiscovererBeforeInit, StopsTheProcessWhenSuccessYieldsNoProvider) {
    host.provider = nullptr;
    makeWithContext();

    EXPECT_ASSERTION(
        {
            tellNothingBut(host, "subscribeToDeviceProvider");
            host.entry.init(host.discoverer);
        },
        "usb/UsbDiscoverer\\.cpp", "err != ZEBDiscoverySDKErrorNone || mpUsbDeviceProvider");
}

TEST_F(AUsbDiscovererBeforeInit, StopsTheProcessWhenAPropertyIsSet) {
    makeWithContext();

    expectToStopAtAProperty();
    EXPECT_EQ(host.entry.setProperty(host.discoverer, nullptr, "X"), 1) << "looked at first";
    EXPECT_THAT(host.takeRecord({Kind::LevelQuery, Kind::Below}),
                ElementsAre(logged(10, "The property is NULL")));
}

TEST_F(AUsbDiscovererBeforeInit, StopsTheProcessWhenAPropertyIsSetThoughItCouldNotSubscribe) {
    host.results["subscribeToDeviceProvider"] = 44;
    makeWithContext();
    host.entry.init(host.discoverer);

    expectToStopAtAProperty();
}

// Properties.

TEST_F(TheUsbDiscoverer, RefusesANullProperty) {
    EXPECT_EQ(host.entry.setProperty(host.discoverer, nullptr, "X"), 1);

    EXPECT_THAT(happened(), ElementsAre(logged(10, "The property is NULL")));
}

TEST_F(TheUsbDiscoverer, OffersPropertiesToTheProviderFirst) {
    const Call asked{"setDeviceProviderProperty", {host.provider, "aapmodel", "X"}};
    for (const int error : {0, 1, 44}) {
        host.results["setDeviceProviderProperty"] = error;
        EXPECT_EQ(host.entry.setProperty(host.discoverer, "aapmodel", "X"), error);
        EXPECT_THAT(happened(), ElementsAre(asked));
    }
    host.results["setDeviceProviderProperty"] = 9;
    EXPECT_EQ(host.entry.setProperty(host.discoverer, "aapmodel", "X"), 0) << "then to the identification";
    EXPECT_THAT(happened(), ElementsAre(asked)) << "asked once";
    EXPECT_EQ(host.entry.setProperty(host.discoverer, "aapmodel", nullptr), 0);
    EXPECT_EQ(host.entry.setProperty(host.discoverer, "unknown", "X"), 9);
}

TEST(AUsbDiscovererWithoutMemoryForItsIdentification, WorksWithoutIt) {
    FakeHost host;
    UsbDiscoverer* discoverer = nullptr;
    alignas(UsbDiscoverer) static unsigned char memory[sizeof(UsbDiscoverer)];
    bool failed = false;
    {
        const FailingNew failing = FailingNew::at(1);
        discoverer =
            new (memory) UsbDiscoverer(&host.entry, host.interfaceSize, &host.callbacks, host.callbackSize);
        failed = failing.hasFailed();
    }
    EXPECT_TRUE(failed);
    EXPECT_THAT(host.takeRecord(),
                ElementsAre(Call{"isLogLevelEnabled", {10}},
                            logged(10, "Failed to alocate AAP configuration, disabling AAP detection")));
    host.adopt(reinterpret_cast<ZEBDiscoverer*>(discoverer));
    host.bringUp();
    host.results["setDeviceProviderProperty"] = 9;

    EXPECT_EQ(host.entry.setProperty(host.discoverer, "aapmodel", "X"), 9);
    const DeviceRecord device(3, usbProperties("18d1", "2d00"), plainDescriptors());
    char* out = nullptr;
    EXPECT_EQ(host.entry.getDeviceInterest(host.discoverer, host.provider, device, &out), 10);
    EXPECT_EQ(host.receive(out), "106");
    host.entry.offerDevice(host.discoverer, host.provider, device);
    EXPECT_EQ(host.entities().size(), 1U) << "accessories are still detected";
    discoverer->~UsbDiscoverer();
}

// What it says of itself, and what it does not implement.

TEST_F(TheUsbDiscoverer, HasOneDescription) {
    EXPECT_STREQ(host.entry.getDescription(host.discoverer), "100");
    EXPECT_TRUE(discoverer->isUsingMultipleHandles());
}

TEST_F(TheUsbDiscoverer, RefusesWhatItDoesNotImplement) {
    ZEBDiscovererEntity* entity = offer(phone);
    char untouched = 0;
    char* text = &untouched;
    forget();

    EXPECT_EQ(host.entry.getProperty(host.discoverer, "aapmodel", &text), 9);
    EXPECT_EQ(text, &untouched);
    EXPECT_EQ(host.entry.cancelRequest(host.discoverer, nullptr), 9);
    EXPECT_EQ(host.entry.createEntity(host.discoverer, entity), 9);
    EXPECT_EQ(host.entry.destroyUnpublishedEntity(host.discoverer, entity), 9);
    host.entry.setExternalContext(host.discoverer, this);
    EXPECT_THAT(happened(), IsEmpty());

    host.entry.publishEntity(host.discoverer, entity);
    host.entry.unpublishEntity(host.discoverer, entity);
    EXPECT_THAT(happened(),
                ElementsAre(Call{"publishComplete", {entity, 9}}, Call{"unpublishComplete", {entity, 9}}));
    host.entry.removeDevice(host.discoverer, host.provider, phone);
    EXPECT_THAT(happened(), ElementsAre(cancelled(entity), lost(entity))) << "the entity is there still";
}

TEST_F(TheUsbDiscoverer, HasNeitherViewerParametersNorBinaryData) {
    ZEBDiscovererEntity* entity = offer(phone);
    void* one = this;
    void* other = this;
    const void* data = this;
    forget();

    EXPECT_EQ(host.entry.getViewerParameters(host.discoverer, entity, &one, &other), 0);
    EXPECT_EQ(host.entry.getEntityBinaryData(host.discoverer, entity, "icon", &data), 0U);

    EXPECT_EQ(one, nullptr);
    EXPECT_EQ(other, nullptr);
    EXPECT_EQ(data, nullptr);
    EXPECT_THAT(happened(), IsEmpty());
}

} // namespace

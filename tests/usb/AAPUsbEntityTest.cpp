// What an accessory entity makes of its device's record, before any USB traffic.
#include "usb/AAPUsbEntity.h"
#include "tests/support/Assertions.h"
#include "tests/usb/ScriptedEntity.h"

using namespace testing;

namespace zebtest {
namespace {

using zebdiscoverer_usb::AAPConfiguration;
using zebdiscoverer_usb::AAPUsbEntity;

TEST(TheAccessoryIds, AreTwoProductsOfOneVendorExactly) {
    struct Row {
        const char* vendor;
        const char* product;
        bool accessory;
    };
    const Row rows[] = {
        {"18d1", "2d00", true},   {"18d1", "2d01", true},   {"18d1", "2d02", false},
        {"18d1", "4ee2", false},  {"18D1", "2d00", false},  {"18d1", "2D00", false},
        {"04e8", "2d00", false},  {"18d1 ", "2d00", false}, {"18d1", "", false},
        {nullptr, "2d00", false}, {"18d1", nullptr, false}, {nullptr, nullptr, false},
    };
    for (const Row& row : rows)
        EXPECT_EQ(AAPUsbEntity::isAapIds(row.vendor, row.product), row.accessory)
            << (row.vendor ? row.vendor : "null") << ':' << (row.product ? row.product : "null");
}

TEST(ACandidate, IsEveryDeviceWithBothIds) {
    const DeviceRecord stranger(1, usbProperties("04e8", "6860"));
    bool already = true;

    EXPECT_TRUE(AAPUsbEntity::isAapDevice(stranger, &already));

    EXPECT_FALSE(already);
}

TEST(ACandidate, MayBeAnAccessoryAlready) {
    const DeviceRecord accessory(1, usbProperties("18d1", "2d01"));
    bool already = false;

    EXPECT_TRUE(AAPUsbEntity::isAapDevice(accessory, &already));

    EXPECT_TRUE(already);
}

TEST(ACandidate, HasAtLeastThreePropertiesThoughItsProductIsTheFourth) {
    DeviceRecord device(1, usbProperties("18d1", "2d00"));
    bool already = false;

    device.claimPropertiesCount(3);
    EXPECT_TRUE(AAPUsbEntity::isAapDevice(device, &already));
    EXPECT_TRUE(already);

    device.claimPropertiesCount(2);
    EXPECT_FALSE(AAPUsbEntity::isAapDevice(device, &already));
    EXPECT_FALSE(already);
}

TEST(ACandidate, IsNoDeviceWithoutAnId) {
    const DeviceRecord noVendor(1, {"1", "2", std::nullopt, "2d00"});
    const DeviceRecord noProduct(1, {"1", "2", "18d1", std::nullopt});
    bool already = true;

    EXPECT_FALSE(AAPUsbEntity::isAapDevice(noVendor, &already));
    EXPECT_FALSE(AAPUsbEntity::isAapDevice(noProduct, &already));

    EXPECT_FALSE(already);
}

class AnAccessoryEntity : public Test, protected DiscovererRig {
protected:
    void make(const DeviceRecord& device) {
        const AAPUsbEntity entity(*discoverer, *discoverer, device, &configuration);
    }

    AAPConfiguration configuration;
};

TEST_F(AnAccessoryEntity, SaysSoWhenItsPhoneHasBeenSwitchedAlready) {
    const LogLine expected{30, "Device already in AAP mode, assuming it's the correct AAP settings."};

    make(DeviceRecord(1, usbProperties("18d1", "2d00")));
    EXPECT_THAT(host.takeLogLines(), ElementsAre(expected));

    make(DeviceRecord(1, usbProperties("18d1", "4ee2")));
    EXPECT_THAT(host.takeLogLines(), IsEmpty());
}

TEST_F(AnAccessoryEntity, MayBeShownAtOnceOnlyWhenItsPhoneHasBeenSwitched) {
    const DeviceRecord switched(1, usbProperties("18d1", "2d01"));
    const DeviceRecord other(1, usbProperties("04e8", "6860"));

    EXPECT_TRUE(AAPUsbEntity(*discoverer, *discoverer, switched, &configuration).takePublishFlag());
    EXPECT_FALSE(AAPUsbEntity(*discoverer, *discoverer, other, &configuration).takePublishFlag());
}

struct NumbersRow {
    const char* bus;
    const char* device;
    const char* command;
};

const NumbersRow kNumbersRows[] = {
    {"001", "002", "zebcmd:v=1;t=USBAAP;bus=1;dev=2"},
    {"100", "127", "zebcmd:v=1;t=USBAAP;bus=100;dev=127"},
    {"123", "255", "zebcmd:v=1;t=USBAAP;bus=123;dev=255"},
    {"12 ", "x", "zebcmd:v=1;t=USBAAP;bus=12;dev=0"},
    // The longest that there are: the buffer holds them.
    {"-2147483648", "-2147483648", "zebcmd:v=1;t=USBAAP;bus=-2147483648;dev=-2147483648"},
};

TEST_F(AnAccessoryEntity, PutsItsNumbersIntoItsCommandInDecimals) {
    for (const NumbersRow& row : kNumbersRows) {
        SCOPED_TRACE(row.command);
        const DeviceRecord device(1, {row.bus, row.device, "18d1", "2d00"});
        AAPUsbEntity entity(*discoverer, *discoverer, device, &configuration);
        const void* request = host.fetch(toHost(&entity), "zebcmd");
        host.takeRecord();

        EXPECT_EQ(entity.openPort(), Status::Done);
        EXPECT_EQ(host.takeRecord({Kind::LevelQuery}),
                  (std::vector<Call>{{"allocString", {nullptr, 56}},
                                     {"setEntityTimer", {toHost(&entity), 1'000'000}}}));
        EXPECT_TRUE(entity.handleTimeout());

        EXPECT_THAT(host.takeRecord({Kind::LevelQuery}),
                    ElementsAre(Call{"allocString", {row.command, -1}},
                                Call{"fetchComplete", {toHost(&entity), "zebcmd", request, 0, row.command}}));
    }
}

TEST_F(AnAccessoryEntity, WithoutMemoryForItsCommandAnswersSo) {
    const DeviceRecord device(1, usbProperties("18d1", "2d00"));
    AAPUsbEntity entity(*discoverer, *discoverer, device, &configuration);
    host.failAllocations = true;
    host.takeRecord();

    EXPECT_EQ(entity.openPort(), Status::Done);

    EXPECT_THAT(host.takeRecord({Kind::LevelQuery}),
                ElementsAre(Call{"allocString", {nullptr, 56}},
                            Call{"setEntityTimer", {toHost(&entity), 1'000'000}}));
}

TEST_F(AnAccessoryEntity, StopsTheProcessWithoutAFourthProperty) {
    DeviceRecord device(1, usbProperties("18d1", "4ee2"));
    device.claimPropertiesCount(3);

    EXPECT_ASSERTION(make(device), "usb/AAPUsbEntity\\.cpp",
                     "pDevice->propertiesCount > UsbDeviceProviderDevicePropertyProductId");
}

TEST_F(AnAccessoryEntity, StopsTheProcessAtTheFirstPropertyThatIsMissing) {
    const std::optional<std::string> none;
    const struct {
        Properties properties;
        const char* condition;
    } rows[] = {
        {{none, none, none, none}, "pBusnum"},
        {{"1", none, none, none}, "pDevnum"},
        {{"1", "2", none, none}, "pVid"},
        {{"1", "2", "18d1", none}, "pPid"},
    };
    for (const auto& row : rows) {
        const DeviceRecord device(1, row.properties);
        EXPECT_DEATH(make(device), HasSubstr(std::string("Assertion `") + row.condition + "' failed."));
    }
}

} // namespace
} // namespace zebtest

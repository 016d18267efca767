// Kinds that no device has today, given by a classification in place of the real one.
#include "tests/usb/DiscovererFixture.h"
#include "usb/DeviceClassification.h"

#include <optional>

using namespace testing;
using namespace zebtest;
using zebdiscoverer_usb::DeviceKind;

namespace {

struct Judgement {
    DeviceKind kind;
    bool flagA, flagB;
};
/** What every device is; nothing: what its record says. */
std::optional<Judgement> gJudgement;

} // namespace

extern "C" {

// By way of the linker's --wrap: the mangled name of classify().
DeviceKind __real__ZN17zebdiscoverer_usb8classifyERK13ZEBDeviceInfoRbS3_(const ZEBDeviceInfo& device,
                                                                         bool& flagA, bool& flagB);
DeviceKind __wrap__ZN17zebdiscoverer_usb8classifyERK13ZEBDeviceInfoRbS3_(const ZEBDeviceInfo& device,
                                                                         bool& flagA, bool& flagB);

DeviceKind __wrap__ZN17zebdiscoverer_usb8classifyERK13ZEBDeviceInfoRbS3_(const ZEBDeviceInfo& device,
                                                                         bool& flagA, bool& flagB) {
    if (!gJudgement)
        return __real__ZN17zebdiscoverer_usb8classifyERK13ZEBDeviceInfoRbS3_(device, flagA, flagB);
    flagA = gJudgement->flagA;
    flagB = gJudgement->flagB;
    return gJudgement->kind;
}
}

namespace {

class TheUsbDiscovererOfOddDevices : public TheUsbDiscoverer {
protected:
    ~TheUsbDiscovererOfOddDevices() override { gJudgement.reset(); }
    int interest() { return host.entry.getDeviceInterest(host.discoverer, host.provider, phone, nullptr); }
};

TEST_F(TheUsbDiscovererOfOddDevices, HasALevelForEachPairOfFlags) {
    for (const DeviceKind kind : {DeviceKind::Tethering, DeviceKind::Accessory}) {
        const auto level = [&](bool flagA, bool flagB) {
            gJudgement = {kind, flagA, flagB};
            return interest();
        };
        EXPECT_EQ(level(true, true), 10);
        EXPECT_EQ(level(true, false), 15);
        EXPECT_EQ(level(false, true), 30);
        EXPECT_EQ(level(false, false), 35);
    }
    EXPECT_THAT(happened(), IsEmpty());
}

TEST_F(TheUsbDiscovererOfOddDevices, StopsTheProcessForAKindWithoutAName) {
    gJudgement = {static_cast<DeviceKind>(3), true, true};

    EXPECT_ASSERTION(
        {
            tellNothingBut(host, "");
            interest();
        },
        "usb/UsbDiscoverer\\.cpp", "false");
    EXPECT_ASSERTION(
        {
            tellNothingBut(host, "");
            offer(phone);
        },
        "usb/UsbDiscoverer\\.cpp", "false");
}

} // namespace

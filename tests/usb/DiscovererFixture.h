#pragma once

#include "tests/support/Assertions.h"
#include "tests/usb/ScriptedEntity.h"

namespace zebtest {

/** The discoverer and devices to offer to it. */
class TheUsbDiscoverer : public testing::Test, protected DiscovererRig {
protected:
    void TearDown() override {
        if (host.discoverer)
            host.destroy();
        EXPECT_THAT(host.complaints(), testing::IsEmpty());
    }

    ZEBDiscovererEntity* offer(const DeviceRecord& device) {
        host.entry.offerDevice(host.discoverer, host.provider, device);
        return host.entities().empty() ? nullptr : host.entities().back();
    }
    Call cancelled(ZEBDiscovererEntity* entity) { return {"setEntityTimer", {entity, -1}}; }
    Call released(const DeviceRecord& device) { return {"releaseDevice", {host.provider, device.get()}}; }

    DeviceRecord phone{1, usbProperties("04e8", "6863"), tetheringDescriptors()};
    DeviceRecord second{2, usbProperties("04e8", "6863"), tetheringDescriptors()};
    DeviceRecord accessory{3, usbProperties("18d1", "2d00"), plainDescriptors()};
    DeviceRecord switchable{4, usbProperties("04e8", "6860"), plainDescriptors()};
    DeviceRecord unusable{5, usbProperties("18d1", "2d00"), {configuration({}, false)}};
};

} // namespace zebtest

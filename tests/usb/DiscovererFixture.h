#pragma once

#include "tests/support/Assertions.h"
#include "tests/usb/ScriptedEntity.h"

#include <algorithm>
#include <cstdlib>
#include <string>

namespace zebtest {

/** In the process that is to stop: it ends as if nothing were wrong when it tells the host anything else
 * first.
 */
inline void tellNothingBut(FakeHost& host, const std::string& callback) {
    host.onEvery = [callback](const char* name) {
        if (name != callback)
            std::_Exit(EXIT_SUCCESS);
    };
}

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
    /** What the host has seen since the last look, in order; how the entities got there is their tests'
     * matter.
     */
    std::vector<Call> told() { return host.takeRecord({Kind::LevelQuery, Kind::Below}); }
    std::vector<ZEBDiscovererEntity*> inOrder() const {
        std::vector<ZEBDiscovererEntity*> all = host.entities();
        std::sort(all.begin(), all.end(), std::less<>());
        return all;
    }
    /** The host destroys an entity, once, from inside a callback about that or another one. */
    void destroyInside(const char* callback, std::vector<ZEBDiscovererEntity*> entities) {
        host.on[callback] = [this, callback, entities] {
            host.on[callback] = nullptr;
            for (ZEBDiscovererEntity* entity : entities)
                host.destroyEntity(entity);
        };
    }

    Call added(ZEBDiscovererEntity* entity) { return {"addEntity", {host.discoverer, entity}}; }
    Call armed(ZEBDiscovererEntity* entity, int timeout) { return {"setEntityTimer", {entity, timeout}}; }
    Call cancelled(ZEBDiscovererEntity* entity) { return armed(entity, -1); }
    Call lost(ZEBDiscovererEntity* entity) { return {"entityLost", {entity}}; }
    Call released(const DeviceRecord& device) { return {"releaseDevice", {host.provider, device.get()}}; }

    const Call kFoundTethering = logged(30, "Found an Android device in tethering mode");
    const Call kFoundCandidate = logged(30, "Potentially found an Android device that supports AAP");
    const Call kSwitched = logged(30, "Device already in AAP mode, assuming it's the correct AAP settings.");
    const Call kWaiting = logged(80, "Can't open the port, waiting for interval");

    DeviceRecord phone{1, usbProperties("04e8", "6863"), tetheringDescriptors()};
    DeviceRecord second{2, usbProperties("04e8", "6863"), tetheringDescriptors()};
    DeviceRecord accessory{3, usbProperties("18d1", "2d00"), plainDescriptors()};
    DeviceRecord switchable{4, usbProperties("04e8", "6860"), plainDescriptors()};
    DeviceRecord unusable{5, usbProperties("18d1", "2d00"), {configuration({}, false)}};
};

} // namespace zebtest

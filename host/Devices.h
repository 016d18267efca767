#pragma once

#include "host/DeviceRecord.h"
#include "host/Discoverer.h"
#include "host/Output.h"
#include "host/Policy.h"
#include "host/Strings.h"

#include <functional>
#include <map>
#include <memory>

namespace zebhost {

/**
 * The devices that are plugged, and what the plug-in has of them. Those that the policy lets
 * through are offered to the plug-in if it wants them; it hears nothing of any other.
 *
 * A record lives until its device is unplugged, the plug-in has released it and none of its
 * entities is left: an entity may read the record until it is destroyed.
 */
class Devices {
public:
    Devices(const Discoverer& discoverer, Output& output, Strings& strings);

    /** For what is seen from now on. */
    void setPolicy(PolicySettings settings) { mPolicy = std::move(settings); }

    /** Asked before a device is offered that the policy lets through. When it says no, the device is
     *  offered after a retry(). */
    void setGate(std::function<bool(const UsbDevice&, const Verdict&)> mayOffer) {
        mMayOffer = std::move(mayOffer);
    }

    /** Ask the gate once more for what is at this port, if it has said no. */
    void retry(const std::string& port);

    /** Called when the plug-in has been told that a device has gone, before anything else is offered. */
    void onRemoved(std::function<void()> handler) { mOnRemoved = std::move(handler); }

    /** A device is plugged, or is already and has changed. One that the plug-in holds keeps its record
     *  whatever changes; any other is judged anew (a configuration was chosen, for example). */
    void seen(const UsbDevice& device);

    /** What was plugged in at this port has gone. */
    void gone(const std::string& port);

    /** What the plug-in would say of a device; nothing is offered or remembered. */
    InterestEvent interestIn(const UsbDevice& device);

    /** Callback releaseDevice. */
    void released(const ZEBDeviceInfo* device);

    /** An entity was handed over, or was destroyed, that belongs to this device. */
    void entityAdded(uint32_t deviceId);
    void entityDestroyed(uint32_t deviceId);

    /** The device whose offerDevice runs: its number and where it is; 0 outside. */
    uint32_t offeredId() const { return mOfferedId; }
    UsbAddress offeredAddress() const;

    /** A violation for every device that the plug-in still holds. */
    void reportHeld();

    /** The provider, as the plug-in sees it. */
    ZEBDiscovererDeviceProvider* provider() { return reinterpret_cast<ZEBDiscovererDeviceProvider*>(this); }

private:
    struct Known {
        UsbDevice device;
        std::unique_ptr<DeviceRecord> record;
        Verdict verdict{};
        bool isPlugged = true;
        /** The gate has said no, up to now. */
        bool isPostponed = false;
        bool isHeld = false;
        unsigned entities = 0;
    };
    using Map = std::map<uint32_t, Known>;

    Map::iterator pluggedAt(const std::string& port);
    InterestEvent ask(const UsbDevice& device, const DeviceRecord& record);
    void judge(uint32_t id);
    void proceed(uint32_t id);
    void offer(uint32_t id);
    void forgetIfUnused(Map::iterator entry);
    void report(const char* action, const UsbDevice& device);

    const Discoverer& mDiscoverer;
    Output& mOutput;
    Strings& mStrings;
    PolicySettings mPolicy;
    std::function<bool(const UsbDevice&, const Verdict&)> mMayOffer = [](const auto&, const auto&) {
        return true;
    };
    std::function<void()> mOnRemoved = [] {};
    Map mKnown;
    uint32_t mLastId = 0;
    uint32_t mOfferedId = 0;
};

} // namespace zebhost

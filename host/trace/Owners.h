#pragma once

#include "host/Event.h"
#include "host/trace/Trace.h"
#include "zebdiscovery/zebdiscovery.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace zebhost {

/** To which phone's track a thing of the boundary belongs; 0 where that can't be told. [host-thread] */
class Owners {
public:
    explicit Owners(Trace& trace) : mTrace(trace) {}

    Track portTrack(const std::string& port) { return mTrace.track("usb " + port); }
    Track of(const ZEBDeviceInfo* device) const;
    Track of(const ZEBDiscovererEntity* entity) const;
    Track of(const UsbAddress& address) const;
    Track ofDescriptor(int descriptor) const;

    /** The host hands this device to the plug-in: its record may be read now, and is not read later. */
    void offered(const ZEBDeviceInfo* device);
    /** Its ids and its port: "18d1:4ee2 at 1-1.2". */
    std::string nameOf(const ZEBDeviceInfo* device) const;

    /** The number that the run's lines give the entity. 0: it was not announced, or is destroyed. */
    uint32_t number(const ZEBDiscovererEntity* entity) const;

    void announced(const ZEBDiscovererEntity* entity, Track track);
    void destroyed(const ZEBDiscovererEntity* entity) { mEntities.erase(entity); }

    /** Descriptors that were not there before were opened for the phone of this track. */
    void opened(const std::set<int>& before, const std::set<int>& after, Track track);

private:
    struct Device {
        std::string name;
        Track track;
    };
    struct Entity {
        uint32_t number;
        Track track;
    };

    Trace& mTrace;
    std::map<std::pair<int, int>, Track> mAddresses;
    std::map<const ZEBDeviceInfo*, Device> mDevices;
    std::map<const ZEBDiscovererEntity*, Entity> mEntities;
    std::map<int, Track> mDescriptors;
    uint32_t mLastEntity = 0;
};

/** The port in a name that ends with "(usb PORT)"; empty when there is none. */
std::string portInName(const std::string& name);

/** The descriptors that are open in this process. */
std::set<int> openDescriptors();

/** A descriptor's number and what is behind it: "9 /dev/bus/usb/001/005", "10 eventfd". */
std::string describeDescriptor(int descriptor);

} // namespace zebhost

#pragma once

#include "zebdiscovery/device.h"

#include <deque>
#include <string>
#include <vector>

namespace zebbench {

/** A device of the provider "usb" as a host describes it. */
class UsbRecord {
public:
    /** One configuration with one vendor interface: what may be a phone. */
    UsbRecord(uint32_t deviceId, int bus, int device, const char* vendor, const char* product);
    UsbRecord(const UsbRecord&) = delete;
    UsbRecord& operator=(const UsbRecord&) = delete;

    /** All of it active, one more configuration with so many interfaces of that class triple. */
    void addConfiguration(int interfaces, const char* deviceClass, const char* subclass,
                          const char* protocol);

    const ZEBDeviceInfo& get() const { return mInfo; }

private:
    const char* const* keep(std::vector<std::string> texts);

    // Deques, so that what the record points at stays where it is.
    std::deque<std::string> mTexts;
    std::deque<std::vector<const char*>> mProperties;
    std::deque<std::vector<ZEBDeviceDescriptor>> mChildren;
    std::vector<ZEBDeviceDescriptor> mConfigurations;
    ZEBDeviceInfo mInfo{};
};

} // namespace zebbench

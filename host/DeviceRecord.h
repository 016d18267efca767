#pragma once

#include "host/UsbDevice.h"
#include "zebdiscovery/device.h"

#include <deque>
#include <string>
#include <vector>

namespace zebhost {

/**
 * The record of one device in the form in which discoverers read it, with all that it points at.
 * It points into itself, so it stays where it is made. Constant once made.
 *
 * A configuration's only property is its value; properties of the device are the five of the
 * provider "usb". Without an active configuration nothing is active.
 */
class DeviceRecord {
public:
    DeviceRecord(uint32_t deviceId, const UsbDevice& device);
    DeviceRecord(const DeviceRecord&) = delete;
    DeviceRecord& operator=(const DeviceRecord&) = delete;

    const ZEBDeviceInfo* info() const { return &mInfo; }

private:
    using Properties = std::vector<const char*>;

    const char* keep(std::string text);
    const Properties& keepNumbers(std::initializer_list<int> numbers);
    ZEBDeviceDescriptor describe(const UsbConfiguration& configuration, bool active);
    ZEBDeviceDescriptor describe(const UsbInterface& interface, bool active);
    ZEBDeviceDescriptor describe(const UsbAssociation& association, bool active);

    // Deques: what is in them never moves.
    std::deque<std::string> mTexts;
    std::deque<Properties> mProperties;
    std::deque<std::vector<ZEBDeviceDescriptor>> mChildren;
    std::vector<ZEBDeviceDescriptor> mConfigurations;
    ZEBDeviceInfo mInfo{};
};

} // namespace zebhost

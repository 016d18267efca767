// The record by which a host's provider "usb" describes a device, made from the
// device's face. Owns every string and descriptor of the record, so it must outlive
// the discoverer's use of it; it can't be copied or moved because the record points
// into it.
#pragma once

#include "phones/UsbFace.h"
#include "zebdiscovery/device.h"

#include <deque>
#include <string>
#include <vector>

namespace zebphones {

class DeviceRecord {
public:
    // Everything is active: the device has one configuration, and the host has chosen it.
    DeviceRecord(const UsbFace& face, int bus, int device, std::uint32_t deviceId);
    DeviceRecord(const DeviceRecord&) = delete;
    DeviceRecord& operator=(const DeviceRecord&) = delete;

    const ZEBDeviceInfo* get() const { return &mInfo; }

private:
    using Properties = std::vector<const char*>;

    const Properties& keep(const std::vector<std::string>& texts);
    ZEBDeviceDescriptor record(std::uint32_t kind, const Properties& properties) const;

    // A deque, so that what was handed out stays where it is.
    std::deque<std::string> mTexts;
    std::deque<Properties> mProperties;
    std::vector<ZEBDeviceDescriptor> mChildren;
    ZEBDeviceDescriptor mConfiguration{};
    ZEBDeviceInfo mInfo{};
};

} // namespace zebphones

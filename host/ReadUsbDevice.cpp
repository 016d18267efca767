#include "host/UsbProvider.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <libudev.h>

namespace zebhost {
namespace {

std::string attribute(udev_device* device, const char* name) {
    const char* value = udev_device_get_sysattr_value(device, name);
    return value == nullptr ? "" : value;
}

/** An unconfigured device's value is empty, which is 0 too. */
int number(udev_device* device, const char* name) { return std::atoi(attribute(device, name).c_str()); }

std::vector<uint8_t> descriptorBytes(udev_device* device) {
    std::ifstream file(std::string(udev_device_get_syspath(device)) + "/descriptors", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace

std::optional<UsbDevice> readUsbDevice(udev_device* device) {
    std::optional<UsbDescriptors> descriptors = parseDescriptors(descriptorBytes(device));
    if (!descriptors)
        return std::nullopt;

    UsbDevice read;
    read.port = udev_device_get_sysname(device);
    read.bus = number(device, "busnum");
    read.device = number(device, "devnum");
    read.productName = attribute(device, "product");
    read.activeConfiguration = number(device, "bConfigurationValue");
    read.descriptors = std::move(*descriptors);
    return read;
}

} // namespace zebhost

#include "host/UsbDevice.h"

#include <array>
#include <cstdio>

namespace zebhost {
namespace {

std::string fourDigits(uint16_t id) {
    std::array<char, 5> text;
    std::snprintf(text.data(), text.size(), "%04x", id);
    return text.data();
}

} // namespace

std::string UsbDevice::vendorId() const { return fourDigits(descriptors.vendor); }

std::string UsbDevice::productId() const { return fourDigits(descriptors.product); }

std::string UsbDevice::number() const {
    std::array<char, 32> text;
    std::snprintf(text.data(), text.size(), "%03d/%03d", bus, device);
    return text.data();
}

std::string UsbDevice::name() const {
    std::string shown = productName.empty() ? vendorId() + ":" + productId() : productName;
    return shown + " (usb " + port + ")";
}

} // namespace zebhost

#pragma once

#include "host/Descriptors.h"

#include <string>

namespace zebhost {

/** Where a device is; nowhere for what has no device. */
struct UsbAddress {
    int bus = 0;
    int device = 0;
    /** Stays when a phone changes its mode; the number on the bus does not. */
    std::string port{};
};

/** What the kernel tells of one USB device. */
struct UsbDevice {
    /** The kernel's name for the place it is plugged in, for example "1-1.2". */
    std::string port;
    int bus = 0;
    /** Its number (address) on the bus, a new one at each plugging. */
    int device = 0;
    /** The device's own name for itself, as it sent it; empty when it has none. */
    std::string productName;
    /** Value of the active configuration; 0 while there is none. */
    int activeConfiguration = 0;
    UsbDescriptors descriptors{};

    bool operator==(const UsbDevice&) const = default;

    UsbAddress address() const { return {bus, device, port}; }

    /** Bus and number as its node's path has them, "001/005". */
    std::string number() const;

    /** Part of the machine rather than plugged in: the kernel names it "usb1". */
    bool isRootHub() const { return port.starts_with("usb"); }

    /** Four lower-case hexadecimal digits. */
    std::string vendorId() const;
    std::string productId() const;

    /**
     * Its name, or its ids when it has none, and its port: "Phone (usb 1-1.2)". Unique among what
     * is plugged, and the same again when the same phone returns to the same port.
     */
    std::string name() const;
};

} // namespace zebhost

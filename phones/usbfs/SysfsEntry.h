// A USB device in the text form in which umockdev adds it to its sysfs.
#pragma once

#include "phones/UsbFace.h"

#include <string>

namespace zebphones {

// "/dev/bus/usb/001/004"
std::string nodePath(int bus, int address);

// path is the device's below /sys. Sysfs gets what the kernel would show of a
// configured high-speed device, the uevent what udev would add.
std::string sysfsEntry(const std::string& path, const UsbFace& face, int bus, int address);

} // namespace zebphones

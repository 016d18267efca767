#pragma once

#include "host/PluginFile.h"
#include "host/doctor/Checks.h"
#include "host/explain/Explanation.h"
#include "phones/PhoneFile.h"

#include <string>

namespace zebhost {

/** What "zebhost version" tells. */
struct Versions {
    std::string zebhost;
    /** What this program is made for, and how it was built. */
    std::string system;
    std::string build;
    PluginFile plugin;
    Libusb libusb;
};

// One JSON object each, without a line feed. Bytes that are not UTF-8 become U+FFFD.

std::string jsonOf(const UsbDevice& device, const Verdict& verdict, const DeviceNode& node);
std::string jsonOf(const Explanation& explanation);
std::string jsonOf(const Finding& finding);
std::string jsonOf(const zebphones::PhoneFile& phone);
std::string jsonOf(const Versions& versions);

const char* nameOf(Level level);

} // namespace zebhost

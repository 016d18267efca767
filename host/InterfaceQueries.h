#pragma once

#include "host/UsbDevice.h"

#include <vector>

namespace zebhost {

/** Class, subclass and protocol of an interface; -1 stands for any. */
struct Triple {
    int interfaceClass;
    int subclass = -1;
    int protocol = -1;

    bool matches(const UsbInterface& interface) const;
};

/** The interfaces of the active configuration; none without one. */
std::vector<UsbInterface> activeInterfaces(const UsbDevice& device);

bool hasActive(const UsbDevice& device, const Triple& triple);

/** In whichever configuration. */
bool hasAnywhere(const UsbDevice& device, const Triple& triple);

/** Does the plug-in take it for a phone that shares its network? */
bool hasPluginTether(const UsbDevice& device);

} // namespace zebhost

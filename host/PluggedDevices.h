#pragma once

#include "host/UsbDevice.h"

#include <vector>

namespace zebhost {

/** What is plugged in now, in the order of buses and numbers. Hubs too, but not the machine's own (root
 *  hubs). Nothing is opened. Throws std::system_error when the system can't be asked. */
std::vector<UsbDevice> pluggedDevices();

} // namespace zebhost

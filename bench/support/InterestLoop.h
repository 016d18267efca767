#pragma once

#include "zebdiscovery/device.h"

namespace zebbench {

/** The least that can tell a tethering phone by one triple: one bare loop over all interfaces of a record,
 * which are all taken to be active and complete. */
bool hasTriple(const ZEBDeviceInfo& device, const char* deviceClass, const char* subclass,
               const char* protocol);

} // namespace zebbench

#pragma once

#include "zebdiscovery/zebdiscovery.h"

namespace zebdiscovery {

/**
 * Write the entry points that belong to the mode into the host's table, each only
 * when its slot lies wholly inside the size (in bytes) that the host gave.
 */
void fillEntryPoints(ZEBDiscovererInterface* hostTable, size_t size, bool multipleHandles);

/** A copy of the host's callbacks; what its table does not wholly cover is null. */
ZEBDiscovererCallbacks copyCallbacks(const ZEBDiscovererCallbacks* hostTable, size_t size);

} // namespace zebdiscovery

#pragma once

#include "zebdiscovery/zebdiscovery.h"

namespace zebhost {

/** The plug-in's side: the table that it filled and the object that goes with it. */
struct Discoverer {
    ZEBDiscovererInterface entry{};
    ZEBDiscoverer* self = nullptr;
};

} // namespace zebhost

#pragma once

#include "zebdiscovery/zebdiscovery.h"

namespace zebhost {

/** The plug-in's side: the table that it filled and the object that goes with it. */
struct Discoverer {
    ZEBDiscovererInterface entry{};
    ZEBDiscoverer* self = nullptr;

    /** It has one handle and one timer, instead of an array of handles with a timer each. */
    bool isSingle() const { return entry.getMultipleEventHandlesEx == nullptr; }
};

} // namespace zebhost

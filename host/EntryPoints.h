#pragma once

#include "zebdiscovery/interface.h"

#include <string>

namespace zebhost {

/** The names, with commas between, of the entry points that this host calls and the table lacks. */
std::string missingEntryPoints(const ZEBDiscovererInterface& table);

} // namespace zebhost

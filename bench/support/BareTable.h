#pragma once

#include "zebdiscovery/interface.h"

namespace zebbench {

/** A table without a barrier: each entry only makes the virtual call that the plug-in's own entry makes. It
 *  has those entries that are compared. */
const ZEBDiscovererInterface& bareTable();

} // namespace zebbench

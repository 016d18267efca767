#pragma once

#include "host/trace/BoundaryTrace.h"

namespace zebhost {

/**
 * An entry function that does what real does, and puts trace on both sides of the boundary: before each
 * entry point and before each callback. One at a time in a process, because half of the functions
 * come without a context; trace and the plug-in's own calls end with the plug-in.
 */
ZEBDiscovererInitializeFunction traced(ZEBDiscovererInitializeFunction real, BoundaryTrace& trace);

} // namespace zebhost

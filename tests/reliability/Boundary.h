#pragma once

#include "zebdiscovery/zebdiscovery.h"

namespace zebtest {

/**
 * Knows on which side of the boundary this thread is: inside the plug-in (and what it calls), or outside,
 * in the host's callbacks and the test. So that only the plug-in's own allocations and calls are counted
 * and made to fail.
 */
class Boundary {
public:
    static bool isInside();

    /** Calls through the tables cross the boundary from now on. */
    static void guard(ZEBDiscovererCallbacks& callbacks);
    static void guard(ZEBDiscovererInterface& entryPoints);

    /** Is on the given side until it goes. */
    class Side {
    public:
        explicit Side(bool inside);
        ~Side();
        Side(const Side&) = delete;
        Side& operator=(const Side&) = delete;

    private:
        const bool mBefore;
    };
};

} // namespace zebtest

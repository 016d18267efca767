#pragma once

#include "common/ZEBDiscovererImpl.h"

#include <memory>

namespace zebdiscovery {

/** Gives an SDK string back to the host. */
struct FreeHostString {
    const ZEBDiscovererImpl* mpDiscoverer;

    void operator()(char* string) const noexcept {
        try {
            mpDiscoverer->freeString(string);
        } catch (...) { // NOLINT(bugprone-empty-catch): the string is the host's again, whatever it threw
        }
    }
};

/** An SDK string that is ours. */
using HostString = std::unique_ptr<char, FreeHostString>;

} // namespace zebdiscovery

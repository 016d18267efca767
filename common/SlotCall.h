#pragma once

#include "zebdiscovery/types.h"

#include <utility>

namespace zebdiscovery {

/**
 * Call a slot of a foreign table, or give its default when the host left it out.
 * The default of an operation that returns an error is NotImplemented.
 */
template <class Default, class R, class... Parameters, class... Args>
R callOr(Default absent, R (*slot)(Parameters...), Args&&... args) {
    return slot ? slot(std::forward<Args>(args)...) : static_cast<R>(absent);
}

/** The same for a slot that returns nothing. */
template <class... Parameters, class... Args>
void callIfPresent(void (*slot)(Parameters...), Args&&... args) {
    if (slot)
        slot(std::forward<Args>(args)...);
}

} // namespace zebdiscovery

#include "host/EntryPoints.h"

#include <utility>

namespace zebhost {

std::string missingEntryPoints(const ZEBDiscovererInterface& table) {
    // A discoverer has the slots of its mode; one of neither mode is told what it lacks of the usual one.
    bool isSingle = table.getEventHandle != nullptr && table.handleEvent != nullptr &&
                    table.handleTimeout != nullptr && table.getMultipleEventHandlesEx == nullptr;
    const std::pair<const char*, bool> needed[] = {
        {"setContext", table.setContext != nullptr},
        {"getEntityEventHandle", table.getEntityEventHandle != nullptr},
        {"handleEntityEvent", table.handleEntityEvent != nullptr},
        {"handleEntityTimeout", table.handleEntityTimeout != nullptr},
        {"setProperty", table.setProperty != nullptr},
        {"start", table.start != nullptr},
        {"stop", table.stop != nullptr},
        {"fetchEntityValue", table.fetchEntityValue != nullptr},
        {"destroyEntity", table.destroyEntity != nullptr},
        {"destroyDiscoverer", table.destroyDiscoverer != nullptr},
        {"handleSingleEvent", isSingle || table.handleSingleEvent != nullptr},
        {"handleTimeoutForEventHandle", isSingle || table.handleTimeoutForEventHandle != nullptr},
        {"init", table.init != nullptr},
        {"deviceProviderStarted", table.deviceProviderStarted != nullptr},
        {"getDeviceInterest", table.getDeviceInterest != nullptr},
        {"offerDevice", table.offerDevice != nullptr},
        {"removeDevice", table.removeDevice != nullptr},
        {"getMultipleEventHandlesEx", isSingle || table.getMultipleEventHandlesEx != nullptr},
    };
    std::string missing;
    for (const auto& [name, isThere] : needed) {
        if (!isThere)
            missing += (missing.empty() ? "" : ", ") + std::string(name);
    }
    return missing;
}

} // namespace zebhost

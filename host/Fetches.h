#pragma once

#include "zebdiscovery/types.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace zebhost {

/** One fetch of an entity's value that has not been answered. */
struct Fetch {
    ZEBDiscovererEntity* entity;
    std::string key;
    /** The SDK string that was handed over with it; the plug-in's. */
    const char* keyString;
};

/** The fetches that wait for their answer. Requests are numbers that are never used again, so that an
 *  answer that comes twice is recognised. */
class Fetches {
public:
    enum class Known { Waiting, Answered, Never };

    ZEBDiscoverySDKRequest* begin(Fetch fetch);

    Known known(const ZEBDiscoverySDKRequest* request) const;

    /** Take a waiting fetch out. */
    Fetch end(const ZEBDiscoverySDKRequest* request);

    /** Take out the fetch whose key string this is, if there is one. */
    std::optional<Fetch> endByKeyString(const char* keyString);

    /** Take out all of an entity. */
    std::vector<Fetch> endAllOf(ZEBDiscovererEntity* entity);

    bool waits(ZEBDiscovererEntity* entity, const std::string& key) const;

private:
    std::map<uintptr_t, Fetch> mWaiting;
    uintptr_t mLast = 0;
};

} // namespace zebhost

#pragma once

#include "host/Discoverer.h"
#include "host/Fetches.h"
#include "host/HandleWatches.h"
#include "host/Loop.h"
#include "host/Output.h"
#include "host/Strings.h"

#include <functional>
#include <map>
#include <vector>

namespace zebhost {

/**
 * The entities that the plug-in has handed over.
 *
 * An entry point is never called from inside a callback here: what a callback asks for is noted,
 * and work() does it before the loop waits again: fetch the values of an entity that appeared,
 * destroy one that was lost.
 *
 *   added ──> published ──> lost ──> destroyed      (any of the first three may be left out)
 */
class Entities {
public:
    Entities(Loop& loop, const Discoverer& discoverer, Output& output, Strings& strings);

    /** Called with the device number of an entity that was destroyed. */
    void onDestroyed(std::function<void(uint32_t)> handler) { mOnDestroyed = std::move(handler); }

    /** Callbacks addEntity (publish) and addUnpublishedEntity; deviceId is that of the device being
     *  offered, 0 for none. True when the entity was not known before. */
    bool announce(ZEBDiscovererEntity* entity, bool publish, uint32_t deviceId, UsbAddress address);

    /** Callback entityLost; again for one that is already lost changes nothing. */
    void lost(ZEBDiscovererEntity* entity);

    /** Callback setEntityTimer. Cancelling for an unknown entity is no violation: one that was never
     *  handed over cancels its timer when it is deleted. */
    void setTimer(ZEBDiscovererEntity* entity, ZEBDiscoverySDKTimeoutMicroseconds timeout);

    /** Callback fetchComplete. */
    void fetchComplete(ZEBDiscovererEntity* entity, char* key, ZEBDiscoverySDKRequest* request,
                       ZEBDiscoverySDKError error, char* value);

    /**
     * The plug-in is about to free a string: when it is the key of a waiting fetch, the fetch ends
     * without an answer. It may when the entity is being destroyed, and when another fetch of the
     * same key came between; otherwise it is a violation.
     */
    void stringFreed(const char* string);

    /** For the other callbacks that name an entity: a violation when it is unknown. */
    bool isKnown(ZEBDiscovererEntity* entity, const char* callback);

    /** Destroy what was lost and fetch from what appeared, until nothing is left to do. */
    void work();
    void destroyAll();

    /** The entities' own descriptors, as they are now. */
    const std::vector<WantedHandle>& handles();

private:
    struct Entity {
        uint32_t id;
        uint32_t deviceId;
        UsbAddress address;
        Timer timer;
        /** Where its own descriptor is; null when it has none. */
        const ZEBDiscovererEventHandle* ownHandle = nullptr;
        bool isPublished = false;
        bool isNew = true;
        bool isLost = false;
    };

    Entity* find(ZEBDiscovererEntity* entity);
    ZEBDiscovererEntity* first(bool Entity::*flag) const;
    void appeared(ZEBDiscovererEntity* entity);
    void fetch(ZEBDiscovererEntity* entity, const char* key);
    void answered(const Fetch& fetch, ZEBDiscoverySDKError error, const std::optional<std::string>& value);
    void destroy(ZEBDiscovererEntity* entity);
    void report(const char* action, const Entity& entity);

    Loop& mLoop;
    const Discoverer& mDiscoverer;
    Output& mOutput;
    Strings& mStrings;
    std::function<void(uint32_t)> mOnDestroyed = [](uint32_t) {};
    std::map<ZEBDiscovererEntity*, Entity> mEntities;
    Fetches mFetches;
    std::vector<WantedHandle> mHandles;
    uint32_t mLastId = 0;
    /** Which entity's destroyEntity or fetchEntityValue runs; null outside. */
    ZEBDiscovererEntity* mDestroying = nullptr;
    ZEBDiscovererEntity* mFetching = nullptr;
};

} // namespace zebhost

#include "host/Entities.h"

#include <algorithm>
#include <sys/epoll.h>

namespace zebhost {
namespace {

constexpr const char* kKeys[] = {"id", "name", "type", "connectionPassPossible", "zebcmd"};

} // namespace

Entities::Entities(Loop& loop, const Discoverer& discoverer, Output& output, Strings& strings) :
    mLoop(loop), mDiscoverer(discoverer), mOutput(output), mStrings(strings) {}

bool Entities::announce(ZEBDiscovererEntity* entity, bool publish, uint32_t deviceId, UsbAddress address) {
    const char* callback = publish ? "addEntity" : "addUnpublishedEntity";
    Entity* known = find(entity);
    if (entity == nullptr || (known != nullptr && (known->isPublished || !publish))) {
        mOutput.violation(std::string(callback) + ": no entity, or one that was announced before");
        return false;
    }
    bool isFirst = known == nullptr;
    if (isFirst) {
        auto expired = [this, entity] { mDiscoverer.entry.handleEntityTimeout(mDiscoverer.self, entity); };
        known =
            &mEntities.emplace(entity, Entity{++mLastId, deviceId, std::move(address), Timer(mLoop, expired)})
                 .first->second;
    }
    known->isPublished = publish;
    known->isNew = true;
    report(publish ? "published" : "added", *known);
    return isFirst;
}

void Entities::lost(ZEBDiscovererEntity* entity) {
    if (!isKnown(entity, "entityLost"))
        return;
    Entity& known = *find(entity);
    if (known.isLost)
        return;
    known.isLost = true;
    report("lost", known);
}

void Entities::setTimer(ZEBDiscovererEntity* entity, ZEBDiscoverySDKTimeoutMicroseconds timeout) {
    if (timeout >= 0 && isKnown(entity, "setEntityTimer"))
        find(entity)->timer.arm(static_cast<uint64_t>(timeout));
    else if (Entity* known = find(entity); timeout < 0 && known != nullptr)
        known->timer.cancel();
}

void Entities::fetchComplete(ZEBDiscovererEntity* entity, char* key, ZEBDiscoverySDKRequest* request,
                             ZEBDiscoverySDKError error, char* value) {
    Fetches::Known known = mFetches.known(request);
    if (known != Fetches::Known::Waiting) {
        mOutput.violation(known == Fetches::Known::Answered ? "fetchComplete: a fetch was completed twice"
                                                            : "fetchComplete: nobody asked for this");
        return;
    }
    Fetch fetch = mFetches.end(request);
    if (fetch.entity != entity || fetch.keyString != key)
        mOutput.violation("fetchComplete: not with the entity and the key of the fetch of \"" + fetch.key +
                          "\"");
    mStrings.take(key, "fetchComplete");
    answered(fetch, error, mStrings.take(value, "fetchComplete"));
}

void Entities::answered(const Fetch& fetch, ZEBDiscoverySDKError error,
                        const std::optional<std::string>& value) {
    if (const Entity* entity = find(fetch.entity))
        mOutput.report(ValueEvent{entity->id, fetch.key, error, value});
}

void Entities::stringFreed(const char* string) {
    std::optional<Fetch> dropped = mFetches.endByKeyString(string);
    if (!dropped)
        return;
    bool allowed = dropped->entity == mDestroying || dropped->entity == mFetching ||
                   mFetches.waits(dropped->entity, dropped->key);
    if (!allowed)
        mOutput.violation("a fetch of \"" + dropped->key + "\" was dropped without an answer");
}

bool Entities::isKnown(ZEBDiscovererEntity* entity, const char* callback) {
    if (find(entity) != nullptr)
        return true;
    mOutput.violation(std::string(callback) + ": an entity that is unknown or destroyed");
    return false;
}

void Entities::work() {
    while (true) {
        // Lost ones first: nothing is fetched from them any more.
        if (ZEBDiscovererEntity* entity = first(&Entity::isLost))
            destroy(entity);
        else if (ZEBDiscovererEntity* fresh = first(&Entity::isNew))
            appeared(fresh);
        else
            return;
    }
}

void Entities::destroyAll() {
    while (!mEntities.empty())
        destroy(mEntities.begin()->first);
}

const std::vector<WantedHandle>& Entities::handles() {
    mHandles.clear();
    for (const auto& [entity, known] : mEntities) {
        if (known.ownHandle != nullptr && *known.ownHandle != ZEBDiscovererNoEventHandle)
            mHandles.push_back({*known.ownHandle, EPOLLIN, entity});
    }
    return mHandles;
}

Entities::Entity* Entities::find(ZEBDiscovererEntity* entity) {
    auto found = mEntities.find(entity);
    return found == mEntities.end() ? nullptr : &found->second;
}

ZEBDiscovererEntity* Entities::first(bool Entity::*flag) const {
    auto found = std::find_if(mEntities.begin(), mEntities.end(),
                              [flag](const auto& entry) { return entry.second.*flag; });
    return found == mEntities.end() ? nullptr : found->first;
}

void Entities::appeared(ZEBDiscovererEntity* entity) {
    Entity& known = *find(entity);
    known.isNew = false;
    known.ownHandle = mDiscoverer.entry.getEntityEventHandle(mDiscoverer.self, entity);
    for (const char* key : kKeys) {
        if (!mFetches.waits(entity, key))
            fetch(entity, key);
    }
}

void Entities::fetch(ZEBDiscovererEntity* entity, const char* key) {
    char* keyString = mStrings.allocate(key, -1);
    if (keyString == nullptr)
        return;
    ZEBDiscoverySDKRequest* request = mFetches.begin({entity, key, keyString});
    mFetching = entity;
    mDiscoverer.entry.fetchEntityValue(mDiscoverer.self, entity, keyString, request);
    mFetching = nullptr;
}

void Entities::destroy(ZEBDiscovererEntity* entity) {
    // It stays known until the plug-in is through with it, and its destructor cancels its timer.
    mDestroying = entity;
    mDiscoverer.entry.destroyEntity(mDiscoverer.self, entity);
    mDestroying = nullptr;

    for (const Fetch& fetch : mFetches.endAllOf(entity))
        mOutput.violation("a fetch of \"" + fetch.key + "\" was never completed");
    auto gone = mEntities.extract(entity);
    report("destroyed", gone.mapped());
    mOnDestroyed(gone.mapped().deviceId);
}

void Entities::report(const char* action, const Entity& entity) {
    mOutput.report(EntityEvent{action, entity.id, entity.address});
}

} // namespace zebhost

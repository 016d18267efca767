#include "tests/fuzz/ModelCallbacks.h"

#include <algorithm>
#include <cstring>

namespace zebtest {

ModelHost* ModelCallbacks::pHost = nullptr;

ModelHost& ModelCallbacks::host(void* context) {
    if (!pHost || pHost->mDepth == 0)
        fail("a callback from outside of any entry point");
    if (context != pHost && std::strcmp(pHost->mRun.name, "ZEBDiscovererInitialize") != 0 && pHost->mWhole)
        fail("%s: a callback with another context", pHost->mRun.name);
    return *pHost;
}

void ModelCallbacks::discovererStarted(void* context, ZEBDiscoverer*, ZEBDiscoverySDKError error) {
    ModelHost& self = host(context);
    ++self.mRun.started;
    self.mRun.lastError = error;
}

void ModelCallbacks::discovererStopped(void* context, ZEBDiscoverer*, ZEBDiscoverySDKError error) {
    ModelHost& self = host(context);
    ++self.mRun.stopped;
    self.mRun.lastError = error;
}

void ModelCallbacks::add(void* context, ZEBDiscoverer*, ZEBDiscovererEntity* entity, bool published) {
    ModelHost& self = host(context);
    if (!self.mRun.record || self.mRun.added || self.mEntities.contains(entity))
        fail("%s: an entity is added twice, or without an offer", self.mRun.name);
    if (published == (self.mRun.record->taken == Taken::ToBeSwitched))
        fail("an entity is shown too early, or never");
    self.mRun.added = entity;
    self.mEntities[entity] = {self.mRun.record, std::nullopt, std::nullopt};
}

void ModelCallbacks::setEntityTimer(void* context, ZEBDiscovererEntity* entity,
                                    ZEBDiscoverySDKTimeoutMicroseconds timeout) {
    ModelHost& self = host(context);
    constexpr int kKnown[] = {-1, 0, 500'000, 1'000'000, 3'000'000};
    if (std::count(std::begin(kKnown), std::end(kKnown), timeout) == 0)
        fail("%s: a timer of %d us", self.mRun.name, timeout);
    const auto known = self.mEntities.find(entity);
    const bool isThere = known != self.mEntities.end();
    // One that was never announced, or is on its way out, may only cancel.
    if (!isThere || known->second.isEnding)
        self.owe(timeout < 0, "a timer of an entity that is not there");
    if (!isThere)
        return;
    known->second.timer = timeout < 0 ? std::nullopt : std::optional<int>(timeout);
}

void ModelCallbacks::setTimerForHandle(void* context, ZEBDiscoverer*, ZEBDiscovererEventHandle* handle,
                                       ZEBDiscoverySDKTimeoutMicroseconds timeout) {
    ModelHost& self = host(context);
    if (timeout != 1'000'000)
        fail("%s: a handle's timer of %d us", self.mRun.name, timeout);
    self.mHandleTimers.insert(*handle);
}

void ModelCallbacks::entityLost(void* context, ZEBDiscovererEntity* entity) {
    ModelHost& self = host(context);
    if (self.mWhole && (!self.mEntities.contains(entity) || self.mEntities.at(entity).isEnding))
        fail("%s: an entity is lost that is not there", self.mRun.name);
    self.mRun.lost.insert(entity);
    self.destroyInside(entity);
}

void ModelCallbacks::fetchComplete(void* context, ZEBDiscovererEntity* entity, char* key,
                                   ZEBDiscoverySDKRequest* request, ZEBDiscoverySDKError error, char* value) {
    ModelHost& self = host(context);
    self.completed(entity, key, request, error, value);
    self.destroyInside(entity);
}

void ModelCallbacks::postComplete(void* context, ZEBDiscovererEntity* entity, char* key, char* value,
                                  ZEBDiscoverySDKRequest* request, ZEBDiscoverySDKError error) {
    ModelHost& self = host(context);
    const ModelHost::Running& run = self.mRun;
    if (entity != run.entity || key != run.key || value != run.value || request != run.request || error != 9)
        fail("%s: a post is answered with something else", run.name);
    ++self.mRun.completed;
    self.takeBack(key, "postComplete");
    self.takeBack(value, "postComplete");
}

void ModelCallbacks::publishComplete(void* context, ZEBDiscovererEntity* entity, ZEBDiscoverySDKError error) {
    ModelHost& self = host(context);
    self.owe(entity == self.mRun.entity, "another entity");
    ++self.mRun.completed;
    self.mRun.lastError = error;
}

void ModelCallbacks::log(void* context, int32_t severity, const char* text) {
    host(context);
    constexpr int kSeverities[] = {0, 10, 30, 80};
    if (!text || std::count(std::begin(kSeverities), std::end(kSeverities), severity) == 0)
        fail("a log line of severity %d", severity);
}

int32_t ModelCallbacks::isLogLevelEnabled(void* context, int32_t severity) {
    return severity <= host(context).logLevel ? 1 : 0;
}

char* ModelCallbacks::allocString(const char* text, int32_t length) {
    ModelHost& self = host(pHost);
    const bool works = !self.failsAllocations || !self.mChoices.rarely(24);
    self.mAllocations.push_back({text ? text : "", works});
    if (!works) {
        self.mRun.allocationFailed = true;
        return nullptr;
    }
    const std::size_t size = length >= 0 ? static_cast<std::size_t>(length) : std::strlen(text) + 1;
    auto memory = std::make_unique<char[]>(size);
    if (text)
        std::memcpy(memory.get(), text, size);
    char* const string = memory.get();
    self.mStrings.emplace(string, std::move(memory));
    return string;
}

void ModelCallbacks::freeString(char* string) {
    ModelHost& self = host(pHost);
    if (const auto fetch = self.mFetches.find(string); fetch != self.mFetches.end()) {
        const auto holder = self.mEntities.find(fetch->second.entity);
        const bool isLate = holder == self.mEntities.end() || holder->second.isEnding;
        const bool isDropped = self.mRun.entity == fetch->second.entity && self.mRun.key;
        self.owe(isLate || isDropped || !std::strcmp(self.mRun.name, "destroyDiscoverer"),
                 "a fetch is dropped without need");
        self.mFetches.erase(fetch);
    }
    self.takeBack(string, "freeString");
}

void ModelCallbacks::freeProtocolString(char* protocol) {
    ModelHost& self = host(pHost);
    ++self.mRun.protocolsFreed;
    self.takeBack(protocol, "freeProtocolString");
}

ZEBDiscoverySDKError ModelCallbacks::subscribe(void* context, const char* name,
                                               ZEBDiscovererDeviceProvider** out) {
    ModelHost& self = host(context);
    if (std::strcmp(name, "usb") != 0 || self.mSubscribed)
        fail("subscribed to \"%s\", or twice", name);
    constexpr int kResults[] = {0, 0, 0, 0, 0, 9, 15, -3};
    self.mRun.lastError = self.mChoices.of(kResults);
    if (self.mRun.lastError == 0) {
        *out = self.mpProvider;
        self.mSubscribed = true;
    }
    return self.mRun.lastError;
}

void ModelCallbacks::unsubscribe(void* context, ZEBDiscovererDeviceProvider* provider) {
    ModelHost& self = host(context);
    if (provider != self.mpProvider || !self.mSubscribed)
        fail("%s: unsubscribed from another provider, or twice", self.mRun.name);
    self.mSubscribed = false;
}

ZEBDiscoverySDKError ModelCallbacks::setProviderProperty(void* context, ZEBDiscovererDeviceProvider* provider,
                                                         const char*, const char*) {
    ModelHost& self = host(context);
    if (provider != self.mpProvider)
        fail("a property of another provider");
    constexpr int kResults[] = {9, 9, 9, 0, 7};
    return self.mProviderResult = self.mChoices.of(kResults);
}

void ModelCallbacks::releaseDevice(void* context, ZEBDiscovererDeviceProvider* provider,
                                   const ZEBDeviceInfo* device) {
    ModelHost& self = host(context);
    if (provider != self.mpProvider || !self.mRun.record || device != self.mRun.record->record.get())
        fail("%s: another device is released", self.mRun.name);
    ++self.mRun.released;
}

void ModelCallbacks::fillUtils(void* context, ZEBDiscoverySDKUtils* utils, size_t size) {
    host(context);
    const ZEBDiscoverySDKUtils none{};
    if (size != sizeof(none) || std::memcmp(utils, &none, size) != 0)
        fail("the utilities record is not zeroed, or of %zu bytes", size);
}

ZEBDiscovererCallbacks ModelCallbacks::table() {
    // Slots that no USB discoverer calls stay null: a call would be a crash.
    ZEBDiscovererCallbacks all{};
    all.discovererStarted = discovererStarted;
    all.discovererStopped = discovererStopped;
    all.addEntity = [](void* c, ZEBDiscoverer* d, ZEBDiscovererEntity* e) { add(c, d, e, true); };
    all.addUnpublishedEntity = [](void* c, ZEBDiscoverer* d, ZEBDiscovererEntity* e) { add(c, d, e, false); };
    all.setEntityTimer = setEntityTimer;
    all.setTimerForHandle = setTimerForHandle;
    all.entityLost = entityLost;
    all.fetchComplete = fetchComplete;
    all.postComplete = postComplete;
    all.publishComplete = publishComplete;
    all.unpublishComplete = publishComplete;
    all.log = log;
    all.isLogLevelEnabled = isLogLevelEnabled;
    all.allocString = allocString;
    all.freeString = freeString;
    all.freeProtocolString = freeProtocolString;
    all.subscribeToDeviceProvider = subscribe;
    all.unsubscribeFromDeviceProvider = unsubscribe;
    all.setDeviceProviderProperty = setProviderProperty;
    all.releaseDevice = releaseDevice;
    all.fillUtils = fillUtils;
    all.errorText = [](ZEBDiscoverySDKError) { return "an error"; };
    return all;
}

// --- Strings and answers ---

char* ModelHost::handOver(const char* text) {
    if (!text)
        return nullptr;
    const std::size_t size = std::strlen(text) + 1;
    auto memory = std::make_unique<char[]>(size);
    std::memcpy(memory.get(), text, size);
    char* const string = memory.get();
    mStrings.emplace(string, std::move(memory));
    return string;
}

/** The string is the host's again, and gone. */
void ModelHost::takeBack(char* string, const char* who) {
    if (string && mStrings.erase(string) == 0)
        fail("%s: %s with a string that the host never made, or has back", mRun.name, who);
}

void ModelHost::completed(ZEBDiscovererEntity* entity, char* key, ZEBDiscoverySDKRequest* request,
                          ZEBDiscoverySDKError error, char* value) {
    const auto open = key ? mFetches.find(key) : mFetches.end();
    const bool isCommand = open != mFetches.end();
    const OpenFetch asked = isCommand ? open->second : OpenFetch{mRun.entity, mRun.request};
    const auto known = mEntities.find(entity);
    if (known == mEntities.end() || asked.entity != entity || asked.request != request ||
        (!isCommand && key != mRun.key))
        fail("%s: a fetch is answered that nobody made", mRun.name);
    const std::string name = key ? key : "";
    expectAnswer(known->second, isCommand ? "zebcmd" : name, error, value);
    ++mRun.completed;
    if (isCommand) {
        mRun.answered[entity] = {error, value != nullptr};
        mCommandsReceived += value ? 1 : 0;
        mFetches.erase(open);
    }
    takeBack(key, "fetchComplete");
    takeBack(value, "fetchComplete");
}

void ModelHost::expectAnswer(const KnownEntity& known, const std::string& key, ZEBDiscoverySDKError error,
                             const char* value) const {
    if (key == "zebcmd") {
        if (value && (error != 0 || (known.mirror && known.mirror->command() != value)))
            fail("\"%s\" with error %d as the command", value, error);
        return; // whether there must be one, the mirror knows
    }
    char id[16];
    std::snprintf(id, sizeof(id), "0x%08x", known.record->id);
    const RandomRecord& record = *known.record;
    const bool hasName = record.properties.size() > 4 && record.properties[4];
    const std::map<std::string, std::string> values = {{"id", hasName ? *record.properties[4] : id},
                                                       {"name", hasName ? *record.properties[4] : id},
                                                       {"type", "usb"},
                                                       {"connectionPassPossible", "n"}};
    const auto expected = values.find(key);
    const int owed = expected == values.end() ? 9 : mRun.allocationFailed ? 3 : 0;
    if (mWhole && (error != owed || (value ? value : "") != (owed == 0 ? expected->second : "")))
        fail("\"%s\" is \"%s\" with error %d", key.c_str(), value ? value : "(null)", error);
}

/** What a host may do in the callbacks that say so. */
void ModelHost::destroyInside(ZEBDiscovererEntity* entity) {
    const bool isThere = mEntities.contains(entity) && !mEntities.at(entity).isEnding;
    if (destroysInside && isThere && mChoices.rarely(8))
        destroyEntity(entity);
}

} // namespace zebtest

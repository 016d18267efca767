#include "tests/host/TestHost.h"

namespace zebhost {

Calls gCalls;
const ZEBDiscovererCallbacks& gHost = hostCallbacks();
void* gContext = nullptr;

namespace {

void fillDiscoverer(ZEBDiscovererInterface& t) {
    t.setContext = [](ZEBDiscoverer*, void* context) { gContext = context; };
    t.init = [](ZEBDiscoverer*) { return gCalls.initResult; };
    t.start = [](ZEBDiscoverer* self) { gHost.discovererStarted(gContext, self, 0); };
    t.stop = [](ZEBDiscoverer* self) {
        gCalls.made.push_back("stop");
        gHost.discovererStopped(gContext, self, 0);
    };
    t.destroyDiscoverer = [](ZEBDiscoverer*) { gCalls.made.push_back("destroyDiscoverer"); };
    t.setProperty = [](ZEBDiscoverer*, const char* key, const char*) {
        return ZEBDiscoverySDKError{std::string(key) == "known" ? 0 : 9};
    };
    t.deviceProviderStarted = [](ZEBDiscoverer*, ZEBDiscovererDeviceProvider*, ZEBDiscoverySDKError) {};
    t.getDeviceInterest = [](ZEBDiscoverer*, ZEBDiscovererDeviceProvider*, const ZEBDeviceInfo*, char** out) {
        if (gCalls.interest < 100)
            *out = gHost.allocString("103", -1);
        return gCalls.interest;
    };
    t.offerDevice = [](ZEBDiscoverer*, ZEBDiscovererDeviceProvider*, const ZEBDeviceInfo* device) {
        gCalls.made.push_back("offerDevice");
        gCalls.offer(device);
    };
    t.removeDevice = [](ZEBDiscoverer*, ZEBDiscovererDeviceProvider*, const ZEBDeviceInfo*) {
        gCalls.made.push_back("removeDevice");
        gCalls.remove();
    };
}

void fillEntities(ZEBDiscovererInterface& t) {
    t.destroyEntity = [](ZEBDiscoverer*, ZEBDiscovererEntity* entity) { gCalls.destroy(entity); };
    t.fetchEntityValue = [](ZEBDiscoverer*, ZEBDiscovererEntity* entity, char* key,
                            ZEBDiscoverySDKRequest* request) { gCalls.fetch(entity, key, request); };
    t.handleEntityTimeout = [](ZEBDiscoverer*, ZEBDiscovererEntity* entity) { gCalls.entityTimeout(entity); };
    t.getEntityEventHandle = [](ZEBDiscoverer*, ZEBDiscovererEntity*) { return &gCalls.entityHandle; };
    t.handleEntityEvent = [](ZEBDiscoverer*, ZEBDiscovererEntity*) {
        gCalls.made.push_back("handleEntityEvent");
        gCalls.event(gCalls.entityHandle);
    };
}

void fillHandles(ZEBDiscovererInterface& t) {
    t.handleSingleEvent = [](ZEBDiscoverer*, ZEBDiscovererEventHandle* handle) {
        gCalls.made.push_back("handleSingleEvent");
        gCalls.event(*handle);
    };
    t.handleTimeoutForEventHandle = [](ZEBDiscoverer*, ZEBDiscovererEventHandle* handle) {
        gCalls.handleTimeout(*handle);
    };
    t.getMultipleEventHandlesEx = [](ZEBDiscoverer*, int** writeFlags) -> ZEBDiscovererEventHandle* {
        *writeFlags = gCalls.writeFlags.data();
        return gCalls.handles.empty() ? nullptr : gCalls.handles.data();
    };
}

void fillSingleHandle(ZEBDiscovererInterface& t) {
    t.getEventHandle = [](ZEBDiscoverer*) { return &gCalls.singleHandle; };
    t.handleEvent = [](ZEBDiscoverer*) {
        gCalls.made.push_back("handleEvent");
        gCalls.event(gCalls.singleHandle);
    };
    t.handleTimeout = [](ZEBDiscoverer*) {
        gCalls.made.push_back("handleTimeout");
        gCalls.timeout();
    };
}

char gDiscoverer;

} // namespace

ZEBDiscoverer* initialize(ZEBDiscovererInterface* table, size_t, const ZEBDiscovererCallbacks*, size_t) {
    fillDiscoverer(*table);
    fillEntities(*table);
    gCalls.isSingle ? fillSingleHandle(*table) : fillHandles(*table);
    return reinterpret_cast<ZEBDiscoverer*>(&gDiscoverer);
}

} // namespace zebhost

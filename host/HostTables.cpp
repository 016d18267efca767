#include "host/HostTables.h"

#include "host/Host.h"

namespace zebhost {
namespace {

// All callbacks are noexcept: nothing is thrown through the plug-in. A host that runs out of
// memory in one ends, except in allocString, which can say so.

/** The host a callback means: before setContext its context is still null. */
Host* hostOf(void* context) { return context != nullptr ? static_cast<Host*>(context) : Host::current(); }

/** The host, when the callback may come now on this thread; else null. */
Host* checked(void* context, const char* callback) {
    Host* host = hostOf(context);
    return host != nullptr && host->mayCallOnHostThread(callback) ? host : nullptr;
}

void discovererStarted(void* context, ZEBDiscoverer*, ZEBDiscoverySDKError error) noexcept {
    if (Host* host = checked(context, "discovererStarted"))
        host->discovererStarted(error);
}

void discovererStopped(void* context, ZEBDiscoverer*, ZEBDiscoverySDKError error) noexcept {
    if (Host* host = checked(context, "discovererStopped"))
        host->discovererStopped(error);
}

void setTimer(void* context, ZEBDiscoverer*, ZEBDiscoverySDKTimeoutMicroseconds timeout) noexcept {
    if (Host* host = checked(context, "setTimer"))
        host->setTimer(timeout);
}

void addEntity(void* context, ZEBDiscoverer*, ZEBDiscovererEntity* entity) noexcept {
    if (Host* host = checked(context, "addEntity"))
        host->announce(entity, true);
}

void addUnpublishedEntity(void* context, ZEBDiscoverer*, ZEBDiscovererEntity* entity) noexcept {
    if (Host* host = checked(context, "addUnpublishedEntity"))
        host->announce(entity, false);
}

void setEntityTimer(void* context, ZEBDiscovererEntity* entity,
                    ZEBDiscoverySDKTimeoutMicroseconds timeout) noexcept {
    if (Host* host = checked(context, "setEntityTimer"))
        host->entities().setTimer(entity, timeout);
}

void entityLost(void* context, ZEBDiscovererEntity* entity) noexcept {
    if (Host* host = checked(context, "entityLost"))
        host->entities().lost(entity);
}

void fetchComplete(void* context, ZEBDiscovererEntity* entity, char* key, ZEBDiscoverySDKRequest* request,
                   ZEBDiscoverySDKError error, char* value) noexcept {
    if (Host* host = checked(context, "fetchComplete"))
        host->entities().fetchComplete(entity, key, request, error, value);
}

// This host never posts, publishes or withdraws.

void postComplete(void* context, ZEBDiscovererEntity*, char*, char*, ZEBDiscoverySDKRequest*,
                  ZEBDiscoverySDKError) noexcept {
    if (Host* host = checked(context, "postComplete"))
        host->unasked("postComplete");
}

void publishComplete(void* context, ZEBDiscovererEntity*, ZEBDiscoverySDKError) noexcept {
    if (Host* host = checked(context, "publishComplete"))
        host->unasked("publishComplete");
}

void unpublishComplete(void* context, ZEBDiscovererEntity*, ZEBDiscoverySDKError) noexcept {
    if (Host* host = checked(context, "unpublishComplete"))
        host->unasked("unpublishComplete");
}

void log(void* context, int32_t severity, const char* text) noexcept {
    Host* host = hostOf(context);
    if (host != nullptr && host->mayCall("log"))
        host->log(severity, text);
}

int32_t isLogLevelEnabled(void* context, int32_t severity) noexcept {
    Host* host = hostOf(context);
    return host != nullptr && host->mayCall("isLogLevelEnabled") && host->isLogLevelEnabled(severity) ? 1 : 0;
}

char* allocString(const char* text, int32_t length) noexcept {
    Host* host = Host::current();
    return host != nullptr && host->mayCall("allocString") ? host->strings().allocate(text, length) : nullptr;
}

void freeString(char* string) noexcept {
    Host* host = Host::current();
    if (host != nullptr && host->mayCall("freeString"))
        host->freeString(string);
}

void setTimerForHandle(void* context, ZEBDiscoverer*, ZEBDiscovererEventHandle* handle,
                       ZEBDiscoverySDKTimeoutMicroseconds timeout) noexcept {
    if (Host* host = checked(context, "setTimerForHandle"))
        host->handleTimers().set(handle, timeout);
}

void eventHandlesChanged(void* context, ZEBDiscoverer*) noexcept {
    Host* host = hostOf(context);
    if (host != nullptr && host->mayCall("eventHandlesChanged"))
        host->handlesChanged();
}

ZEBDiscoverySDKError subscribeToDeviceProvider(void* context, const char* name,
                                               ZEBDiscovererDeviceProvider** out) noexcept {
    Host* host = checked(context, "subscribeToDeviceProvider");
    return host != nullptr ? host->subscribe(name, out) : ZEBDiscoverySDKErrorFailed;
}

void unsubscribeFromDeviceProvider(void* context, ZEBDiscovererDeviceProvider* provider) noexcept {
    if (Host* host = checked(context, "unsubscribeFromDeviceProvider"))
        host->unsubscribe(provider);
}

// The provider has no properties.

ZEBDiscoverySDKError setDeviceProviderProperty(void*, ZEBDiscovererDeviceProvider*, const char*,
                                               const char*) noexcept {
    return ZEBDiscoverySDKErrorNotImplemented;
}

ZEBDiscoverySDKError getDeviceProviderProperty(void*, ZEBDiscovererDeviceProvider*, const char*,
                                               char**) noexcept {
    return ZEBDiscoverySDKErrorNotImplemented;
}

void releaseDevice(void* context, ZEBDiscovererDeviceProvider*, const ZEBDeviceInfo* device) noexcept {
    if (Host* host = checked(context, "releaseDevice"))
        host->devices().released(device);
}

// This host never offers a device for a protocol.

void freeProtocolString(char*) noexcept {
    if (Host* host = Host::current(); host != nullptr && host->mayCall("freeProtocolString"))
        host->unasked("freeProtocolString");
}

// fillUtils is absent on purpose: this host lends no parser and no generator, and the record
// that nobody fills stays zeroed, which is how a discoverer learns that.
constexpr ZEBDiscovererCallbacks makeCallbacks() {
    ZEBDiscovererCallbacks table{};
    table.discovererStarted = discovererStarted;
    table.discovererStopped = discovererStopped;
    table.setTimer = setTimer;
    table.addEntity = addEntity;
    table.setEntityTimer = setEntityTimer;
    table.entityLost = entityLost;
    table.fetchComplete = fetchComplete;
    table.postComplete = postComplete;
    table.publishComplete = publishComplete;
    table.unpublishComplete = unpublishComplete;
    table.log = log;
    table.allocString = allocString;
    table.freeString = freeString;
    table.addUnpublishedEntity = addUnpublishedEntity;
    table.isLogLevelEnabled = isLogLevelEnabled;
    table.setTimerForHandle = setTimerForHandle;
    table.eventHandlesChanged = eventHandlesChanged;
    table.subscribeToDeviceProvider = subscribeToDeviceProvider;
    table.unsubscribeFromDeviceProvider = unsubscribeFromDeviceProvider;
    table.setDeviceProviderProperty = setDeviceProviderProperty;
    table.getDeviceProviderProperty = getDeviceProviderProperty;
    table.releaseDevice = releaseDevice;
    table.errorText = errorText;
    table.freeProtocolString = freeProtocolString;
    return table;
}

constexpr ZEBDiscovererCallbacks kCallbacks = makeCallbacks();

} // namespace

const ZEBDiscovererCallbacks& hostCallbacks() { return kCallbacks; }

const char* errorText(ZEBDiscoverySDKError error) {
    switch (error) {
    case ZEBDiscoverySDKErrorNone:
        return "no error";
    case ZEBDiscoverySDKErrorInvalidParameter:
        return "invalid parameter";
    case ZEBDiscoverySDKErrorOutOfMemory:
        return "out of memory";
    case ZEBDiscoverySDKErrorNotImplemented:
        return "not implemented";
    case ZEBDiscoverySDKErrorCancelled:
        return "cancelled";
    case ZEBDiscoverySDKErrorFailed:
        return "failed";
    case ZEBDiscoverySDKErrorUnexpected:
        return "unexpected";
    default:
        return "unknown error";
    }
}

} // namespace zebhost

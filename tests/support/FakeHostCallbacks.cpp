#include "tests/support/FakeHostCallbacks.h"

#include <algorithm>
#include <cstring>

namespace zebtest {

FakeHost& FakeHost::Callbacks::host(void* context, const char* name) { return from(context, name); }

void FakeHost::Callbacks::discovererStarted(void* context, ZEBDiscoverer* discoverer,
                                            ZEBDiscoverySDKError error) {
    note(context, "discovererStarted", discoverer, error);
}

void FakeHost::Callbacks::discovererStopped(void* context, ZEBDiscoverer* discoverer,
                                            ZEBDiscoverySDKError error) {
    note(context, "discovererStopped", discoverer, error);
}

void FakeHost::Callbacks::setTimer(void* context, ZEBDiscoverer* discoverer,
                                   ZEBDiscoverySDKTimeoutMicroseconds timeout) {
    note(context, "setTimer", discoverer, timeout);
}

void FakeHost::Callbacks::addEntity(void* context, ZEBDiscoverer* discoverer, ZEBDiscovererEntity* entity) {
    host(context, "addEntity").keepAsLast(entity);
    note(context, "addEntity", discoverer, entity);
}

void FakeHost::Callbacks::addUnpublishedEntity(void* context, ZEBDiscoverer* discoverer,
                                               ZEBDiscovererEntity* entity) {
    host(context, "addUnpublishedEntity").keepAsLast(entity);
    note(context, "addUnpublishedEntity", discoverer, entity);
}

void FakeHost::Callbacks::setEntityTimer(void* context, ZEBDiscovererEntity* entity,
                                         ZEBDiscoverySDKTimeoutMicroseconds timeout) {
    FakeHost& self = host(context, "setEntityTimer");
    self.arm(self.mEntityTimers, entity, timeout);
    note(context, "setEntityTimer", entity, timeout);
}

void FakeHost::Callbacks::entityLost(void* context, ZEBDiscovererEntity* entity) {
    note(context, "entityLost", entity);
}

void FakeHost::Callbacks::fetchComplete(void* context, ZEBDiscovererEntity* entity, char* key,
                                        ZEBDiscoverySDKRequest* request, ZEBDiscoverySDKError error,
                                        char* value) {
    FakeHost& self = host(context, "fetchComplete");
    self.noteCallback("fetchComplete", entity, key, request, error, value);
    self.strings.takeBack(key, "fetchComplete");
    self.strings.takeBack(value, "fetchComplete");
    self.closeRequest(request, "fetchComplete");
    self.runHook("fetchComplete");
}

void FakeHost::Callbacks::postComplete(void* context, ZEBDiscovererEntity* entity, char* key, char* value,
                                       ZEBDiscoverySDKRequest* request, ZEBDiscoverySDKError error) {
    FakeHost& self = host(context, "postComplete");
    self.noteCallback("postComplete", entity, key, value, request, error);
    self.strings.takeBack(key, "postComplete");
    self.strings.takeBack(value, "postComplete");
    self.closeRequest(request, "postComplete");
    self.runHook("postComplete");
}

void FakeHost::Callbacks::publishComplete(void* context, ZEBDiscovererEntity* entity,
                                          ZEBDiscoverySDKError error) {
    note(context, "publishComplete", entity, error);
}

void FakeHost::Callbacks::unpublishComplete(void* context, ZEBDiscovererEntity* entity,
                                            ZEBDiscoverySDKError error) {
    note(context, "unpublishComplete", entity, error);
}

void FakeHost::Callbacks::log(void* context, int32_t severity, const char* text) {
    FakeHost& self = host(context, "log");
    self.record.write(Kind::Log, "log", severity, text);
    self.runHook("log");
}

int32_t FakeHost::Callbacks::isLogLevelEnabled(void* context, int32_t severity) {
    FakeHost& self = host(context, "isLogLevelEnabled");
    self.record.write(Kind::LevelQuery, "isLogLevelEnabled", severity);
    self.runHook("isLogLevelEnabled");
    return severity <= self.logLevel ? 1 : 0;
}

char* FakeHost::Callbacks::allocString(const char* text, int32_t length) {
    FakeHost& self = only();
    self.record.write(Kind::String, "allocString", HostStrings::describe(text, length), length);
    self.runHook("allocString");
    std::lock_guard lock(self.mMutex);
    return self.nextAllocationFails() ? nullptr : self.strings.make(text, length);
}

void FakeHost::Callbacks::freeString(char* string) {
    FakeHost& self = only();
    {
        std::lock_guard lock(self.mMutex);
        self.record.write(Kind::String, "freeString", self.strings.describe(string));
        self.strings.takeBack(string, "freeString");
    }
    self.runHook("freeString");
}

void FakeHost::Callbacks::freeProtocolString(char* protocol) {
    FakeHost& self = only();
    self.noteCallback("freeProtocolString", protocol);
    self.strings.takeBack(protocol, "freeProtocolString");
    self.runHook("freeProtocolString");
}

void FakeHost::Callbacks::reserved72(void* first, void* second) {
    only().noteCallback("reserved72", first, second);
}

void FakeHost::Callbacks::setTimerForHandle(void* context, ZEBDiscoverer* discoverer,
                                            ZEBDiscovererEventHandle* handle,
                                            ZEBDiscoverySDKTimeoutMicroseconds timeout) {
    FakeHost& self = host(context, "setTimerForHandle");
    self.arm(self.mHandleTimers, handle, timeout);
    note(context, "setTimerForHandle", discoverer, handle, timeout);
}

void FakeHost::Callbacks::eventHandlesChanged(void* context, ZEBDiscoverer* discoverer) {
    note(context, "eventHandlesChanged", discoverer);
}

ZEBDiscoverySDKError FakeHost::Callbacks::subscribeToDeviceProvider(void* context, const char* name,
                                                                    ZEBDiscovererDeviceProvider** out) {
    note(context, "subscribeToDeviceProvider", name);
    FakeHost& self = host(context, "subscribeToDeviceProvider");
    const ZEBDiscoverySDKError error = self.resultOf("subscribeToDeviceProvider");
    if (error == ZEBDiscoverySDKErrorNone)
        *out = self.provider;
    return error;
}

void FakeHost::Callbacks::unsubscribeFromDeviceProvider(void* context,
                                                        ZEBDiscovererDeviceProvider* provider) {
    note(context, "unsubscribeFromDeviceProvider", provider);
}

ZEBDiscoverySDKError FakeHost::Callbacks::setDeviceProviderProperty(void* context,
                                                                    ZEBDiscovererDeviceProvider* provider,
                                                                    const char* key, const char* value) {
    note(context, "setDeviceProviderProperty", provider, key, value);
    return host(context, "setDeviceProviderProperty").resultOf("setDeviceProviderProperty");
}

ZEBDiscoverySDKError FakeHost::Callbacks::getDeviceProviderProperty(void* context,
                                                                    ZEBDiscovererDeviceProvider* provider,
                                                                    const char* key, char** out) {
    note(context, "getDeviceProviderProperty", provider, key);
    FakeHost& self = host(context, "getDeviceProviderProperty");
    const ZEBDiscoverySDKError error = self.resultOf("getDeviceProviderProperty");
    if (error == ZEBDiscoverySDKErrorNone)
        *out = self.handOver("provider value");
    return error;
}

void FakeHost::Callbacks::releaseDevice(void* context, ZEBDiscovererDeviceProvider* provider,
                                        const ZEBDeviceInfo* device) {
    note(context, "releaseDevice", provider, device);
}

void FakeHost::Callbacks::fillUtils(void* context, ZEBDiscoverySDKUtils* utils, size_t size) {
    FakeHost& self = host(context, "fillUtils");
    std::memcpy(utils, &self.utils, std::min(size, sizeof(self.utils)));
    note(context, "fillUtils", utils, size);
}

const char* FakeHost::Callbacks::errorText(ZEBDiscoverySDKError error) {
    FakeHost& self = only();
    self.record.write(Kind::ErrorText, "errorText", error);
    std::lock_guard lock(self.mMutex);
    const auto found = self.errorTexts.try_emplace(error, "error " + std::to_string(error)).first;
    return found->second.c_str();
}

ZEBDiscovererCallbacks FakeHost::Callbacks::table() {
    return {
        .reserved0 = [] { only().noteCallback("reserved0"); },
        .reserved4 = [] { only().noteCallback("reserved4"); },
        .reserved8 = [] { only().noteCallback("reserved8"); },
        .reserved12 = [] { only().noteCallback("reserved12"); },
        .discovererStarted = discovererStarted,
        .discovererStopped = discovererStopped,
        .setTimer = setTimer,
        .addEntity = addEntity,
        .setEntityTimer = setEntityTimer,
        .forward36 = [](void* c, void* a, void* b) { note(c, "forward36", a, b); },
        .entityLost = entityLost,
        .fetchComplete = fetchComplete,
        .postComplete = postComplete,
        .publishComplete = publishComplete,
        .unpublishComplete = unpublishComplete,
        .log = log,
        .allocString = allocString,
        .freeString = freeString,
        .reserved72 = reserved72,
        .addUnpublishedEntity = addUnpublishedEntity,
        .isLogLevelEnabled = isLogLevelEnabled,
        .setTimerForHandle = setTimerForHandle,
        .eventHandlesChanged = eventHandlesChanged,
        .forward92 = [](void* c, void* a, void* b) { note(c, "forward92", a, b); },
        .forward96 = [](void* c, void* a, void* b) { note(c, "forward96", a, b); },
        .forward100 = [](void* c, void* a, void* b) { note(c, "forward100", a, b); },
        .subscribeToDeviceProvider = subscribeToDeviceProvider,
        .unsubscribeFromDeviceProvider = unsubscribeFromDeviceProvider,
        .setDeviceProviderProperty = setDeviceProviderProperty,
        .getDeviceProviderProperty = getDeviceProviderProperty,
        .releaseDevice = releaseDevice,
        .forward124 = [](void* c, void* x, void* y, void* z) { note(c, "forward124", x, y, z); },
        .fillUtils = fillUtils,
        .errorText = errorText,
        .forward136 = [](void* c, void* a) { note(c, "forward136", a); },
        .forward140 = [](void* c, void* a) { note(c, "forward140", a); },
        .forward144 = [](void* c, void* a) { note(c, "forward144", a); },
        .freeProtocolString = freeProtocolString,
    };
}

} // namespace zebtest

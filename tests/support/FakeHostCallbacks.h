#pragma once

#include "tests/support/FakeHost.h"

namespace zebtest {

/** The functions behind a fake host's table; each records its call, then runs the test's hook. */
struct FakeHost::Callbacks {
    static FakeHost& host(void* context, const char* name);
    /** Record the call, then run the test's hook. */
    template <class... Arguments>
    static void note(void* context, const char* name, const Arguments&... arguments) {
        FakeHost& self = from(context, name);
        self.noteCallback(name, arguments...);
        self.runHook(name);
    }
    static void discovererStarted(void* context, ZEBDiscoverer* discoverer, ZEBDiscoverySDKError error);
    static void discovererStopped(void* context, ZEBDiscoverer* discoverer, ZEBDiscoverySDKError error);
    static void setTimer(void* context, ZEBDiscoverer* discoverer,
                         ZEBDiscoverySDKTimeoutMicroseconds timeout);
    static void addEntity(void* context, ZEBDiscoverer* discoverer, ZEBDiscovererEntity* entity);
    static void addUnpublishedEntity(void* context, ZEBDiscoverer* discoverer, ZEBDiscovererEntity* entity);
    static void setEntityTimer(void* context, ZEBDiscovererEntity* entity,
                               ZEBDiscoverySDKTimeoutMicroseconds timeout);
    static void entityLost(void* context, ZEBDiscovererEntity* entity);
    static void fetchComplete(void* context, ZEBDiscovererEntity* entity, char* key,
                              ZEBDiscoverySDKRequest* request, ZEBDiscoverySDKError error, char* value);
    static void postComplete(void* context, ZEBDiscovererEntity* entity, char* key, char* value,
                             ZEBDiscoverySDKRequest* request, ZEBDiscoverySDKError error);
    static void publishComplete(void* context, ZEBDiscovererEntity* entity, ZEBDiscoverySDKError error);
    static void unpublishComplete(void* context, ZEBDiscovererEntity* entity, ZEBDiscoverySDKError error);
    static void log(void* context, int32_t severity, const char* text);
    static int32_t isLogLevelEnabled(void* context, int32_t severity);
    static char* allocString(const char* text, int32_t length);
    static void freeString(char* string);
    static void freeProtocolString(char* protocol);
    static void reserved72(void* first, void* second);
    static void setTimerForHandle(void* context, ZEBDiscoverer* discoverer, ZEBDiscovererEventHandle* handle,
                                  ZEBDiscoverySDKTimeoutMicroseconds timeout);
    static void eventHandlesChanged(void* context, ZEBDiscoverer* discoverer);
    static ZEBDiscoverySDKError subscribeToDeviceProvider(void* context, const char* name,
                                                          ZEBDiscovererDeviceProvider** out);
    static void unsubscribeFromDeviceProvider(void* context, ZEBDiscovererDeviceProvider* provider);
    static ZEBDiscoverySDKError setDeviceProviderProperty(void* context,
                                                          ZEBDiscovererDeviceProvider* provider,
                                                          const char* key, const char* value);
    static ZEBDiscoverySDKError getDeviceProviderProperty(void* context,
                                                          ZEBDiscovererDeviceProvider* provider,
                                                          const char* key, char** out);
    static void releaseDevice(void* context, ZEBDiscovererDeviceProvider* provider,
                              const ZEBDeviceInfo* device);
    static void fillUtils(void* context, ZEBDiscoverySDKUtils* utils, size_t size);
    static const char* errorText(ZEBDiscoverySDKError error);
    static ZEBDiscovererCallbacks table();
};

} // namespace zebtest

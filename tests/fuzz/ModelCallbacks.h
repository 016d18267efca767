#pragma once

#include "tests/fuzz/ModelHost.h"

namespace zebtest {

/** The functions behind a model host's table. Three have no context: there is one such host at a time. */
struct ModelCallbacks {
    static ModelHost* pHost;
    static ModelHost& host(void* context);
    static ZEBDiscovererCallbacks table();

    static void discovererStarted(void* context, ZEBDiscoverer* discoverer, ZEBDiscoverySDKError error);
    static void discovererStopped(void* context, ZEBDiscoverer* discoverer, ZEBDiscoverySDKError error);
    static void add(void* context, ZEBDiscoverer* discoverer, ZEBDiscovererEntity* entity, bool published);
    static void setEntityTimer(void* context, ZEBDiscovererEntity* entity,
                               ZEBDiscoverySDKTimeoutMicroseconds timeout);
    static void setTimerForHandle(void* context, ZEBDiscoverer* discoverer, ZEBDiscovererEventHandle* handle,
                                  ZEBDiscoverySDKTimeoutMicroseconds timeout);
    static void entityLost(void* context, ZEBDiscovererEntity* entity);
    static void fetchComplete(void* context, ZEBDiscovererEntity* entity, char* key,
                              ZEBDiscoverySDKRequest* request, ZEBDiscoverySDKError error, char* value);
    static void postComplete(void* context, ZEBDiscovererEntity* entity, char* key, char* value,
                             ZEBDiscoverySDKRequest* request, ZEBDiscoverySDKError error);
    static void publishComplete(void* context, ZEBDiscovererEntity* entity, ZEBDiscoverySDKError error);
    static void log(void* context, int32_t severity, const char* text);
    static int32_t isLogLevelEnabled(void* context, int32_t severity);
    static char* allocString(const char* text, int32_t length);
    static void freeString(char* string);
    static void freeProtocolString(char* protocol);
    static ZEBDiscoverySDKError subscribe(void* context, const char* name, ZEBDiscovererDeviceProvider** out);
    static void unsubscribe(void* context, ZEBDiscovererDeviceProvider* provider);
    static ZEBDiscoverySDKError setProviderProperty(void* context, ZEBDiscovererDeviceProvider* provider,
                                                    const char* key, const char* value);
    static void releaseDevice(void* context, ZEBDiscovererDeviceProvider* provider,
                              const ZEBDeviceInfo* device);
    static void fillUtils(void* context, ZEBDiscoverySDKUtils* utils, size_t size);
};

} // namespace zebtest

#include "bench/support/BareHost.h"

#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <poll.h>
#include <stdexcept>

namespace zebbench {

/** What the plug-in calls; the context is the host. */
struct BareCallbacks {
    static BareHost& host(void* context) { return *static_cast<BareHost*>(context); }

    static void addEntity(void* context, ZEBDiscoverer*, ZEBDiscovererEntity* entity) {
        host(context).mpLastEntity = entity;
    }
    static void fetchComplete(void*, ZEBDiscovererEntity*, char* key, ZEBDiscoverySDKRequest*,
                              ZEBDiscoverySDKError, char* value) {
        std::free(key);
        std::free(value);
    }
    static char* allocString(const char* text, int32_t length) {
        const size_t bytes = length < 0 ? std::strlen(text) : static_cast<size_t>(length);
        // By malloc: calloc takes another way on each call, which would blur the counts.
        char* string = static_cast<char*>(std::malloc(bytes + 1));
        if (!string)
            return nullptr;
        if (text)
            std::memcpy(string, text, bytes);
        else
            std::memset(string, 0, bytes);
        string[bytes] = '\0';
        return string;
    }
    static void freeString(char* string) { std::free(string); }
    static int32_t isLogLevelEnabled(void*, int32_t severity) {
        return severity <= ZEBDiscoveryLogSeverityInfo;
    }
    static void setTimerForHandle(void* context, ZEBDiscoverer*, ZEBDiscovererEventHandle* handle,
                                  ZEBDiscoverySDKTimeoutMicroseconds) {
        if (host(context).onHandleTimer)
            host(context).onHandleTimer(handle);
    }
    static ZEBDiscoverySDKError subscribe(void* context, const char*, ZEBDiscovererDeviceProvider** out) {
        // Any address does: it is only handed back.
        *out = static_cast<ZEBDiscovererDeviceProvider*>(context);
        return ZEBDiscoverySDKErrorNone;
    }

    static ZEBDiscovererCallbacks table() {
        ZEBDiscovererCallbacks table{};
        table.discovererStarted = [](void*, ZEBDiscoverer*, ZEBDiscoverySDKError) {};
        table.discovererStopped = [](void*, ZEBDiscoverer*, ZEBDiscoverySDKError) {};
        table.addEntity = &addEntity;
        table.addUnpublishedEntity = &addEntity;
        table.setEntityTimer = [](void*, ZEBDiscovererEntity*, ZEBDiscoverySDKTimeoutMicroseconds) {};
        table.entityLost = [](void*, ZEBDiscovererEntity*) {};
        table.fetchComplete = &fetchComplete;
        table.log = [](void*, int32_t, const char*) {};
        table.allocString = &allocString;
        table.freeString = &freeString;
        table.isLogLevelEnabled = &isLogLevelEnabled;
        table.setTimerForHandle = &setTimerForHandle;
        table.subscribeToDeviceProvider = &subscribe;
        table.unsubscribeFromDeviceProvider = [](void*, ZEBDiscovererDeviceProvider*) {};
        table.releaseDevice = [](void*, ZEBDiscovererDeviceProvider*, const ZEBDeviceInfo*) {};
        return table;
    }
};

namespace {

const ZEBDiscovererCallbacks kCallbacks = BareCallbacks::table();

} // namespace

BareHost::BareHost(const char* plugin) : mpLibrary(dlopen(plugin, RTLD_NOW | RTLD_LOCAL)) {
    void* const symbol =
        mpLibrary ? dlvsym(mpLibrary, "ZEBDiscovererInitialize", ZEBDISCOVERER_SYMBOL_VERSION) : nullptr;
    if (!symbol)
        throw std::runtime_error(dlerror());
    mInitialize = reinterpret_cast<ZEBDiscovererInitializeFunction>(symbol);
}

BareHost::~BareHost() { dlclose(mpLibrary); }

void BareHost::setUp() {
    discoverer = mInitialize(&entry, sizeof(entry), &kCallbacks, sizeof(kCallbacks));
    entry.setContext(discoverer, this);
    entry.init(discoverer);
    entry.start(discoverer);
}

void BareHost::tearDown() {
    entry.stop(discoverer);
    entry.destroyDiscoverer(discoverer);
    discoverer = nullptr;
}

ZEBDiscovererEntity* BareHost::offer(const ZEBDeviceInfo& device) {
    mpLastEntity = nullptr;
    entry.offerDevice(discoverer, reinterpret_cast<ZEBDiscovererDeviceProvider*>(this), &device);
    return mpLastEntity;
}

char* BareHost::allocString(const char* text) { return BareCallbacks::allocString(text, -1); }

void BareHost::dispatch(int milliseconds) {
    constexpr size_t kMost = 64;
    int* writable = nullptr;
    ZEBDiscovererEventHandle* const handles = entry.getMultipleEventHandlesEx(discoverer, &writable);
    pollfd polled[kMost];
    nfds_t count = 0;
    for (; handles && count < kMost && handles[count] != ZEBDiscovererNoEventHandle; ++count)
        polled[count] = {handles[count], static_cast<short>(writable[count] ? POLLIN | POLLOUT : POLLIN), 0};
    if (poll(polled, count, milliseconds) <= 0)
        return;
    for (nfds_t i = 0; i < count; ++i) {
        if (polled[i].revents != 0)
            entry.handleSingleEvent(discoverer, &polled[i].fd);
    }
}

const char* pluginPath() {
    const char* const named = std::getenv("ZEB_PLUGIN");
    return named ? named : ZEB_PLUGIN_PATH;
}

} // namespace zebbench

/*
 * A discoverer made for testing hosts. It finds a phone in every device that has an active
 * interface, and it uses each part of the boundary: an event handle with a timer, an entity timer,
 * a fetch that is answered later. Its property "misbehave" names one way to break the contract.
 */
#include "zebdiscovery/zebdiscovery.h"

#include <pthread.h>
#include <stdlib.h>
#include <string.h>
#include <sys/eventfd.h>
#include <unistd.h>

#define MAX_ENTITIES 16

struct ZEBDiscovererEntity {
    const ZEBDeviceInfo* device;
    char* key;
    ZEBDiscoverySDKRequest* request;
};

struct ZEBDiscoverer {
    ZEBDiscovererCallbacks host;
    void* context;
    ZEBDiscovererDeviceProvider* provider;
    char misbehaviour[32];
    /* The handle and its end. */
    int handles[2];
    int writeFlags[1];
    ZEBDiscovererEntity* entities[MAX_ENTITIES];
    /* Kept for the misbehaviour that speaks of it afterwards. */
    ZEBDiscovererEntity* destroyed;
};

/* For the misbehaviour that outlives the discoverer. */
static ZEBDiscovererCallbacks gHost;
static void* gContext;
static int gCallsBack;

static int misbehaves(const ZEBDiscoverer* self, const char* how) {
    return strcmp(self->misbehaviour, how) == 0;
}

static void setContext(ZEBDiscoverer* self, void* context) {
    self->context = context;
    gContext = context;
}

static ZEBDiscoverySDKError init(ZEBDiscoverer* self) {
    return self->host.subscribeToDeviceProvider(self->context, "usb", &self->provider);
}

static ZEBDiscoverySDKError setProperty(ZEBDiscoverer* self, const char* key, const char* value) {
    if (strcmp(key, "misbehave") != 0)
        return ZEBDiscoverySDKErrorNotImplemented;
    strncpy(self->misbehaviour, value, sizeof self->misbehaviour - 1);
    return ZEBDiscoverySDKErrorNone;
}

static void start(ZEBDiscoverer* self) {
    self->host.discovererStarted(self->context, self, ZEBDiscoverySDKErrorNone);
}

static void deviceProviderStarted(ZEBDiscoverer* self, ZEBDiscovererDeviceProvider* provider,
                                  ZEBDiscoverySDKError error) {
    (void)provider;
    if (error != ZEBDiscoverySDKErrorNone)
        self->host.discovererStopped(self->context, self, error);
    else
        self->host.setTimerForHandle(self->context, self, &self->handles[0], 1000);
}

static void stop(ZEBDiscoverer* self) {
    self->host.discovererStopped(self->context, self, ZEBDiscoverySDKErrorNone);
}

static int hasActiveChild(const ZEBDeviceInfo* device) {
    for (uint32_t i = 0; i < device->descriptorsCount; ++i) {
        for (uint32_t k = 0; k < device->descriptors[i].childrenCount; ++k) {
            if (device->descriptors[i].children[k].active != 0)
                return 1;
        }
    }
    return 0;
}

static ZEBDeviceInterestLevel getDeviceInterest(ZEBDiscoverer* self, ZEBDiscovererDeviceProvider* provider,
                                                const ZEBDeviceInfo* device, char** out) {
    (void)provider;
    if (!hasActiveChild(device))
        return ZEBDeviceInterestNone;
    *out = self->host.allocString("103", -1);
    return 15;
}

static void* loseOnOtherThread(void* discoverer) {
    ZEBDiscoverer* self = discoverer;
    self->host.entityLost(self->context, self->entities[0]);
    return NULL;
}

static void misbehaveAtOffer(ZEBDiscoverer* self, ZEBDiscovererEntity* entity) {
    static ZEBDiscovererEventHandle unknownHandle = 4321;
    static char unknownEntity;
    pthread_t thread;
    if (misbehaves(self, "free-twice")) {
        char* string = self->host.allocString("twice", -1);
        self->host.freeString(string);
        self->host.freeString(string);
    } else if (misbehaves(self, "never-free")) {
        self->host.allocString("forgotten", -1);
    } else if (misbehaves(self, "unknown-handle-timer")) {
        self->host.setTimerForHandle(self->context, self, &unknownHandle, 1000);
    } else if (misbehaves(self, "unknown-entity-timer")) {
        self->host.setEntityTimer(self->context, (ZEBDiscovererEntity*)(void*)&unknownEntity, 1000);
    } else if (misbehaves(self, "unknown-entity-lost")) {
        self->host.entityLost(self->context, (ZEBDiscovererEntity*)(void*)&unknownEntity);
    } else if (misbehaves(self, "announce-twice")) {
        self->host.addEntity(self->context, self, entity);
    } else if (misbehaves(self, "release-twice")) {
        self->host.releaseDevice(self->context, self->provider, entity->device);
    } else if (misbehaves(self, "foreign-thread")) {
        pthread_create(&thread, NULL, loseOnOtherThread, self);
        pthread_join(thread, NULL);
    }
}

static void offerDevice(ZEBDiscoverer* self, ZEBDiscovererDeviceProvider* provider,
                        const ZEBDeviceInfo* device) {
    size_t slot = 0;
    while (slot < MAX_ENTITIES && self->entities[slot] != NULL)
        ++slot;
    if (slot == MAX_ENTITIES) {
        self->host.releaseDevice(self->context, provider, device);
        return;
    }
    ZEBDiscovererEntity* entity = calloc(1, sizeof *entity);
    entity->device = device;
    self->entities[slot] = entity;
    self->host.addEntity(self->context, self, entity);
    self->host.setEntityTimer(self->context, entity, 2000);
    misbehaveAtOffer(self, entity);
}

static void removeDevice(ZEBDiscoverer* self, ZEBDiscovererDeviceProvider* provider,
                         const ZEBDeviceInfo* device) {
    (void)provider;
    for (size_t i = 0; i < MAX_ENTITIES; ++i) {
        if (self->entities[i] != NULL && self->entities[i]->device == device)
            self->host.entityLost(self->context, self->entities[i]);
    }
}

static void deleteEntity(ZEBDiscoverer* self, ZEBDiscovererEntity* entity) {
    self->host.setEntityTimer(self->context, entity, ZEBDiscoverySDKTimeoutCancel);
    if (!misbehaves(self, "never-complete"))
        self->host.freeString(entity->key);
    if (misbehaves(self, "lost-after-destroy"))
        self->destroyed = entity;
    else
        free(entity);
}

static void destroyEntity(ZEBDiscoverer* self, ZEBDiscovererEntity* entity) {
    for (size_t i = 0; i < MAX_ENTITIES; ++i) {
        if (self->entities[i] == entity)
            self->entities[i] = NULL;
    }
    if (!misbehaves(self, "never-release"))
        self->host.releaseDevice(self->context, self->provider, entity->device);
    deleteEntity(self, entity);
}

static void destroyDiscoverer(ZEBDiscoverer* self) {
    if (misbehaves(self, "lost-after-destroy"))
        self->host.entityLost(self->context, self->destroyed);
    free(self->destroyed);
    if (!misbehaves(self, "never-unsubscribe"))
        self->host.unsubscribeFromDeviceProvider(self->context, self->provider);
    gHost = self->host;
    gCallsBack = misbehaves(self, "call-after-destroy");
    close(self->handles[0]);
    free(self);
}

static void complete(ZEBDiscoverer* self, ZEBDiscovererEntity* entity, const char* text) {
    char* key = entity->key;
    entity->key = NULL;
    self->host.fetchComplete(self->context, entity, key, entity->request, ZEBDiscoverySDKErrorNone,
                             self->host.allocString(text, -1));
    if (misbehaves(self, "complete-twice"))
        self->host.fetchComplete(self->context, entity, key, entity->request, ZEBDiscoverySDKErrorNone, NULL);
}

static void fetchEntityValue(ZEBDiscoverer* self, ZEBDiscovererEntity* entity, char* key,
                             ZEBDiscoverySDKRequest* request) {
    char* value = NULL;
    ZEBDiscoverySDKError error = ZEBDiscoverySDKErrorNotImplemented;
    if (strcmp(key, "zebcmd") == 0) {
        entity->key = key;
        entity->request = request;
        return;
    }
    if (strcmp(key, "id") == 0 || strcmp(key, "name") == 0) {
        value = self->host.allocString(entity->device->properties[4], -1);
        error = ZEBDiscoverySDKErrorNone;
    }
    self->host.fetchComplete(self->context, entity, key, request, error, value);
}

static void handleEntityTimeout(ZEBDiscoverer* self, ZEBDiscovererEntity* entity) {
    if (misbehaves(self, "never-complete") || entity->key == NULL)
        return;
    if (misbehaves(self, "drop-fetch"))
        self->host.freeString(entity->key);
    else
        complete(self, entity, "zebcmd:v=1;t=TEST");
    entity->key = NULL;
}

static ZEBDiscovererEventHandle* getEntityEventHandle(ZEBDiscoverer* self, ZEBDiscovererEntity* entity) {
    (void)self;
    (void)entity;
    return NULL;
}

static void handleEntityEvent(ZEBDiscoverer* self, ZEBDiscovererEntity* entity) {
    (void)self;
    (void)entity;
}

static ZEBDiscovererEventHandle* getMultipleEventHandlesEx(ZEBDiscoverer* self, int** writeFlags) {
    *writeFlags = self->writeFlags;
    return self->handles;
}

static void logInfo(ZEBDiscoverer* self, const char* text) {
    if (self->host.isLogLevelEnabled(self->context, ZEBDiscoveryLogSeverityInfo))
        self->host.log(self->context, ZEBDiscoveryLogSeverityInfo, text);
}

static void handleTimeoutForEventHandle(ZEBDiscoverer* self, ZEBDiscovererEventHandle* handle) {
    eventfd_write(*handle, 1);
    logInfo(self, "handle timer");
}

static void handleSingleEvent(ZEBDiscoverer* self, ZEBDiscovererEventHandle* handle) {
    eventfd_t count;
    eventfd_read(*handle, &count);
    logInfo(self, "handle event");
}

static void fill(ZEBDiscovererInterface* table) {
    table->setContext = setContext;
    table->getEntityEventHandle = getEntityEventHandle;
    table->handleEntityEvent = handleEntityEvent;
    table->handleEntityTimeout = handleEntityTimeout;
    table->setProperty = setProperty;
    table->start = start;
    table->stop = stop;
    table->fetchEntityValue = fetchEntityValue;
    table->destroyEntity = destroyEntity;
    table->destroyDiscoverer = destroyDiscoverer;
    table->handleSingleEvent = handleSingleEvent;
    table->handleTimeoutForEventHandle = handleTimeoutForEventHandle;
    table->init = init;
    table->deviceProviderStarted = deviceProviderStarted;
    table->getDeviceInterest = getDeviceInterest;
    table->offerDevice = offerDevice;
    table->removeDevice = removeDevice;
    table->getMultipleEventHandlesEx = getMultipleEventHandlesEx;
}

__attribute__((visibility("default"))) ZEBDiscoverer*
ZEBDiscovererInitialize(ZEBDiscovererInterface* interfaceTable, size_t interfaceSize,
                        const ZEBDiscovererCallbacks* callbackTable, size_t callbackSize) {
    if (interfaceSize < sizeof *interfaceTable || callbackSize < sizeof *callbackTable)
        return NULL;
    ZEBDiscoverer* self = calloc(1, sizeof *self);
    if (self == NULL)
        return NULL;
    self->host = *callbackTable;
    self->handles[0] = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    self->handles[1] = ZEBDiscovererNoEventHandle;
    fill(interfaceTable);
    return self;
}

/* Runs when the plug-in is unloaded. */
__attribute__((destructor)) static void callBack(void) {
    if (gCallsBack)
        gHost.log(gContext, ZEBDiscoveryLogSeverityError, "too late");
}

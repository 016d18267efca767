/*
 * A host for a discoverer plug-in, as small as one can be: C, one thread, poll(2). "poll-host PLUGIN" prints
 * the connection command of each phone it finds, until Ctrl-C. Read main() and run() first, at the end.
 *
 * Threads: entry points are called on this one thread, none from inside a callback. Callbacks note what is to
 * be done, and settleOne() does it before the next wait.
 * Ownership: strings that callbacks hand over are ours to free. A device's record is the plug-in's to read
 * until it has released the device and we have destroyed all entities made of it.
 * Timers: one an entity, one a handle; that of a handle goes with the handle.
 */
#define _GNU_SOURCE /* dlvsym, ppoll */
#include "../usb-devices/devices.h"

#include <dlfcn.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/signalfd.h>
#include <time.h>
#include <unistd.h>

enum { MAX_HANDLES = 64, MAX_TIMERS = 64, NEVER = 0 };

struct Entity {
    struct Entity* next;
    ZEBDiscovererEntity* self; /* the plug-in's */
    struct Device* device;
    int isNew, isLost;
};

struct Timer {
    ZEBDiscovererEntity* entity; /* or null: the handle's */
    ZEBDiscovererEventHandle handle;
    int64_t due; /* µs of the monotonic clock; NEVER: not armed */
};

static ZEBDiscovererInterface gEntry; /* the plug-in's entry points */
static ZEBDiscoverer* gDiscoverer;
static struct Devices gDevices;
static struct Device* gOffered; /* the one whose offerDevice runs */
static struct Entity* gEntities;
static struct Timer gTimers[MAX_TIMERS];

static int64_t microseconds(void) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * INT64_C(1000000) + now.tv_nsec / 1000;
}

/* There is one provider, so it need only be some address. */
static ZEBDiscovererDeviceProvider* provider(void) { return (ZEBDiscovererDeviceProvider*)(void*)&gDevices; }

static struct Entity* find(const ZEBDiscovererEntity* self) {
    struct Entity* entity = gEntities;
    while (entity != NULL && entity->self != self)
        entity = entity->next;
    return entity;
}

/* ---- What the plug-in calls; contexts are not used, for this host has all in variables of the file ---- */

/* Of both kinds: entities to be shown, and phones that are about to leave and come back as another device. */
static void addEntity(void* context, ZEBDiscoverer* discoverer, ZEBDiscovererEntity* self) {
    if (find(self) != NULL)
        return; /* was announced as one not to be shown, and now is to be */
    struct Entity* entity = calloc(1, sizeof *entity);
    if (entity == NULL)
        abort();
    *entity = (struct Entity){.next = gEntities, .self = self, .device = gOffered, .isNew = 1};
    gEntities = entity;
    if (gOffered != NULL)
        ++gOffered->entities;
}

static void entityLost(void* context, ZEBDiscovererEntity* self) {
    struct Entity* entity = find(self);
    if (entity != NULL)
        entity->isLost = 1;
}

static struct Timer* timerOf(const ZEBDiscovererEntity* entity, ZEBDiscovererEventHandle handle) {
    struct Timer* free = NULL;
    for (struct Timer* timer = gTimers; timer < gTimers + MAX_TIMERS; ++timer) {
        if (timer->due == NEVER)
            free = timer;
        else if (timer->entity == entity && timer->handle == handle)
            return timer;
    }
    return free;
}

/* A new time replaces the old one. 0 fires at once, but from the loop and never from in here. */
static void setTimer(ZEBDiscovererEntity* entity, ZEBDiscovererEventHandle handle, int32_t timeout) {
    struct Timer* timer = timerOf(entity, handle);
    if (timer != NULL)
        *timer = (struct Timer){entity, handle, timeout < 0 ? NEVER : microseconds() + timeout};
}

static void setEntityTimer(void* context, ZEBDiscovererEntity* self, int32_t timeout) {
    setTimer(self, ZEBDiscovererNoEventHandle, timeout);
}

static void setTimerForHandle(void* context, ZEBDiscoverer* discoverer, ZEBDiscovererEventHandle* handle,
                              int32_t timeout) {
    setTimer(NULL, *handle, timeout);
}

/* The answer to a fetch. Both strings are ours from here on. */
static void fetchComplete(void* context, ZEBDiscovererEntity* self, char* key,
                          ZEBDiscoverySDKRequest* request, ZEBDiscoverySDKError error, char* value) {
    if (error == ZEBDiscoverySDKErrorNone && value != NULL)
        puts(value);
    fflush(stdout);
    free(key);
    free(value);
}

static ZEBDiscoverySDKError subscribe(void* context, const char* name, ZEBDiscovererDeviceProvider** out) {
    if (strcmp(name, "usb") != 0)
        return ZEBDiscoverySDKErrorNotImplemented;
    *out = provider();
    return ZEBDiscoverySDKErrorNone;
}

static void releaseDevice(void* context, ZEBDiscovererDeviceProvider* from, const ZEBDeviceInfo* info) {
    deviceOf(info)->isHeld = 0; /* freed before the next wait: the caller may still be reading the record */
}

/* The next two may be called from any thread. */
static char* allocString(const char* text, int32_t length) {
    size_t size = length < 0 ? strlen(text) : (size_t)length;
    char* string = calloc(1, size + 1);
    if (string != NULL && text != NULL)
        memcpy(string, text, size);
    return string;
}

static void freeString(char* string) { free(string); }

/* What is left out (the log, for one) is absent to the plug-in, which copes. */
static const ZEBDiscovererCallbacks kCallbacks = {
    .addEntity = addEntity,
    .setEntityTimer = setEntityTimer,
    .entityLost = entityLost,
    .fetchComplete = fetchComplete,
    .allocString = allocString,
    .freeString = freeString,
    .addUnpublishedEntity = addEntity,
    .setTimerForHandle = setTimerForHandle,
    .subscribeToDeviceProvider = subscribe,
    .releaseDevice = releaseDevice,
};

static void plugged(struct Device* device) {
    char* reason = NULL;
    ZEBDeviceInterestLevel level = gEntry.getDeviceInterest(gDiscoverer, provider(), &device->info, &reason);
    free(reason);
    if (level >= ZEBDeviceInterestNone)
        return;
    device->isHeld = 1;
    gOffered = device;
    gEntry.offerDevice(gDiscoverer, provider(), &device->info);
    gOffered = NULL;
}

static void unplugged(struct Device* device) {
    if (device->isHeld || device->entities > 0)
        gEntry.removeDevice(gDiscoverer, provider(), &device->info);
}

static void destroy(struct Entity* entity) {
    struct Entity** link = &gEntities;
    gEntry.destroyEntity(gDiscoverer, entity->self); /* cancels its timer, so it must still be known */
    while (*link != entity)
        link = &(*link)->next;
    *link = entity->next;
    if (entity->device != NULL)
        --entity->device->entities;
    free(entity);
}

static void ask(struct Entity* entity) {
    entity->isNew = 0;
    gEntry.fetchEntityValue(gDiscoverer, entity->self, allocString("zebcmd", -1), NULL);
}

/* Do one thing that callbacks have left to be done; says whether there was any. */
static int settleOne(void) {
    struct Entity* entity = gEntities;
    while (entity != NULL && !entity->isLost && !entity->isNew)
        entity = entity->next;
    if (entity != NULL)
        entity->isLost ? destroy(entity) : ask(entity);
    return entity != NULL;
}

/* The handles that there are now, which is to be asked before every wait. */
static nfds_t listHandles(struct pollfd* fds) {
    nfds_t count = 0;
    int* writeFlags = NULL;
    const ZEBDiscovererEventHandle* handles = gEntry.getMultipleEventHandlesEx(gDiscoverer, &writeFlags);
    for (; handles != NULL && handles[count] != ZEBDiscovererNoEventHandle && count < MAX_HANDLES; ++count)
        fds[count] =
            (struct pollfd){handles[count], (short)(writeFlags[count] ? POLLIN | POLLOUT : POLLIN), 0};
    return count;
}

static int isListed(ZEBDiscovererEventHandle handle) {
    struct pollfd fds[MAX_HANDLES];
    nfds_t count = listHandles(fds);
    while (count > 0 && fds[count - 1].fd != handle)
        --count;
    return count > 0;
}

/* When the next timer is due, or NEVER; forgets those of handles that have gone. */
static int64_t nextDue(void) {
    int64_t next = NEVER;
    for (int i = 0; i < MAX_TIMERS; ++i) {
        if (gTimers[i].due != NEVER && gTimers[i].entity == NULL && !isListed(gTimers[i].handle))
            gTimers[i].due = NEVER;
        if (gTimers[i].due != NEVER && (next == NEVER || gTimers[i].due < next))
            next = gTimers[i].due;
    }
    return next;
}

static void deliverTimers(int64_t now) {
    for (int i = 0; i < MAX_TIMERS; ++i) {
        struct Timer timer = gTimers[i];
        if (timer.due == NEVER || timer.due > now)
            continue;
        gTimers[i].due = NEVER; /* first, for the plug-in may arm it again */
        if (timer.entity != NULL)
            gEntry.handleEntityTimeout(gDiscoverer, timer.entity);
        else if (isListed(timer.handle))
            gEntry.handleTimeoutForEventHandle(gDiscoverer, &timer.handle);
    }
}

static void run(int signals, int devices) {
    while (1) {
        while (settleOne()) {
        }
        devicesFree(&gDevices);
        struct pollfd fds[2 + MAX_HANDLES] = {{signals, POLLIN, 0}, {devices, POLLIN, 0}};
        nfds_t count = 2 + listHandles(&fds[2]);
        int64_t due = nextDue(), now = microseconds(), wait = due > now ? due - now : 0;
        struct timespec timeout = {wait / 1000000, wait % 1000000 * 1000};
        if (ppoll(fds, count, due == NEVER ? NULL : &timeout, NULL) < 0 || fds[0].revents != 0)
            return;
        if (fds[1].revents != 0)
            devicesReceive(&gDevices);
        /* Telling of one may have ended another. */
        for (nfds_t i = 2; i < count; ++i) {
            if (fds[i].revents != 0 && isListed(fds[i].fd))
                gEntry.handleSingleEvent(gDiscoverer, &fds[i].fd);
        }
        deliverTimers(microseconds());
    }
}

int main(int argc, char** argv) {
    /* Signals become something to wait for: one in the middle of a call of the plug-in would disturb it. */
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGINT);
    sigaddset(&ending, SIGTERM);
    sigprocmask(SIG_BLOCK, &ending, NULL);

    void* library = argc == 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : NULL;
    void* symbol = library ? dlvsym(library, "ZEBDiscovererInitialize", ZEBDISCOVERER_SYMBOL_VERSION) : NULL;
    if (symbol == NULL) {
        fprintf(stderr, "usage: poll-host PLUGIN\n%s\n", argc == 2 ? dlerror() : "");
        return 2;
    }
    ZEBDiscovererInitializeFunction initialize = (ZEBDiscovererInitializeFunction)symbol;
    gDevices = (struct Devices){.plugged = plugged, .unplugged = unplugged};
    gDiscoverer = initialize(&gEntry, sizeof gEntry, &kCallbacks, sizeof kCallbacks);
    if (gDiscoverer == NULL)
        return 1;
    gEntry.setContext(gDiscoverer, NULL);
    int devices = devicesOpen(&gDevices);
    if (devices >= 0 && gEntry.init(gDiscoverer) == ZEBDiscoverySDKErrorNone) {
        gEntry.start(gDiscoverer);
        gEntry.deviceProviderStarted(gDiscoverer, provider(), ZEBDiscoverySDKErrorNone);
        devicesScan(&gDevices);
        run(signalfd(-1, &ending, SFD_CLOEXEC), devices);
        gEntry.stop(gDiscoverer);
    }
    while (gEntities != NULL)
        destroy(gEntities);
    gEntry.destroyDiscoverer(gDiscoverer);
    devicesClose(&gDevices); /* only now can nobody read the records any more */
    return dlclose(library);
}

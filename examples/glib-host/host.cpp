// A host for a discoverer plug-in on the GLib main loop: "glib-host PLUGIN" prints the connection command of
// each phone it finds, until Ctrl-C. Each handle of the plug-in is a source of the loop, and so is the
// plug-in itself: GLib asks sources before each wait, which is when a plug-in is to be asked for its handles.
//
// Threads: everything happens on the loop's thread, and no entry point is called from inside a callback:
// callbacks note what is to be done, and settle() does it before the next wait.
// Ownership: strings that callbacks hand over are ours to free. A device's record is the plug-in's to read
// until it has released the device and we have destroyed all entities made of it.
// Timers: one an entity, one a handle; that of a handle goes with the handle.
#include "../usb-devices/devices.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <glib-unix.h>
#include <map>
#include <optional>
#include <set>
#include <sys/signalfd.h>

namespace {

struct Entity {
    Device* device;
    std::optional<gint64> due; // of its timer, in µs of the monotonic clock
    bool isNew = true;
    bool isLost = false;
};

struct Handle {
    guint source = 0; // GLib's number of it; 0 until the plug-in has listed it
    bool writes = false;
    std::optional<gint64> due;
};

ZEBDiscovererInterface gEntry; // the plug-in's entry points
ZEBDiscoverer* gDiscoverer;
Devices gDevices;
Device* gOffered; // the one whose offerDevice runs
std::map<ZEBDiscovererEntity*, Entity> gEntities;
std::map<ZEBDiscovererEventHandle, Handle> gHandles;

// There is one provider, so it need only be some address.
ZEBDiscovererDeviceProvider* provider() { return reinterpret_cast<ZEBDiscovererDeviceProvider*>(&gDevices); }

std::optional<gint64> dueAfter(ZEBDiscoverySDKTimeoutMicroseconds timeout) {
    return timeout < 0 ? std::nullopt : std::optional(g_get_monotonic_time() + timeout);
}

// Takes a due time away if it is over, first of all: the plug-in may arm the timer again when it is told.
bool takeIfOver(std::optional<gint64>& due, gint64 now) {
    if (!due || *due > now)
        return false;
    due.reset();
    return true;
}

// ---- What the plug-in calls. Nothing is thrown through it: a host that runs out of memory here ends. ----

// One that was announced as not to be shown yet is announced again when it is.
void addEntity(void*, ZEBDiscoverer*, ZEBDiscovererEntity* entity) noexcept {
    if (gEntities.try_emplace(entity, Entity{gOffered, {}}).second && gOffered)
        ++gOffered->entities;
}

void fetchComplete(void*, ZEBDiscovererEntity*, char* key, ZEBDiscoverySDKRequest*,
                   ZEBDiscoverySDKError error, char* value) noexcept {
    if (error == ZEBDiscoverySDKErrorNone && value)
        g_print("%s\n", value);
    std::free(key);
    std::free(value);
}

// May be called from any thread, as freeString.
char* allocString(const char* text, int32_t length) noexcept {
    const size_t size = length < 0 ? std::strlen(text) : static_cast<size_t>(length);
    auto* string = static_cast<char*>(std::calloc(1, size + 1));
    if (string && text)
        std::memcpy(string, text, size);
    return string;
}

// What is left out (the log, for one) is absent to the plug-in, which copes.
ZEBDiscovererCallbacks callbacks() {
    ZEBDiscovererCallbacks table{};
    table.addEntity = addEntity;
    table.addUnpublishedEntity = addEntity;
    table.entityLost = [](void*, ZEBDiscovererEntity* self) noexcept { gEntities.at(self).isLost = true; };
    table.setEntityTimer = [](void*, ZEBDiscovererEntity* entity, int32_t timeout) noexcept {
        if (auto known = gEntities.find(entity); known != gEntities.end())
            known->second.due = dueAfter(timeout);
    };
    table.setTimerForHandle = [](void*, ZEBDiscoverer*, int* handle, int32_t timeout) noexcept {
        gHandles[*handle].due = dueAfter(timeout);
    };
    table.fetchComplete = fetchComplete;
    table.allocString = allocString;
    table.freeString = [](char* string) noexcept { std::free(string); };
    table.subscribeToDeviceProvider = [](void*, const char* name,
                                         ZEBDiscovererDeviceProvider** out) noexcept {
        *out = provider();
        return std::strcmp(name, "usb") == 0 ? 0 : ZEBDiscoverySDKError{ZEBDiscoverySDKErrorNotImplemented};
    };
    // The caller may still be reading the record: settle() frees it.
    table.releaseDevice = [](void*, ZEBDiscovererDeviceProvider*, const ZEBDeviceInfo* info) noexcept {
        deviceOf(info)->isHeld = 0;
    };
    return table;
}

void plugged(Device* device) {
    char* reason = nullptr;
    const auto level = gEntry.getDeviceInterest(gDiscoverer, provider(), &device->info, &reason);
    std::free(reason);
    if (level >= ZEBDeviceInterestNone)
        return;
    device->isHeld = 1;
    gOffered = device;
    gEntry.offerDevice(gDiscoverer, provider(), &device->info);
    gOffered = nullptr;
}

void unplugged(Device* device) {
    if (device->isHeld || device->entities > 0)
        gEntry.removeDevice(gDiscoverer, provider(), &device->info);
}

// What callbacks have left to be done. Doing it calls back, so the search begins anew after each.
void settle() {
    for (auto entry = gEntities.begin(); entry != gEntities.end();) {
        auto& [self, entity] = *entry;
        if (entity.isLost) {
            gEntry.destroyEntity(gDiscoverer, self); // cancels its timer, so it must still be known
            if (entity.device)
                --entity.device->entities;
            gEntities.erase(entry);
        } else if (entity.isNew) {
            entity.isNew = false;
            gEntry.fetchEntityValue(gDiscoverer, self, allocString("zebcmd", -1), nullptr);
        } else {
            ++entry;
            continue;
        }
        entry = gEntities.begin();
    }
    devicesFree(&gDevices);
}

void listHandles();

void watch(ZEBDiscovererEventHandle descriptor, bool writes) {
    Handle& handle = gHandles[descriptor];
    if (handle.source != 0 && handle.writes == writes)
        return;
    if (handle.source != 0)
        g_source_remove(handle.source);
    const GUnixFDSourceFunc ready = [](gint fd, GIOCondition, gpointer) -> gboolean {
        gEntry.handleSingleEvent(gDiscoverer, &fd);
        listHandles();
        return G_SOURCE_CONTINUE;
    };
    handle.writes = writes;
    handle.source =
        g_unix_fd_add(descriptor, writes ? GIOCondition(G_IO_IN | G_IO_OUT) : G_IO_IN, ready, nullptr);
}

// Has GLib wait for the handles that there are now; one that is no longer listed goes, with its timer. Done
// before each wait, and after what may end a handle: another event may be on its way to it.
void listHandles() {
    int* writes = nullptr;
    const ZEBDiscovererEventHandle* listed = gEntry.getMultipleEventHandlesEx(gDiscoverer, &writes);
    std::set<ZEBDiscovererEventHandle> present;
    for (; listed && *listed != ZEBDiscovererNoEventHandle; ++listed, ++writes) {
        present.insert(*listed);
        watch(*listed, *writes != 0);
    }
    std::erase_if(gHandles, [&present](const auto& entry) {
        const auto& [descriptor, handle] = entry;
        if (present.count(descriptor) > 0)
            return false;
        if (handle.source != 0)
            g_source_remove(handle.source);
        return true;
    });
}

gint64 nextDue() {
    gint64 next = -1;
    const auto consider = [&next](const std::optional<gint64>& due) {
        if (due && (next < 0 || *due < next))
            next = *due;
    };
    for (const auto& entry : gEntities)
        consider(entry.second.due);
    for (const auto& entry : gHandles)
        consider(entry.second.due);
    return next;
}

void deliverTimers() {
    const gint64 now = g_get_monotonic_time();
    // Entities only leave in settle(); handles may go with each call.
    for (auto& [self, entity] : gEntities) {
        if (takeIfOver(entity.due, now))
            gEntry.handleEntityTimeout(gDiscoverer, self);
    }
    listHandles();
    for (auto entry = gHandles.begin(); entry != gHandles.end();) {
        ZEBDiscovererEventHandle descriptor = entry->first;
        if (takeIfOver(entry->second.due, now)) {
            gEntry.handleTimeoutForEventHandle(gDiscoverer, &descriptor);
            listHandles();
        }
        entry = gHandles.upper_bound(descriptor);
    }
}

// The plug-in as a source: asked before each wait, and ready when its next timer is due.
GSource* newPluginSource() {
    static GSourceFuncs functions{};
    functions.prepare = [](GSource* source, gint* timeout) -> gboolean {
        *timeout = -1; // this one is in ms
        settle();
        listHandles();
        g_source_set_ready_time(source, nextDue());
        return FALSE;
    };
    functions.dispatch = [](GSource*, GSourceFunc, gpointer) -> gboolean {
        deliverTimers();
        return G_SOURCE_CONTINUE;
    };
    return g_source_new(&functions, sizeof(GSource));
}

void loop(int signals, int devices) {
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    const GUnixFDSourceFunc quit = [](gint, GIOCondition, gpointer data) -> gboolean {
        g_main_loop_quit(static_cast<GMainLoop*>(data));
        return G_SOURCE_REMOVE;
    };
    const GUnixFDSourceFunc receive = [](gint, GIOCondition, gpointer) -> gboolean {
        devicesReceive(&gDevices);
        listHandles();
        return G_SOURCE_CONTINUE;
    };
    g_unix_fd_add(signals, G_IO_IN, quit, loop);
    g_unix_fd_add(devices, G_IO_IN, receive, nullptr);
    g_source_attach(newPluginSource(), nullptr);
    g_main_loop_run(loop);
    g_main_loop_unref(loop);
}

bool run(ZEBDiscovererInitializeFunction initialize, int signals) {
    const ZEBDiscovererCallbacks table = callbacks();
    gDiscoverer = initialize(&gEntry, sizeof gEntry, &table, sizeof table);
    gDevices.plugged = plugged;
    gDevices.unplugged = unplugged;
    const int devices = devicesOpen(&gDevices);
    if (!gDiscoverer || devices < 0)
        return false;
    gEntry.setContext(gDiscoverer, nullptr);
    const bool works = gEntry.init(gDiscoverer) == ZEBDiscoverySDKErrorNone;
    if (works) {
        gEntry.start(gDiscoverer);
        gEntry.deviceProviderStarted(gDiscoverer, provider(), ZEBDiscoverySDKErrorNone);
        devicesScan(&gDevices);
        loop(signals, devices);
        gEntry.stop(gDiscoverer);
    }
    for (auto& [self, entity] : gEntities)
        entity.isLost = true;
    settle();
    gEntry.destroyDiscoverer(gDiscoverer);
    devicesClose(&gDevices); // only now can nobody read the records any more
    return works;
}

} // namespace

int main(int argc, char** argv) {
    // Signals become something to wait for, on all threads: one in the middle of a call of the plug-in would
    // disturb it, and so would g_unix_signal_add, which has a handler.
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGINT);
    sigaddset(&ending, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);

    void* library = argc == 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : nullptr;
    void* symbol = library ? dlvsym(library, "ZEBDiscovererInitialize", "DISCOVERY_1.0") : nullptr;
    if (!symbol) {
        g_printerr("usage: glib-host PLUGIN\n%s\n", argc == 2 ? dlerror() : "");
        return 2;
    }
    const auto initialize = reinterpret_cast<ZEBDiscovererInitializeFunction>(symbol);
    return run(initialize, signalfd(-1, &ending, SFD_CLOEXEC)) ? 0 : 1;
}

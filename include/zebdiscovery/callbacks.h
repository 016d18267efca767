/*
 * The callbacks of a host: the table through which a discoverer reaches it.
 *
 * The host owns the table; the discoverer copies it when it is made, up to the
 * size the host gives, and treats what the host's shorter table lacks, or has only
 * in part, as absent. Every slot may be absent (null): nothing is called then, an
 * operation that would return an error is taken to have returned 9 (not
 * implemented), one that would return a pointer null, and no log line is wanted.
 *
 * context is the pointer that setContext stored; a line logged before that, while
 * the discoverer is being made, comes with a null context. Unless a slot says otherwise a
 * callback is called on the host's thread, from inside an entry point
 * ([host-thread]); [any-thread] callbacks may also come from a thread of the
 * discoverer's own.
 *
 * A callback should not throw. What it throws inside an entry point goes no further
 * than that: it counts as the operation's own failure, or is dropped where the
 * discoverer has to go on (a string that is freed, its own end). When it is the line
 * about a failure that throws, what the failure should have led to (a completion,
 * say) may not come. Elsewhere there is nothing to catch it: what a line throws that
 * is logged while the discoverer is being made goes to the caller of
 * ZEBDiscovererInitialize, and on a thread of a discoverer's own it ends where that
 * thread ends it.
 *
 * SDK strings are NUL-terminated, made by allocString and freed by freeString.
 *
 * Offsets are bytes on a 32-bit target; elsewhere index × sizeof(void*).
 */
#ifndef ZEBDISCOVERY_CALLBACKS_H
#define ZEBDISCOVERY_CALLBACKS_H

#include "zebdiscovery/device.h"
#include "zebdiscovery/layout.h"
#include "zebdiscovery/types.h"
#include "zebdiscovery/utils.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct ZEBDiscovererCallbacks {
    /** 0-12: not called. */
    ZEBDiscoveryUnusedSlot reserved0;
    ZEBDiscoveryUnusedSlot reserved4;
    ZEBDiscoveryUnusedSlot reserved8;
    ZEBDiscoveryUnusedSlot reserved12;

    /** 16 [host-thread]: the result of start. */
    void (*discovererStarted)(void* context, ZEBDiscoverer* discoverer, ZEBDiscoverySDKError error);

    /** 20 [host-thread]: the discoverer has stopped: because of stop (0), because its device provider
     *  would not start (that error), or because stopping failed (15). */
    void (*discovererStopped)(void* context, ZEBDiscoverer* discoverer, ZEBDiscoverySDKError error);

    /** 24 [host-thread], single mode: arm (µs), fire at once (0) or cancel (-1) the discoverer's timer. */
    void (*setTimer)(void* context, ZEBDiscoverer* discoverer, ZEBDiscoverySDKTimeoutMicroseconds timeout);

    /** 28 [host-thread]: a new entity that can be shown to clients at once. */
    void (*addEntity)(void* context, ZEBDiscoverer* discoverer, ZEBDiscovererEntity* entity);

    /**
     * 32 [host-thread]: arm (µs), fire at once (0) or cancel (-1) the entity's one timer; replaces the
     * one that was armed. It comes back by slot handleEntityTimeout, later, from the host's loop.
     */
    void (*setEntityTimer)(void* context, ZEBDiscovererEntity* entity,
                           ZEBDiscoverySDKTimeoutMicroseconds timeout);

    /** 36: not called. */
    void (*forward36)(void* context, void* first, void* second);

    /** 40 [host-thread]: the entity is gone for good; the host is expected to call destroyEntity, now or
     *  later. May come more than once for an entity that has not been destroyed. */
    void (*entityLost)(void* context, ZEBDiscovererEntity* entity);

    /** 44 [host-thread]: the answer to fetchEntityValue, with the key that came with it. key and value
     *  are SDK strings of the host's from here on; value is null when there is none. */
    void (*fetchComplete)(void* context, ZEBDiscovererEntity* entity, char* key,
                          ZEBDiscoverySDKRequest* request, ZEBDiscoverySDKError error, char* value);

    /** 48 [host-thread]: the answer to postEntityValue; both strings go back to the host. */
    void (*postComplete)(void* context, ZEBDiscovererEntity* entity, char* key, char* value,
                         ZEBDiscoverySDKRequest* request, ZEBDiscoverySDKError error);

    /** 52 [host-thread]: the answer to publishEntity. */
    void (*publishComplete)(void* context, ZEBDiscovererEntity* entity, ZEBDiscoverySDKError error);

    /** 56 [host-thread]: the answer to unpublishEntity. */
    void (*unpublishComplete)(void* context, ZEBDiscovererEntity* entity, ZEBDiscoverySDKError error);

    /** 60 [any-thread]: write one line, without a line feed. text stays the discoverer's. */
    void (*log)(void* context, int32_t severity, const char* text);

    /** 64 [any-thread], no context: a new SDK string of the caller's: a copy of text (length -1: up to its
     *  terminator), or with a null text a buffer of length bytes. Null when out of memory. */
    char* (*allocString)(const char* text, int32_t length);

    /** 68 [any-thread], no context: free an SDK string. */
    void (*freeString)(char* string);

    /** 72, no context: not called. */
    void (*reserved72)(void* first, void* second);

    /** 76 [host-thread]: a new entity that is not to be shown to clients yet, because it will end by
     *  itself (a phone that is being switched). */
    void (*addUnpublishedEntity)(void* context, ZEBDiscoverer* discoverer, ZEBDiscovererEntity* entity);

    /** 80 [any-thread]: is a line of this severity wanted? Non-zero: yes. */
    int32_t (*isLogLevelEnabled)(void* context, int32_t severity);

    /**
     * 84 [host-thread], multiple mode: arm (µs), fire at once (0) or cancel (-1) the timer of one handle;
     * replaces the one that was armed. handle stays valid until the discoverer no longer lists it.
     * A timer goes with its handle: once the handle is no longer listed the host forgets the timer, which
     * nobody cancels, and must not deliver it.
     */
    void (*setTimerForHandle)(void* context, ZEBDiscoverer* discoverer, ZEBDiscovererEventHandle* handle,
                              ZEBDiscoverySDKTimeoutMicroseconds timeout);

    /** 88 [any-thread], multiple mode: the handles have changed; ask for them again. The USB discoverer
     *  does not call it: its host asks before every wait. */
    void (*eventHandlesChanged)(void* context, ZEBDiscoverer* discoverer);

    /** 92, 96, 100: not called. */
    void (*forward92)(void* context, void* first, void* second);
    void (*forward96)(void* context, void* first, void* second);
    void (*forward100)(void* context, void* first, void* second);

    /** 104 [host-thread]: subscribe to the named provider ("usb"): its devices will be offered. On success
     *  *out is the provider, which stays the host's. */
    ZEBDiscoverySDKError (*subscribeToDeviceProvider)(void* context, const char* name,
                                                      ZEBDiscovererDeviceProvider** out);

    /** 108 [host-thread]: no more devices of this provider, please. */
    void (*unsubscribeFromDeviceProvider)(void* context, ZEBDiscovererDeviceProvider* provider);

    /** 112 [host-thread]: set a property of a provider; 9 when it has no such property. Texts stay the
     *  caller's. */
    ZEBDiscoverySDKError (*setDeviceProviderProperty)(void* context, ZEBDiscovererDeviceProvider* provider,
                                                      const char* key, const char* value);

    /** 116 [host-thread]: read one; on success *out is an SDK string of the caller's. */
    ZEBDiscoverySDKError (*getDeviceProviderProperty)(void* context, ZEBDiscovererDeviceProvider* provider,
                                                      const char* key, char** out);

    /** 120 [host-thread]: the discoverer has no more use for an offered device. Comes again for a device
     *  whose release threw. */
    void (*releaseDevice)(void* context, ZEBDiscovererDeviceProvider* provider, const ZEBDeviceInfo* device);

    /** 124: not called. */
    void (*forward124)(void* context, void* first, void* second, void* third);

    /** 128 [host-thread]: fill the utilities record, of which size bytes are there and zeroed. */
    void (*fillUtils)(void* context, ZEBDiscoverySDKUtils* utils, size_t size);

    /** 132 [any-thread], no context: the text of an error code; stays the host's. Null when it has none. */
    const char* (*errorText)(ZEBDiscoverySDKError error);

    /** 136, 140, 144: not called. */
    void (*forward136)(void* context, void* first);
    void (*forward140)(void* context, void* first);
    void (*forward144)(void* context, void* first);

    /** 148 [host-thread], no context: free the protocol string that came with offerDeviceForProtocol. */
    void (*freeProtocolString)(char* protocol);
} ZEBDiscovererCallbacks;

ZEB_LAYOUT_IS_POINTERS(ZEBDiscovererCallbacks, 38);

#ifdef __cplusplus
}
#endif

#endif

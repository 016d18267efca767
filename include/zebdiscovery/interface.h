/*
 * The entry points of a discoverer: the table through which a host drives it.
 *
 * The host owns the table and says how many bytes it provides. A slot is written
 * only when it lies wholly inside that size, and only when it belongs to the
 * discoverer's mode; every other slot keeps what the host put there.
 *
 * Mode: a discoverer hands the host either a single event handle
 * ("single": slots 4, 8 and 12) or an array of them ("multiple": slots 92, 96
 * and 128). The mode never changes. The USB discoverer uses multiple handles.
 *
 * Threads: the host calls every entry point on one thread, its own
 * ([host-thread]); the discoverer takes no lock around them. Unless a slot says
 * so, an entry point must not be called from inside a callback.
 *
 * Phases: [before-setContext] slots may be called at once; all others only after
 * setContext. [after-init] slots need a successful init.
 *
 * Errors: no exception ever leaves an entry point. One that returns an error
 * code returns 0, a code of its own, 3 (out of memory), 15 (failed) or 23
 * (unexpected). Failures are logged through the host's log callback.
 *
 * Offsets are bytes on a 32-bit target. On others slots are pointer-sized: the
 * offset is index × sizeof(void*).
 */
#ifndef ZEBDISCOVERY_INTERFACE_H
#define ZEBDISCOVERY_INTERFACE_H

#include "zebdiscovery/device.h"
#include "zebdiscovery/layout.h"
#include "zebdiscovery/types.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct ZEBDiscovererInterface {
    /**
     * 0, both modes [host-thread] [before-setContext]: store the pointer that every
     * callback with a context gets first, and have the host fill the utilities record.
     * The context stays the host's and must outlive the discoverer.
     */
    void (*setContext)(ZEBDiscoverer* discoverer, void* context);

    /** 4, single [host-thread]: where the one handle is; stays the discoverer's. Null: none. */
    ZEBDiscovererEventHandle* (*getEventHandle)(ZEBDiscoverer* discoverer);

    /** 8, single [host-thread]: the handle is ready. */
    void (*handleEvent)(ZEBDiscoverer* discoverer);

    /** 12, single [host-thread]: the timer armed by callback setTimer expired. */
    void (*handleTimeout)(ZEBDiscoverer* discoverer);

    /**
     * 16, both [host-thread]: the own handle of an entity that has a single one, read
     * through the pointer whenever the host waits (-1: none at present). Null for an
     * entity whose handles are among those of getMultipleEventHandlesEx.
     */
    ZEBDiscovererEventHandle* (*getEntityEventHandle)(ZEBDiscoverer* discoverer, ZEBDiscovererEntity* entity);

    /** 20, both [host-thread]: that handle is ready. */
    void (*handleEntityEvent)(ZEBDiscoverer* discoverer, ZEBDiscovererEntity* entity);

    /** 24, both [host-thread]: the entity's timer, armed by callback setEntityTimer, expired. */
    void (*handleEntityTimeout)(ZEBDiscoverer* discoverer, ZEBDiscovererEntity* entity);

    /**
     * 28, both [host-thread] [after-init]: set a property of the discoverer or of its device
     * provider. Both texts stay the host's. A null value restores the default. 1 for a null
     * key, 9 for an unknown one.
     */
    ZEBDiscoverySDKError (*setProperty)(ZEBDiscoverer* discoverer, const char* key, const char* value);

    /** 32, both [host-thread]: read a property. On success *out is an SDK string of the caller's;
     *  on error it is untouched. */
    ZEBDiscoverySDKError (*getProperty)(ZEBDiscoverer* discoverer, const char* key, char** out);

    /**
     * 36, both [host-thread]: parameters for a viewer of the entity. Whatever the result,
     * outputs that are given are written; a discoverer that has no such parameters writes 0.
     */
    ZEBDiscoverySDKError (*getViewerParameters)(ZEBDiscoverer* discoverer, ZEBDiscovererEntity* entity,
                                                void** first, void** second);

    /** 40, both [host-thread] [after-init]: begin; the result comes by callback discovererStarted. */
    void (*start)(ZEBDiscoverer* discoverer);

    /** 44, both [host-thread]: end; the result comes by callback discovererStopped. Entities stay
     *  until they are destroyed. */
    void (*stop)(ZEBDiscoverer* discoverer);

    /**
     * 48, both [host-thread]: ask for an entity's value. key is an SDK string that is handed
     * over: it comes back, once, with the value in callback fetchComplete, or it is freed when the
     * fetch is dropped because one of the same kind is pending. request is passed back as it is.
     */
    void (*fetchEntityValue)(ZEBDiscoverer* discoverer, ZEBDiscovererEntity* entity, char* key,
                             ZEBDiscoverySDKRequest* request);

    /** 52, both [host-thread]: binary data of an entity. Writes null to out when there is none and
     *  returns its length in bytes; the data stays the discoverer's. */
    uint32_t (*getEntityBinaryData)(ZEBDiscoverer* discoverer, ZEBDiscovererEntity* entity, const char* key,
                                    const void** out);

    /** 56, both [host-thread]: hand an entity a value. key and value are SDK strings that are handed
     *  over and come back, once, in callback postComplete. */
    void (*postEntityValue)(ZEBDiscoverer* discoverer, ZEBDiscovererEntity* entity, char* key, char* value,
                            ZEBDiscoverySDKRequest* request);

    /** 60, both [host-thread]: give up a pending fetch or post. */
    ZEBDiscoverySDKError (*cancelRequest)(ZEBDiscoverer* discoverer, ZEBDiscoverySDKRequest* request);

    /** 64, both [host-thread]: the host has no more use for the entity: its device is released and
     *  the entity deleted. May be called from inside the callbacks addEntity, addUnpublishedEntity,
     *  entityLost, fetchComplete and postComplete, for the entity they are about or another one. */
    void (*destroyEntity)(ZEBDiscoverer* discoverer, ZEBDiscovererEntity* entity);

    /** 68, both [host-thread]: make an entity on the host's wish. */
    ZEBDiscoverySDKError (*createEntity)(ZEBDiscoverer* discoverer, ZEBDiscovererEntity* entity);

    /** 72, both [host-thread]: publish an entity; the result comes by callback publishComplete. */
    void (*publishEntity)(ZEBDiscoverer* discoverer, ZEBDiscovererEntity* entity);

    /** 76, both [host-thread]: withdraw it; the result comes by callback unpublishComplete. */
    void (*unpublishEntity)(ZEBDiscoverer* discoverer, ZEBDiscovererEntity* entity);

    /** 80, both [host-thread]: end an entity that was never published. */
    ZEBDiscoverySDKError (*destroyUnpublishedEntity)(ZEBDiscoverer* discoverer, ZEBDiscovererEntity* entity);

    /** 84, both [host-thread] [before-setContext]: delete the discoverer with all its entities; null
     *  does nothing. The last call: nothing may be called afterwards. */
    void (*destroyDiscoverer)(ZEBDiscoverer* discoverer);

    /** 88: never written, whatever the size. */
    void (*reserved88)(void);

    /**
     * 92, multiple [host-thread]: a handle is ready. handle points at an entry of the array
     * from getMultipleEventHandlesEx or at a copy of one, and must be one that a discoverer's
     * entity registered.
     */
    void (*handleSingleEvent)(ZEBDiscoverer* discoverer, ZEBDiscovererEventHandle* handle);

    /** 96, multiple [host-thread]: the timer of a handle, armed by callback setTimerForHandle,
     *  expired. handle as in slot 92, or the pointer that callback got. */
    void (*handleTimeoutForEventHandle)(ZEBDiscoverer* discoverer, ZEBDiscovererEventHandle* handle);

    /** 100, both [host-thread]: subscribe to device providers. An error means that nothing will be
     *  discovered. */
    ZEBDiscoverySDKError (*init)(ZEBDiscoverer* discoverer);

    /** 104, both [host-thread] [after-init]: the provider runs, or (error not 0) will not. */
    void (*deviceProviderStarted)(ZEBDiscoverer* discoverer, ZEBDiscovererDeviceProvider* provider,
                                  ZEBDiscoverySDKError error);

    /**
     * 108, both [host-thread] [after-init]: does the discoverer want this device, and how much?
     * When it does, *out is an SDK string of the caller's that tells why ("103": a phone in
     * tethering mode, "105": a phone that could be switched to accessory mode, "106": one that has
     * been); otherwise *out is untouched. 100: no.
     */
    ZEBDeviceInterestLevel (*getDeviceInterest)(ZEBDiscoverer* discoverer,
                                                ZEBDiscovererDeviceProvider* provider,
                                                const ZEBDeviceInfo* device, char** out);

    /**
     * 112, both [host-thread] [after-init]: the device is the discoverer's to use until it releases
     * it (callback releaseDevice), which it also does when it does not want it or fails.
     */
    void (*offerDevice)(ZEBDiscoverer* discoverer, ZEBDiscovererDeviceProvider* provider,
                        const ZEBDeviceInfo* device);

    /** 116, both [host-thread] [after-init]: the device has gone: its entities are reported lost. */
    void (*removeDevice)(ZEBDiscoverer* discoverer, ZEBDiscovererDeviceProvider* provider,
                         const ZEBDeviceInfo* device);

    /** 120, both [host-thread] [after-init]: the provider has stopped; so does the discoverer. */
    void (*deviceProviderStopped)(ZEBDiscoverer* discoverer, ZEBDiscovererDeviceProvider* provider,
                                  ZEBDiscoverySDKError error);

    /** 124, both [host-thread]: a constant code that names the discoverer; stays the discoverer's. */
    const char* (*getDescription)(ZEBDiscoverer* discoverer);

    /**
     * 128, multiple [host-thread]: the handles to wait on, ended by ZEBDiscovererNoEventHandle, and
     * beside them in *writeFlags one int each, 1 when the host must also report writability. Both
     * arrays stay the discoverer's and as they are until the next call; both are null while there
     * has never been a handle. Ask again before every wait.
     */
    ZEBDiscovererEventHandle* (*getMultipleEventHandlesEx)(ZEBDiscoverer* discoverer, int** writeFlags);

    /** 132, both [host-thread]: a second context, for hosts that are embedded in another program. */
    void (*setExternalContext)(ZEBDiscoverer* discoverer, void* context);

    /**
     * 136, both [host-thread] [after-init]: as offerDevice, for one protocol. protocol is handed over
     * and freed by callback freeProtocolString in every case; null makes this offerDevice.
     */
    void (*offerDeviceForProtocol)(ZEBDiscoverer* discoverer, ZEBDiscovererDeviceProvider* provider,
                                   const ZEBDeviceInfo* device, char* protocol);
} ZEBDiscovererInterface;

ZEB_LAYOUT_IS_POINTERS(ZEBDiscovererInterface, 35);

#ifdef __cplusplus
}
#endif

#endif

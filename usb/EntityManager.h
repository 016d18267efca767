#pragma once

#include "zebdiscovery/types.h"

namespace zebdiscoverer_usb {

class UsbEntity;

/**
 * The way from an entity to the host, without the entity knowing its discoverer.
 * [host-thread] but for the two that change the set of handles: [any-thread].
 */
class EntityManager {
public:
    virtual ~EntityManager() = default;

    /** Arm the entity's one timer (µs): 0 fires at once, -1 cancels. Replaces the one before. */
    virtual void setEntityTimer(UsbEntity* pEntity, ZEBDiscoverySDKTimeoutMicroseconds timeout) = 0;
    /** Answer a fetch; key and value are SDK strings that go to the host. */
    virtual void entityFetchComplete(UsbEntity* pEntity, char* key, ZEBDiscoverySDKRequest* request,
                                     ZEBDiscoverySDKError error, char* value) = 0;
    /** Answer a post; both strings go to the host. */
    virtual void entityPostComplete(UsbEntity* pEntity, char* key, char* value,
                                    ZEBDiscoverySDKRequest* request, ZEBDiscoverySDKError error) = 0;
    /** The entity is gone; the host will destroy it, perhaps before this returns. */
    virtual void entityLost(UsbEntity* pEntity) = 0;
    /** The host waits on a handle from the next time it asks on; the handle must stay where it is. */
    virtual void addEventHandle(ZEBDiscovererEventHandle* pHandle, bool writeNotifications) = 0;
    virtual void removeEventHandle(ZEBDiscovererEventHandle* pHandle) = 0;
    /** Arm the timer of one handle, as setEntityTimer. */
    virtual void setTimerForHandle(ZEBDiscovererEventHandle* pHandle,
                                   ZEBDiscoverySDKTimeoutMicroseconds timeout) = 0;
};

} // namespace zebdiscoverer_usb

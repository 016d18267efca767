#pragma once

#include "common/ZEBDiscovererImpl.h"
#include "usb/AAPConfiguration.h"
#include "usb/EntityManager.h"

#include <memory>
#include <set>

namespace zebdiscoverer_usb {

/**
 * The plug-in's discoverer: takes the phones among the devices of the host's provider
 * "usb" and keeps one entity for each, from offerDevice to destroyEntity.
 *
 *   made -> init (subscribed) -> start -> devices come and go -> stop -> deleted
 *
 * Multiple-handle mode; [host-thread] throughout, but for what EntityManager says.
 * The host may destroy an entity, that one or another, from inside the callback that
 * brings it, reports it lost or answers for it: every walk over the entities finds its
 * place again after each call out, and nothing is done with one that is no longer there.
 */
class UsbDiscoverer : public zebdiscovery::ZEBDiscovererImpl, public EntityManager {
public:
    UsbDiscoverer(ZEBDiscovererInterface* interfaceTable, size_t interfaceSize,
                  const ZEBDiscovererCallbacks* callbackTable, size_t callbackSize);
    ~UsbDiscoverer() noexcept override;

    ZEBDiscovererEventHandle* getEntityEventHandle(ZEBDiscovererEntity* pEntity) override;
    void handleEntityEvent(ZEBDiscovererEntity* pEntity) override;
    void handleEntityTimeout(ZEBDiscovererEntity* pEntity) override;
    /** The provider's properties come first, then the accessory identification. */
    ZEBDiscoverySDKError setProperty(const char* key, const char* value) override;
    void start() override;
    void stop() override;
    void fetchEntityValue(ZEBDiscovererEntity* pEntity, char* key, ZEBDiscoverySDKRequest* request) override;
    void postEntityValue(ZEBDiscovererEntity* pEntity, char* key, char* value,
                         ZEBDiscoverySDKRequest* request) override;
    void destroyEntity(ZEBDiscovererEntity* pEntity) override;
    void handleSingleEvent(ZEBDiscovererEventHandle* pHandle) override;
    void handleTimeoutForEventHandle(ZEBDiscovererEventHandle* pHandle) override;
    ZEBDiscoverySDKError init() override;
    void deviceProviderStarted(ZEBDiscovererDeviceProvider* pProvider, ZEBDiscoverySDKError error) override;
    ZEBDeviceInterestLevel getDeviceInterest(ZEBDiscovererDeviceProvider* pProvider,
                                             const ZEBDeviceInfo* pDevice, char** out) override;
    void offerDevice(ZEBDiscovererDeviceProvider* pProvider, const ZEBDeviceInfo* pDevice) override;
    void removeDevice(ZEBDiscovererDeviceProvider* pProvider, const ZEBDeviceInfo* pDevice) override;
    void deviceProviderStopped(ZEBDiscovererDeviceProvider* pProvider, ZEBDiscoverySDKError error) override;
    const char* getDescription() override;

    void setEntityTimer(UsbEntity* pEntity, ZEBDiscoverySDKTimeoutMicroseconds timeout) override;
    void entityFetchComplete(UsbEntity* pEntity, char* key, ZEBDiscoverySDKRequest* request,
                             ZEBDiscoverySDKError error, char* value) override;
    void entityPostComplete(UsbEntity* pEntity, char* key, char* value, ZEBDiscoverySDKRequest* request,
                            ZEBDiscoverySDKError error) override;
    void entityLost(UsbEntity* pEntity) override;
    void addEventHandle(ZEBDiscovererEventHandle* pHandle, bool writeNotifications) override;
    void removeEventHandle(ZEBDiscovererEventHandle* pHandle) override;
    void setTimerForHandle(ZEBDiscovererEventHandle* pHandle,
                           ZEBDiscoverySDKTimeoutMicroseconds timeout) override;

private:
    std::unique_ptr<UsbEntity> makeEntity(const ZEBDeviceInfo* pDevice);
    void announce(UsbEntity& entity);
    void afterStep(UsbEntity& entity, bool keep);
    UsbEntity& fromHost(ZEBDiscovererEntity* pEntity) const;
    std::unique_ptr<UsbEntity> withdraw(UsbEntity* pEntity);
    UsbEntity& ownerOf(const ZEBDiscovererEventHandle* pHandle);
    template <class Do>
    void forEachEntity(const Do& call);

    /** Owned; an entity leaves in destroyEntity and in the destructor, and is deleted there. */
    std::set<UsbEntity*> mEntities;
    /** Deleted, but perhaps still named by the host, which was told of them before they could not be started.
     */
    std::set<UsbEntity*> mWithdrawn;
    /** Null when there was no memory for it. */
    std::unique_ptr<AAPConfiguration> mpConfiguration;
    /** Null until init has succeeded. */
    ZEBDiscovererDeviceProvider* mpUsbDeviceProvider = nullptr;
};

} // namespace zebdiscoverer_usb

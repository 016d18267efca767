#include "usb/UsbDiscoverer.h"

#include "common/DiscoveryException.h"
#include "mxcommon/Assert.h"
#include "usb/AAPUsbEntity.h"
#include "usb/DeviceClassification.h"
#include "usb/TcpUsbEntity.h"

#include <algorithm>
#include <new>

namespace zebdiscoverer_usb {

using zebdiscovery::DiscoveryException;

namespace {

/** The host's name for an entity. */
ZEBDiscovererEntity* toHost(UsbEntity* pEntity) { return reinterpret_cast<ZEBDiscovererEntity*>(pEntity); }

constexpr char kPhoneAddress[] = "192.168.42.129";

} // namespace

UsbDiscoverer::UsbDiscoverer(ZEBDiscovererInterface* interfaceTable, size_t interfaceSize,
                             const ZEBDiscovererCallbacks* callbackTable, size_t callbackSize) :
    ZEBDiscovererImpl(interfaceTable, interfaceSize, callbackTable, callbackSize, true),
    mpConfiguration(new (std::nothrow) AAPConfiguration) {
    if (!mpConfiguration)
        // The spelling is what hosts look for.
        log(ZEBDiscoveryLogSeverityError, "Failed to alocate AAP configuration, disabling AAP detection");
}

UsbDiscoverer::~UsbDiscoverer() noexcept {
    try {
        if (mpUsbDeviceProvider)
            unsubscribeFromDeviceProvider(mpUsbDeviceProvider);
    } catch (...) { // NOLINT(bugprone-empty-catch): the host's loss; the entities go all the same
    }
    mpUsbDeviceProvider = nullptr;
    for (UsbEntity* pEntity : mEntities)
        delete pEntity;
    mEntities.clear();
    mpConfiguration.reset();
}

/** Call for each entity in order, whatever the calls do to the set. */
template <class Do>
void UsbDiscoverer::forEachEntity(const Do& call) {
    auto next = mEntities.begin();
    while (next != mEntities.end()) {
        UsbEntity* const pEntity = *next;
        call(*pEntity);
        next = mEntities.upper_bound(pEntity);
    }
}

/** The entity that the host names. */
UsbEntity& UsbDiscoverer::fromHost(ZEBDiscovererEntity* pEntity) const {
    UsbEntity* const pOwn = reinterpret_cast<UsbEntity*>(pEntity);
    if (mWithdrawn.contains(pOwn))
        throw DiscoveryException("Unknown entity", ZEBDiscoverySDKErrorInvalidParameter);
    return *pOwn;
}

/** An entity could not be started: it is to be deleted, though the host may have been told of it. Null when
 *  the host has destroyed it already. */
std::unique_ptr<UsbEntity> UsbDiscoverer::withdraw(UsbEntity* pEntity) {
    // Moved over: there may be no memory.
    const bool isMine = mWithdrawn.insert(mEntities.extract(pEntity)).inserted;
    return std::unique_ptr<UsbEntity>(isMine ? pEntity : nullptr);
}

ZEBDiscovererEventHandle* UsbDiscoverer::getEntityEventHandle(ZEBDiscovererEntity* pEntity) {
    return fromHost(pEntity).getEventHandle();
}

void UsbDiscoverer::handleEntityEvent(ZEBDiscovererEntity* pEntity) {
    UsbEntity& entity = fromHost(pEntity);
    ZEB_ASSERT(!entity.usesMultipleHandles());
    afterStep(entity, entity.handleEvent(entity.getEventHandle()));
}

void UsbDiscoverer::handleEntityTimeout(ZEBDiscovererEntity* pEntity) {
    UsbEntity& entity = fromHost(pEntity);
    afterStep(entity, entity.handleTimeout());
}

void UsbDiscoverer::handleSingleEvent(ZEBDiscovererEventHandle* pHandle) {
    UsbEntity& entity = ownerOf(pHandle);
    afterStep(entity, entity.handleEvent(pHandle));
}

void UsbDiscoverer::handleTimeoutForEventHandle(ZEBDiscovererEventHandle* pHandle) {
    UsbEntity& entity = ownerOf(pHandle);
    afterStep(entity, entity.handleTimeoutForHandle(pHandle));
}

/** An entity has done its step: show it to clients when it is time, or report it lost. */
void UsbDiscoverer::afterStep(UsbEntity& entity, bool keep) {
    if (!mEntities.contains(&entity))
        return; // destroyed from inside the step
    if (!keep)
        entityLost(&entity);
    else if (entity.takePublishFlag())
        addEntity(toHost(&entity));
}

UsbEntity& UsbDiscoverer::ownerOf(const ZEBDiscovererEventHandle* pHandle) {
    const auto owner = std::find_if(mEntities.begin(), mEntities.end(), [pHandle](const UsbEntity* pEntity) {
        return pEntity->usesMultipleHandles() && pEntity->ownsHandle(pHandle);
    });
    if (owner == mEntities.end())
        ZEB_ASSERT(false);
    return **owner;
}

ZEBDiscoverySDKError UsbDiscoverer::setProperty(const char* key, const char* value) {
    if (!key) {
        log(ZEBDiscoveryLogSeverityError, "The property is NULL");
        return ZEBDiscoverySDKErrorInvalidParameter;
    }
    const ZEBDiscoverySDKError err = setDeviceProviderProperty(mpUsbDeviceProvider, key, value);
    if (err == ZEBDiscoverySDKErrorNotImplemented && mpConfiguration)
        return mpConfiguration->setProperty(key, value);
    return err;
}

ZEBDiscoverySDKError UsbDiscoverer::init() {
    const ZEBDiscoverySDKError err = subscribeToDeviceProvider("usb", &mpUsbDeviceProvider);
    ZEB_ASSERT(err != ZEBDiscoverySDKErrorNone || mpUsbDeviceProvider);
    return err;
}

void UsbDiscoverer::start() {
    notifyStarted(ZEBDiscoverySDKErrorNone);
    forEachEntity([](UsbEntity& entity) { entity.start(); });
}

void UsbDiscoverer::stop() {
    forEachEntity([](UsbEntity& entity) { entity.stop(); });
    notifyStopped(ZEBDiscoverySDKErrorNone);
}

void UsbDiscoverer::deviceProviderStarted(ZEBDiscovererDeviceProvider*, ZEBDiscoverySDKError error) {
    if (error != ZEBDiscoverySDKErrorNone)
        notifyStopped(error);
}

void UsbDiscoverer::deviceProviderStopped(ZEBDiscovererDeviceProvider*, ZEBDiscoverySDKError) { stop(); }

const char* UsbDiscoverer::getDescription() { return "100"; }

void UsbDiscoverer::fetchEntityValue(ZEBDiscovererEntity* pEntity, char* key,
                                     ZEBDiscoverySDKRequest* request) {
    fromHost(pEntity).fetchEntityValue(key, request);
}

void UsbDiscoverer::postEntityValue(ZEBDiscovererEntity* pEntity, char* key, char* value,
                                    ZEBDiscoverySDKRequest* request) {
    fromHost(pEntity).postEntityValue(key, value, request);
}

ZEBDeviceInterestLevel UsbDiscoverer::getDeviceInterest(ZEBDiscovererDeviceProvider*,
                                                        const ZEBDeviceInfo* pDevice, char** out) {
    bool flagA = false;
    bool flagB = false;
    const char* description = nullptr;
    switch (classify(*pDevice, flagA, flagB)) {
    case DeviceKind::None:
        return ZEBDeviceInterestNone;
    case DeviceKind::Tethering:
        description = "103";
        break;
    case DeviceKind::Accessory:
        description = flagA ? "106" : "105";
        break;
    default:
        ZEB_ASSERT(false);
    }
    if (out)
        *out = allocString(description, -1);
    // 35 can't occur: one flag is always set.
    return flagA ? (flagB ? 10 : 15) : (flagB ? 30 : 35);
}

/** The entity for a device; null when it is none of ours, or there is no memory. */
std::unique_ptr<UsbEntity> UsbDiscoverer::makeEntity(const ZEBDeviceInfo* pDevice) {
    bool flagA = false;
    bool flagB = false;
    switch (classify(*pDevice, flagA, flagB)) {
    case DeviceKind::None:
        return nullptr;
    case DeviceKind::Tethering:
        log(ZEBDiscoveryLogSeverityInfo, "Found an Android device in tethering mode");
        return std::unique_ptr<UsbEntity>(new (std::nothrow)
                                              TcpUsbEntity(*this, *this, pDevice, kPhoneAddress));
    case DeviceKind::Accessory:
        log(ZEBDiscoveryLogSeverityInfo, "Potentially found an Android device that supports AAP");
        return std::unique_ptr<UsbEntity>(new (std::nothrow)
                                              AAPUsbEntity(*this, *this, pDevice, mpConfiguration.get()));
    default:
        ZEB_ASSERT(false);
        return nullptr;
    }
}

void UsbDiscoverer::offerDevice(ZEBDiscovererDeviceProvider* pProvider, const ZEBDeviceInfo* pDevice) {
    std::unique_ptr<UsbEntity> made = makeEntity(pDevice);
    if (!made)
        return releaseDevice(pProvider, pDevice);
    UsbEntity* const pEntity = made.get();
    mWithdrawn.erase(pEntity);
    try {
        mEntities.insert(pEntity);
        static_cast<void>(made.release()); // the set's now
        announce(*pEntity);
        if (mEntities.contains(pEntity)) // or the host has destroyed it
            pEntity->start();
    } catch (const std::bad_alloc&) {
        // Released before it is deleted, on purpose; the set forgets it first.
        const std::unique_ptr<UsbEntity> deletedLast = made ? std::move(made) : withdraw(pEntity);
        if (deletedLast)
            releaseDevice(pProvider, pDevice);
    } catch (...) {
        // The barrier releases the device, whose record is not to be read afterwards.
        withdraw(pEntity).reset();
        throw;
    }
}

/** Hand a new entity to the host. */
void UsbDiscoverer::announce(UsbEntity& entity) {
    if (entity.takePublishFlag())
        addEntity(toHost(&entity));
    else
        addUnpublishedEntity(toHost(&entity));
}

void UsbDiscoverer::removeDevice(ZEBDiscovererDeviceProvider*, const ZEBDeviceInfo* pDevice) {
    forEachEntity([this, pDevice](UsbEntity& entity) {
        const ZEBDeviceInfo* pOwn = entity.getDevice();
        if (pOwn != pDevice && pOwn->deviceId != pDevice->deviceId)
            return;
        entity.stop();
        entityLost(&entity);
    });
}

void UsbDiscoverer::destroyEntity(ZEBDiscovererEntity* pEntity) {
    const std::unique_ptr<UsbEntity> deletedLast(&fromHost(pEntity));
    mEntities.erase(deletedLast.get());
    releaseDevice(mpUsbDeviceProvider, deletedLast->getDevice());
}

void UsbDiscoverer::setEntityTimer(UsbEntity* pEntity, ZEBDiscoverySDKTimeoutMicroseconds timeout) {
    ZEBDiscovererImpl::setEntityTimer(toHost(pEntity), timeout);
}

void UsbDiscoverer::entityFetchComplete(UsbEntity* pEntity, char* key, ZEBDiscoverySDKRequest* request,
                                        ZEBDiscoverySDKError error, char* value) {
    ZEBDiscovererImpl::entityFetchComplete(toHost(pEntity), key, request, error, value);
}

void UsbDiscoverer::entityPostComplete(UsbEntity* pEntity, char* key, char* value,
                                       ZEBDiscoverySDKRequest* request, ZEBDiscoverySDKError error) {
    ZEBDiscovererImpl::entityPostComplete(toHost(pEntity), key, value, request, error);
}

void UsbDiscoverer::entityLost(UsbEntity* pEntity) { ZEBDiscovererImpl::entityLost(toHost(pEntity)); }

// The host is not notified of handles: it asks for them before every wait.

void UsbDiscoverer::addEventHandle(ZEBDiscovererEventHandle* pHandle, bool writeNotifications) {
    ZEBDiscovererImpl::addEventHandle(pHandle, false, writeNotifications);
}

void UsbDiscoverer::removeEventHandle(ZEBDiscovererEventHandle* pHandle) {
    ZEBDiscovererImpl::removeEventHandle(pHandle, false);
}

void UsbDiscoverer::setTimerForHandle(ZEBDiscovererEventHandle* pHandle,
                                      ZEBDiscoverySDKTimeoutMicroseconds timeout) {
    ZEBDiscovererImpl::setTimerForHandle(pHandle, timeout);
}

} // namespace zebdiscoverer_usb

#include "common/ZEBDiscovererImpl.h"

#include "common/DiscoveryException.h"
#include "common/EntryPoints.h"
#include "common/SlotCall.h"
#include "mxcommon/Assert.h"

#include <cstdarg>
#include <cstdio>
#include <new>

namespace zebdiscovery {

ZEBDiscovererImpl::ZEBDiscovererImpl(ZEBDiscovererInterface* interfaceTable, size_t interfaceSize,
                                     const ZEBDiscovererCallbacks* callbackTable, size_t callbackSize,
                                     bool useMultipleHandles) :
    mMultipleHandles(useMultipleHandles) {
    // Before anything is written: the two tables may lie in the same memory.
    mCallbacks = copyCallbacks(callbackTable, callbackSize);
    fillEntryPoints(interfaceTable, interfaceSize, useMultipleHandles);
    mUtils = {};
}

ZEBDiscovererImpl::~ZEBDiscovererImpl() noexcept(false) = default;

void ZEBDiscovererImpl::setContext(void* context) {
    mpContext = context;
    mUtils = {};
    if (mCallbacks.fillUtils)
        mCallbacks.fillUtils(mpContext, &mUtils, sizeof(mUtils));
}

ZEBDiscovererEventHandle* ZEBDiscovererImpl::getEventHandle() {
    ZEB_ASSERT(!isUsingMultipleHandles());
    return nullptr;
}

void ZEBDiscovererImpl::handleEvent() { ZEB_ASSERT(!isUsingMultipleHandles()); }

void ZEBDiscovererImpl::handleTimeout() { ZEB_ASSERT(!isUsingMultipleHandles()); }

ZEBDiscovererEventHandle* ZEBDiscovererImpl::getEntityEventHandle(ZEBDiscovererEntity*) { return nullptr; }

void ZEBDiscovererImpl::handleEntityEvent(ZEBDiscovererEntity*) {}

void ZEBDiscovererImpl::handleEntityTimeout(ZEBDiscovererEntity*) {}

ZEBDiscoverySDKError ZEBDiscovererImpl::setProperty(const char*, const char*) {
    return ZEBDiscoverySDKErrorNotImplemented;
}

ZEBDiscoverySDKError ZEBDiscovererImpl::getProperty(const char*, char**) {
    return ZEBDiscoverySDKErrorNotImplemented;
}

ZEBDiscoverySDKError ZEBDiscovererImpl::getViewerParameters(ZEBDiscovererEntity*, void** first,
                                                            void** second) {
    if (first)
        *first = nullptr;
    if (second)
        *second = nullptr;
    return ZEBDiscoverySDKErrorNone;
}

void ZEBDiscovererImpl::fetchEntityValue(ZEBDiscovererEntity* pEntity, char* key,
                                         ZEBDiscoverySDKRequest* request) {
    entityFetchComplete(pEntity, key, request, ZEBDiscoverySDKErrorNotImplemented, nullptr);
}

uint32_t ZEBDiscovererImpl::getEntityBinaryData(ZEBDiscovererEntity*, const char*, const void** out) {
    if (out)
        *out = nullptr;
    return 0;
}

void ZEBDiscovererImpl::postEntityValue(ZEBDiscovererEntity* pEntity, char* key, char* value,
                                        ZEBDiscoverySDKRequest* request) {
    entityPostComplete(pEntity, key, value, request, ZEBDiscoverySDKErrorNotImplemented);
}

ZEBDiscoverySDKError ZEBDiscovererImpl::cancelRequest(ZEBDiscoverySDKRequest*) {
    return ZEBDiscoverySDKErrorNotImplemented;
}

ZEBDiscoverySDKError ZEBDiscovererImpl::createEntity(ZEBDiscovererEntity*) {
    return ZEBDiscoverySDKErrorNotImplemented;
}

void ZEBDiscovererImpl::publishEntity(ZEBDiscovererEntity* pEntity) {
    entityPublishComplete(pEntity, ZEBDiscoverySDKErrorNotImplemented);
}

void ZEBDiscovererImpl::unpublishEntity(ZEBDiscovererEntity* pEntity) {
    entityUnpublishComplete(pEntity, ZEBDiscoverySDKErrorNotImplemented);
}

ZEBDiscoverySDKError ZEBDiscovererImpl::destroyUnpublishedEntity(ZEBDiscovererEntity*) {
    return ZEBDiscoverySDKErrorNotImplemented;
}

ZEBDiscovererEventHandle* ZEBDiscovererImpl::getMultipleEventHandlesEx(int** writeFlagsOut) {
    ZEB_ASSERT(isUsingMultipleHandles());
    try {
        mEventHandles.prepare();
    } catch (const std::bad_alloc&) {
        log(ZEBDiscoveryLogSeverityFatal, "Unable to prepare the multiple handles, out of memory");
    }
    if (writeFlagsOut)
        *writeFlagsOut = mEventHandles.publishedWriteNotifications();
    return mEventHandles.publishedHandles();
}

void ZEBDiscovererImpl::handleSingleEvent(ZEBDiscovererEventHandle*) { ZEB_ASSERT(isUsingMultipleHandles()); }

void ZEBDiscovererImpl::handleTimeoutForEventHandle(ZEBDiscovererEventHandle*) {
    ZEB_ASSERT(isUsingMultipleHandles());
}

ZEBDiscoverySDKError ZEBDiscovererImpl::init() { return ZEBDiscoverySDKErrorNone; }

void ZEBDiscovererImpl::deviceProviderStarted(ZEBDiscovererDeviceProvider*, ZEBDiscoverySDKError) {}

ZEBDeviceInterestLevel ZEBDiscovererImpl::getDeviceInterest(ZEBDiscovererDeviceProvider*,
                                                            const ZEBDeviceInfo*, char**) {
    return ZEBDeviceInterestNone;
}

void ZEBDiscovererImpl::offerDevice(ZEBDiscovererDeviceProvider*, const ZEBDeviceInfo*) { ZEB_ASSERT(false); }

void ZEBDiscovererImpl::offerDeviceForProtocol(ZEBDiscovererDeviceProvider* pProvider,
                                               const ZEBDeviceInfo* pDevice, const char*) {
    log(ZEBDiscoveryLogSeverityError, "Unknown protocol offered to discoverer");
    releaseDevice(pProvider, pDevice);
}

void ZEBDiscovererImpl::removeDevice(ZEBDiscovererDeviceProvider*, const ZEBDeviceInfo*) {
    log(ZEBDiscoveryLogSeverityError, "removeDevice() not implemented by Discoverer");
}

void ZEBDiscovererImpl::deviceProviderStopped(ZEBDiscovererDeviceProvider*, ZEBDiscoverySDKError) {}

const char* ZEBDiscovererImpl::getDescription() { return nullptr; }

void ZEBDiscovererImpl::setExternalContext(void*) {}

bool ZEBDiscovererImpl::isLogLevelEnabled(int32_t severity) const {
    return callOr(0, mCallbacks.isLogLevelEnabled, mpContext, severity) != 0;
}

void ZEBDiscovererImpl::log(int32_t severity, const char* text) const {
    if (isLogLevelEnabled(severity))
        callIfPresent(mCallbacks.log, mpContext, severity, text);
}

void ZEBDiscovererImpl::logFormatted(int32_t severity, const char* format, ...) const {
    if (!isLogLevelEnabled(severity))
        return;
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    // What can't be formatted is an empty line: half of it would pass for the whole.
    text[length < 0 ? 0 : sizeof(text) - 1] = '\0';
    log(severity, text);
}

char* ZEBDiscovererImpl::allocString(const char* text, int32_t length) const {
    return callOr(nullptr, mCallbacks.allocString, text, length);
}

void ZEBDiscovererImpl::freeString(char* string) const { callIfPresent(mCallbacks.freeString, string); }

const char* ZEBDiscovererImpl::errorText(ZEBDiscoverySDKError error) const {
    const char* text = callOr(nullptr, mCallbacks.errorText, error);
    return text ? text : "<unknown>";
}

void ZEBDiscovererImpl::notifyStarted(ZEBDiscoverySDKError error) {
    callIfPresent(mCallbacks.discovererStarted, mpContext, handle(), error);
}

void ZEBDiscovererImpl::notifyStopped(ZEBDiscoverySDKError error) {
    callIfPresent(mCallbacks.discovererStopped, mpContext, handle(), error);
}

void ZEBDiscovererImpl::setTimer(ZEBDiscoverySDKTimeoutMicroseconds timeout) {
    ZEB_ASSERT(!isUsingMultipleHandles());
    callIfPresent(mCallbacks.setTimer, mpContext, handle(), timeout);
}

void ZEBDiscovererImpl::setTimerForHandle(ZEBDiscovererEventHandle* pHandle,
                                          ZEBDiscoverySDKTimeoutMicroseconds timeout) {
    ZEB_ASSERT(isUsingMultipleHandles());
    callIfPresent(mCallbacks.setTimerForHandle, mpContext, handle(), pHandle, timeout);
}

/** Tell the host, on whichever thread this is and with no lock held, to ask again. */
void ZEBDiscovererImpl::notifyEventHandlesChanged() {
    callIfPresent(mCallbacks.eventHandlesChanged, mpContext, handle());
}

void ZEBDiscovererImpl::addEventHandle(const ZEBDiscovererEventHandle* pHandle, bool notifyHost,
                                       bool writeNotifications) {
    ZEB_ASSERT(isUsingMultipleHandles());
    if (!pHandle)
        return;
    mEventHandles.addHandle(pHandle, writeNotifications);
    if (notifyHost)
        notifyEventHandlesChanged();
}

void ZEBDiscovererImpl::removeEventHandle(const ZEBDiscovererEventHandle* pHandle, bool notifyHost) {
    ZEB_ASSERT(isUsingMultipleHandles());
    if (!pHandle)
        return;
    mEventHandles.removeHandle(pHandle);
    if (notifyHost)
        notifyEventHandlesChanged();
}

void ZEBDiscovererImpl::setEventHandleWriteNotifications(const ZEBDiscovererEventHandle* pHandle, bool enable,
                                                         bool notifyHost) {
    ZEB_ASSERT(isUsingMultipleHandles());
    if (!pHandle)
        return;
    mEventHandles.setHandleWriteNotifications(pHandle, enable);
    if (notifyHost)
        notifyEventHandlesChanged();
}

ZEBDiscoverySDKError ZEBDiscovererImpl::subscribeToDeviceProvider(const char* name,
                                                                  ZEBDiscovererDeviceProvider** out) {
    return callOr(ZEBDiscoverySDKErrorNotImplemented, mCallbacks.subscribeToDeviceProvider, mpContext, name,
                  out);
}

void ZEBDiscovererImpl::unsubscribeFromDeviceProvider(ZEBDiscovererDeviceProvider* pDeviceProvider) {
    ZEB_ASSERT(pDeviceProvider);
    callIfPresent(mCallbacks.unsubscribeFromDeviceProvider, mpContext, pDeviceProvider);
}

ZEBDiscoverySDKError
ZEBDiscovererImpl::setDeviceProviderProperty(ZEBDiscovererDeviceProvider* pDeviceProvider, const char* key,
                                             const char* value) {
    ZEB_ASSERT(pDeviceProvider);
    return callOr(ZEBDiscoverySDKErrorNotImplemented, mCallbacks.setDeviceProviderProperty, mpContext,
                  pDeviceProvider, key, value);
}

ZEBDiscoverySDKError
ZEBDiscovererImpl::getDeviceProviderProperty(ZEBDiscovererDeviceProvider* pDeviceProvider, const char* key,
                                             char** out) {
    ZEB_ASSERT(pDeviceProvider);
    return callOr(ZEBDiscoverySDKErrorNotImplemented, mCallbacks.getDeviceProviderProperty, mpContext,
                  pDeviceProvider, key, out);
}

void ZEBDiscovererImpl::releaseDevice(ZEBDiscovererDeviceProvider* pDeviceProvider,
                                      const ZEBDeviceInfo* pDevice) {
    ZEB_ASSERT(pDeviceProvider);
    callIfPresent(mCallbacks.releaseDevice, mpContext, pDeviceProvider, pDevice);
    // Not when it threw: who knows how far the host has come?
    mOwed.settle(Completion::Release, pDevice, nullptr);
}

void ZEBDiscovererImpl::settle(const void* key, const ZEBDiscoverySDKRequest* request) {
    if (!mOwed.settle(Completion::Fetch, key, request))
        mOwed.settle(Completion::Post, key, request);
}

void ZEBDiscovererImpl::entityFetchComplete(ZEBDiscovererEntity* pEntity, char* key,
                                            ZEBDiscoverySDKRequest* request, ZEBDiscoverySDKError error,
                                            char* value) {
    mOwed.settle(Completion::Fetch, key, request);
    callIfPresent(mCallbacks.fetchComplete, mpContext, pEntity, key, request, error, value);
}

void ZEBDiscovererImpl::entityPostComplete(ZEBDiscovererEntity* pEntity, char* key, char* value,
                                           ZEBDiscoverySDKRequest* request, ZEBDiscoverySDKError error) {
    mOwed.settle(Completion::Post, key, request);
    callIfPresent(mCallbacks.postComplete, mpContext, pEntity, key, value, request, error);
}

void ZEBDiscovererImpl::entityPublishComplete(ZEBDiscovererEntity* pEntity, ZEBDiscoverySDKError error) {
    mOwed.settle(Completion::Publish, pEntity, nullptr);
    callIfPresent(mCallbacks.publishComplete, mpContext, pEntity, error);
}

void ZEBDiscovererImpl::entityUnpublishComplete(ZEBDiscovererEntity* pEntity, ZEBDiscoverySDKError error) {
    mOwed.settle(Completion::Unpublish, pEntity, nullptr);
    callIfPresent(mCallbacks.unpublishComplete, mpContext, pEntity, error);
}

void ZEBDiscovererImpl::addEntity(ZEBDiscovererEntity* pEntity) {
    callIfPresent(mCallbacks.addEntity, mpContext, handle(), pEntity);
}

void ZEBDiscovererImpl::addUnpublishedEntity(ZEBDiscovererEntity* pEntity) {
    callIfPresent(mCallbacks.addUnpublishedEntity, mpContext, handle(), pEntity);
}

void ZEBDiscovererImpl::setEntityTimer(ZEBDiscovererEntity* pEntity,
                                       ZEBDiscoverySDKTimeoutMicroseconds timeout) {
    callIfPresent(mCallbacks.setEntityTimer, mpContext, pEntity, timeout);
}

void ZEBDiscovererImpl::entityLost(ZEBDiscovererEntity* pEntity) {
    callIfPresent(mCallbacks.entityLost, mpContext, pEntity);
}

void ZEBDiscovererImpl::freeProtocolString(char* protocol) {
    callIfPresent(mCallbacks.freeProtocolString, protocol);
}

void ZEBDiscovererImpl::forward36(void* first, void* second) {
    callIfPresent(mCallbacks.forward36, mpContext, first, second);
}

void ZEBDiscovererImpl::forward92(void* first, void* second) {
    callIfPresent(mCallbacks.forward92, mpContext, first, second);
}

void ZEBDiscovererImpl::forward96(void* first, void* second) {
    callIfPresent(mCallbacks.forward96, mpContext, first, second);
}

void ZEBDiscovererImpl::forward100(void* first, void* second) {
    callIfPresent(mCallbacks.forward100, mpContext, first, second);
}

void ZEBDiscovererImpl::forward124(void* first, void* second, void* third) {
    callIfPresent(mCallbacks.forward124, mpContext, first, second, third);
}

void ZEBDiscovererImpl::forward136(void* first) { callIfPresent(mCallbacks.forward136, mpContext, first); }

void ZEBDiscovererImpl::forward140(void* first) { callIfPresent(mCallbacks.forward140, mpContext, first); }

void ZEBDiscovererImpl::forward144(void* first) { callIfPresent(mCallbacks.forward144, mpContext, first); }

template <class Wrapper, class... Args>
std::unique_ptr<Wrapper> ZEBDiscovererImpl::create(const char* outOfMemory, ZEBDiscoverySDKError* errOut,
                                                   Args... args) {
    std::unique_ptr<Wrapper> wrapper;
    ZEBDiscoverySDKError error = ZEBDiscoverySDKErrorNone;
    try {
        wrapper = std::make_unique<Wrapper>(&mUtils, args...);
    } catch (const DiscoveryException& e) {
        error = e.error();
        logFormatted(ZEBDiscoveryLogSeverityError, "%s: %d (%s)", e.what(), error, errorText(error));
    } catch (const std::bad_alloc&) {
        error = ZEBDiscoverySDKErrorOutOfMemory;
        log(ZEBDiscoveryLogSeverityError, outOfMemory);
    }
    if (errOut)
        *errOut = error;
    return wrapper;
}

std::unique_ptr<StringParser> ZEBDiscovererImpl::createParser(const char* text,
                                                              ZEBDiscoverySDKError* errOut) {
    return create<StringParser>("Unable to create Parser: out of memory", errOut, text);
}

std::unique_ptr<StringGenerator> ZEBDiscovererImpl::createGenerator(ZEBDiscoverySDKError* errOut) {
    return create<StringGenerator>("Unable to create Generator: out of memory", errOut);
}

} // namespace zebdiscovery

#include "usb/UsbEntity.h"

#include "mxcommon/Assert.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace zebdiscoverer_usb {

using zebdiscovery::FreeHostString;
using zebdiscovery::HostString;

namespace {

constexpr ZEBDiscoverySDKTimeoutMicroseconds kRetryInterval = 1'000'000;
constexpr ZEBDiscoverySDKTimeoutMicroseconds kCommandInterval = 3'000'000;
constexpr uint8_t kRetryBudget = 10;
// A first failure makes the budget larger, on purpose.
constexpr uint8_t kRetryBudgetAfterFailure = 20;

constexpr int32_t kDebug = ZEBDiscoveryLogSeverityDebug;

} // namespace

UsbEntity::UsbEntity(zebdiscovery::ZEBDiscovererImpl& discoverer, EntityManager& manager,
                     const ZEBDeviceInfo* pDevice) :
    mDiscoverer(discoverer),
    mpZebCmd(nullptr, FreeHostString{&discoverer}),
    mManager(manager),
    mpDevice(pDevice),
    mpPendingKey(nullptr, FreeHostString{&discoverer}) {}

UsbEntity::~UsbEntity() {
    try {
        UsbEntity::stop();
    } catch (...) { // NOLINT(bugprone-empty-catch): the host would not cancel a timer; the entity goes
    }
    mpPendingKey.reset();
    mpZebCmd.reset();
}

void UsbEntity::stop() {
    mStarted = false;
    mWaitingResponse = false;
    mCompletionScheduled = false;
    closeEventHandle();
    mManager.setEntityTimer(this, ZEBDiscoverySDKTimeoutCancel);
    mRetryBudget = 0;
}

ZEBDiscovererEventHandle* UsbEntity::getEventHandle() {
    return usesMultipleHandles() ? nullptr : &mOwnEventHandle;
}

ZEBDiscoverySDKError UsbEntity::setPassword(const char*) { return ZEBDiscoverySDKErrorNotImplemented; }

UsbEntity::UsbEntityStatus UsbEntity::doHandleTimeout(ZEBDiscovererEventHandle*) {
    ZEB_ASSERT(false);
    return UsbEntityStatus::NotSupported;
}

void UsbEntity::start() {
    if (mStarted)
        return;
    mStarted = true;
    mWaitingResponse = false;
    if (mpZebCmd) {
        // No timer is armed here, on purpose.
        mDiscoverer.log(kDebug, "ZebCmd present already, no need to re-initialize");
        return;
    }
    mRetryBudget = kRetryBudget;
    mManager.setEntityTimer(this, ZEBDiscoverySDKTimeoutCancel);
    switch (openPort()) {
    case UsbEntityStatus::TryLater:
        mDiscoverer.log(kDebug, "Can't open the port, waiting for interval");
        mManager.setEntityTimer(this, kRetryInterval);
        mRetryBudget = kRetryBudgetAfterFailure;
        break;
    case UsbEntityStatus::NotSupported:
        // The timeout that fires at once finds no budget and gives the entity up.
        mDiscoverer.log(kDebug, "Open port returned not supported");
        mRetryBudget = 0;
        mWaitingResponse = true;
        mManager.setEntityTimer(this, 0);
        break;
    case UsbEntityStatus::Done:
        mDiscoverer.log(kDebug, "Port opened successfully");
        waitForCommand();
        break;
    }
}

/** The port is open: unless the command is there, it must come before long. */
void UsbEntity::waitForCommand() {
    if (mpZebCmd)
        return;
    mWaitingResponse = true;
    mManager.setEntityTimer(this, kCommandInterval);
}

void UsbEntity::closeOnFailure() {
    if (mCloseOnFailure)
        closeEventHandle();
}

/** One attempt less. False: that was the last. */
bool UsbEntity::spendRetry() {
    if (mRetryBudget != 0)
        --mRetryBudget;
    return mRetryBudget != 0;
}

bool UsbEntity::handleTimeout() {
    if (mpZebCmd) {
        mCompletionScheduled = false;
        completePendingFetch();
        return true;
    }
    if (mWaitingResponse) {
        mWaitingResponse = false;
        closeOnFailure();
        if (!spendRetry())
            return false;
    }
    ZEB_ASSERT(!mWaitingResponse);
    switch (openPort()) {
    case UsbEntityStatus::TryLater:
        // Stays armed even when this was the last attempt.
        mManager.setEntityTimer(this, kRetryInterval);
        return spendRetry();
    case UsbEntityStatus::NotSupported:
        mRetryBudget = 0;
        return false;
    case UsbEntityStatus::Done:
        waitForCommand();
        break;
    }
    return true;
}

bool UsbEntity::handleEvent(ZEBDiscovererEventHandle* pHandle) {
    ZEB_ASSERT(pHandle);
    mManager.setEntityTimer(this, ZEBDiscoverySDKTimeoutCancel);
    mWaitingResponse = false;
    switch (doHandleEvent(pHandle)) {
    case UsbEntityStatus::Done:
        waitForCommand();
        return true;
    case UsbEntityStatus::NotSupported:
        mRetryBudget = 0;
        return false;
    default:
        closeOnFailure();
        if (!spendRetry())
            return false;
        mManager.setEntityTimer(this, kRetryInterval);
        return true;
    }
}

bool UsbEntity::handleTimeoutForHandle(ZEBDiscovererEventHandle* pHandle) {
    switch (doHandleTimeout(pHandle)) {
    case UsbEntityStatus::Done:
        return true;
    case UsbEntityStatus::NotSupported:
        mRetryBudget = 0;
        return false;
    default:
        closeOnFailure();
        return spendRetry();
    }
}

void UsbEntity::fetchEntityValue(char* key, ZEBDiscoverySDKRequest* request) {
    const std::string_view name = key ? key : "";
    if (name == "zebcmd")
        fetchZebCmd(key, request);
    else if (name == "id" || name == "name")
        replyWithId(key, request);
    else if (name == "type")
        reply(key, request, ZEBDiscoverySDKErrorNone, "usb");
    else if (name == "connectionPassPossible")
        reply(key, request, ZEBDiscoverySDKErrorNone, isConnectionPassPossible() ? "y" : "n");
    else
        reply(key, request, ZEBDiscoverySDKErrorNotImplemented, nullptr);
}

void UsbEntity::postEntityValue(char* key, char* value, ZEBDiscoverySDKRequest* request) {
    const bool isPassword = key && std::string_view(key) == "password";
    const ZEBDiscoverySDKError error = isPassword ? setPassword(value) : ZEBDiscoverySDKErrorNotImplemented;
    mManager.entityPostComplete(this, key, value, request, error);
}

/** Whatever the error, an answer with a value is a success, on purpose. */
UsbEntity::Answer UsbEntity::answer(ZEBDiscoverySDKError error, const char* value) const {
    if (!value)
        return {error, nullptr};
    char* copy = mDiscoverer.allocString(value, -1);
    return {copy ? ZEBDiscoverySDKErrorNone : ZEBDiscoverySDKErrorOutOfMemory, copy};
}

/** The last thing that is done with an entity in any operation: the host may destroy it. */
void UsbEntity::send(char* key, ZEBDiscoverySDKRequest* request, const Answer& answer) {
    mManager.entityFetchComplete(this, key, request, answer.error, answer.value);
}

void UsbEntity::reply(char* key, ZEBDiscoverySDKRequest* request, ZEBDiscoverySDKError error,
                      const char* value) {
    send(key, request, answer(error, value));
}

void UsbEntity::replyWithId(char* key, ZEBDiscoverySDKRequest* request) {
    if (mpDevice->propertiesCount > UsbDeviceProviderDevicePropertyName) {
        if (const char* name = mpDevice->properties[UsbDeviceProviderDevicePropertyName])
            return reply(key, request, ZEBDiscoverySDKErrorNone, name);
    }
    char id[16];
    std::snprintf(id, sizeof(id), "0x%08" PRIx32, mpDevice->deviceId);
    reply(key, request, ZEBDiscoverySDKErrorNone, id);
}

void UsbEntity::fetchZebCmd(char* key, ZEBDiscoverySDKRequest* request) {
    if (mpZebCmd && !mCompletionScheduled)
        return fetchPresentZebCmd(key, request);
    if (mCancelled)
        return reply(key, request, ZEBDiscoverySDKErrorCancelled, nullptr);
    if (mpPendingKey)
        return freeFetch(key, request); // dropped without an answer, on purpose
    keepFetch(key, request);
    requestZebCmd();
}

/** There is a command; is the link still there? */
void UsbEntity::fetchPresentZebCmd(char* key, ZEBDiscoverySDKRequest* request) {
    switch (openPort()) {
    case UsbEntityStatus::TryLater:
        keepFetch(key, request);
        mpZebCmd.reset();
        // Does nothing while the entity is started, on purpose: the fetch then stays pending.
        start();
        break;
    case UsbEntityStatus::NotSupported: {
        // A success with the command, because an answer with a value always is.
        const Answer last = answer(ZEBDiscoverySDKErrorNotImplemented, mpZebCmd.get());
        const HostString freedAfterwards = std::move(mpZebCmd);
        send(key, request, last);
        break;
    }
    case UsbEntityStatus::Done: {
        stop();
        const Answer current = answer(ZEBDiscoverySDKErrorNone, mpZebCmd.get());
        const HostString olderKey = std::move(mpPendingKey);
        mpPendingRequest = nullptr;
        send(key, request, current);
        break;
    }
    default:
        freeFetch(key, request);
    }
}

void UsbEntity::keepFetch(char* key, ZEBDiscoverySDKRequest* request) {
    mpPendingKey.reset(key);
    mpPendingRequest = request;
    mDiscoverer.settle(key, request);
}

void UsbEntity::freeFetch(char* key, ZEBDiscoverySDKRequest* request) {
    mDiscoverer.settle(key, request);
    mDiscoverer.freeString(key);
}

void UsbEntity::answerPendingFetch(ZEBDiscoverySDKError error, const char* value) {
    if (!mpPendingKey)
        return;
    const Answer pending = answer(error, value);
    char* key = mpPendingKey.release();
    send(key, std::exchange(mpPendingRequest, nullptr), pending);
}

void UsbEntity::completePendingFetch() {
    answerPendingFetch(mpZebCmd ? ZEBDiscoverySDKErrorNone : ZEBDiscoverySDKErrorOutOfMemory, mpZebCmd.get());
}

void UsbEntity::cancelPendingFetch() {
    mCancelled = true;
    answerPendingFetch(ZEBDiscoverySDKErrorCancelled, nullptr);
}

void UsbEntity::setZebCmd(ZEBDiscoverySDKTimeoutMicroseconds timeout) {
    mpZebCmd.reset();
    doSetZebCmd();
    if (timeout == ZEBDiscoverySDKTimeoutCancel)
        return completePendingFetch();
    mManager.setEntityTimer(this, timeout);
    mCompletionScheduled = true;
}

bool UsbEntity::takePublishFlag() { return std::exchange(mPublishOnce, false); }

void UsbEntity::addEventHandle(ZEBDiscovererEventHandle* pHandle, bool writeNotifications) {
    ZEB_ASSERT(pHandle && *pHandle != ZEBDiscovererNoEventHandle);
    ZEB_ASSERT(usesMultipleHandles());
    mHandles.insert(pHandle);
    mManager.addEventHandle(pHandle, writeNotifications);
}

void UsbEntity::removeEventHandle(ZEBDiscovererEventHandle* pHandle) {
    ZEB_ASSERT(usesMultipleHandles());
    // Disowned last: the host must not watch a handle without an owner.
    mManager.removeEventHandle(pHandle);
    mHandles.erase(pHandle);
}

void UsbEntity::dropEventHandles() noexcept {
    for (ZEBDiscovererEventHandle* pHandle : std::exchange(mHandles, {})) {
        try {
            mManager.removeEventHandle(pHandle);
        } catch (...) { // NOLINT(bugprone-empty-catch): it could not be removed before either
        }
    }
}

void UsbEntity::setTimerForHandle(ZEBDiscovererEventHandle* pHandle,
                                  ZEBDiscoverySDKTimeoutMicroseconds timeout) {
    ZEB_ASSERT(usesMultipleHandles());
    if (!mHandles.contains(pHandle))
        ZEB_ASSERT(false);
    mManager.setTimerForHandle(pHandle, timeout);
}

bool UsbEntity::ownsHandle(const ZEBDiscovererEventHandle* pHandle) const {
    ZEB_ASSERT(usesMultipleHandles());
    return pHandle && std::any_of(mHandles.begin(), mHandles.end(), [pHandle](const auto* pOwn) {
               return pOwn == pHandle || *pOwn == *pHandle;
           });
}

bool UsbEntity::hasActiveHandles() {
    if (usesMultipleHandles())
        return !mHandles.empty();
    ZEB_ASSERT(getEventHandle());
    return *getEventHandle() != ZEBDiscovererNoEventHandle;
}

void UsbEntity::closeEventHandle() {
    if (mOwnEventHandle != ZEBDiscovererNoEventHandle)
        close(mOwnEventHandle);
    mOwnEventHandle = ZEBDiscovererNoEventHandle;
}

} // namespace zebdiscoverer_usb

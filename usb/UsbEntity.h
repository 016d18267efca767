#pragma once

#include "common/HostString.h"
#include "common/ZEBDiscovererImpl.h"
#include "usb/EntityManager.h"

#include <cstdint>
#include <set>

namespace zebdiscoverer_usb {

/**
 * What the discoverer hands to the host for one USB device.
 *
 * An entity owns its properties, its command string (the value of "zebcmd", which
 * tells a client how to reach the phone) and the cycle that gets there: open the
 * port, once a second until the retry budget is spent, then wait for the command.
 * It polls nothing and sleeps nowhere: it is told when its handles are ready and
 * its timers have expired. [host-thread], but for addEventHandle and
 * removeEventHandle, which a subclass may call on a thread of its own.
 *
 * Nothing is touched after the call that hands an answer to the host: the host may
 * destroy the entity from there.
 */
class UsbEntity {
public:
    /** Result of an attempt. */
    enum class UsbEntityStatus {
        Done = 0,
        /** Failed; try again later. */
        TryLater = 1,
        /** Give up at once. */
        NotSupported = 2
    };

    /** All three must outlive the entity; the device's record until the device is released. */
    UsbEntity(zebdiscovery::ZEBDiscovererImpl& discoverer, EntityManager& manager,
              const ZEBDeviceInfo* pDevice);
    UsbEntity(const UsbEntity&) = delete;
    UsbEntity& operator=(const UsbEntity&) = delete;

    /** Cancels the timer and frees what the entity holds; a pending fetch is not answered. */
    virtual ~UsbEntity();
    /** Back to where start() may be called again; the command string and a pending fetch stay. */
    virtual void stop();
    /** Does the entity register handles, or is it its own handle that the host waits on? */
    virtual bool usesMultipleHandles() const { return false; }
    /** The own handle; null for an entity that uses multiple handles. */
    virtual ZEBDiscovererEventHandle* getEventHandle();
    virtual bool isConnectionPassPossible() const { return false; }
    virtual ZEBDiscoverySDKError setPassword(const char* value);
    /** A fetch waits for the command string: get on with it. */
    virtual void requestZebCmd() {}
    virtual UsbEntityStatus doHandleEvent(ZEBDiscovererEventHandle* pHandle) = 0;
    /** An entity that uses multiple handles must override it. */
    virtual UsbEntityStatus doHandleTimeout(ZEBDiscovererEventHandle* pHandle);
    virtual UsbEntityStatus openPort() = 0;

    /** Begin the cycle; does nothing while it runs. */
    void start();
    /** The handle is ready. False: the entity is lost. */
    bool handleEvent(ZEBDiscovererEventHandle* pHandle);
    /** The entity's timer expired. False: the entity is lost. */
    bool handleTimeout();
    /** The timer of one handle expired. False: the entity is lost. */
    bool handleTimeoutForHandle(ZEBDiscovererEventHandle* pHandle);
    /** Is the handle, or one with the same descriptor, registered? The host may pass a copy. */
    bool ownsHandle(const ZEBDiscovererEventHandle* pHandle) const;

    /** Take over key (an SDK string): it goes back with an answer, is kept until there is one, or is
     *  freed. */
    void fetchEntityValue(char* key, ZEBDiscoverySDKRequest* request);
    /** Take over key and value (SDK strings): both go back with the answer. */
    void postEntityValue(char* key, char* value, ZEBDiscoverySDKRequest* request);
    /** Answer a pending fetch, and all that follow while there is no command, with "cancelled". */
    void cancelPendingFetch();

    /** May the entity be shown to clients from now on? True once; then false. */
    bool takePublishFlag();
    const ZEBDeviceInfo* getDevice() const { return mpDevice; }

protected:
    /** Form and store the command string (storeZebCmd). */
    virtual void doSetZebCmd() = 0;

    /** Form the command string anew. A pending fetch is answered by the entity's timer after timeout
     *  (µs), or now when it is -1. */
    void setZebCmd(ZEBDiscoverySDKTimeoutMicroseconds timeout);
    /** Take over an SDK string as the command string; null: there is none. */
    void storeZebCmd(char* command) { mpZebCmd.reset(command); }
    void completePendingFetch();

    // Only in an entity that uses multiple handles. A handle stays where it is until it is removed.
    void addEventHandle(ZEBDiscovererEventHandle* pHandle, bool writeNotifications);
    void removeEventHandle(ZEBDiscovererEventHandle* pHandle);
    void setTimerForHandle(ZEBDiscovererEventHandle* pHandle, ZEBDiscoverySDKTimeoutMicroseconds timeout);
    /** Remove those that could not be removed one by one. */
    void dropEventHandles() noexcept;

    /** Is anything there to wait on? */
    bool hasActiveHandles();
    /** Take over a descriptor as the own handle. */
    void setOwnEventHandle(int descriptor) { mOwnEventHandle = descriptor; }
    void closeEventHandle();
    /** An entity that is not to be shown to clients yet. */
    void clearPublishFlag() { mPublishOnce = false; }

    zebdiscovery::ZEBDiscovererImpl& mDiscoverer;

private:
    /** An answer, ready to be sent: value is an SDK string or null. */
    struct Answer {
        ZEBDiscoverySDKError error;
        char* value;
    };

    Answer answer(ZEBDiscoverySDKError error, const char* value) const;
    void send(char* key, ZEBDiscoverySDKRequest* request, const Answer& answer);
    void reply(char* key, ZEBDiscoverySDKRequest* request, ZEBDiscoverySDKError error, const char* value);
    void replyWithId(char* key, ZEBDiscoverySDKRequest* request);
    void fetchZebCmd(char* key, ZEBDiscoverySDKRequest* request);
    void fetchPresentZebCmd(char* key, ZEBDiscoverySDKRequest* request);
    void keepFetch(char* key, ZEBDiscoverySDKRequest* request);
    void freeFetch(char* key, ZEBDiscoverySDKRequest* request);
    void answerPendingFetch(ZEBDiscoverySDKError error, const char* value);
    void waitForCommand();
    void closeOnFailure();
    bool spendRetry();

    zebdiscovery::HostString mpZebCmd;
    /** Never changed: every entity closes its own handle after a failure. */
    const bool mCloseOnFailure = true;
    bool mPublishOnce = true;
    EntityManager& mManager;
    ZEBDiscovererEventHandle mOwnEventHandle = ZEBDiscovererNoEventHandle;
    std::set<ZEBDiscovererEventHandle*> mHandles;
    const ZEBDeviceInfo* const mpDevice;
    /** At most one fetch of "zebcmd" is held. */
    zebdiscovery::HostString mpPendingKey;
    ZEBDiscoverySDKRequest* mpPendingRequest = nullptr;
    bool mCancelled = false;
    uint8_t mRetryBudget = 0;
    /** The port is open; the command is awaited. */
    bool mWaitingResponse = false;
    bool mStarted = false;
    /** The entity's timer will answer a pending fetch. */
    bool mCompletionScheduled = false;
};

} // namespace zebdiscoverer_usb

#pragma once

#include "common/EventHandles.h"
#include "common/OwedCompletion.h"
#include "common/StringGenerator.h"
#include "common/StringParser.h"
#include "zebdiscovery/zebdiscovery.h"

#include <memory>

namespace zebdiscovery {

/**
 * The base of every discoverer: owns the copy of the host's callbacks, fills the
 * host's table of entry points, gives each operation a default, and offers derived
 * classes one helper for each callback.
 *
 * A host's ZEBDiscoverer* is the address of this class, so it must be a
 * discoverer's first base. Entry points reach the operations through the barrier
 * of EntryPoints.cpp: an operation may throw whatever it likes.
 *
 * Tags: [host-thread] called by the host, on its thread, one at a time;
 * [any-thread] may be called from a discoverer's own threads as well;
 * [before-setContext] may come before setContext.
 */
class ZEBDiscovererImpl {
public:
    ZEBDiscovererImpl(ZEBDiscovererInterface* interfaceTable, size_t interfaceSize,
                      const ZEBDiscovererCallbacks* callbackTable, size_t callbackSize,
                      bool useMultipleHandles);
    ZEBDiscovererImpl(const ZEBDiscovererImpl&) = delete;
    ZEBDiscovererImpl& operator=(const ZEBDiscovererImpl&) = delete;

    // The operations, in slot order. What each is for, who owns its arguments and when it is called
    // stands in zebdiscovery/interface.h; here stands what the base does. [host-thread], all of them.

    /** A discoverer's destructor must not throw; one that does all the same ends at the barrier.
     *  [before-setContext] */
    virtual ~ZEBDiscovererImpl() noexcept(false);
    /** Keeps the context and has the host fill the utilities record. */
    virtual void setContext(void* context); // [before-setContext]
    /** Null. Only in single-handle mode, as the next two. */
    virtual ZEBDiscovererEventHandle* getEventHandle();
    virtual void handleEvent();
    virtual void handleTimeout();
    /** Null. */
    virtual ZEBDiscovererEventHandle* getEntityEventHandle(ZEBDiscovererEntity* pEntity);
    virtual void handleEntityEvent(ZEBDiscovererEntity* pEntity);
    virtual void handleEntityTimeout(ZEBDiscovererEntity* pEntity);
    /** Not implemented. */
    virtual ZEBDiscoverySDKError setProperty(const char* key, const char* value);
    /** Not implemented; the output is untouched. */
    virtual ZEBDiscoverySDKError getProperty(const char* key, char** out);
    /** Success, with null in each output that is given. */
    virtual ZEBDiscoverySDKError getViewerParameters(ZEBDiscovererEntity* pEntity, void** first,
                                                     void** second);
    virtual void start() = 0;
    virtual void stop() = 0;
    /** A discoverer must have one; this body answers "not implemented" and is there to be called by it. */
    virtual void fetchEntityValue(ZEBDiscovererEntity* pEntity, char* key,
                                  ZEBDiscoverySDKRequest* request) = 0;
    /** 0, with null in the output if it is given. */
    virtual uint32_t getEntityBinaryData(ZEBDiscovererEntity* pEntity, const char* key, const void** out);
    /** Answers "not implemented". */
    virtual void postEntityValue(ZEBDiscovererEntity* pEntity, char* key, char* value,
                                 ZEBDiscoverySDKRequest* request);
    virtual void destroyEntity(ZEBDiscovererEntity* pEntity) = 0;
    /** Not implemented. */
    virtual ZEBDiscoverySDKError cancelRequest(ZEBDiscoverySDKRequest* request);
    /** Not implemented. */
    virtual ZEBDiscoverySDKError createEntity(ZEBDiscovererEntity* pEntity);
    /** Answers "not implemented". */
    virtual void publishEntity(ZEBDiscovererEntity* pEntity);
    /** Answers "not implemented". */
    virtual void unpublishEntity(ZEBDiscovererEntity* pEntity);
    /** Not implemented. */
    virtual ZEBDiscoverySDKError destroyUnpublishedEntity(ZEBDiscovererEntity* pEntity);
    /** Publishes the working set of handles. Only in multiple-handle mode, as the next two. */
    virtual ZEBDiscovererEventHandle* getMultipleEventHandlesEx(int** writeFlagsOut);
    virtual void handleSingleEvent(ZEBDiscovererEventHandle* pHandle);
    virtual void handleTimeoutForEventHandle(ZEBDiscovererEventHandle* pHandle);
    /** Success. */
    virtual ZEBDiscoverySDKError init();
    virtual void deviceProviderStarted(ZEBDiscovererDeviceProvider* pProvider, ZEBDiscoverySDKError error);
    /** No interest. */
    virtual ZEBDeviceInterestLevel getDeviceInterest(ZEBDiscovererDeviceProvider* pProvider,
                                                     const ZEBDeviceInfo* pDevice, char** out);
    /** Stops the process: a discoverer that subscribes to a provider must override it. */
    virtual void offerDevice(ZEBDiscovererDeviceProvider* pProvider, const ZEBDeviceInfo* pDevice);
    /** Logs and releases the device. */
    virtual void offerDeviceForProtocol(ZEBDiscovererDeviceProvider* pProvider, const ZEBDeviceInfo* pDevice,
                                        const char* protocol);
    /** Logs. */
    virtual void removeDevice(ZEBDiscovererDeviceProvider* pProvider, const ZEBDeviceInfo* pDevice);
    virtual void deviceProviderStopped(ZEBDiscovererDeviceProvider* pProvider, ZEBDiscoverySDKError error);
    /** Null. */
    virtual const char* getDescription();
    virtual void setExternalContext(void* context);

    /** Fixed at construction. [any-thread] */
    bool isUsingMultipleHandles() const { return mMultipleHandles; }

    // What a discoverer's entities use as well. [any-thread]

    bool isLogLevelEnabled(int32_t severity) const;
    /** Hand one line to the host, if it wants lines of that severity. */
    void log(int32_t severity, const char* text) const;
    /** The same, printf-like; at most 511 characters get through. */
    [[gnu::format(printf, 3, 4)]] void logFormatted(int32_t severity, const char* format, ...) const;
    /** A new SDK string, the caller's: a copy of text (length -1: up to its terminator) or, with null
     *  text, a buffer of length bytes. Null when the host has no memory. */
    char* allocString(const char* text, int32_t length) const;
    void freeString(char* string) const;
    /** Say that a key that came with a fetch or post has found a keeper (or its end) and is no longer the
     *  barrier's to send back. [host-thread] */
    void settle(const void* key, const ZEBDiscoverySDKRequest* request);

protected:
    // One helper for each callback; see zebdiscovery/callbacks.h. [host-thread] unless tagged.

    /** The host's text for an error, "<unknown>" when it has none. [any-thread] */
    const char* errorText(ZEBDiscoverySDKError error) const;
    void notifyStarted(ZEBDiscoverySDKError error);
    void notifyStopped(ZEBDiscoverySDKError error);
    /** Only in single-handle mode. */
    void setTimer(ZEBDiscoverySDKTimeoutMicroseconds timeout);
    /** Only in multiple-handle mode, as the next three. */
    void setTimerForHandle(ZEBDiscovererEventHandle* pHandle, ZEBDiscoverySDKTimeoutMicroseconds timeout);
    /** Change the working set of handles; the host sees it when it next asks, and is told to ask when
     *  notifyHost is true. Null does nothing. [any-thread] */
    void addEventHandle(const ZEBDiscovererEventHandle* pHandle, bool notifyHost, bool writeNotifications);
    void removeEventHandle(const ZEBDiscovererEventHandle* pHandle, bool notifyHost);
    void setEventHandleWriteNotifications(const ZEBDiscovererEventHandle* pHandle, bool enable,
                                          bool notifyHost);

    // Providers must not be null.
    ZEBDiscoverySDKError subscribeToDeviceProvider(const char* name, ZEBDiscovererDeviceProvider** out);
    void unsubscribeFromDeviceProvider(ZEBDiscovererDeviceProvider* pDeviceProvider);
    ZEBDiscoverySDKError setDeviceProviderProperty(ZEBDiscovererDeviceProvider* pDeviceProvider,
                                                   const char* key, const char* value);
    ZEBDiscoverySDKError getDeviceProviderProperty(ZEBDiscovererDeviceProvider* pDeviceProvider,
                                                   const char* key, char** out);
    void releaseDevice(ZEBDiscovererDeviceProvider* pDeviceProvider, const ZEBDeviceInfo* pDevice);

    // Answers; the strings go to the host.
    void entityFetchComplete(ZEBDiscovererEntity* pEntity, char* key, ZEBDiscoverySDKRequest* request,
                             ZEBDiscoverySDKError error, char* value);
    void entityPostComplete(ZEBDiscovererEntity* pEntity, char* key, char* value,
                            ZEBDiscoverySDKRequest* request, ZEBDiscoverySDKError error);
    void entityPublishComplete(ZEBDiscovererEntity* pEntity, ZEBDiscoverySDKError error);
    void entityUnpublishComplete(ZEBDiscovererEntity* pEntity, ZEBDiscoverySDKError error);

    void addEntity(ZEBDiscovererEntity* pEntity);
    void addUnpublishedEntity(ZEBDiscovererEntity* pEntity);
    void setEntityTimer(ZEBDiscovererEntity* pEntity, ZEBDiscoverySDKTimeoutMicroseconds timeout);
    void entityLost(ZEBDiscovererEntity* pEntity);
    void freeProtocolString(char* protocol);

    // Callbacks that mean nothing to the frame, passed on as they are.
    void forward36(void* first, void* second);
    void forward92(void* first, void* second);
    void forward96(void* first, void* second);
    void forward100(void* first, void* second);
    void forward124(void* first, void* second, void* third);
    void forward136(void* first);
    void forward140(void* first);
    void forward144(void* first);

    /** The host's utilities, zeroed until setContext. */
    ZEBDiscoverySDKUtils* getUtils() { return &mUtils; }
    /** A parser for a text that stays the caller's: it is shown to the host's factory and not kept here. Null
     *  on failure, with the reason logged and in *errOut; errOut may be null and is also written (0) on
     *  success. */
    std::unique_ptr<StringParser> createParser(const char* text, ZEBDiscoverySDKError* errOut);
    /** The same for a generator. */
    std::unique_ptr<StringGenerator> createGenerator(ZEBDiscoverySDKError* errOut);

private:
    friend class Barrier;

    ZEBDiscoverer* handle() { return reinterpret_cast<ZEBDiscoverer*>(this); }
    void notifyEventHandlesChanged();
    template <class Wrapper, class... Args>
    std::unique_ptr<Wrapper> create(const char* outOfMemory, ZEBDiscoverySDKError* errOut, Args... args);

    ZEBDiscovererCallbacks mCallbacks;
    /** The host's, passed first to every callback that takes it. */
    void* mpContext = nullptr;
    const bool mMultipleHandles;
    /** Used in multiple-handle mode only. */
    EventHandles mEventHandles;
    ZEBDiscoverySDKUtils mUtils;
    OwedCompletions mOwed;
};

} // namespace zebdiscovery

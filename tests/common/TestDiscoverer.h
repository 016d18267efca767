#pragma once

#include "common/ZEBDiscovererImpl.h"
#include "tests/support/FakeHost.h"

#include <functional>
#include <gmock/gmock.h>
#include <memory>
#include <string>
#include <vector>

namespace zebtest {

/**
 * A discoverer that remembers each operation with its arguments (and its name in the record), then does
 * what the test put into `behaviour` (for example throw), then what the base class does; the pure ones do
 * nothing, but fetchEntityValue runs the body that the base offers. The helpers are open to the test.
 */
class TestDiscoverer : public zebdiscovery::ZEBDiscovererImpl {
public:
    using Base = zebdiscovery::ZEBDiscovererImpl;

    explicit TestDiscoverer(FakeHost& host, bool multipleHandles = true);
    TestDiscoverer(void* table, std::size_t size, const void* callbacks, std::size_t callbackSize,
                   bool multipleHandles);
    ~TestDiscoverer() noexcept(false) override;

    ZEBDiscoverer* handle() { return reinterpret_cast<ZEBDiscoverer*>(static_cast<Base*>(this)); }

    std::function<void()> behaviour;
    std::vector<Call> operations;
    /** Fetches and posts are left unanswered. */
    bool answersLater = false;
    /** Run by the destructor; may throw, which a discoverer's destructor may. */
    std::function<void()> atTheEnd;

    void setContext(void* context) override;
    ZEBDiscovererEventHandle* getEventHandle() override;
    void handleEvent() override;
    void handleTimeout() override;
    ZEBDiscovererEventHandle* getEntityEventHandle(ZEBDiscovererEntity* entity) override;
    void handleEntityEvent(ZEBDiscovererEntity* entity) override;
    void handleEntityTimeout(ZEBDiscovererEntity* entity) override;
    ZEBDiscoverySDKError setProperty(const char* key, const char* value) override;
    ZEBDiscoverySDKError getProperty(const char* key, char** out) override;
    ZEBDiscoverySDKError getViewerParameters(ZEBDiscovererEntity* entity, void** first,
                                             void** second) override;
    void start() override;
    void stop() override;
    void fetchEntityValue(ZEBDiscovererEntity* entity, char* key, ZEBDiscoverySDKRequest* request) override;
    uint32_t getEntityBinaryData(ZEBDiscovererEntity* entity, const char* key, const void** out) override;
    void postEntityValue(ZEBDiscovererEntity* entity, char* key, char* value,
                         ZEBDiscoverySDKRequest* request) override;
    void destroyEntity(ZEBDiscovererEntity* entity) override;
    ZEBDiscoverySDKError cancelRequest(ZEBDiscoverySDKRequest* request) override;
    ZEBDiscoverySDKError createEntity(ZEBDiscovererEntity* entity) override;
    void publishEntity(ZEBDiscovererEntity* entity) override;
    void unpublishEntity(ZEBDiscovererEntity* entity) override;
    ZEBDiscoverySDKError destroyUnpublishedEntity(ZEBDiscovererEntity* entity) override;
    ZEBDiscovererEventHandle* getMultipleEventHandlesEx(int** writeFlagsOut) override;
    void handleSingleEvent(ZEBDiscovererEventHandle* handle) override;
    void handleTimeoutForEventHandle(ZEBDiscovererEventHandle* handle) override;
    ZEBDiscoverySDKError init() override;
    void deviceProviderStarted(ZEBDiscovererDeviceProvider* provider, ZEBDiscoverySDKError error) override;
    ZEBDeviceInterestLevel getDeviceInterest(ZEBDiscovererDeviceProvider* provider,
                                             const ZEBDeviceInfo* device, char** out) override;
    void offerDevice(ZEBDiscovererDeviceProvider* provider, const ZEBDeviceInfo* device) override;
    void offerDeviceForProtocol(ZEBDiscovererDeviceProvider* provider, const ZEBDeviceInfo* device,
                                const char* protocol) override;
    void removeDevice(ZEBDiscovererDeviceProvider* provider, const ZEBDeviceInfo* device) override;
    void deviceProviderStopped(ZEBDiscovererDeviceProvider* provider, ZEBDiscoverySDKError error) override;
    const char* getDescription() override;
    void setExternalContext(void* context) override;

    using Base::addEntity;
    using Base::addEventHandle;
    using Base::addUnpublishedEntity;
    using Base::createGenerator;
    using Base::createParser;
    using Base::entityFetchComplete;
    using Base::entityLost;
    using Base::entityPostComplete;
    using Base::entityPublishComplete;
    using Base::entityUnpublishComplete;
    using Base::errorText;
    using Base::forward100;
    using Base::forward124;
    using Base::forward136;
    using Base::forward140;
    using Base::forward144;
    using Base::forward36;
    using Base::forward92;
    using Base::forward96;
    using Base::freeProtocolString;
    using Base::getDeviceProviderProperty;
    using Base::getUtils;
    using Base::notifyStarted;
    using Base::notifyStopped;
    using Base::releaseDevice;
    using Base::removeEventHandle;
    using Base::setDeviceProviderProperty;
    using Base::setEntityTimer;
    using Base::setEventHandleWriteNotifications;
    using Base::setTimer;
    using Base::setTimerForHandle;
    using Base::subscribeToDeviceProvider;
    using Base::unsubscribeFromDeviceProvider;

private:
    void note(const char* name, std::vector<Argument> arguments);
};

/** A discoverer that has its context, and a host that may have nothing to complain of at the end. */
class WithDiscoverer : public testing::Test {
protected:
    explicit WithDiscoverer(bool multipleHandles = true);
    void TearDown() override;

    FakeHost host;
    const std::unique_ptr<TestDiscoverer> owned;
    TestDiscoverer& discoverer;
};

class WithSingleHandleDiscoverer : public WithDiscoverer {
protected:
    WithSingleHandleDiscoverer() : WithDiscoverer(false) {}
};

} // namespace zebtest

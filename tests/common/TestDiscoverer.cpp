#include "tests/common/TestDiscoverer.h"

namespace zebtest {

TestDiscoverer::TestDiscoverer(FakeHost& host, bool multipleHandles) :
    TestDiscoverer(&host.entry, host.interfaceSize, &host.callbacks, host.callbackSize, multipleHandles) {
    host.adopt(handle());
}

TestDiscoverer::TestDiscoverer(void* table, std::size_t size, const void* callbacks, std::size_t callbackSize,
                               bool multipleHandles) :
    Base(static_cast<ZEBDiscovererInterface*>(table), size,
         static_cast<const ZEBDiscovererCallbacks*>(callbacks), callbackSize, multipleHandles) {}

TestDiscoverer::~TestDiscoverer() noexcept(false) {
    if (atTheEnd)
        atTheEnd();
}

void TestDiscoverer::note(const char* name, std::vector<Argument> arguments) {
    operations.push_back({name, std::move(arguments)});
    Record::note(name);
    if (behaviour)
        behaviour();
}

void TestDiscoverer::setContext(void* context) {
    note("setContext", {context});
    Base::setContext(context);
}

ZEBDiscovererEventHandle* TestDiscoverer::getEventHandle() {
    note("getEventHandle", {});
    return Base::getEventHandle();
}

void TestDiscoverer::handleEvent() {
    note("handleEvent", {});
    Base::handleEvent();
}

void TestDiscoverer::handleTimeout() {
    note("handleTimeout", {});
    Base::handleTimeout();
}

ZEBDiscovererEventHandle* TestDiscoverer::getEntityEventHandle(ZEBDiscovererEntity* entity) {
    note("getEntityEventHandle", {entity});
    return Base::getEntityEventHandle(entity);
}

void TestDiscoverer::handleEntityEvent(ZEBDiscovererEntity* entity) {
    note("handleEntityEvent", {entity});
    Base::handleEntityEvent(entity);
}

void TestDiscoverer::handleEntityTimeout(ZEBDiscovererEntity* entity) {
    note("handleEntityTimeout", {entity});
    Base::handleEntityTimeout(entity);
}

ZEBDiscoverySDKError TestDiscoverer::setProperty(const char* key, const char* value) {
    note("setProperty", {key, value});
    return Base::setProperty(key, value);
}

ZEBDiscoverySDKError TestDiscoverer::getProperty(const char* key, char** out) {
    note("getProperty", {key, static_cast<const void*>(out)});
    return Base::getProperty(key, out);
}

ZEBDiscoverySDKError TestDiscoverer::getViewerParameters(ZEBDiscovererEntity* entity, void** first,
                                                         void** second) {
    note("getViewerParameters", {entity, first, second});
    return Base::getViewerParameters(entity, first, second);
}

void TestDiscoverer::start() { note("start", {}); }

void TestDiscoverer::stop() { note("stop", {}); }

void TestDiscoverer::fetchEntityValue(ZEBDiscovererEntity* entity, char* key,
                                      ZEBDiscoverySDKRequest* request) {
    note("fetchEntityValue", {entity, static_cast<const char*>(key), request});
    if (!answersLater)
        Base::fetchEntityValue(entity, key, request);
}

uint32_t TestDiscoverer::getEntityBinaryData(ZEBDiscovererEntity* entity, const char* key, const void** out) {
    note("getEntityBinaryData", {entity, key, out});
    return Base::getEntityBinaryData(entity, key, out);
}

void TestDiscoverer::postEntityValue(ZEBDiscovererEntity* entity, char* key, char* value,
                                     ZEBDiscoverySDKRequest* request) {
    note("postEntityValue",
         {entity, static_cast<const char*>(key), static_cast<const char*>(value), request});
    if (!answersLater)
        Base::postEntityValue(entity, key, value, request);
}

void TestDiscoverer::destroyEntity(ZEBDiscovererEntity* entity) { note("destroyEntity", {entity}); }

ZEBDiscoverySDKError TestDiscoverer::cancelRequest(ZEBDiscoverySDKRequest* request) {
    note("cancelRequest", {request});
    return Base::cancelRequest(request);
}

ZEBDiscoverySDKError TestDiscoverer::createEntity(ZEBDiscovererEntity* entity) {
    note("createEntity", {entity});
    return Base::createEntity(entity);
}

void TestDiscoverer::publishEntity(ZEBDiscovererEntity* entity) {
    note("publishEntity", {entity});
    Base::publishEntity(entity);
}

void TestDiscoverer::unpublishEntity(ZEBDiscovererEntity* entity) {
    note("unpublishEntity", {entity});
    Base::unpublishEntity(entity);
}

ZEBDiscoverySDKError TestDiscoverer::destroyUnpublishedEntity(ZEBDiscovererEntity* entity) {
    note("destroyUnpublishedEntity", {entity});
    return Base::destroyUnpublishedEntity(entity);
}

ZEBDiscovererEventHandle* TestDiscoverer::getMultipleEventHandlesEx(int** writeFlagsOut) {
    note("getMultipleEventHandlesEx", {writeFlagsOut});
    return Base::getMultipleEventHandlesEx(writeFlagsOut);
}

void TestDiscoverer::handleSingleEvent(ZEBDiscovererEventHandle* handle) {
    note("handleSingleEvent", {handle});
    Base::handleSingleEvent(handle);
}

void TestDiscoverer::handleTimeoutForEventHandle(ZEBDiscovererEventHandle* handle) {
    note("handleTimeoutForEventHandle", {handle});
    Base::handleTimeoutForEventHandle(handle);
}

ZEBDiscoverySDKError TestDiscoverer::init() {
    note("init", {});
    return Base::init();
}

void TestDiscoverer::deviceProviderStarted(ZEBDiscovererDeviceProvider* provider,
                                           ZEBDiscoverySDKError error) {
    note("deviceProviderStarted", {provider, error});
    Base::deviceProviderStarted(provider, error);
}

ZEBDeviceInterestLevel TestDiscoverer::getDeviceInterest(ZEBDiscovererDeviceProvider* provider,
                                                         const ZEBDeviceInfo* device, char** out) {
    note("getDeviceInterest", {provider, device, static_cast<const void*>(out)});
    return Base::getDeviceInterest(provider, device, out);
}

void TestDiscoverer::offerDevice(ZEBDiscovererDeviceProvider* provider, const ZEBDeviceInfo* device) {
    note("offerDevice", {provider, device});
    Base::offerDevice(provider, device);
}

void TestDiscoverer::offerDeviceForProtocol(ZEBDiscovererDeviceProvider* provider,
                                            const ZEBDeviceInfo* device, const char* protocol) {
    note("offerDeviceForProtocol", {provider, device, protocol});
    Base::offerDeviceForProtocol(provider, device, protocol);
}

void TestDiscoverer::removeDevice(ZEBDiscovererDeviceProvider* provider, const ZEBDeviceInfo* device) {
    note("removeDevice", {provider, device});
    Base::removeDevice(provider, device);
}

void TestDiscoverer::deviceProviderStopped(ZEBDiscovererDeviceProvider* provider,
                                           ZEBDiscoverySDKError error) {
    note("deviceProviderStopped", {provider, error});
    Base::deviceProviderStopped(provider, error);
}

const char* TestDiscoverer::getDescription() {
    note("getDescription", {});
    return Base::getDescription();
}

void TestDiscoverer::setExternalContext(void* context) {
    note("setExternalContext", {context});
    Base::setExternalContext(context);
}

WithDiscoverer::WithDiscoverer(bool multipleHandles) :
    owned(std::make_unique<TestDiscoverer>(host, multipleHandles)), discoverer(*owned) {
    host.setContext();
    host.takeRecord();
}

void WithDiscoverer::TearDown() { EXPECT_THAT(host.complaints(), testing::IsEmpty()); }

} // namespace zebtest

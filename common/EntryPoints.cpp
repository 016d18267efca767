#include "common/EntryPoints.h"

#include "common/Barrier.h"

#include <algorithm>
#include <cstring>

namespace zebdiscovery {

namespace {

using D = ZEBDiscovererImpl;
using B = Barrier;

/** One row: the operation, its name and failure text, and where its result goes on failure. */
template <auto Method, FixedText Name, FixedText FailureText, class Outcome>
constexpr auto entry = &Entry<Method, Name, FailureText, Outcome, OutOfMemoryLine::No>::call;

/** The same for an operation that has an out-of-memory line. */
template <auto Method, FixedText Name, FixedText FailureText, class Outcome>
constexpr auto memoryEntry = &Entry<Method, Name, FailureText, Outcome, OutOfMemoryLine::Yes>::call;

/** The same for an operation without the inner layer. */
template <auto Method, FixedText FailureText>
constexpr auto bareEntry = &BareEntry<Method, FailureText>::call;

constexpr auto offerDevice =
    entry<&D::offerDevice, "offerDevice", "Failed to offer device", B::ReleaseDevice>;

constexpr Operation kOfferForProtocol{"offerDeviceForProtocol", "Failed to offer device for protocol",
                                      OutOfMemoryLine::No};

// The two entry points that a row can't express.

void destroyDiscoverer(ZEBDiscoverer* handle) noexcept {
    try {
        if (handle)
            delete &Barrier::fromHandle(handle);
    } catch (...) {
        Barrier::lastResort("Failed to destroy discoverer");
    }
}

void offerDeviceForProtocol(ZEBDiscoverer* handle, ZEBDiscovererDeviceProvider* pProvider,
                            const ZEBDeviceInfo* pDevice, char* protocol) noexcept {
    if (!protocol)
        return offerDevice(handle, pProvider, pDevice);
    try {
        Barrier::offerForProtocol(Barrier::fromHandle(handle), kOfferForProtocol, pProvider, pDevice,
                                  protocol);
    } catch (...) {
        Barrier::lastResort(kOfferForProtocol.failure);
    }
}

constexpr ZEBDiscovererInterface kEntryPoints = {
    // clang-format off
    .setContext                  = bareEntry<&D::setContext, "Failed to set context">,
    .getEventHandle              = bareEntry<&D::getEventHandle, "Failed to get event handle">,
    .handleEvent                 = entry<&D::handleEvent, "handleEvent", "Failed to handle event", B::LogOnly>,
    .handleTimeout               = entry<&D::handleTimeout, "handleTimeout", "Failed to handle timeout", B::LogOnly>,
    .getEntityEventHandle        = bareEntry<&D::getEntityEventHandle, "Failed to get entity event handle">,
    .handleEntityEvent           = entry<&D::handleEntityEvent, "handleEntityEvent", "Failed to handle entity event", B::LogOnly>,
    .handleEntityTimeout         = entry<&D::handleEntityTimeout, "handleEntityTimeout", "Failed to handle entity timeout", B::LogOnly>,
    .setProperty                 = memoryEntry<&D::setProperty, "setProperty", "Failed to set property", B::ReturnCode>,
    .getProperty                 = memoryEntry<&D::getProperty, "getProperty", "Failed to get property", B::ReturnCode>,
    .getViewerParameters         = memoryEntry<&D::getViewerParameters, "getViewerParameters", "Failed to get viewer parameters", B::ReturnCode>,
    .start                       = entry<&D::start, "start", "Failed to start discoverer", B::LogOnly>,
    .stop                        = entry<&D::stop, "stop", "Failed to stop discoverer", B::LogOnly>,
    .fetchEntityValue            = memoryEntry<&D::fetchEntityValue, "fetchEntityValue", "Failed to fetch entity value", B::CompleteFetch>,
    .getEntityBinaryData         = entry<&D::getEntityBinaryData, "getEntityBinaryData", "Failed to get entity binary data", B::Return<0U>>,
    .postEntityValue             = memoryEntry<&D::postEntityValue, "postEntityValue", "Failed to post entity value", B::CompletePost>,
    .cancelRequest               = memoryEntry<&D::cancelRequest, "cancelRequest", "Failed to cancel request", B::ReturnCode>,
    .destroyEntity               = entry<&D::destroyEntity, "destroyEntity", "Failed to destroy entity", B::LogOnly>,
    .createEntity                = memoryEntry<&D::createEntity, "createEntity", "Failed to create entity", B::ReturnCode>,
    .publishEntity               = memoryEntry<&D::publishEntity, "publishEntity", "Failed to publish entity", B::CompletePublish>,
    .unpublishEntity             = memoryEntry<&D::unpublishEntity, "unpublishEntity", "Failed to unpublish entity", B::CompleteUnpublish>,
    .destroyUnpublishedEntity    = memoryEntry<&D::destroyUnpublishedEntity, "destroyUnpublishedEntity", "Failed to destroy unpublished entity", B::ReturnCode>,
    .destroyDiscoverer           = &destroyDiscoverer,
    .reserved88                  = nullptr,
    .handleSingleEvent           = entry<&D::handleSingleEvent, "handleSingleEvent", "Failed to handle single event", B::LogOnly>,
    .handleTimeoutForEventHandle = entry<&D::handleTimeoutForEventHandle, "handleTimeoutForEventHandle", "Failed to handle timeout for event handle", B::LogOnly>,
    .init                        = memoryEntry<&D::init, "init", "Failed to initialize discoverer", B::ReturnCode>,
    .deviceProviderStarted       = entry<&D::deviceProviderStarted, "deviceProviderStarted", "Failed to notify that the device provider has started", B::LogOnly>,
    .getDeviceInterest           = entry<&D::getDeviceInterest, "getDeviceInterest", "Failed to get device interest level", B::Return<ZEBDeviceInterestLevel{ZEBDeviceInterestNone}>>,
    .offerDevice                 = offerDevice,
    .removeDevice                = entry<&D::removeDevice, "removeDevice", "Failed to remove device", B::LogOnly>,
    .deviceProviderStopped       = entry<&D::deviceProviderStopped, "deviceProviderStopped", "Failed to notify that the device provider has stopped", B::StopOnStandardException>,
    .getDescription              = entry<&D::getDescription, "getDescription", "Failed to get description", B::Return<nullptr>>,
    .getMultipleEventHandlesEx   = bareEntry<&D::getMultipleEventHandlesEx, "Failed to get multiple event handles (Ex)">,
    .setExternalContext          = entry<&D::setExternalContext, "setExternalContext", "Failed to set external context", B::LogOnly>,
    .offerDeviceForProtocol      = &offerDeviceForProtocol,
    // clang-format on
};

ZEBDiscovererInterface entryPointsFor(bool multipleHandles) {
    ZEBDiscovererInterface table = kEntryPoints;
    if (multipleHandles) {
        table.getEventHandle = nullptr;
        table.handleEvent = nullptr;
        table.handleTimeout = nullptr;
    } else {
        table.handleSingleEvent = nullptr;
        table.handleTimeoutForEventHandle = nullptr;
        table.getMultipleEventHandlesEx = nullptr;
    }
    return table;
}

} // namespace

void fillEntryPoints(ZEBDiscovererInterface* hostTable, size_t size, bool multipleHandles) {
    using Slot = void (*)();
    const ZEBDiscovererInterface ours = entryPointsFor(multipleHandles);
    const size_t slots = std::min(size, sizeof(ours)) / sizeof(Slot);
    for (size_t i = 0; i < slots; ++i) {
        Slot slot = nullptr;
        std::memcpy(&slot, reinterpret_cast<const char*>(&ours) + i * sizeof(Slot), sizeof(Slot));
        if (slot)
            std::memcpy(reinterpret_cast<char*>(hostTable) + i * sizeof(Slot), &slot, sizeof(Slot));
    }
}

ZEBDiscovererCallbacks copyCallbacks(const ZEBDiscovererCallbacks* hostTable, size_t size) {
    ZEBDiscovererCallbacks copy{};
    const size_t slots = std::min(size, sizeof(copy)) / sizeof(void*);
    if (slots > 0)
        std::memcpy(&copy, hostTable, slots * sizeof(void*));
    return copy;
}

} // namespace zebdiscovery

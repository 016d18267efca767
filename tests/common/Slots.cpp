#include "tests/common/Slots.h"

#include <ostream>
#include <stdexcept>

namespace zebtest {

namespace {

char gEntity, gRequest, gProvider, gContext;
const ZEBDeviceInfo gDevice{};
char* gText;
void *gFirst, *gSecond;
const void* gData;
int* gFlags;

using H = FakeHost;

Argument nothing() { return "void"; }

} // namespace

ZEBDiscovererEntity* const kEntity = reinterpret_cast<ZEBDiscovererEntity*>(&gEntity);
ZEBDiscoverySDKRequest* const kRequest = reinterpret_cast<ZEBDiscoverySDKRequest*>(&gRequest);
ZEBDiscovererDeviceProvider* const kProvider = reinterpret_cast<ZEBDiscovererDeviceProvider*>(&gProvider);
const ZEBDeviceInfo* const kDevice = &gDevice;
ZEBDiscovererEventHandle gHandle = 5;
void* const kContext = &gContext;

const std::vector<Slot>& slots() {
    const auto value = [](const void* address) { return Argument(address); };
    constexpr bool bare = false, barrier = true, noLine = false, line = true;
    constexpr Mode both = Mode::Both;
    using O = Outcome;
    // clang-format off
    static const std::vector<Slot> rows = {
        {"setContext", both, bare, noLine, "Failed to set context", O::Log, "void",
            [](H& h) { h.entry.setContext(h.discoverer, kContext); return nothing(); }, {"setContext", {kContext}}},
        {"getEventHandle", Mode::Single, bare, noLine, "Failed to get event handle", O::Value, nullptr,
            [](H& h) { return Argument(h.entry.getEventHandle(h.discoverer)); }, {"getEventHandle", {}}},
        {"handleEvent", Mode::Single, barrier, noLine, "Failed to handle event", O::Log, "void",
            [](H& h) { h.entry.handleEvent(h.discoverer); return nothing(); }, {"handleEvent", {}}},
        {"handleTimeout", Mode::Single, barrier, noLine, "Failed to handle timeout", O::Log, "void",
            [](H& h) { h.entry.handleTimeout(h.discoverer); return nothing(); }, {"handleTimeout", {}}},
        {"getEntityEventHandle", both, bare, noLine, "Failed to get entity event handle", O::Value, nullptr,
            [](H& h) { return Argument(h.entry.getEntityEventHandle(h.discoverer, kEntity)); }, {"getEntityEventHandle", {kEntity}}},
        {"handleEntityEvent", both, barrier, noLine, "Failed to handle entity event", O::Log, "void",
            [](H& h) { h.entry.handleEntityEvent(h.discoverer, kEntity); return nothing(); }, {"handleEntityEvent", {kEntity}}},
        {"handleEntityTimeout", both, barrier, noLine, "Failed to handle entity timeout", O::Log, "void",
            [](H& h) { h.entry.handleEntityTimeout(h.discoverer, kEntity); return nothing(); }, {"handleEntityTimeout", {kEntity}}},
        {"setProperty", both, barrier, line, "Failed to set property", O::Code, 23,
            [](H& h) { return Argument(h.entry.setProperty(h.discoverer, "k", "v")); }, {"setProperty", {"k", "v"}}},
        {"getProperty", both, barrier, line, "Failed to get property", O::Code, 23,
            [](H& h) { return Argument(h.entry.getProperty(h.discoverer, "k", &gText)); }, {"getProperty", {"k", value(&gText)}}},
        {"getViewerParameters", both, barrier, line, "Failed to get viewer parameters", O::Code, 23,
            [](H& h) { return Argument(h.entry.getViewerParameters(h.discoverer, kEntity, &gFirst, &gSecond)); }, {"getViewerParameters", {kEntity, value(&gFirst), value(&gSecond)}}},
        {"start", both, barrier, noLine, "Failed to start discoverer", O::Log, "void",
            [](H& h) { h.entry.start(h.discoverer); return nothing(); }, {"start", {}}},
        {"stop", both, barrier, noLine, "Failed to stop discoverer", O::Log, "void",
            [](H& h) { h.entry.stop(h.discoverer); return nothing(); }, {"stop", {}}},
        {"fetchEntityValue", both, barrier, line, "Failed to fetch entity value", O::Fetch, "void",
            [](H& h) { h.entry.fetchEntityValue(h.discoverer, kEntity, h.handOver("k"), kRequest); return nothing(); }, {"fetchEntityValue", {kEntity, "k", kRequest}}},
        {"getEntityBinaryData", both, barrier, noLine, "Failed to get entity binary data", O::Value, 0,
            [](H& h) { return Argument(h.entry.getEntityBinaryData(h.discoverer, kEntity, "k", &gData)); }, {"getEntityBinaryData", {kEntity, "k", value(&gData)}}},
        {"postEntityValue", both, barrier, line, "Failed to post entity value", O::Post, "void",
            [](H& h) { h.entry.postEntityValue(h.discoverer, kEntity, h.handOver("k"), h.handOver("v"), kRequest); return nothing(); }, {"postEntityValue", {kEntity, "k", "v", kRequest}}},
        {"cancelRequest", both, barrier, line, "Failed to cancel request", O::Code, 23,
            [](H& h) { return Argument(h.entry.cancelRequest(h.discoverer, kRequest)); }, {"cancelRequest", {kRequest}}},
        {"destroyEntity", both, barrier, noLine, "Failed to destroy entity", O::Log, "void",
            [](H& h) { h.entry.destroyEntity(h.discoverer, kEntity); return nothing(); }, {"destroyEntity", {kEntity}}},
        {"createEntity", both, barrier, line, "Failed to create entity", O::Code, 23,
            [](H& h) { return Argument(h.entry.createEntity(h.discoverer, kEntity)); }, {"createEntity", {kEntity}}},
        {"publishEntity", both, barrier, line, "Failed to publish entity", O::Publish, "void",
            [](H& h) { h.entry.publishEntity(h.discoverer, kEntity); return nothing(); }, {"publishEntity", {kEntity}}},
        {"unpublishEntity", both, barrier, line, "Failed to unpublish entity", O::Unpublish, "void",
            [](H& h) { h.entry.unpublishEntity(h.discoverer, kEntity); return nothing(); }, {"unpublishEntity", {kEntity}}},
        {"destroyUnpublishedEntity", both, barrier, line, "Failed to destroy unpublished entity", O::Code, 23,
            [](H& h) { return Argument(h.entry.destroyUnpublishedEntity(h.discoverer, kEntity)); }, {"destroyUnpublishedEntity", {kEntity}}},
        {"handleSingleEvent", Mode::Multiple, barrier, noLine, "Failed to handle single event", O::Log, "void",
            [](H& h) { h.entry.handleSingleEvent(h.discoverer, &gHandle); return nothing(); }, {"handleSingleEvent", {value(&gHandle)}}},
        {"handleTimeoutForEventHandle", Mode::Multiple, barrier, noLine, "Failed to handle timeout for event handle", O::Log, "void",
            [](H& h) { h.entry.handleTimeoutForEventHandle(h.discoverer, &gHandle); return nothing(); }, {"handleTimeoutForEventHandle", {value(&gHandle)}}},
        {"init", both, barrier, line, "Failed to initialize discoverer", O::Code, 23,
            [](H& h) { return Argument(h.entry.init(h.discoverer)); }, {"init", {}}},
        {"deviceProviderStarted", both, barrier, noLine, "Failed to notify that the device provider has started", O::Log, "void",
            [](H& h) { h.entry.deviceProviderStarted(h.discoverer, kProvider, 7); return nothing(); }, {"deviceProviderStarted", {kProvider, 7}}},
        {"getDeviceInterest", both, barrier, noLine, "Failed to get device interest level", O::Value, 100,
            [](H& h) { return Argument(h.entry.getDeviceInterest(h.discoverer, kProvider, kDevice, &gText)); }, {"getDeviceInterest", {kProvider, kDevice, value(&gText)}}},
        {"offerDevice", both, barrier, noLine, "Failed to offer device", O::Release, "void",
            [](H& h) { h.entry.offerDevice(h.discoverer, kProvider, kDevice); return nothing(); }, {"offerDevice", {kProvider, kDevice}}},
        {"removeDevice", both, barrier, noLine, "Failed to remove device", O::Log, "void",
            [](H& h) { h.entry.removeDevice(h.discoverer, kProvider, kDevice); return nothing(); }, {"removeDevice", {kProvider, kDevice}}},
        {"deviceProviderStopped", both, barrier, noLine, "Failed to notify that the device provider has stopped", O::Stop, "void",
            [](H& h) { h.entry.deviceProviderStopped(h.discoverer, kProvider, 7); return nothing(); }, {"deviceProviderStopped", {kProvider, 7}}},
        {"getDescription", both, barrier, noLine, "Failed to get description", O::Value, nullptr,
            [](H& h) { return Argument(h.entry.getDescription(h.discoverer)); }, {"getDescription", {}}},
        {"getMultipleEventHandlesEx", Mode::Multiple, bare, noLine, "Failed to get multiple event handles (Ex)", O::Value, nullptr,
            [](H& h) { return Argument(h.entry.getMultipleEventHandlesEx(h.discoverer, &gFlags)); }, {"getMultipleEventHandlesEx", {value(&gFlags)}}},
        {"setExternalContext", both, barrier, noLine, "Failed to set external context", O::Log, "void",
            [](H& h) { h.entry.setExternalContext(h.discoverer, kContext); return nothing(); }, {"setExternalContext", {kContext}}},
        {"offerDeviceForProtocol", both, barrier, noLine, "Failed to offer device for protocol", O::Protocol, "void",
            [](H& h) { h.entry.offerDeviceForProtocol(h.discoverer, kProvider, kDevice, h.handOver("p")); return nothing(); }, {"offerDeviceForProtocol", {kProvider, kDevice, "p"}}},
    };
    // clang-format on
    return rows;
}

const Slot& slotNamed(const std::string& name) {
    for (const Slot& slot : slots()) {
        if (slot.name == name)
            return slot;
    }
    throw std::logic_error(name);
}

std::ostream& operator<<(std::ostream& out, const Slot& slot) { return out << slot.name; }

} // namespace zebtest

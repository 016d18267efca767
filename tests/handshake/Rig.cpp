#include "tests/handshake/Rig.h"

#include "tests/handshake/LibUsbSpy.h"
#include "tests/handshake/NodeAccess.h"

#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zebtest {

using namespace zebphones;

const std::vector<std::string> kDefaultStrings = {
    "Example Company",          "AAPTest",      "Example Company AAP Bearer", "0.1",
    "https://www.example.com/", "serial_number"};

const std::vector<Transfer> kTransfers = {
    {"get protocol", kGetProtocol, 0, 2}, {"manufacturer", kSendString, 0, 15}, {"model", kSendString, 1, 7},
    {"description", kSendString, 2, 26},  {"version", kSendString, 3, 3},       {"uri", kSendString, 4, 24},
    {"serial", kSendString, 5, 13},       {"start", kStartAccessory, 0, 0}};

namespace {

constexpr int kTurnMs = 20;
constexpr unsigned kDeviceId = 0x1a2b;

/** How often to look for what a busy machine brings late. Broken code brings nothing: who plays it waits
 * less. */
int turns() {
    static const char* const seconds = std::getenv("ZEB_TEST_PATIENCE");
    return (seconds ? std::atoi(seconds) : 100) * 1000 / kTurnMs;
}

} // namespace

Rig::Rig(PhoneDescription description) : phone(bed.plug(std::move(description))) {
    LibUsbSpy::reset();
    NodeAccess::reset();
    phone->withModel([this](PhoneModel& model) {
        record = std::make_unique<zebphones::DeviceRecord>(model.face(), phone->bus(), phone->address(),
                                                           kDeviceId);
    });
    // The provider has no properties of its own.
    host.results["setDeviceProviderProperty"] = ZEBDiscoverySDKErrorNotImplemented;
    host.initialize(plugin.initialize());
    host.bringUp();
}

Rig::~Rig() {
    host.destroy();
    EXPECT_THAT(host.complaints(), testing::IsEmpty());
}

ZEBDiscovererEntity* Rig::offer() {
    host.entry.offerDevice(host.discoverer, host.provider, record->get());
    entity = host.entities().empty() ? nullptr : host.entities().back();
    return entity;
}

bool Rig::runUntil(const std::function<bool()>& condition) {
    for (int turn = 0; turn < turns(); ++turn) {
        if (condition())
            return true;
        host.dispatch(kTurnMs);
    }
    return condition();
}

void Rig::settle() {
    int events = 0;
    while (host.dispatch(0) > 0)
        ASSERT_LT(++events, turns()) << "the plug-in never comes to rest";
}

void Rig::advanceTo(std::size_t transfer) {
    phone->hold(true);
    if (!entity)
        offer();
    settle();
    while (requests() <= transfer && !testing::Test::HasFatalFailure()) {
        completeOne();
        if (requests() == kTransfers.size() - 1 && phone->pending() == 0)
            host.advance(1'000'000);
    }
}

void Rig::completeOne() {
    ASSERT_TRUE(phone->completeNext());
    // The answer is seen in the first event of the device's node.
    ASSERT_GT(host.dispatch(kTurnMs * turns()), 0);
    settle();
}

std::vector<std::string> Rig::logged(int severity) const {
    std::vector<std::string> texts;
    for (const LogLine& line : host.logLines()) {
        if (line.severity <= severity)
            texts.push_back(line.text);
    }
    return texts;
}

std::vector<Call> Rig::below(const std::string& name) const {
    std::vector<Call> found = host.record.of(Kind::Below);
    std::erase_if(found, [&](const Call& call) { return call.name != name; });
    return found;
}

} // namespace zebtest

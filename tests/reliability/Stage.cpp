#include "tests/reliability/Stage.h"

#include "tests/reliability/Boundary.h"
#include "tests/reliability/Bus.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zebtest {

using namespace zebphones;

namespace {

constexpr const char* kProperties[] = {"aapmanufacturer", "aapmodel", "aapdescription",
                                       "aapversion",      "aapuri",   "aapserial"};
// Longer than anything here takes: retries end after 21 s, waits for an answer after 30 s.
constexpr std::int64_t kLongestWait = 120'000'000;
constexpr int kNoLongerThanMs = 100000;

/** A second fetch while one is pending, and one that is pending when its entity goes, are not answered, only
 *  their keys come back; and a line logged while the discoverer is made has no context yet. */
bool isAllowed(const std::string& complaint) {
    return complaint.ends_with("requests never answered") || complaint == "log: not the host's context" ||
           complaint == "isLogLevelEnabled: not the host's context";
}

} // namespace

Stage::Stage(ZEBDiscovererInitializeFunction function) : mpFunction(function) {
    host.results["setDeviceProviderProperty"] = ZEBDiscoverySDKErrorNotImplemented;
    host.on["entityLost"] = [this] {
        const Argument lost = host.callsOf("entityLost").back().arguments.at(0);
        for (ZEBDiscovererEntity* entity : host.entities()) {
            if (Argument(entity) == lost && std::find(mLost.begin(), mLost.end(), entity) == mLost.end())
                mLost.push_back(entity);
        }
    };
    Boundary::guard(host.callbacks);
}

Stage::~Stage() = default;

bool Stage::initialize() {
    try {
        const Boundary::Side inside(true);
        host.initialize(mpFunction);
    } catch (const std::exception&) {
        return false;
    }
    if (host.discoverer)
        Boundary::guard(host.entry);
    return host.discoverer != nullptr;
}

void Stage::setUp() {
    host.setContext();
    if (host.entry.init(host.discoverer) != ZEBDiscoverySDKErrorNone)
        return; // without a provider there is nothing to set and nothing to offer
    for (const char* key : kProperties)
        host.entry.setProperty(host.discoverer, key, "text");
    host.entry.getDescription(host.discoverer);
    host.entry.start(host.discoverer);
    mStarted = true;
}

Plugged& Stage::add(Plugged phone, const UsbFace& face, int address) {
    phone.record = std::make_unique<zebphones::DeviceRecord>(face, 1, address, ++mLastId);
    mPhones.push_back(std::make_unique<Plugged>(std::move(phone)));
    return *mPhones.back();
}

Plugged& Stage::plug() {
    const std::size_t place = mPlaces++;
    auto device = Bus::instance().take(place);
    const int address = device->address();
    UsbFace face;
    device->withModel([&face](PhoneModel& model) { face = model.face(); });
    return add({place, std::move(device), nullptr}, face, address);
}

Plugged& Stage::plugUnopened(const UsbFace& face) { return add({0, nullptr, nullptr}, face, 99); }

void Stage::unplug(Plugged& phone) { Bus::instance().pull(phone.place); }

ZEBDiscovererEntity* Stage::offer(Plugged& phone) {
    const std::size_t before = host.entities().size();
    char* why = nullptr;
    host.entry.getDeviceInterest(host.discoverer, host.provider, phone.record->get(), &why);
    host.receive(why);
    host.entry.offerDevice(host.discoverer, host.provider, phone.record->get());
    return host.entities().size() > before ? host.entities().back() : nullptr;
}

void Stage::remove(Plugged& phone) {
    host.entry.removeDevice(host.discoverer, host.provider, phone.record->get());
    destroyLost();
}

void Stage::destroyLost() {
    while (!mLost.empty()) {
        ZEBDiscovererEntity* entity = mLost.back();
        mLost.pop_back();
        host.destroyEntity(entity);
    }
}

bool Stage::isAlive(ZEBDiscovererEntity* entity) const {
    const auto& all = host.entities();
    return std::find(all.begin(), all.end(), entity) != all.end();
}

bool Stage::liveUntil(const std::function<bool()>& condition) {
    std::int64_t waited = 0;
    while (!condition()) {
        destroyLost();
        // A phone on the bus answers at once, so only what nobody answers is waited for.
        if (host.dispatch(0) > 0)
            continue;
        std::int64_t next = kLongestWait;
        for (const auto& [entity, left] : host.entityTimers())
            next = std::min(next, left);
        for (const auto& [handle, left] : host.handleTimers())
            next = std::min(next, left);
        waited += std::max<std::int64_t>(next, 1);
        if (waited > kLongestWait || next == kLongestWait)
            return condition();
        host.advance(next);
    }
    return true;
}

void Stage::settle() {
    // What is lost goes at once: its descriptors may stay ready for ever.
    while (host.dispatch(0) > 0)
        destroyLost();
}

bool Stage::advanceTo(Plugged& phone, std::size_t transfer) {
    phone.device->hold(true);
    settle();
    while (phone.device->received().size() <= transfer) {
        if (phone.device->pending() > 0) {
            phone.device->completeNext();
            host.dispatch(kNoLongerThanMs);
        } else if (host.handleTimers().empty()) {
            return false;
        } else {
            host.advance(1'000'000);
        }
        settle();
    }
    return phone.device->pending() > 0;
}

void Stage::expectSwitched() {
    Plugged& phone = plug();
    ZEBDiscovererEntity* entity = offer(phone);
    EXPECT_NE(entity, nullptr) << "the next phone: no entity";
    EXPECT_TRUE(liveUntil([&] { return phone.device->switchRequested(); })) << "the next phone: not switched";
    remove(phone);
    EXPECT_EQ(releases(phone), 1);
}

void Stage::expectTethered() {
    Plugged& phone = plugUnopened(loadPhone("rndis").normal);
    ZEBDiscovererEntity* entity = offer(phone);
    ASSERT_NE(entity, nullptr);
    const std::size_t before = host.callsOf("fetchComplete").size();
    ZEBDiscoverySDKRequest* request = host.fetch(entity, "zebcmd");
    EXPECT_TRUE(liveUntil([&] { return host.callsOf("fetchComplete").size() > before; }));
    const std::vector<Call> answers = host.callsOf("fetchComplete");
    ASSERT_FALSE(answers.empty());
    EXPECT_EQ(answers.back(), (Call{"fetchComplete", {entity, "zebcmd", request, 0, "zebcmd:v=1;t=USBAND"}}));
    remove(phone);
    EXPECT_EQ(releases(phone), 1);
}

void Stage::expectNextPhonesWork() {
    if (!mStarted)
        return;
    expectSwitched();
    expectTethered();
}

void Stage::expectEachGivenBack(int most) {
    while (host.discoverer && !host.entities().empty())
        host.destroyEntity(host.entities().back());
    for (const auto& phone : mPhones)
        EXPECT_THAT(releases(*phone), testing::AllOf(testing::Ge(1), testing::Le(most)));
}

int Stage::releases(const Plugged& phone) const {
    const Call release{"releaseDevice", {host.provider, phone.record->get()}};
    const std::vector<Call> calls = host.callsOf("releaseDevice");
    return static_cast<int>(std::count(calls.begin(), calls.end(), release));
}

void Stage::end() {
    if (host.discoverer)
        host.destroy();
    std::vector<std::string> complaints = host.complaints();
    std::erase_if(complaints, isAllowed);
    EXPECT_THAT(complaints, testing::IsEmpty());
}

} // namespace zebtest

#include "host/Devices.h"

#include <algorithm>

namespace zebhost {

Devices::Devices(const Discoverer& discoverer, Output& output, Strings& strings) :
    mDiscoverer(discoverer), mOutput(output), mStrings(strings) {}

void Devices::seen(const UsbDevice& device) {
    auto known = pluggedAt(device.port);
    bool isSame = known != mKnown.end() && known->second.device.bus == device.bus &&
                  known->second.device.device == device.device;
    if (isSame && (known->second.isHeld || known->second.entities > 0 || known->second.device == device))
        return retry(device.port);
    if (known != mKnown.end() && !isSame)
        gone(device.port);

    uint32_t id = isSame ? known->first : ++mLastId;
    mKnown[id] = Known{device, std::make_unique<DeviceRecord>(id, device)};
    if (!isSame)
        report("add", device);
    judge(id);
}

void Devices::retry(const std::string& port) {
    auto known = pluggedAt(port);
    if (known != mKnown.end() && known->second.isPostponed)
        proceed(known->first);
}

void Devices::gone(const std::string& port) {
    auto entry = pluggedAt(port);
    if (entry == mKnown.end())
        return;
    uint32_t id = entry->first;
    Known& known = entry->second;
    known.isPlugged = false;
    report("remove", known.device);
    if (known.isHeld || known.entities > 0) {
        mDiscoverer.entry.removeDevice(mDiscoverer.self, provider(), known.record->info());
        mOnRemoved();
    }
    // Looked up again: the discoverer may have released it in the meantime.
    forgetIfUnused(mKnown.find(id));
}

void Devices::released(const ZEBDeviceInfo* device) {
    auto entry = std::find_if(mKnown.begin(), mKnown.end(), [device](const auto& known) {
        return known.second.record->info() == device && known.second.isHeld;
    });
    if (entry == mKnown.end()) {
        mOutput.violation("releaseDevice: a device that the discoverer does not hold");
        return;
    }
    entry->second.isHeld = false;
    // The caller still reads the record: while it is being offered, offer() forgets it.
    if (entry->first != mOfferedId)
        forgetIfUnused(entry);
}

void Devices::entityAdded(uint32_t deviceId) {
    if (auto entry = mKnown.find(deviceId); entry != mKnown.end())
        ++entry->second.entities;
}

void Devices::entityDestroyed(uint32_t deviceId) {
    auto entry = mKnown.find(deviceId);
    if (entry == mKnown.end())
        return;
    --entry->second.entities;
    forgetIfUnused(entry);
}

UsbAddress Devices::offeredAddress() const {
    auto entry = mKnown.find(mOfferedId);
    if (entry == mKnown.end())
        return {};
    return entry->second.device.address();
}

void Devices::reportHeld() {
    for (const auto& [id, known] : mKnown) {
        if (known.isHeld)
            mOutput.violation("device " + known.device.name() + " was never released");
    }
}

Devices::Map::iterator Devices::pluggedAt(const std::string& port) {
    return std::find_if(mKnown.begin(), mKnown.end(), [&port](const auto& known) {
        return known.second.isPlugged && known.second.device.port == port;
    });
}

InterestEvent Devices::interestIn(const UsbDevice& device) { return ask(device, DeviceRecord(0, device)); }

InterestEvent Devices::ask(const UsbDevice& device, const DeviceRecord& record) {
    char* description = nullptr;
    ZEBDeviceInterestLevel level =
        mDiscoverer.entry.getDeviceInterest(mDiscoverer.self, provider(), record.info(), &description);
    std::string text = mStrings.take(description, "getDeviceInterest").value_or("");
    return {device.address(), level, text};
}

void Devices::judge(uint32_t id) {
    Known& known = mKnown.at(id);
    known.verdict = zebhost::judge(known.device, mPolicy);
    mOutput.report(VerdictEvent{known.device.address(), known.verdict.isOffered, mPolicy.dryRun,
                                known.verdict.rule, known.verdict.reason});
    if (known.verdict.isOffered)
        proceed(id);
}

void Devices::proceed(uint32_t id) {
    Known& known = mKnown.at(id);
    known.isPostponed = !mPolicy.dryRun && !mMayOffer(known.device, known.verdict);
    if (known.isPostponed)
        return;
    InterestEvent interest = ask(known.device, *known.record);
    mOutput.report(interest);
    if (interest.level < ZEBDeviceInterestNone && !mPolicy.dryRun)
        offer(id);
}

void Devices::offer(uint32_t id) {
    Known& known = mKnown.at(id);
    known.isHeld = true;
    mOfferedId = id;
    mOutput.report(OfferEvent{known.device.address()});
    mDiscoverer.entry.offerDevice(mDiscoverer.self, provider(), known.record->info());
    mOfferedId = 0;
    forgetIfUnused(mKnown.find(id));
}

void Devices::forgetIfUnused(Map::iterator entry) {
    if (entry == mKnown.end())
        return;
    const Known& known = entry->second;
    if (!known.isPlugged && !known.isHeld && known.entities == 0)
        mKnown.erase(entry);
}

void Devices::report(const char* action, const UsbDevice& device) {
    mOutput.report(
        DeviceEvent{action, device.address(), device.vendorId(), device.productId(), device.name()});
}

} // namespace zebhost

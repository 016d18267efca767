#include "host/Host.h"

#include "host/EntryPoints.h"
#include "host/HostTables.h"
#include "host/Plugin.h"

#include <cstring>

namespace zebhost {
namespace {

std::atomic<Host*> gCurrent{nullptr};

std::string describe(ZEBDiscoverySDKError error) {
    return std::string(errorText(error)) + " (" + std::to_string(error) + ")";
}

} // namespace

Host::Host(Loop& loop, Output& output) :
    mLoop(loop),
    mOutput(output),
    mStrings(output),
    mEntities(loop, mDiscoverer, output, mStrings),
    mDevices(mDiscoverer, output, mStrings),
    mWatches(loop, mDiscoverer, output),
    mHandleTimers(loop, mDiscoverer, mWatches, output),
    mTimer(loop, [this] { mDiscoverer.entry.handleTimeout(mDiscoverer.self); }) {
    // What closes descriptors is followed by a refresh: the next operation may open them again under
    // the same numbers.
    mEntities.onDestroyed([this](uint32_t deviceId) {
        mDevices.entityDestroyed(deviceId);
        refreshHandles();
    });
    mDevices.onRemoved([this] { refreshHandles(); });
    gCurrent = this;
}

Host::~Host() { gCurrent = nullptr; }

Host* Host::current() { return gCurrent; }

void Host::start(ZEBDiscovererInitializeFunction function, const Properties& properties) {
    initialize(function);
    mDiscoverer.entry.setContext(mDiscoverer.self, this);
    if (ZEBDiscoverySDKError error = mDiscoverer.entry.init(mDiscoverer.self))
        throw HostError("the plug-in can't be set up: " + describe(error));
    setProperties(properties);
    mIsStarted = true;
    mDiscoverer.entry.start(mDiscoverer.self);
}

void Host::providerStarted(ZEBDiscoverySDKError error) {
    mDiscoverer.entry.deviceProviderStarted(mDiscoverer.self, mDevices.provider(), error);
}

void Host::beforeWait() {
    mEntities.work();
    refreshHandles();
}

void Host::refreshHandles() {
    mWatches.refresh(mEntities.handles());
    mHandleTimers.refresh();
}

void Host::end() {
    mIsEnding = true;
    if (mDiscoverer.self == nullptr)
        return;
    if (mIsStarted && !mHasStopped)
        mDiscoverer.entry.stop(mDiscoverer.self);
    mEntities.destroyAll();
    mTimer.cancel();
    mHandleTimers.clear();
    mWatches.clear();
    mDiscoverer.entry.destroyDiscoverer(mDiscoverer.self);
    mDiscoverer.self = nullptr;
    mPhase = Phase::Destroyed;
}

void Host::conclude() {
    mDevices.reportHeld();
    if (mIsSubscribed)
        mOutput.violation("the discoverer never unsubscribed from its device provider");
    mStrings.reportLeaks();
    for (ZEBDiscoverySDKError error : std::exchange(mStops, {}))
        mOutput.report(StoppedEvent{error});
}

bool Host::mayCall(const char* callback) {
    if (mPhase == Phase::Alive)
        return true;
    mOutput.violation(std::string(callback) + ": called after the discoverer was destroyed");
    return false;
}

bool Host::mayCallOnHostThread(const char* callback) {
    if (!mayCall(callback))
        return false;
    if (isHostThread())
        return true;
    mOutput.violation(std::string(callback) + ": called on a thread that is not the host's");
    return false;
}

void Host::discovererStopped(ZEBDiscoverySDKError error) {
    mStops.push_back(error);
    mHasStopped = !mIsEnding;
}

void Host::log(int32_t severity, const char* text) {
    if (text != nullptr)
        mOutput.report(LogEvent{severity, text});
}

void Host::freeString(char* string) {
    // Fetches are made and answered on the host's thread alone.
    if (isHostThread())
        mEntities.stringFreed(string);
    mStrings.release(string);
}

ZEBDiscoverySDKError Host::subscribe(const char* provider, ZEBDiscovererDeviceProvider** out) {
    if (provider == nullptr || out == nullptr)
        return ZEBDiscoverySDKErrorInvalidParameter;
    if (std::strcmp(provider, "usb") != 0)
        return ZEBDiscoverySDKErrorNotImplemented;
    mIsSubscribed = true;
    *out = mDevices.provider();
    return ZEBDiscoverySDKErrorNone;
}

void Host::unsubscribe(const ZEBDiscovererDeviceProvider* provider) {
    if (!mIsSubscribed || provider != mDevices.provider())
        mOutput.violation("unsubscribeFromDeviceProvider: not subscribed to it");
    mIsSubscribed = false;
}

void Host::announce(ZEBDiscovererEntity* entity, bool publish) {
    uint32_t device = mDevices.offeredId();
    if (mEntities.announce(entity, publish, device, mDevices.offeredAddress()))
        mDevices.entityAdded(device);
}

void Host::handlesChanged() {
    // On the host's own thread they are asked for before the next wait anyway.
    if (!isHostThread())
        mLoop.wake();
}

void Host::setTimer(ZEBDiscoverySDKTimeoutMicroseconds timeout) {
    if (!mDiscoverer.isSingle())
        unasked("setTimer");
    else if (timeout < 0)
        mTimer.cancel();
    else
        mTimer.arm(static_cast<uint64_t>(timeout));
}

void Host::initialize(ZEBDiscovererInitializeFunction function) {
    try {
        mDiscoverer.self = function(&mDiscoverer.entry, sizeof mDiscoverer.entry, &hostCallbacks(),
                                    sizeof(ZEBDiscovererCallbacks));
    } catch (const std::exception& error) {
        throw HostError("the plug-in can't make its discoverer: " + std::string(error.what()));
    }
    if (mDiscoverer.self == nullptr)
        throw HostError("the plug-in can't make its discoverer: out of memory");
    std::string missing = missingEntryPoints(mDiscoverer.entry);
    if (!missing.empty()) {
        mDiscoverer.self = nullptr;
        throw HostError("the plug-in lacks entry points that this host needs: " + missing);
    }
}

void Host::setProperties(const Properties& properties) {
    for (const auto& [key, value] : properties) {
        ZEBDiscoverySDKError error =
            mDiscoverer.entry.setProperty(mDiscoverer.self, key.c_str(), value.c_str());
        if (error != ZEBDiscoverySDKErrorNone)
            throw HostError("the plug-in does not take the property \"" + key + "\": " + describe(error));
    }
}

} // namespace zebhost

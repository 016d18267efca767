#pragma once

#include "tests/support/DeviceRecord.h"
#include "tests/support/FakeHost.h"
#include "usb/UsbDiscoverer.h"
#include "usb/UsbEntity.h"

#include <deque>
#include <functional>
#include <memory>
#include <string>

namespace zebtest {

using zebdiscoverer_usb::EntityManager;
using zebdiscoverer_usb::UsbDiscoverer;
using zebdiscoverer_usb::UsbEntity;
using Status = UsbEntity::UsbEntityStatus;

/** A status that has no name. */
constexpr Status kOtherStatus = static_cast<Status>(7);

/** An entity whose attempts turn out as the test says; each is noted in the host's record. */
class ScriptedEntity : public UsbEntity {
public:
    using UsbEntity::UsbEntity;

    /** Results of openPort, in order; the last one stays. */
    std::deque<Status> ports = {Status::Done};
    /** Run inside openPort, before its result. */
    std::function<void()> inOpenPort;
    std::function<void()> inRequestZebCmd;
    std::function<void()> inDoHandleEvent;
    std::function<ZEBDiscoverySDKError(const char*)> password;
    Status eventResult = Status::Done;
    Status timeoutResult = Status::Done;
    /** What doSetZebCmd forms. */
    std::string command = "zebcmd:test";
    bool multipleHandles = false;
    bool connectionPass = false;
    bool hidesOwnHandle = false;

    int portsOpened = 0;
    int commandsRequested = 0;
    const void* lastHandle = nullptr;

    bool usesMultipleHandles() const override { return multipleHandles; }
    ZEBDiscovererEventHandle* getEventHandle() override {
        return hidesOwnHandle ? nullptr : UsbEntity::getEventHandle();
    }
    bool isConnectionPassPossible() const override { return connectionPass; }
    ZEBDiscoverySDKError setPassword(const char* value) override {
        Record::note("setPassword", value);
        return password ? password(value) : UsbEntity::setPassword(value);
    }
    void requestZebCmd() override {
        Record::note("requestZebCmd");
        ++commandsRequested;
        if (inRequestZebCmd)
            inRequestZebCmd();
    }
    Status doHandleEvent(ZEBDiscovererEventHandle* handle) override {
        Record::note("doHandleEvent", handle);
        lastHandle = handle;
        if (inDoHandleEvent)
            inDoHandleEvent();
        return eventResult;
    }
    Status doHandleTimeout(ZEBDiscovererEventHandle* handle) override {
        Record::note("doHandleTimeout", handle);
        lastHandle = handle;
        return timeoutResult;
    }
    Status openPort() override {
        Record::note("openPort");
        ++portsOpened;
        if (inOpenPort)
            inOpenPort();
        const Status result = ports.front();
        if (ports.size() > 1)
            ports.pop_front();
        return result;
    }

    using UsbEntity::addEventHandle;
    using UsbEntity::clearPublishFlag;
    using UsbEntity::closeEventHandle;
    using UsbEntity::completePendingFetch;
    using UsbEntity::dropEventHandles;
    using UsbEntity::hasActiveHandles;
    using UsbEntity::removeEventHandle;
    using UsbEntity::setOwnEventHandle;
    using UsbEntity::setTimerForHandle;
    using UsbEntity::setZebCmd;

protected:
    void doSetZebCmd() override {
        Record::note("doSetZebCmd");
        storeZebCmd(mDiscoverer.allocString(command.c_str(), -1));
    }
};

/** What it notes when its port is opened. */
inline const Call kOpenPort{"openPort", {}};

inline ZEBDiscovererEntity* toHost(UsbEntity* entity) {
    return reinterpret_cast<ZEBDiscovererEntity*>(entity);
}

inline Call logged(int severity, const char* text) { return {"log", {severity, text}}; }

/** A host with the USB discoverer, brought up, which has forgotten how. */
class DiscovererRig {
public:
    DiscovererRig() {
        auto made = std::make_unique<UsbDiscoverer>(&host.entry, host.interfaceSize, &host.callbacks,
                                                    host.callbackSize);
        discoverer = made.release();
        host.adopt(
            reinterpret_cast<ZEBDiscoverer*>(static_cast<zebdiscovery::ZEBDiscovererImpl*>(discoverer)));
        host.bringUp();
        forget();
    }
    ~DiscovererRig() {
        if (host.discoverer)
            host.destroy();
    }

    /** All that has happened since the last look, in order; without the questions whether a line is wanted.
     */
    std::vector<Call> happened() { return host.takeRecord({Kind::LevelQuery}); }
    void forget() { host.takeRecord(); }
    /** Run inside the n-th call of that callback from now on, and never again. */
    void onceInside(const char* callback, int n, std::function<void()> run) {
        // A hook is copied each time it runs.
        host.on[callback] = [this, callback, run = std::move(run), left = std::make_shared<int>(n)] {
            if (--*left != 0)
                return;
            host.on[callback] = nullptr;
            run();
        };
    }

    FakeHost host;
    UsbDiscoverer* discoverer;
};

/** The same with a scripted entity, which the discoverer forwards for but does not own. */
class EntityRig : public DiscovererRig {
public:
    EntityRig() : entity(std::make_unique<ScriptedEntity>(*discoverer, *discoverer, device.get())) {}

    /** Fetch as a host does, through the barrier. */
    ZEBDiscoverySDKRequest* fetch(const char* key) { return host.fetch(handle(), key); }
    ZEBDiscovererEntity* handle() { return toHost(entity.get()); }
    /** The answer to a fetch of the scripted entity, as the host must see it. */
    Call answer(const char* key, const void* request, int error, Argument value) {
        return {"fetchComplete", {handle(), key, request, error, std::move(value)}};
    }
    Call timer(int timeout) { return {"setEntityTimer", {handle(), timeout}}; }
    /** Give the entity its command now, with the timer set and then forgotten. */
    void giveCommand(int timeout) {
        entity->setZebCmd(timeout);
        forget();
    }

    DeviceRecord device{6699, usbProperties("18d1", "4ee2")};
    std::unique_ptr<ScriptedEntity> entity;
};

} // namespace zebtest

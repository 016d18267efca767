#pragma once

#include "phones/Catalogue.h"
#include "phones/DeviceRecord.h"
#include "phones/usbfs/UsbfsDevice.h"
#include "tests/support/FakeHost.h"

#include <functional>
#include <memory>
#include <vector>

namespace zebtest {

/** A phone and the record by which the host offers it; on the bus only when it is one to be switched:
 *  nobody opens the others. */
struct Plugged {
    std::size_t place;
    std::shared_ptr<zebphones::UsbfsDevice> device;
    std::unique_ptr<zebphones::DeviceRecord> record;
};

/**
 * A host that lives with whatever a plug-in with failing calls does, on a machine with an emulated bus: it
 * waits for what it is told to wait for, destroys what it is told is lost, and never assumes that anything
 * went well. Its calls cross the Boundary.
 */
class Stage {
public:
    explicit Stage(ZEBDiscovererInitializeFunction function);
    ~Stage();
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;

    /** Make the discoverer; false when there is none, for want of memory or with an exception (which is
     *  let out of this one function, because there is no barrier yet). */
    bool initialize();
    /** setContext, init, and when that went well all properties and start. */
    void setUp();

    /** A phone to be switched. */
    Plugged& plug();
    /** One that nobody opens. */
    Plugged& plugUnopened(const zebphones::UsbFace& face);
    void unplug(Plugged& phone);
    /** The entity that the host was given, or null. */
    ZEBDiscovererEntity* offer(Plugged& phone);
    /** What a host does when a device has gone: say so, and destroy what is lost. */
    void remove(Plugged& phone);
    void destroyLost();
    bool isAlive(ZEBDiscovererEntity* entity) const;

    /** Live on, moving the clock whenever nothing is ready, until the condition holds or nothing is left
     *  to wait for. */
    bool liveUntil(const std::function<bool()>& condition);
    /** Dispatch what is ready. */
    void settle();
    /** Bring the hand-shake to its n-th transfer (0 to 7), which stays pending; false when it ended. */
    bool advanceTo(Plugged& phone, std::size_t transfer);

    /** A phone of each kind goes through from end to end: nothing that was before stands in its way. */
    void expectNextPhonesWork();
    /** The host has no more use for any entity: each phone so far is given back, once (or so often). */
    void expectEachGivenBack(int most = 1);
    /** How often the device was given back. */
    int releases(const Plugged& phone) const;
    void end();

    FakeHost host;

private:
    Plugged& add(Plugged phone, const zebphones::UsbFace& face, int address);
    void expectSwitched();
    void expectTethered();

    ZEBDiscovererInitializeFunction mpFunction;
    std::vector<std::unique_ptr<Plugged>> mPhones;
    std::vector<ZEBDiscovererEntity*> mLost;
    std::size_t mPlaces = 0;
    unsigned mLastId = 0;
    bool mStarted = false;
};

} // namespace zebtest

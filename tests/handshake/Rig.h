#pragma once

#include "phones/Catalogue.h"
#include "phones/DeviceRecord.h"
#include "phones/usbfs/Testbed.h"
#include "tests/support/FakeHost.h"
#include "tests/support/PluginUnderTest.h"

#include <functional>
#include <memory>

namespace zebtest {

/** The eight transfers of the hand-shake, in order. */
struct Transfer {
    const char* name;
    uint8_t request;
    uint16_t index;
    /** Data bytes that it moves, with the default strings. */
    int length;
};
extern const std::vector<Transfer> kTransfers;

/** The default identification strings. */
extern const std::vector<std::string> kDefaultStrings;

/**
 * The plug-in as it ships, loaded by a fake host on a machine with an emulated USB bus, on which one phone
 * is plugged. The host has brought the plug-in up and has been offered nothing yet. Ends everything in a
 * host's order; what the host may complain about fails the test.
 */
class Rig {
public:
    explicit Rig(zebphones::PhoneDescription description = zebphones::loadPhone("accessory"));
    ~Rig();

    /** Offer the phone; the entity that was made of it, or null. */
    ZEBDiscovererEntity* offer();
    /** Wait and dispatch until the condition holds; false after some seconds without. */
    bool runUntil(const std::function<bool()>& condition);
    /** Dispatch what is ready, until nothing is. */
    void settle();
    /** One state at a time: go on until the n-th transfer (0 to 7) is pending. Moves the clock for the last.
     */
    void advanceTo(std::size_t transfer);
    /** Let the pending transfer be answered and the plug-in react to it. */
    void completeOne();

    /** The plug-in was told that the phone has gone. */
    void removeDevice() { host.entry.removeDevice(host.discoverer, host.provider, record->get()); }
    std::size_t requests() { return phone->received().size(); }
    /** The log lines of one severity or more severe. */
    std::vector<std::string> logged(int severity) const;
    /** The calls of one function of libusb or the system. */
    std::vector<Call> below(const std::string& name) const;
    int lostCalls() const { return static_cast<int>(host.callsOf("entityLost").size()); }

    PluginUnderTest plugin;
    zebphones::Testbed bed;
    std::shared_ptr<zebphones::UsbfsDevice> phone;
    std::unique_ptr<zebphones::DeviceRecord> record;
    FakeHost host;
    ZEBDiscovererEntity* entity = nullptr;
};

} // namespace zebtest

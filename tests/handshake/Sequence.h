// What the order tests have in common: a phone, and the calls as the record holds them.
#pragma once

#include "tests/handshake/LibUsbSpy.h"
#include "tests/handshake/NodeAccess.h"
#include "tests/handshake/Rig.h"

#include <cstdio>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libusb.h>
#include <unistd.h>

namespace zebtest {

using Calls = std::vector<Call>;

/** The phone, and what happened since it was last asked, in order. */
class ASequence : public testing::Test {
protected:
    explicit ASequence(zebphones::PhoneDescription description = zebphones::loadPhone("accessory")) :
        rig(std::move(description)) {
        rig.host.takeRecord();
    }
    ~ASequence() override { usb.on.clear(); }

    /** Everything since the last time, but the questions whether a severity is wanted. */
    Calls taken() { return rig.host.takeRecord({Kind::LevelQuery}); }
    /** Go on until the n-th transfer is pending; nothing is left in the record. */
    void advanceTo(std::size_t transfer) {
        rig.advanceTo(transfer);
        rig.host.takeRecord();
    }
    /** The pending transfer comes back; libusb says that it went so. */
    void completeAs(int status, int length) {
        usb.nextOutcome = LibUsbSpy::Outcome{status, length};
        rig.completeOne();
    }

    /** All strings were taken; the phone's one second has begun. */
    void advanceToTimer() {
        rig.advanceTo(6);
        rig.completeOne();
        rig.host.takeRecord();
    }
    /** The host tells that the wake event's timer has expired, by a copy of its handle. */
    void expireTimer() {
        ZEBDiscovererEventHandle copy = rig.host.handles().back().first;
        rig.host.entry.handleTimeoutForEventHandle(rig.host.discoverer, &copy);
    }
    /** The host tells that a handle is ready though nothing has happened. */
    void wake() {
        ZEBDiscovererEventHandle copy = rig.host.handles().back().first;
        rig.host.entry.handleSingleEvent(rig.host.discoverer, &copy);
    }

    static Call line(int severity, const char* text) { return {"log", {severity, text}}; }
    Call timer(int timeout) const { return {"setEntityTimer", {rig.entity, timeout}}; }
    Call lost() const { return {"entityLost", {rig.entity}}; }
    Call events() const { return {"libusb_handle_events_timeout", {usb.context, 0, 0}}; }
    Call finished(int status, int length) const {
        return {"transferFinished", {usb.transfer, status, length}};
    }
    /** The eight bytes in hexadecimal. */
    Call submitted(const char* setup) const {
        return {"libusb_submit_transfer", {usb.transfer, usb.handle, setup, 500}};
    }
    std::string phoneName() const { return nameOf(rig.phone->bus(), rig.phone->address()); }
    static std::string nameOf(int bus, int address) {
        char name[16];
        std::snprintf(name, sizeof(name), "%03d/%03d", bus, address);
        return name;
    }

    // The steps of an opening.
    Call initialised() const { return {"libusb_init", {}}; }
    Call logLevelSet() const { return {"libusb_set_option", {usb.context, 0, 1}}; }
    Call allocated() const { return {"libusb_alloc_transfer", {0}}; }
    Call listed() const { return {"libusb_get_device_list", {usb.context}}; }
    static Call asked(const std::string& path) { return {"euidaccess", {path, R_OK | W_OK}}; }
    static Call opened(const std::string& device) { return {"libusb_open", {device}}; }
    Call listFreed() const { return {"libusb_free_device_list", {1}}; }
    Call notifiersSet() const { return {"libusb_set_pollfd_notifiers", {usb.context}}; }
    Call descriptorsListed() const { return {"libusb_get_pollfds", {usb.context}}; }

    // The steps of an end.
    Call cancelled() const { return {"libusb_cancel_transfer", {usb.transfer}}; }
    Call transferFreed() const { return {"libusb_free_transfer", {usb.transfer}}; }
    Call closed() const { return {"libusb_close", {usb.handle}}; }
    Call ended() const { return {"libusb_exit", {usb.context}}; }
    Call stopped() const { return {"discovererStopped", {rig.host.discoverer, 0}}; }

    Rig rig;
    LibUsbSpy& usb = LibUsbSpy::instance();
};

/** The setup packets of the hand-shake with the default strings, as they go over the wire. */
inline constexpr const char* kSetups[] = {"c033000000000200", "4034000000000f00", "4034000001000700",
                                          "4034000002001a00", "4034000003000300", "4034000004001800",
                                          "4034000005000d00", "4035000000000000"};

inline zebphones::PhoneDescription phoneInAccessoryMode() {
    zebphones::PhoneDescription description = zebphones::loadPhone("accessory");
    description.normal = description.accessory;
    return description;
}

inline zebphones::PhoneDescription phoneThatReacts(zebphones::Reaction reaction, std::size_t transfer) {
    zebphones::PhoneDescription description = zebphones::loadPhone("accessory");
    description.faults = {
        {.request = kTransfers[transfer].request, .index = kTransfers[transfer].index, .reaction = reaction}};
    return description;
}

} // namespace zebtest

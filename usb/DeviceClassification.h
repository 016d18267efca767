#pragma once

#include "zebdiscovery/device.h"

namespace zebdiscoverer_usb {

// What a USB device is, read off its record: pure functions, without log or state.
//
// A search is one walk over the records in order that descends into an active
// configuration at its place; only active records match, and the first one wins.
// Classes, subclasses and protocols are compared as texts; a null protocol is any.

/** The first matching interface, or null. requireExtra: only one that has the extra property. */
const ZEBDeviceDescriptor* findInterface(const ZEBDeviceInfo& device, const char* deviceClass,
                                         const char* subclass, const char* protocol, bool requireExtra);

/** The first matching interface association, or null. */
const ZEBDeviceDescriptor* findAssociation(const ZEBDeviceInfo& device, const char* deviceClass,
                                           const char* subclass, const char* protocol);

/** Is the interface's number within the association's range? Not when either, or a number, is missing. */
bool interfaceInAssociation(const ZEBDeviceDescriptor* pAssociation, const ZEBDeviceDescriptor* pInterface);

/** Does the device offer a network by one of the known triples? */
bool isTetheringDevice(const ZEBDeviceInfo& device);

enum class DeviceKind {
    /** Not a phone, or not usable now. */
    None = 0,
    Tethering = 1,
    /** Could be switched to accessory mode, or has been. */
    Accessory = 2
};

/**
 * What the device is. The two flags are what the interest level is made of, and are
 * only set for a kind other than None: tethering or already an accessory, and accessory.
 */
DeviceKind classify(const ZEBDeviceInfo& device, bool& flagA, bool& flagB);

} // namespace zebdiscoverer_usb

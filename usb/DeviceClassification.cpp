#include "usb/DeviceClassification.h"

#include "usb/AAPUsbEntity.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <span>

namespace zebdiscoverer_usb {

namespace {

/** The record's property; null when it has none of that index. */
const char* property(const ZEBDeviceDescriptor& record, uint32_t index) {
    return index < record.propertiesCount && record.properties ? record.properties[index] : nullptr;
}

bool equals(const char* text, const char* wanted) {
    // Most texts are told apart by their first character.
    return text && *text == *wanted && std::strcmp(text, wanted) == 0;
}

std::span<const ZEBDeviceDescriptor> recordsOf(const ZEBDeviceInfo& device) {
    return {device.descriptors, device.descriptors ? device.descriptorsCount : 0};
}

std::span<const ZEBDeviceDescriptor> childrenOf(const ZEBDeviceDescriptor& configuration) {
    return {configuration.children, configuration.children ? configuration.childrenCount : 0};
}

/** The first active record that matches, in the order of a search. */
template <class Matches>
const ZEBDeviceDescriptor* firstActive(const ZEBDeviceInfo& device, const Matches& matches) {
    for (const ZEBDeviceDescriptor& record : recordsOf(device)) {
        if (!record.active)
            continue;
        if (matches(record))
            return &record;
        if (record.kind != ZEBDeviceDescriptorConfiguration)
            continue;
        for (const ZEBDeviceDescriptor& child : childrenOf(record)) {
            if (child.active && matches(child))
                return &child;
        }
    }
    return nullptr;
}

/** The three comparisons; the properties stand at the same places for both kinds. */
bool hasTriple(const ZEBDeviceDescriptor& record, const char* deviceClass, const char* subclass,
               const char* protocol) {
    return record.propertiesCount >= 3 && equals(property(record, UsbInterfacePropertyClass), deviceClass) &&
           equals(property(record, UsbInterfacePropertySubclass), subclass) &&
           (!protocol || equals(property(record, UsbInterfacePropertyProtocol), protocol));
}

/** As atoi, but a number out of range is the nearest that is in range. */
int64_t number(const char* text) {
    const long value = std::strtol(text, nullptr, 10);
    return std::clamp<long>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
}

/** Is there an active interface? A configuration's children count whatever their kind is, on purpose. */
bool isUsable(const ZEBDeviceInfo& device) {
    const auto isActive = [](const ZEBDeviceDescriptor& record) { return record.active != 0; };
    return std::ranges::any_of(recordsOf(device), [&](const ZEBDeviceDescriptor& record) {
        if (!isActive(record))
            return false;
        if (record.kind == ZEBDeviceDescriptorConfiguration)
            return std::ranges::any_of(childrenOf(record), isActive);
        return record.kind == ZEBDeviceDescriptorInterface;
    });
}

} // namespace

const ZEBDeviceDescriptor* findInterface(const ZEBDeviceInfo& device, const char* deviceClass,
                                         const char* subclass, const char* protocol, bool requireExtra) {
    return firstActive(device, [=](const ZEBDeviceDescriptor& record) {
        return record.kind == ZEBDeviceDescriptorInterface &&
               (!requireExtra || property(record, UsbInterfacePropertyExtra)) &&
               hasTriple(record, deviceClass, subclass, protocol);
    });
}

const ZEBDeviceDescriptor* findAssociation(const ZEBDeviceInfo& device, const char* deviceClass,
                                           const char* subclass, const char* protocol) {
    return firstActive(device, [=](const ZEBDeviceDescriptor& record) {
        return record.kind == ZEBDeviceDescriptorInterfaceAssociation &&
               hasTriple(record, deviceClass, subclass, protocol);
    });
}

bool interfaceInAssociation(const ZEBDeviceDescriptor* pAssociation, const ZEBDeviceDescriptor* pInterface) {
    if (!pAssociation || pAssociation->kind != ZEBDeviceDescriptorInterfaceAssociation || !pInterface ||
        pInterface->kind != ZEBDeviceDescriptorInterface)
        return false;
    const char* wanted = property(*pInterface, UsbInterfacePropertyNumber);
    const char* first = property(*pAssociation, UsbAssociationPropertyFirstInterface);
    const char* count = property(*pAssociation, UsbAssociationPropertyInterfaceCount);
    return wanted && first && count && number(first) <= number(wanted) &&
           number(wanted) < number(first) + number(count);
}

bool isTetheringDevice(const ZEBDeviceInfo& device) {
    const ZEBDeviceDescriptor* association = findAssociation(device, "2", "6", "255");
    if (!association)
        association = findAssociation(device, "2", "6", "0");
    return (association &&
            interfaceInAssociation(association, findInterface(device, "2", "2", "255", false))) ||
           findInterface(device, "2", "1", nullptr, false) || findInterface(device, "224", "1", "3", false);
}

DeviceKind classify(const ZEBDeviceInfo& device, bool& flagA, bool& flagB) {
    if (!isUsable(device))
        return DeviceKind::None;
    if (isTetheringDevice(device)) {
        flagA = true;
        flagB = false;
        return DeviceKind::Tethering;
    }
    if (AAPUsbEntity::isAapDevice(&device, &flagA)) {
        flagB = true;
        return DeviceKind::Accessory;
    }
    return DeviceKind::None;
}

} // namespace zebdiscoverer_usb

/*
 * The record by which a device provider describes one device. The host owns the
 * record and everything it points at; a discoverer only reads it. It must stay
 * as it is from offerDevice until the device has been released (releaseDevice).
 */
#ifndef ZEBDISCOVERY_DEVICE_H
#define ZEBDISCOVERY_DEVICE_H

#include "zebdiscovery/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Kind of a descriptor record. */
enum {
    ZEBDeviceDescriptorConfiguration = 1,
    ZEBDeviceDescriptorInterface = 2,
    ZEBDeviceDescriptorInterfaceAssociation = 4
};

/**
 * One descriptor of a USB device. All numbers among the properties are decimal
 * strings; a string may be null when it is not known.
 */
typedef struct ZEBDeviceDescriptor {
    /** ZEBDeviceDescriptorConfiguration, ...Interface or ...InterfaceAssociation. */
    uint32_t kind;
    /** Non-zero when the descriptor is usable: it belongs to the active configuration. */
    uint32_t active;
    /** Number of entries in properties. */
    uint32_t propertiesCount;
    /** Property strings, by the indices below; NUL-terminated. */
    const char* const* properties;
    /** Number of entries in children; only a configuration has any. */
    uint32_t childrenCount;
    /** A configuration's interfaces and associations, side by side in memory. */
    const struct ZEBDeviceDescriptor* children;
} ZEBDeviceDescriptor;

/** Indices into the properties of an interface. */
enum {
    UsbInterfacePropertyClass = 0,
    UsbInterfacePropertySubclass = 1,
    UsbInterfacePropertyProtocol = 2,
    UsbInterfacePropertyNumber = 3,
    /** An optional extra value. Index 4 is the provider's own. */
    UsbInterfacePropertyExtra = 5
};

/** Indices into the properties of an interface association. */
enum {
    UsbAssociationPropertyClass = 0,
    UsbAssociationPropertySubclass = 1,
    UsbAssociationPropertyProtocol = 2,
    UsbAssociationPropertyFirstInterface = 3,
    UsbAssociationPropertyInterfaceCount = 4
};

/** Indices into the properties of a device of the provider "usb". */
enum {
    /** Bus number, decimal. */
    UsbDeviceProviderDevicePropertyBusNumber = 0,
    /** Device number (address) on that bus, decimal. */
    UsbDeviceProviderDevicePropertyDeviceNumber = 1,
    /** Vendor id, four lower-case hexadecimal digits. */
    UsbDeviceProviderDevicePropertyVendorId = 2,
    /** Product id, four lower-case hexadecimal digits. */
    UsbDeviceProviderDevicePropertyProductId = 3,
    /** Optional: a name, used as the entity's id. */
    UsbDeviceProviderDevicePropertyName = 4
};

/**
 * One device.
 *
 * A provider "usb" gives at least the first four properties. A discoverer reads
 * the product id as soon as there are three, so a provider that knows no product
 * id must still provide a (null) fourth entry.
 */
typedef struct ZEBDeviceInfo {
    /** Reserved to the provider. */
    uint32_t reserved;
    /** Number of the device, unique among the devices that the provider offers. */
    uint32_t deviceId;
    /** Number of entries in properties. */
    uint32_t propertiesCount;
    /** Property strings, by the indices above; NUL-terminated, null when not known. */
    const char* const* properties;
    /** Number of entries in descriptors. */
    uint32_t descriptorsCount;
    /** Top-level descriptor records, side by side in memory. */
    const ZEBDeviceDescriptor* descriptors;
} ZEBDeviceInfo;

#ifdef __cplusplus
}
#endif

#endif

#pragma once

#include "zebdiscovery/device.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zebtest {

/** Property strings; an empty optional stands for a null pointer. */
using Properties = std::vector<std::optional<std::string>>;

/** A descriptor record as a test writes it down. */
struct Descriptor {
    unsigned kind = 0;
    bool active = true;
    Properties properties = {};
    std::vector<Descriptor> children = {};
};

/** The three kinds, active unless told otherwise. */
Descriptor configuration(std::vector<Descriptor> children, bool active = true);
Descriptor interface(Properties properties, bool active = true);
Descriptor association(Properties properties, bool active = true);

/**
 * A device record in the form that a provider hands out, with everything it points at, in allocations
 * of exactly the needed size, so that a read beyond a count is found by a sanitizer. Not copyable: the
 * record's address is its identity.
 */
class DeviceRecord {
public:
    DeviceRecord(unsigned deviceId, const Properties& properties,
                 const std::vector<Descriptor>& descriptors = {});
    DeviceRecord(const DeviceRecord&) = delete;
    DeviceRecord& operator=(const DeviceRecord&) = delete;

    const ZEBDeviceInfo* get() const { return &mInfo; }
    operator const ZEBDeviceInfo*() const { return &mInfo; }

    /** Say that there are fewer properties than are stored. */
    void claimPropertiesCount(unsigned count) { mInfo.propertiesCount = count; }

private:
    const char* const* store(const Properties& properties);
    const ZEBDeviceDescriptor* store(const std::vector<Descriptor>& descriptors);

    std::vector<std::unique_ptr<std::string>> mTexts;
    std::vector<std::unique_ptr<const char*[]>> mPropertyArrays;
    std::vector<std::unique_ptr<ZEBDeviceDescriptor[]>> mDescriptorArrays;
    ZEBDeviceInfo mInfo;
};

/** Descriptors by which a device is told apart: a tethering phone's and an ordinary vendor interface's. */
std::vector<Descriptor> tetheringDescriptors();
std::vector<Descriptor> plainDescriptors();

/** Properties of a device of the provider "usb": bus, number, vendor and product. */
Properties usbProperties(const char* vendor, const char* product);

} // namespace zebtest

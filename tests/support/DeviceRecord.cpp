#include "tests/support/DeviceRecord.h"

namespace zebtest {

Descriptor configuration(std::vector<Descriptor> children, bool active) {
    return {ZEBDeviceDescriptorConfiguration, active, {}, std::move(children)};
}

Descriptor interface(Properties properties, bool active) {
    return {ZEBDeviceDescriptorInterface, active, std::move(properties), {}};
}

Descriptor association(Properties properties, bool active) {
    return {ZEBDeviceDescriptorInterfaceAssociation, active, std::move(properties), {}};
}

DeviceRecord::DeviceRecord(unsigned deviceId, const Properties& properties,
                           const std::vector<Descriptor>& descriptors) :
    mInfo{.reserved = 0xabababab,
          .deviceId = deviceId,
          .propertiesCount = static_cast<uint32_t>(properties.size()),
          .properties = store(properties),
          .descriptorsCount = static_cast<uint32_t>(descriptors.size()),
          .descriptors = store(descriptors)} {}

const char* const* DeviceRecord::store(const Properties& properties) {
    if (properties.empty())
        return nullptr;
    auto array = std::make_unique<const char*[]>(properties.size());
    for (std::size_t i = 0; i < properties.size(); ++i) {
        if (!properties[i])
            continue;
        mTexts.push_back(std::make_unique<std::string>(*properties[i]));
        array[i] = mTexts.back()->c_str();
    }
    mPropertyArrays.push_back(std::move(array));
    return mPropertyArrays.back().get();
}

const ZEBDeviceDescriptor* DeviceRecord::store(const std::vector<Descriptor>& descriptors) {
    if (descriptors.empty())
        return nullptr;
    auto array = std::make_unique<ZEBDeviceDescriptor[]>(descriptors.size());
    for (std::size_t i = 0; i < descriptors.size(); ++i) {
        const Descriptor& from = descriptors[i];
        array[i] = {.kind = from.kind,
                    .active = from.active ? 1U : 0U,
                    .propertiesCount = static_cast<uint32_t>(from.properties.size()),
                    .properties = store(from.properties),
                    .childrenCount = static_cast<uint32_t>(from.children.size()),
                    .children = store(from.children)};
    }
    mDescriptorArrays.push_back(std::move(array));
    return mDescriptorArrays.back().get();
}

std::vector<Descriptor> tetheringDescriptors() {
    return {configuration({association({"2", "6", "0", "0", "2"}), interface({"2", "2", "255", "0"}),
                           interface({"10", "0", "0", "1"})})};
}

std::vector<Descriptor> plainDescriptors() { return {configuration({interface({"255", "66", "1", "0"})})}; }

Properties usbProperties(const char* vendor, const char* product) { return {"1", "4", vendor, product}; }

} // namespace zebtest

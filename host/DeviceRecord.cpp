#include "host/DeviceRecord.h"

namespace zebhost {
namespace {

ZEBDeviceDescriptor descriptor(uint32_t kind, bool active, const std::vector<const char*>& properties) {
    return {kind, active ? 1u : 0u, static_cast<uint32_t>(properties.size()), properties.data(), 0, nullptr};
}

} // namespace

DeviceRecord::DeviceRecord(uint32_t deviceId, const UsbDevice& device) {
    for (const UsbConfiguration& configuration : device.descriptors.configurations) {
        bool active = device.activeConfiguration != 0 && configuration.value == device.activeConfiguration;
        mConfigurations.push_back(describe(configuration, active));
    }
    const Properties& properties = mProperties.emplace_back(
        Properties{keep(std::to_string(device.bus)), keep(std::to_string(device.device)),
                   keep(device.vendorId()), keep(device.productId()), keep(device.name())});

    mInfo.deviceId = deviceId;
    mInfo.propertiesCount = static_cast<uint32_t>(properties.size());
    mInfo.properties = properties.data();
    mInfo.descriptorsCount = static_cast<uint32_t>(mConfigurations.size());
    mInfo.descriptors = mConfigurations.data();
}

const char* DeviceRecord::keep(std::string text) { return mTexts.emplace_back(std::move(text)).c_str(); }

const DeviceRecord::Properties& DeviceRecord::keepNumbers(std::initializer_list<int> numbers) {
    Properties& properties = mProperties.emplace_back();
    for (int number : numbers)
        properties.push_back(keep(std::to_string(number)));
    return properties;
}

ZEBDeviceDescriptor DeviceRecord::describe(const UsbConfiguration& configuration, bool active) {
    std::vector<ZEBDeviceDescriptor> children;
    for (const auto& part : configuration.parts)
        children.push_back(std::visit([&](const auto& p) { return describe(p, active); }, part));
    const auto& kept = mChildren.emplace_back(std::move(children));

    ZEBDeviceDescriptor d =
        descriptor(ZEBDeviceDescriptorConfiguration, active, keepNumbers({configuration.value}));
    d.childrenCount = static_cast<uint32_t>(kept.size());
    d.children = kept.data();
    return d;
}

ZEBDeviceDescriptor DeviceRecord::describe(const UsbInterface& i, bool active) {
    return descriptor(ZEBDeviceDescriptorInterface, active,
                      keepNumbers({i.interfaceClass, i.subclass, i.protocol, i.number}));
}

ZEBDeviceDescriptor DeviceRecord::describe(const UsbAssociation& a, bool active) {
    return descriptor(ZEBDeviceDescriptorInterfaceAssociation, active,
                      keepNumbers({a.functionClass, a.subclass, a.protocol, a.first, a.count}));
}

} // namespace zebhost

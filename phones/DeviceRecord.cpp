#include "phones/DeviceRecord.h"

namespace zebphones {
namespace {

template <class... Numbers>
std::vector<std::string> decimal(Numbers... numbers) {
    return {std::to_string(static_cast<int>(numbers))...};
}

} // namespace

DeviceRecord::DeviceRecord(const UsbFace& face, int bus, int device, std::uint32_t deviceId) {
    for (const UsbAssociation& a : face.associations) {
        const auto& properties =
            keep(decimal(a.classCode, a.subclass, a.protocol, a.firstInterface, a.interfaceCount));
        mChildren.push_back(record(ZEBDeviceDescriptorInterfaceAssociation, properties));
    }
    for (const UsbInterface& i : face.interfaces) {
        const auto& properties = keep(decimal(i.classCode, i.subclass, i.protocol, i.number));
        mChildren.push_back(record(ZEBDeviceDescriptorInterface, properties));
    }
    mConfiguration = record(ZEBDeviceDescriptorConfiguration, keep({}));
    mConfiguration.childrenCount = static_cast<std::uint32_t>(mChildren.size());
    mConfiguration.children = mChildren.data();

    const auto& properties = keep({std::to_string(bus), std::to_string(device), hexId(face.vendor),
                                   hexId(face.product), face.productName});
    mInfo = {.reserved = 0,
             .deviceId = deviceId,
             .propertiesCount = static_cast<std::uint32_t>(properties.size()),
             .properties = properties.data(),
             .descriptorsCount = 1,
             .descriptors = &mConfiguration};
}

const DeviceRecord::Properties& DeviceRecord::keep(const std::vector<std::string>& texts) {
    Properties& properties = mProperties.emplace_back();
    for (const std::string& text : texts)
        properties.push_back(mTexts.emplace_back(text).c_str());
    return properties;
}

ZEBDeviceDescriptor DeviceRecord::record(std::uint32_t kind, const Properties& properties) const {
    return {.kind = kind,
            .active = 1,
            .propertiesCount = static_cast<std::uint32_t>(properties.size()),
            .properties = properties.data(),
            .childrenCount = 0,
            .children = nullptr};
}

} // namespace zebphones

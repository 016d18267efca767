#include "bench/support/UsbRecord.h"

namespace zebbench {

UsbRecord::UsbRecord(uint32_t deviceId, int bus, int device, const char* vendor, const char* product) {
    mInfo.deviceId = deviceId;
    mInfo.propertiesCount = 4;
    mInfo.properties = keep({std::to_string(bus), std::to_string(device), vendor, product});
    addConfiguration(1, "255", "255", "0");
}

void UsbRecord::addConfiguration(int interfaces, const char* deviceClass, const char* subclass,
                                 const char* protocol) {
    std::vector<ZEBDeviceDescriptor>& children = mChildren.emplace_back();
    for (int number = 0; number < interfaces; ++number)
        children.push_back({ZEBDeviceDescriptorInterface, 1, 4,
                            keep({deviceClass, subclass, protocol, std::to_string(number)}), 0, nullptr});
    mConfigurations.push_back({ZEBDeviceDescriptorConfiguration, 1, 0, nullptr,
                               static_cast<uint32_t>(children.size()), children.data()});
    mInfo.descriptorsCount = static_cast<uint32_t>(mConfigurations.size());
    mInfo.descriptors = mConfigurations.data();
}

const char* const* UsbRecord::keep(std::vector<std::string> texts) {
    std::vector<const char*>& properties = mProperties.emplace_back();
    for (std::string& text : texts)
        properties.push_back(mTexts.emplace_back(std::move(text)).c_str());
    return properties.data();
}

} // namespace zebbench

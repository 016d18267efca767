#include "bench/support/InterestLoop.h"

#include <cstring>

namespace zebbench {

bool hasTriple(const ZEBDeviceInfo& device, const char* deviceClass, const char* subclass,
               const char* protocol) {
    for (uint32_t i = 0; i < device.descriptorsCount; ++i) {
        const ZEBDeviceDescriptor& configuration = device.descriptors[i];
        for (uint32_t j = 0; j < configuration.childrenCount; ++j) {
            const char* const* texts = configuration.children[j].properties;
            if (std::strcmp(texts[UsbInterfacePropertyClass], deviceClass) == 0 &&
                std::strcmp(texts[UsbInterfacePropertySubclass], subclass) == 0 &&
                std::strcmp(texts[UsbInterfacePropertyProtocol], protocol) == 0)
                return true;
        }
    }
    return false;
}

} // namespace zebbench

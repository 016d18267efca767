#include "host/Descriptors.h"

#include <cstddef>

namespace zebhost {
namespace {

constexpr size_t kDeviceLength = 18;

enum DescriptorType : uint8_t { kDevice = 1, kConfiguration = 2, kInterface = 4, kInterfaceAssociation = 11 };

using Bytes = std::span<const uint8_t>;

uint16_t littleEndian(Bytes bytes, size_t at) {
    return static_cast<uint16_t>(bytes[at] | bytes[at + 1] << 8);
}

/** The descriptor at the front, or none when its length can't be right. */
Bytes front(Bytes bytes) {
    if (bytes.size() < 2 || bytes[0] < 2 || bytes[0] > bytes.size())
        return {};
    return bytes.first(bytes[0]);
}

void addPart(UsbConfiguration& configuration, Bytes d) {
    if (d[1] == kInterface && d.size() >= 9 && d[3] == 0)
        configuration.parts.emplace_back(UsbInterface{d[5], d[6], d[7], d[2]});
    else if (d[1] == kInterfaceAssociation && d.size() >= 8)
        configuration.parts.emplace_back(UsbAssociation{d[4], d[5], d[6], d[2], d[3]});
}

} // namespace

std::optional<UsbDescriptors> parseDescriptors(Bytes bytes) {
    Bytes device = front(bytes);
    if (device.size() < kDeviceLength || device[1] != kDevice)
        return std::nullopt;
    UsbDescriptors found{littleEndian(device, 8), littleEndian(device, 10), device[4], {}};

    Bytes rest = bytes.subspan(device.size());
    for (Bytes d = front(rest); !d.empty(); rest = rest.subspan(d.size()), d = front(rest)) {
        if (d[1] == kConfiguration && d.size() >= 9)
            found.configurations.push_back({d[5], {}});
        else if (!found.configurations.empty())
            addPart(found.configurations.back(), d);
    }
    return found;
}

} // namespace zebhost

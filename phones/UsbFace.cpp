#include "phones/UsbFace.h"

#include <cstdio>

namespace zebphones {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t kHighSpeedPacket0 = 64;

void append(Bytes& to, const Bytes& what) { to.insert(to.end(), what.begin(), what.end()); }

std::uint8_t low(std::size_t word) { return static_cast<std::uint8_t>(word & 0xffU); }
std::uint8_t high(std::size_t word) { return static_cast<std::uint8_t>((word >> 8U) & 0xffU); }

Bytes endpointDescriptor(std::uint8_t ordinal) {
    const bool in = ordinal % 2 == 0;
    const auto address = static_cast<std::uint8_t>((ordinal + 1U) | (in ? 0x80U : 0U));
    return {7, 5, address, 2, low(512), high(512), 0};
}

Bytes interfaceDescriptor(const UsbInterface& interface) {
    return {9,
            4,
            interface.number,
            0,
            interface.endpoints,
            interface.classCode,
            interface.subclass,
            interface.protocol,
            0};
}

Bytes associationDescriptor(const UsbAssociation& a) {
    return {8, 11, a.firstInterface, a.interfaceCount, a.classCode, a.subclass, a.protocol, 0};
}

Bytes interfaceParts(const UsbFace& face) {
    Bytes parts;
    std::uint8_t endpoint = 0;
    for (const UsbInterface& interface : face.interfaces) {
        for (const UsbAssociation& association : face.associations) {
            if (association.firstInterface == interface.number)
                append(parts, associationDescriptor(association));
        }
        append(parts, interfaceDescriptor(interface));
        for (int i = 0; i < interface.endpoints; ++i)
            append(parts, endpointDescriptor(endpoint++));
    }
    return parts;
}

} // namespace

std::string hexId(std::uint16_t id) {
    char text[5];
    std::snprintf(text, sizeof text, "%04x", static_cast<unsigned>(id));
    return text;
}

std::vector<std::uint8_t> deviceDescriptor(const UsbFace& face) {
    return {18,
            1,
            0x00,
            0x02,
            face.deviceClass,
            0,
            0,
            kHighSpeedPacket0,
            low(face.vendor),
            high(face.vendor),
            low(face.product),
            high(face.product),
            0x00,
            0x01,
            1,
            2,
            3,
            1};
}

std::vector<std::uint8_t> configurationDescriptor(const UsbFace& face) {
    const Bytes parts = interfaceParts(face);
    const std::size_t total = 9 + parts.size();
    Bytes bytes = {9, 2, low(total), high(total), low(face.interfaces.size()), 1, 0, 0x80, 250};
    append(bytes, parts);
    return bytes;
}

std::vector<std::uint8_t> descriptors(const UsbFace& face) {
    Bytes bytes = deviceDescriptor(face);
    append(bytes, configurationDescriptor(face));
    return bytes;
}

} // namespace zebphones

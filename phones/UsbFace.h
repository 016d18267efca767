// What one USB device shows of itself in one mode: its ids, its strings, its
// interfaces; and the same as the descriptor bytes that a bus would carry.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zebphones {

struct UsbInterface {
    std::uint8_t number = 0;
    std::uint8_t classCode = 0;
    std::uint8_t subclass = 0;
    std::uint8_t protocol = 0;
    // Endpoints are bulk, alternately in and out, numbered through the configuration.
    std::uint8_t endpoints = 0;
};

struct UsbAssociation {
    std::uint8_t firstInterface = 0;
    std::uint8_t interfaceCount = 0;
    std::uint8_t classCode = 0;
    std::uint8_t subclass = 0;
    std::uint8_t protocol = 0;
};

struct UsbFace {
    std::uint16_t vendor = 0;
    std::uint16_t product = 0;
    std::uint8_t deviceClass = 0;
    std::string manufacturer{};
    std::string productName{};
    std::string serial{};
    std::vector<UsbAssociation> associations{};
    std::vector<UsbInterface> interfaces{};
};

// "18d1": an id as sysfs writes it.
std::string hexId(std::uint16_t id);

// The 18 bytes of the device descriptor.
std::vector<std::uint8_t> deviceDescriptor(const UsbFace& face);

// The one configuration: its header, then the associations (each before its first
// interface), interfaces and endpoints.
std::vector<std::uint8_t> configurationDescriptor(const UsbFace& face);

// Both, one after the other: what sysfs shows as "descriptors".
std::vector<std::uint8_t> descriptors(const UsbFace& face);

} // namespace zebphones

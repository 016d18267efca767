#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <variant>
#include <vector>

namespace zebhost {

/** An interface as a configuration starts with it, that is with alternate setting 0. */
struct UsbInterface {
    uint8_t interfaceClass;
    uint8_t subclass;
    uint8_t protocol;
    uint8_t number;

    bool operator==(const UsbInterface&) const = default;
};

/** An interface association: interfaces first to first + count - 1 are one function. */
struct UsbAssociation {
    uint8_t functionClass;
    uint8_t subclass;
    uint8_t protocol;
    uint8_t first;
    uint8_t count;

    bool operator==(const UsbAssociation&) const = default;
};

struct UsbConfiguration {
    uint8_t value;
    /** In the order in which the device lists them. */
    std::vector<std::variant<UsbInterface, UsbAssociation>> parts;

    bool operator==(const UsbConfiguration&) const = default;
};

struct UsbDescriptors {
    uint16_t vendor;
    uint16_t product;
    uint8_t deviceClass;
    std::vector<UsbConfiguration> configurations;

    bool operator==(const UsbDescriptors&) const = default;
};

/**
 * Parse a device descriptor followed by its configurations, as the kernel shows them in the
 * attribute "descriptors". The bytes are a stranger's: whatever they say, nothing outside of
 * them is read, and parsing ends at the first descriptor that can't be right, with what was
 * found before it. None when not even the device descriptor is there.
 *
 * Alternate settings other than 0 are left out: until a driver chooses one they are not in use.
 * A configuration ends where the next one begins; its own total length is not believed, because
 * the kernel keeps what the device claimed and not what it sent.
 */
std::optional<UsbDescriptors> parseDescriptors(std::span<const uint8_t> bytes);

} // namespace zebhost

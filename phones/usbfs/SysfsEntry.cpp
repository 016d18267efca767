#include "phones/usbfs/SysfsEntry.h"

#include <array>
#include <cstdio>

namespace zebphones {
namespace {

std::string threeDigits(int number) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%03d", number);
    return text.data();
}

std::string property(const std::string& key, const std::string& value) {
    return "E: " + key + "=" + value + "\n";
}

// Sysfs ends its values with a line feed, written as an escape here.
std::string attribute(const std::string& key, const std::string& value) {
    return "A: " + key + "=" + value + "\\n\n";
}

std::string hex(const std::vector<std::uint8_t>& bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 0xfU];
    }
    return text;
}

std::string properties(const UsbFace& face, int bus, int address) {
    const int minor = (bus - 1) * 128 + address - 1;
    return property("SUBSYSTEM", "usb") + property("DEVTYPE", "usb_device") +
           property("DEVNAME", nodePath(bus, address)) + property("BUSNUM", threeDigits(bus)) +
           property("DEVNUM", threeDigits(address)) + property("MAJOR", "189") +
           property("MINOR", std::to_string(minor)) + property("ID_VENDOR_ID", hexId(face.vendor)) +
           property("ID_MODEL_ID", hexId(face.product));
}

std::string attributes(const UsbFace& face, int bus, int address) {
    return attribute("busnum", std::to_string(bus)) + attribute("devnum", std::to_string(address)) +
           attribute("speed", "480") + attribute("bConfigurationValue", "1") +
           attribute("bNumConfigurations", "1") + attribute("idVendor", hexId(face.vendor)) +
           attribute("idProduct", hexId(face.product)) + attribute("manufacturer", face.manufacturer) +
           attribute("product", face.productName) + attribute("serial", face.serial);
}

} // namespace

std::string nodePath(int bus, int address) {
    return "/dev/bus/usb/" + threeDigits(bus) + "/" + threeDigits(address);
}

std::string sysfsEntry(const std::string& path, const UsbFace& face, int bus, int address) {
    return "P: " + path + "\n" + properties(face, bus, address) + attributes(face, bus, address) +
           "H: descriptors=" + hex(descriptors(face)) + "\n";
}

} // namespace zebphones

#include "phones/functionfs/FunctionFsDescriptors.h"

#include <linux/usb/ch9.h>
#include <linux/usb/functionfs.h>

#include <cstddef>

namespace zebphones {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kFlags = FUNCTIONFS_HAS_FS_DESC | FUNCTIONFS_HAS_HS_DESC |
                                 // Without it vendor requests to the device would be stalled unseen.
                                 FUNCTIONFS_ALL_CTRL_RECIP | FUNCTIONFS_CONFIG0_SETUP;
constexpr std::uint16_t kFullSpeedPacket = 64;
constexpr std::uint16_t kHighSpeedPacket = 512;

void appendWord(Bytes& bytes, std::uint32_t word) {
    for (unsigned shift = 0; shift < 32; shift += 8)
        bytes.push_back(static_cast<std::uint8_t>(word >> shift));
}

// The face's descriptors behind the configuration's own header, which the gadget makes.
Bytes descriptorsAt(const UsbFace& face, std::uint16_t packetSize) {
    Bytes bytes = configurationDescriptor(face);
    bytes.erase(bytes.begin(), bytes.begin() + USB_DT_CONFIG_SIZE);
    for (std::size_t at = 0; at < bytes.size(); at += bytes[at]) {
        if (bytes[at + 1] != USB_DT_ENDPOINT)
            continue;
        bytes[at + offsetof(usb_endpoint_descriptor, wMaxPacketSize)] = static_cast<std::uint8_t>(packetSize);
        bytes[at + offsetof(usb_endpoint_descriptor, wMaxPacketSize) + 1] =
            static_cast<std::uint8_t>(packetSize >> 8U);
    }
    return bytes;
}

std::uint32_t count(const Bytes& descriptors) {
    std::uint32_t result = 0;
    for (std::size_t at = 0; at < descriptors.size(); at += descriptors[at])
        ++result;
    return result;
}

} // namespace

Bytes functionFsDescriptors(const UsbFace& face) {
    const Bytes full = descriptorsAt(face, kFullSpeedPacket);
    const Bytes high = descriptorsAt(face, kHighSpeedPacket);
    constexpr std::size_t kHeader = 5 * sizeof(std::uint32_t);
    Bytes result;
    appendWord(result, FUNCTIONFS_DESCRIPTORS_MAGIC_V2);
    appendWord(result, static_cast<std::uint32_t>(kHeader + full.size() + high.size()));
    appendWord(result, kFlags);
    appendWord(result, count(full));
    appendWord(result, count(high));
    result.insert(result.end(), full.begin(), full.end());
    result.insert(result.end(), high.begin(), high.end());
    return result;
}

Bytes functionFsStrings() {
    Bytes result;
    appendWord(result, FUNCTIONFS_STRINGS_MAGIC);
    appendWord(result, 4 * sizeof(std::uint32_t));
    appendWord(result, 0);
    appendWord(result, 0);
    return result;
}

} // namespace zebphones

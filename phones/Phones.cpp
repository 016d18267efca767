#include "phones/Phones.h"

namespace zebphones {
namespace {

constexpr std::uint16_t kPhoneMaker = 0x18d1;

} // namespace

PhoneDescription accessoryPhone() {
    return {.name = "accessory phone",
            .normal = {.vendor = kPhoneMaker,
                       .product = 0x4ee2,
                       .manufacturer = "Simulated",
                       .productName = "Accessory phone",
                       .serial = "ACC0001",
                       .interfaces = {{0, 255, 255, 0, 2}, {1, 255, 66, 1, 2}}},
            .accessory = {.vendor = kPhoneMaker,
                          .product = 0x2d00,
                          .manufacturer = "Simulated",
                          .productName = "Accessory phone",
                          .serial = "ACC0001",
                          .interfaces = {{0, 255, 255, 0, 2}}},
            .protocolVersion = 2};
}

PhoneDescription tetheringPhone() {
    return {.name = "tethering phone",
            .normal = {.vendor = kPhoneMaker,
                       .product = 0x4ee3,
                       .manufacturer = "Simulated",
                       .productName = "Tethering phone",
                       .serial = "TETHER01",
                       .associations = {{0, 2, 2, 6, 0}},
                       .interfaces = {{0, 2, 2, 255, 1}, {1, 10, 0, 0, 2}}},
            .protocolVersion = 2};
}

PhoneDescription mouse() {
    return {.name = "mouse",
            .normal = {.vendor = 0x1209,
                       .product = 0x0001,
                       .manufacturer = "Simulated",
                       .productName = "Mouse",
                       .serial = "M1",
                       .interfaces = {{0, 3, 1, 2, 1}}}};
}

PhoneDescription hub() {
    return {.name = "hub",
            .normal = {.vendor = 0x1209,
                       .product = 0x0002,
                       .deviceClass = 9,
                       .manufacturer = "Simulated",
                       .productName = "Hub",
                       .serial = "H1",
                       .interfaces = {{0, 9, 0, 0, 1}}}};
}

PhoneDescription storageStick() {
    return {.name = "storage stick",
            .normal = {.vendor = 0x1209,
                       .product = 0x0003,
                       .manufacturer = "Simulated",
                       .productName = "Storage stick",
                       .serial = "S1",
                       .interfaces = {{0, 8, 6, 80, 2}}}};
}

} // namespace zebphones

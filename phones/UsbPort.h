// Where a device is plugged in: a port of one of a machine's buses.
#pragma once

#include <compare>
#include <string>

namespace zebphones {

struct UsbPort {
    int bus = 1;
    int number = 1;

    // A number alone is a port of the first bus.
    constexpr UsbPort(int ofFirstBus) : number(ofFirstBus) {}
    constexpr UsbPort(int onBus, int portNumber) : bus(onBus), number(portNumber) {}
    auto operator<=>(const UsbPort&) const = default;

    // As the kernel names it: "1-4".
    std::string name() const { return std::to_string(bus) + "-" + std::to_string(number); }
};

} // namespace zebphones

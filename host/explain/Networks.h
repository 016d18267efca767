#pragma once

#include "host/doctor/Machine.h"

#include <string>
#include <vector>

namespace zebhost {

/** A network interface that a driver has made of a device. */
struct Network {
    std::string name;
    /** IPv4. */
    std::vector<std::string> addresses;
};

/** Those of the device at this port. */
std::vector<Network> networksAt(const Machine& machine, const std::string& port);

/** The name of the driver of the interface with this number, "" when it has none. */
std::string driverOf(const Machine& machine, const std::string& port, int configuration, int interface);

} // namespace zebhost

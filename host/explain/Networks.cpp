#include "host/explain/Networks.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <ifaddrs.h>
#include <memory>

namespace zebhost {
namespace {

constexpr char kDevices[] = "/sys/bus/usb/devices/";

std::vector<std::string> addressesOf(const std::string& name) {
    ifaddrs* all = nullptr;
    if (getifaddrs(&all) != 0)
        return {};
    std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(all, freeifaddrs);
    std::vector<std::string> found;
    for (const ifaddrs* one = all; one != nullptr; one = one->ifa_next) {
        std::string_view label = one->ifa_name;
        // A second address can have a label of its own, "usb0:1".
        if (one->ifa_addr == nullptr || one->ifa_addr->sa_family != AF_INET ||
            label.substr(0, label.find(':')) != name)
            continue;
        const auto* address = reinterpret_cast<const sockaddr_in*>(one->ifa_addr);
        std::array<char, INET_ADDRSTRLEN> text;
        found.emplace_back(inet_ntop(AF_INET, &address->sin_addr, text.data(), text.size()));
    }
    return found;
}

std::vector<std::string> namesIn(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator(folder, none))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace

std::vector<Network> networksAt(const Machine& machine, const std::string& port) {
    std::vector<Network> networks;
    const std::filesystem::path device = machine.at(kDevices + port);
    for (const std::string& interface : namesIn(device)) {
        // Interfaces are "PORT:CONFIGURATION.NUMBER", and a hub's devices "PORT.NUMBER".
        if (!interface.starts_with(port + ":"))
            continue;
        for (const std::string& name : namesIn(device / interface / "net"))
            networks.push_back({name, addressesOf(name)});
    }
    return networks;
}

std::string driverOf(const Machine& machine, const std::string& port, int configuration, int interface) {
    const std::string name = port + ":" + std::to_string(configuration) + "." + std::to_string(interface);
    std::error_code none;
    return std::filesystem::read_symlink(machine.at(kDevices + name + "/driver"), none).filename();
}

} // namespace zebhost

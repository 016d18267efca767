#include "host/NodeAccess.h"
#include "host/doctor/Checks.h"

#include <algorithm>
#include <cstdlib>

namespace zebhost {
namespace {

constexpr char kCheck[] = "nodes";
constexpr char kSysfs[] = "/sys/bus/usb/devices";
constexpr char kHubClass[] = "09";
constexpr char kGiveAccess[] =
    "run zebhost as root, or install its udev rules, join the group that they name, "
    "and plug the device in again";

/** The nodes of all devices but hubs, in the kernel's order of ports. */
std::vector<DeviceNode> nodesOfDevices(const Machine& machine) {
    std::vector<std::filesystem::path> ports;
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator(machine.at(kSysfs), none))
        ports.push_back(entry.path().filename());
    std::sort(ports.begin(), ports.end());

    std::vector<DeviceNode> nodes;
    for (const auto& port : ports) {
        auto attribute = [&](const char* name) {
            return machine.firstLine(std::string(kSysfs) + "/" + port.string() + "/" + name);
        };
        // Interfaces are listed there too, and have no number.
        if (!attribute("devnum").empty() && attribute("bDeviceClass") != kHubClass)
            nodes.push_back(deviceNode(machine, std::atoi(attribute("busnum").c_str()),
                                       std::atoi(attribute("devnum").c_str())));
    }
    return nodes;
}

Finding complaint(const DeviceNode& node, Level level) {
    if (!node.exists)
        return {kCheck, level, "the node " + node.path + " is missing",
                "have udevd or devtmpfs make it; in a container, pass /dev/bus/usb in"};
    return {kCheck, level, "the node " + node.path + " can't be opened (" + node.rights + ")", kGiveAccess};
}

} // namespace

Findings checkNodes(const Machine& machine) {
    std::error_code none;
    if (!std::filesystem::exists(machine.at(kUsbNodes), none))
        return {{kCheck, Level::Problem, "there is no /dev/bus/usb, so no USB device can be reached",
                 "load the driver of the USB host controller; in a container, pass /dev/bus/usb in"}};
    std::vector<DeviceNode> nodes = nodesOfDevices(machine);
    if (nodes.empty())
        return {{kCheck, Level::Ok, "nothing is plugged in now but hubs", "plug a phone in and ask again"}};

    Findings findings;
    size_t closed = static_cast<size_t>(
        std::count_if(nodes.begin(), nodes.end(), [](const auto& n) { return !n.canBeOpened; }));
    for (const DeviceNode& node : nodes) {
        if (!node.canBeOpened)
            findings.push_back(complaint(node, closed == nodes.size() ? Level::Problem : Level::Warning));
    }
    if (findings.empty())
        findings.push_back(
            {kCheck, Level::Ok,
             "every device that is plugged in can be opened (" + std::to_string(nodes.size()) + ")"});
    return findings;
}

} // namespace zebhost

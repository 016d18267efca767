#include "host/explain/Explanation.h"

#include "host/InterfaceQueries.h"
#include "host/explain/InterfaceNames.h"

#include <algorithm>
#include <string_view>

namespace zebhost {
namespace {

// What the plug-in compares with, as text.
constexpr std::string_view kTetherSubnet = "192.168.42";

void adviseNetwork(const Explanation& e, std::vector<std::string>& next) {
    if (e.networks.empty()) {
        next.emplace_back(
            "this phone shares its network, but no driver has made a network interface of it: see the "
            "\"modules\" in \"zebhost doctor\"");
        return;
    }
    std::string seen;
    for (const Network& network : e.networks) {
        for (const std::string& address : network.addresses) {
            if (address.starts_with(kTetherSubnet))
                return;
            seen += (seen.empty() ? "" : ", ") + network.name + " has " + address;
        }
    }
    if (seen.empty())
        next.push_back("give " + e.networks.front().name + " an address, for example by a DHCP client");
    else
        next.push_back(seen + ", but the plug-in waits for an address that begins with " +
                       std::string(kTetherSubnet) +
                       " (newer phones choose another one): it gives up after 21 tries");
}

std::vector<std::string> whatNext(const Explanation& e) {
    std::vector<std::string> next;
    if (!e.node.exists)
        next.push_back("there is no node " + e.node.path +
                       ": have udevd or devtmpfs make it; in a container, pass /dev/bus/usb in");
    else if (!e.node.canBeOpened)
        next.push_back(
            "run zebhost as root, or install its udev rules, join the group that they name, and plug the "
            "device in again: " +
            e.node.path + " can't be opened");
    if (!e.opinion.fault.empty())
        next.emplace_back("install the plug-in for this system, or name it with --plugin");
    if (e.interfaces.empty())
        next.emplace_back("unlock the phone, and choose file transfer or USB tethering on it");
    else if (!e.verdict.isOffered && std::string_view(e.verdict.rule) != "hub")
        next.push_back("if it is a phone all the same: zebhost run --allow " + e.device.vendorId() + ":" +
                       e.device.productId());
    else if (e.verdict.isOffered && e.opinion.fault.empty() && e.opinion.level >= ZEBDeviceInterestNone)
        next.emplace_back("the plug-in does not want it: nothing will happen");
    if (hasPluginTether(e.device))
        adviseNetwork(e, next);
    if (next.empty() && e.verdict.isOffered)
        next.emplace_back("nothing is missing: \"zebhost run\" offers it to the plug-in");
    else if (next.empty())
        next.emplace_back("nothing: this is no phone");
    return next;
}

} // namespace

Explanation explain(const UsbDevice& device, const Settings& settings, const Machine& machine) {
    Explanation e{device,
                  judge(device, settings.policy),
                  askPlugin(device, settings),
                  deviceNode(machine, device.bus, device.device),
                  {},
                  networksAt(machine, device.port),
                  {}};
    for (const UsbInterface& interface : activeInterfaces(device))
        e.interfaces.push_back(
            {interface, interfaceInWords(interface),
             driverOf(machine, device.port, device.activeConfiguration, interface.number)});
    e.next = whatNext(e);
    return e;
}

} // namespace zebhost

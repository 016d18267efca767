#include "host/explain/Explanation.h"

#include "host/InterfaceQueries.h"
#include "host/NodeAccess.h"
#include "host/TetherAdvice.h"
#include "host/explain/InterfaceNames.h"

#include <string_view>

namespace zebhost {
namespace {

std::string howToOffer(const Explanation& e) {
    const std::string_view rule = e.verdict.rule;
    if (rule == "denied")
        return "it is denied: take it out of --deny, or of \"deny\" in the configuration";
    if (rule.starts_with("tether-"))
        return "to have it switched, which ends its network: zebhost run --switch-tethers";
    return "if it is a phone all the same: zebhost run --allow " + e.device.vendorId() + ":" +
           e.device.productId();
}

std::vector<std::string> whatNext(const Explanation& e) {
    std::vector<std::string> next;
    // What shows nothing yet may be a phone, and will be asked when it is unlocked.
    if (!e.node.canBeOpened && (needsNode(e.verdict) || e.interfaces.empty()))
        next.push_back(nodeAdvice(e.node, e.device));
    if (!e.opinion.fault.empty())
        next.emplace_back("install the plug-in for this system, or name it with --plugin");
    if (e.interfaces.empty())
        next.emplace_back("unlock the phone, and choose file transfer or USB tethering on it");
    else if (!e.verdict.isOffered && std::string_view(e.verdict.rule) != "hub")
        next.push_back(howToOffer(e));
    else if (e.verdict.isOffered && e.opinion.fault.empty() && e.opinion.level >= ZEBDeviceInterestNone)
        next.emplace_back("the plug-in does not want it: nothing will happen");
    if (hasPluginTether(e.device) && !isFoundByTether(e.networks))
        next.push_back(tetherFault(e.networks));
    if (std::string_view(e.verdict.rule) == "accessory-mode")
        next.emplace_back(
            "it is in accessory mode already: if it does not answer, an earlier run left it so; plug it "
            "in again, or let \"zebhost run --reset-stale\" reset its port");
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

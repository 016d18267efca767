#include "phones/functionfs/GadgetLimits.h"

#include "phones/PhoneFile.h"

#include <algorithm>
#include <array>

namespace zebphones {
namespace {

constexpr std::uint8_t kHubClass = 9;

struct Kind {
    std::uint8_t classCode;
    std::uint8_t subclass;
};

// Control interfaces of network functions: with FunctionFS there is nobody behind them.
constexpr std::array<Kind, 6> kNetworks = {{{2, 1}, {2, 2}, {2, 6}, {2, 13}, {224, 1}, {239, 4}}};

bool isNetwork(const UsbInterface& interface) {
    return std::any_of(kNetworks.begin(), kNetworks.end(), [&interface](const Kind& kind) {
        return kind.classCode == interface.classCode && kind.subclass == interface.subclass;
    });
}

// The kernel's side of ep0 can answer, stall and wait, and the plug can be pulled; what the
// bus or the host's kernel does is not the gadget's.
bool canBeShown(const Fault& fault) {
    switch (fault.reaction) {
    case Reaction::Answer:
    case Reaction::Stall:
    case Reaction::Silent:
    case Reaction::Unplug:
        return true;
    case Reaction::Short:
        return fault.request == kGetProtocol;
    default:
        return false;
    }
}

} // namespace

GadgetLimits gadgetLimits(const PhoneDescription& phone) {
    const auto& interfaces = phone.normal.interfaces;
    if (interfaces.empty())
        return {false, "anything of it: a gadget has at least one interface"};
    const auto fault = std::find_if_not(phone.faults.begin(), phone.faults.end(),
                                        [](const Fault& f) { return canBeShown(f); });
    if (fault != phone.faults.end())
        return {false, "that it does \"" + std::string(nameOf(fault->reaction)) + "\""};
    if (phone.normal.deviceClass == kHubClass)
        return {true, "that it is a hub: there is nothing behind its descriptors"};
    if (std::any_of(interfaces.begin(), interfaces.end(), isNetwork))
        return {true, "the network behind its interfaces"};
    return {};
}

} // namespace zebphones

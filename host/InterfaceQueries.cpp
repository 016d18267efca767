#include "host/InterfaceQueries.h"

#include <algorithm>

namespace zebhost {
namespace {

bool isWanted(int wanted, int value) { return wanted == -1 || wanted == value; }

template <class Part>
std::vector<Part> partsOf(const UsbConfiguration& configuration) {
    std::vector<Part> found;
    for (const auto& part : configuration.parts) {
        if (const Part* wanted = std::get_if<Part>(&part))
            found.push_back(*wanted);
    }
    return found;
}

const UsbConfiguration* active(const UsbDevice& device) {
    const auto& all = device.descriptors.configurations;
    auto found = std::find_if(all.begin(), all.end(), [&device](const UsbConfiguration& configuration) {
        return device.activeConfiguration != 0 && configuration.value == device.activeConfiguration;
    });
    return found == all.end() ? nullptr : &*found;
}

bool contains(const UsbConfiguration& configuration, const Triple& triple) {
    auto interfaces = partsOf<UsbInterface>(configuration);
    return std::any_of(interfaces.begin(), interfaces.end(),
                       [&triple](const UsbInterface& interface) { return triple.matches(interface); });
}

/** RNDIS as one function of two interfaces. Only the first association of the better kind and the first
 *  such interface count: the plug-in looks no further. */
bool hasRndisFunction(const UsbConfiguration& configuration) {
    auto associations = partsOf<UsbAssociation>(configuration);
    auto interfaces = partsOf<UsbInterface>(configuration);
    auto ofProtocol = [&associations](int protocol) {
        return std::find_if(associations.begin(), associations.end(), [protocol](const UsbAssociation& a) {
            return a.functionClass == 2 && a.subclass == 6 && a.protocol == protocol;
        });
    };
    auto association = ofProtocol(255) != associations.end() ? ofProtocol(255) : ofProtocol(0);
    auto control = std::find_if(interfaces.begin(), interfaces.end(), [](const UsbInterface& i) {
        return Triple{2, 2, 255}.matches(i);
    });
    return association != associations.end() && control != interfaces.end() &&
           association->first <= control->number && control->number < association->first + association->count;
}

} // namespace

bool Triple::matches(const UsbInterface& interface) const {
    return isWanted(interfaceClass, interface.interfaceClass) && isWanted(subclass, interface.subclass) &&
           isWanted(protocol, interface.protocol);
}

std::vector<UsbInterface> activeInterfaces(const UsbDevice& device) {
    const UsbConfiguration* configuration = active(device);
    return configuration == nullptr ? std::vector<UsbInterface>{} : partsOf<UsbInterface>(*configuration);
}

bool hasActive(const UsbDevice& device, const Triple& triple) {
    const UsbConfiguration* configuration = active(device);
    return configuration != nullptr && contains(*configuration, triple);
}

bool hasAnywhere(const UsbDevice& device, const Triple& triple) {
    const auto& all = device.descriptors.configurations;
    return std::any_of(all.begin(), all.end(), [&triple](const UsbConfiguration& configuration) {
        return contains(configuration, triple);
    });
}

bool hasPluginTether(const UsbDevice& device) {
    const UsbConfiguration* configuration = active(device);
    return configuration != nullptr &&
           (hasRndisFunction(*configuration) || contains(*configuration, {2, 1}) ||
            contains(*configuration, {224, 1, 3}));
}

} // namespace zebhost

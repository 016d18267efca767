// A way to what the discoverer keeps for itself: only phones get in by being offered.
#pragma once

#include "usb/UsbDiscoverer.h"

namespace zebtest {

std::set<zebdiscoverer_usb::UsbEntity*>& entitiesOf(zebdiscoverer_usb::UsbDiscoverer& discoverer);
std::unique_ptr<zebdiscoverer_usb::AAPConfiguration>&
configurationOf(zebdiscoverer_usb::UsbDiscoverer& discoverer);

/** An explicit instantiation may name what is private. */
template <auto Entities, auto Configuration>
struct OpenedDiscoverer {
    friend std::set<zebdiscoverer_usb::UsbEntity*>& entitiesOf(zebdiscoverer_usb::UsbDiscoverer& discoverer) {
        return discoverer.*Entities;
    }
    friend std::unique_ptr<zebdiscoverer_usb::AAPConfiguration>&
    configurationOf(zebdiscoverer_usb::UsbDiscoverer& discoverer) {
        return discoverer.*Configuration;
    }
};
template struct OpenedDiscoverer<&zebdiscoverer_usb::UsbDiscoverer::mEntities,
                                 &zebdiscoverer_usb::UsbDiscoverer::mpConfiguration>;

} // namespace zebtest

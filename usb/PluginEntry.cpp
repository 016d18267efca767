#include "usb/UsbDiscoverer.h"

#include <new>

using zebdiscoverer_usb::UsbDiscoverer;

// The one symbol that the plug-in exports. An exception from the constructor goes to the host: there is no
// barrier before there is a discoverer.
[[gnu::visibility("default")]] ZEBDiscoverer*
ZEBDiscovererInitialize(ZEBDiscovererInterface* interfaceTable, size_t interfaceSize,
                        const ZEBDiscovererCallbacks* callbackTable, size_t callbackSize) {
    zebdiscovery::ZEBDiscovererImpl* pDiscoverer =
        new (std::nothrow) UsbDiscoverer(interfaceTable, interfaceSize, callbackTable, callbackSize);
    return reinterpret_cast<ZEBDiscoverer*>(pDiscoverer);
}

#pragma once

#include "usb/UsbEntity.h"

namespace zebdiscoverer_usb {

/**
 * A phone that offers an IP network over USB. There is no USB traffic: the port is
 * open as soon as a network interface has an address on the phone's subnet.
 */
class TcpUsbEntity : public UsbEntity {
public:
    /** address is the phone's: "192.168.42.129" or "169.254.2.1". The others as for UsbEntity. */
    TcpUsbEntity(zebdiscovery::ZEBDiscovererImpl& discoverer, EntityManager& manager,
                 const ZEBDeviceInfo* pDevice, const char* address);

    /** Never called: this entity registers no handle. */
    UsbEntityStatus doHandleEvent(ZEBDiscovererEventHandle* pHandle) override;
    /** Look for the network interface, among as many as fit into 1024 bytes. */
    UsbEntityStatus openPort() override;

protected:
    void doSetZebCmd() override;

private:
    char mAddress[32];
    /** What the text of an interface's address begins with. */
    char mInterfacePrefix[32];
};

} // namespace zebdiscoverer_usb

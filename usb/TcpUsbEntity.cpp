#include "usb/TcpUsbEntity.h"

#include "mxcommon/Assert.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <net/if.h>
#include <netinet/in.h>
#include <span>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace zebdiscoverer_usb {

namespace {

struct Kind {
    const char* address;
    // Compared as text, on purpose: "169.254.2" is also the beginning of 169.254.25.7.
    const char* interfacePrefix;
    const char* command;
};

constexpr Kind kKinds[] = {
    {"192.168.42.129", "192.168.42", "zebcmd:v=1;t=USBAND"},
    {"169.254.2.1", "169.254.2", "zebcmd:v=1;t=USBWM"},
};

const Kind* kindOf(std::string_view address) {
    const auto* kind = std::find_if(std::begin(kKinds), std::end(kKinds),
                                    [address](const Kind& row) { return address == row.address; });
    return kind == std::end(kKinds) ? nullptr : kind;
}

constexpr ZEBDiscoverySDKTimeoutMicroseconds kCompletionDelay = 500'000;
constexpr size_t kListBytes = 1024;

/** Does the text of the interface's IPv4 address begin with the prefix? */
bool hasAddressOn(const ifreq& interface, std::string_view prefix) {
    sockaddr_in address{};
    std::memcpy(&address, &interface.ifr_addr, sizeof(address));
    return std::string_view(inet_ntoa(address.sin_addr)).starts_with(prefix);
}

} // namespace

TcpUsbEntity::TcpUsbEntity(zebdiscovery::ZEBDiscovererImpl& discoverer, EntityManager& manager,
                           const ZEBDeviceInfo* pDevice, const char* address) :
    UsbEntity(discoverer, manager, pDevice) {
    std::snprintf(mAddress, sizeof(mAddress), "%s", address);
    const Kind* kind = kindOf(mAddress);
    std::snprintf(mInterfacePrefix, sizeof(mInterfacePrefix), "%s", kind ? kind->interfacePrefix : "");
}

UsbEntity::UsbEntityStatus TcpUsbEntity::doHandleEvent(ZEBDiscovererEventHandle*) {
    return UsbEntityStatus::TryLater;
}

UsbEntity::UsbEntityStatus TcpUsbEntity::openPort() {
    const int descriptor = socket(AF_INET, SOCK_DGRAM, 0);
    if (descriptor < 0) {
        mDiscoverer.logFormatted(ZEBDiscoveryLogSeverityError, "Socket returned error %d: %s", errno,
                                 std::strerror(errno));
        return UsbEntityStatus::TryLater;
    }
    ifreq interfaces[kListBytes / sizeof(ifreq) + 1];
    ifconf list{};
    list.ifc_len = kListBytes;
    list.ifc_req = interfaces;
    if (ioctl(descriptor, SIOCGIFCONF, &list) < 0) {
        // The socket stays open on this path, on purpose.
        mDiscoverer.logFormatted(ZEBDiscoveryLogSeverityError, "ioctl(SIOCGIFCONF) returned error %d: %s",
                                 errno, std::strerror(errno));
        return UsbEntityStatus::TryLater;
    }
    close(descriptor);
    const auto records = std::span(interfaces).first(static_cast<size_t>(list.ifc_len) / sizeof(ifreq));
    for (const ifreq& interface : records) {
        if (hasAddressOn(interface, mInterfacePrefix)) {
            // The phone's address, not the interface's, on purpose.
            mDiscoverer.logFormatted(ZEBDiscoveryLogSeverityDebug,
                                     "Found interface for entity with IP address %s", mAddress);
            setZebCmd(kCompletionDelay);
            return UsbEntityStatus::Done;
        }
    }
    return UsbEntityStatus::TryLater;
}

void TcpUsbEntity::doSetZebCmd() {
    const Kind* kind = kindOf(mAddress);
    if (!kind) {
        mDiscoverer.logFormatted(ZEBDiscoveryLogSeverityError, "The IP address '%s' is not known", mAddress);
        ZEB_ASSERT(false);
    }
    storeZebCmd(mDiscoverer.allocString(kind->command, -1));
}

} // namespace zebdiscoverer_usb

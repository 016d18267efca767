#include "tests/usb/Network.h"

#include <arpa/inet.h>
#include <cstdio>
#include <cstring>
#include <net/if.h>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace zebtest {

namespace {

ifreq request(int number, const char* address) {
    ifreq result{};
    std::snprintf(result.ifr_name, sizeof(result.ifr_name), "lo:%d", number);
    sockaddr_in socketAddress{};
    socketAddress.sin_family = AF_INET;
    inet_pton(AF_INET, address, &socketAddress.sin_addr);
    std::memcpy(&result.ifr_addr, &socketAddress, sizeof(socketAddress));
    return result;
}

} // namespace

Network::Network() : mSocket(socket(AF_INET, SOCK_DGRAM, 0)) {
    if (!addresses().empty())
        throw std::runtime_error("not in a network name space of its own: start it by unshare -Urn");
}

Network::~Network() {
    clear();
    close(mSocket);
}

void Network::clear() {
    for (; mCount > 0; --mCount) {
        ifreq none = request(mCount, "0.0.0.0");
        ioctl(mSocket, SIOCSIFADDR, &none);
    }
}

void Network::add(const std::string& address) {
    ifreq one = request(++mCount, address.c_str());
    if (ioctl(mSocket, SIOCSIFADDR, &one) != 0)
        throw std::runtime_error("can't add " + address);
}

std::vector<std::string> Network::addresses() {
    ifreq records[256];
    ifconf list{};
    list.ifc_len = sizeof(records);
    list.ifc_req = records;
    const int descriptor = socket(AF_INET, SOCK_DGRAM, 0);
    const int failed = ioctl(descriptor, SIOCGIFCONF, &list);
    close(descriptor);
    if (failed)
        throw std::runtime_error("SIOCGIFCONF failed");
    std::vector<std::string> all;
    for (std::size_t i = 0; i < static_cast<std::size_t>(list.ifc_len) / sizeof(ifreq); ++i) {
        sockaddr_in address{};
        std::memcpy(&address, &records[i].ifr_addr, sizeof(address));
        all.emplace_back(inet_ntoa(address.sin_addr));
    }
    return all;
}

} // namespace zebtest

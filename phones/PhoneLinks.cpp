#include "phones/PhoneLinks.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <linux/sockios.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace zebphones {
namespace {

void check(int result, const char* what) {
    if (result < 0)
        throw std::system_error(errno, std::generic_category(), what);
}

void setAddress(const std::string& interface, const std::string& address) {
    sockaddr_in inet{};
    inet.sin_family = AF_INET;
    ::inet_pton(AF_INET, address.c_str(), &inet.sin_addr);
    ifreq request{};
    std::strncpy(request.ifr_name, interface.c_str(), IFNAMSIZ - 1);
    std::memcpy(&request.ifr_addr, &inet, sizeof inet);

    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    check(fd, "socket");
    const int result = ::ioctl(fd, SIOCSIFADDR, &request);
    const int error = errno;
    ::close(fd);
    errno = error;
    check(result, "SIOCSIFADDR");
}

std::string aliasOf(int port) { return "lo:" + std::to_string(port); }

// SIOCBRADDBR or SIOCBRDELBR; false: it did not.
bool changeBridge(unsigned long request, const std::string& name) {
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const bool done = fd >= 0 && ::ioctl(fd, request, name.c_str()) == 0;
    if (fd >= 0)
        ::close(fd);
    return done;
}

} // namespace

PhoneLinks::~PhoneLinks() {
    for (const auto& [port, name] : mMade)
        changeBridge(SIOCBRDELBR, name);
}

std::string PhoneLinks::make(int port) {
    const std::string name = "usb" + std::to_string(port - 1);
    if (!changeBridge(SIOCBRADDBR, name))
        return "lo";
    return mMade[port] = name;
}

void PhoneLinks::add(int port, const std::string& address) {
    const auto made = mMade.find(port);
    setAddress(made == mMade.end() ? aliasOf(port) : made->second, address);
}

// The kernel removes an alias with its address.
void PhoneLinks::remove(int port) {
    const auto made = mMade.find(port);
    if (made == mMade.end())
        return setAddress(aliasOf(port), "0.0.0.0");
    changeBridge(SIOCBRDELBR, made->second);
    mMade.erase(made);
}

} // namespace zebphones

#include "phones/demo/NetworkSpace.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace zebphones {
namespace {

constexpr char kLoopback[] = "lo";
constexpr char kPhoneLink[] = "lo:1";

void check(int result, const char* what) {
    if (result < 0)
        throw std::system_error(errno, std::generic_category(), what);
}

void writeFile(const char* path, const std::string& text) {
    std::ofstream file(path);
    file << text;
    if (!file.flush())
        throw std::system_error(errno, std::generic_category(), path);
}

ifreq request(const char* interface) {
    ifreq req{};
    std::strncpy(req.ifr_name, interface, IFNAMSIZ - 1);
    return req;
}

void control(unsigned long what, ifreq& req, const char* name) {
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    check(fd, "socket");
    const int result = ::ioctl(fd, what, &req);
    const int error = errno;
    ::close(fd);
    errno = error;
    check(result, name);
}

} // namespace

NetworkSpace::NetworkSpace() {
    const std::string user = std::to_string(::geteuid());
    const std::string group = std::to_string(::getegid());
    check(::unshare(CLONE_NEWUSER | CLONE_NEWNET), "unshare");
    // The same user as before, so that what runs inside is as privileged as it was outside.
    writeFile("/proc/self/setgroups", "deny");
    writeFile("/proc/self/uid_map", user + " " + user + " 1");
    writeFile("/proc/self/gid_map", group + " " + group + " 1");

    ifreq loopback = request(kLoopback);
    loopback.ifr_flags = IFF_UP | IFF_RUNNING;
    control(SIOCSIFFLAGS, loopback, "SIOCSIFFLAGS");
}

void NetworkSpace::addInterface(const std::string& address) { setAddress(address); }

// The kernel removes an interface of this kind with its address.
void NetworkSpace::removeInterface() { setAddress("0.0.0.0"); }

void NetworkSpace::setAddress(const std::string& address) {
    sockaddr_in inet{};
    inet.sin_family = AF_INET;
    ::inet_pton(AF_INET, address.c_str(), &inet.sin_addr);
    ifreq req = request(kPhoneLink);
    std::memcpy(&req.ifr_addr, &inet, sizeof inet);
    control(SIOCSIFADDR, req, "SIOCSIFADDR");
}

} // namespace zebphones

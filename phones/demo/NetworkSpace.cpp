#include "phones/demo/NetworkSpace.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <net/if.h>
#include <sched.h>
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

void writeFile(const char* path, const std::string& text) {
    std::ofstream file(path);
    file << text;
    if (!file.flush())
        throw std::system_error(errno, std::generic_category(), path);
}

void bringLoopbackUp() {
    ifreq request{};
    std::strncpy(request.ifr_name, "lo", IFNAMSIZ - 1);
    request.ifr_flags = IFF_UP | IFF_RUNNING;
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    check(fd, "socket");
    const int result = ::ioctl(fd, SIOCSIFFLAGS, &request);
    const int error = errno;
    ::close(fd);
    errno = error;
    check(result, "SIOCSIFFLAGS");
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
    bringLoopbackUp();
}

} // namespace zebphones

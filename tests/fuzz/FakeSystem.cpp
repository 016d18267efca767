#include "tests/fuzz/FakeSystem.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <fcntl.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

namespace zebtest {

namespace {

constexpr int kFirstSocket = 600; // above what pipes get

bool isOpen(int descriptor) { return fcntl(descriptor, F_GETFD) != -1; }

void setAddress(ifreq& interface, const char* text) {
    auto* address = reinterpret_cast<sockaddr_in*>(&interface.ifr_addr);
    address->sin_family = AF_INET;
    inet_pton(AF_INET, text, &address->sin_addr);
}

} // namespace

FakeSystem& FakeSystem::instance() {
    static FakeSystem system;
    return system;
}

FakeSystem::FakeSystem() : mNothing(open("/dev/null", O_RDWR | O_CLOEXEC)) {}

/** True once in n, while things may fail. */
bool FakeSystem::fails(std::uint32_t n) { return mpChoices && !mHealthy && mpChoices->rarely(n); }

void FakeSystem::reset(Choices& choices) {
    mpChoices = &choices;
    mHealthy = false;
    mNetwork = false;
    mGiven.clear();
    takeSearches();
}

int FakeSystem::openSocket() {
    if (fails(24)) {
        mSearches.push_back(Search::Failed);
        errno = EMFILE;
        return -1;
    }
    const int descriptor = fcntl(mNothing, F_DUPFD_CLOEXEC, kFirstSocket);
    if (descriptor == -1)
        fail("out of descriptors: sockets stay open");
    mOpen.push_back(descriptor);
    return descriptor;
}

int FakeSystem::listInterfaces(int descriptor, void* argument) {
    auto& list = *static_cast<ifconf*>(argument);
    if (list.ifc_len != 1024)
        fail("SIOCGIFCONF into %d bytes", list.ifc_len);
    if (fails(24)) {
        mSearches.push_back(Search::Failed);
        mLeftOpen.push_back(descriptor);
        errno = EIO;
        return -1;
    }
    constexpr const char* kOthers[] = {"127.0.0.1", "10.0.0.1", "192.168.4.2", "92.168.42.9", "0.0.0.0"};
    const std::uint32_t most = 1024 / sizeof(ifreq);
    const std::uint32_t count = mpChoices->rarely(16) ? most : mpChoices->below(4) + (mNetwork ? 1 : 0);
    std::memset(static_cast<void*>(list.ifc_req), 0, count * sizeof(ifreq));
    for (std::uint32_t i = 0; i < count; ++i)
        setAddress(list.ifc_req[i], mpChoices->of(kOthers));
    if (mNetwork)
        setAddress(list.ifc_req[mpChoices->below(count)], "192.168.42.23");
    list.ifc_len = static_cast<int>(count * sizeof(ifreq));
    mSearches.push_back(mNetwork ? Search::Found : Search::Nothing);
    return 0;
}

int FakeSystem::makePipe(int* ends) {
    if (fails(24)) {
        errno = EMFILE;
        return -1;
    }
    const int result = pipe2(ends, O_CLOEXEC);
    if (result == 0)
        mGiven.insert({ends[0], ends[1]});
    return result;
}

int FakeSystem::access() {
    if (!fails(8))
        return 0;
    errno = EACCES;
    return -1;
}

std::vector<FakeSystem::Search> FakeSystem::takeSearches() {
    for (const int descriptor : mLeftOpen) {
        if (close(descriptor) != 0)
            fail("the socket of a failed ioctl was closed");
    }
    mLeftOpen.clear();
    for (const int descriptor : mOpen) {
        if (isOpen(descriptor))
            fail("a socket stays open");
    }
    mOpen.clear();
    return std::exchange(mSearches, {});
}

void FakeSystem::expectNothingLeft() const {
    for (const int descriptor : mGiven) {
        if (isOpen(descriptor))
            fail("descriptor %d of a pipe stays open", descriptor);
    }
}

} // namespace zebtest

// These win over the C library's, also for a plug-in that is loaded later.

using zebtest::FakeSystem;

#define ZEB_FAKE __attribute__((visibility("default")))

extern "C" {

ZEB_FAKE int euidaccess(const char*, int) noexcept { return FakeSystem::instance().access(); }
ZEB_FAKE int pipe(int* ends) noexcept { return FakeSystem::instance().makePipe(ends); }
ZEB_FAKE int socket(int, int, int) noexcept { return FakeSystem::instance().openSocket(); }

ZEB_FAKE int ioctl(int descriptor, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    if (request == SIOCGIFCONF)
        return FakeSystem::instance().listInterfaces(descriptor, argument);
    return static_cast<int>(syscall(SYS_ioctl, descriptor, request, argument));
}

} // extern "C"

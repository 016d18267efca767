#include "common/EventFd.h"

#include "common/DiscoveryException.h"

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <unistd.h>

namespace zebdiscovery {
namespace {

bool setNonBlocking(int fd) {
    const int flags = ::fcntl(fd, F_GETFL);
    return flags != -1 && ::fcntl(fd, F_SETFL, flags | O_NONBLOCK) != -1;
}

void closeIfOpen(int& fd) {
    if (fd != ZEBDiscovererNoEventHandle) {
        ::close(fd);
        fd = ZEBDiscovererNoEventHandle;
    }
}

} // namespace

EventFd::EventFd() {
    int ends[2];
    if (::pipe(ends) != 0) {
        throw DiscoveryException("Unable to create the pipe needed by eventFd", errno);
    }
    mReadFd = ends[0];
    mWriteFd = ends[1];
    if (!setNonBlocking(mReadFd)) {
        const int error = errno;
        closeIfOpen(mReadFd);
        closeIfOpen(mWriteFd);
        // The missing word is part of the text on purpose.
        throw DiscoveryException("Unable set the read file descriptor to non-blocking for the eventFd",
                                 error);
    }
}

EventFd::~EventFd() {
    closeIfOpen(mReadFd);
    closeIfOpen(mWriteFd);
}

int EventFd::signal() {
    const std::uint8_t occurrence = 0;
    return static_cast<int>(::write(mWriteFd, &occurrence, sizeof occurrence));
}

bool EventFd::consume() {
    std::uint8_t occurrence = 0;
    return ::read(mReadFd, &occurrence, sizeof occurrence) == 1;
}

} // namespace zebdiscovery

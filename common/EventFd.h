#pragma once

#include "zebdiscovery/types.h"

namespace zebdiscovery {

/**
 * A pipe to itself that turns an occurrence into a readable descriptor for the host.
 * Each signal adds one, each consume takes one away; drain it by consuming until false.
 */
class EventFd {
public:
    /** Throws a DiscoveryException with errno when there is no pipe to be had. */
    EventFd();
    ~EventFd();
    EventFd(const EventFd&) = delete;
    EventFd& operator=(const EventFd&) = delete;

    /** The non-blocking end to register with the host; by reference, for its address is the handle. */
    ZEBDiscovererEventHandle& readFd() { return mReadFd; }

    /** Any thread. The result of write: 1, or -1 on failure. Blocks only while the pipe is full. */
    int signal();

    /** Take one occurrence; true when there was one. Never blocks. */
    bool consume();

private:
    ZEBDiscovererEventHandle mReadFd = ZEBDiscovererNoEventHandle;
    int mWriteFd = ZEBDiscovererNoEventHandle;
};

} // namespace zebdiscovery

#pragma once

namespace zebtest {

/**
 * The system's functions that the USB discoverer calls, by way of the linker's --wrap: they are the real
 * ones until a test makes the next calls fail. All but malloc are noted in the fake host's record.
 */
struct SystemCalls {
    /** errno that socket and ioctl fail with; 0: they work. */
    int socketError = 0;
    int ioctlError = 0;
    /** malloc fails at its n-th call from now on; 0: never. */
    int failMallocAt = 0;
    int sockets = 0; // calls of socket
    /** The descriptor of the last socket. */
    int lastSocket = -1;
};

SystemCalls& systemCalls();

} // namespace zebtest

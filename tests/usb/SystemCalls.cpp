#include "tests/usb/SystemCalls.h"

#include "tests/support/Record.h"

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <net/if.h>
#include <sys/ioctl.h>

namespace zebtest {

SystemCalls& systemCalls() {
    static SystemCalls calls;
    return calls;
}

} // namespace zebtest

using zebtest::Record;
using zebtest::systemCalls;

extern "C" {

int __real_socket(int domain, int type, int protocol);
int __real_ioctl(int descriptor, unsigned long request, ...);
int __real_close(int descriptor);
void* __real_malloc(std::size_t size);

int __wrap_socket(int domain, int type, int protocol);
int __wrap_ioctl(int descriptor, unsigned long request, ...);
int __wrap_close(int descriptor);
void* __wrap_malloc(std::size_t size);

int __wrap_socket(int domain, int type, int protocol) {
    Record::note("socket", domain, type, protocol);
    ++systemCalls().sockets;
    errno = systemCalls().socketError;
    systemCalls().lastSocket = errno != 0 ? -1 : __real_socket(domain, type, protocol);
    return systemCalls().lastSocket;
}

int __wrap_ioctl(int descriptor, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    if (request == SIOCGIFCONF) // with the room for the list
        Record::note("ioctl", descriptor, request, static_cast<const ifconf*>(argument)->ifc_len);
    else
        Record::note("ioctl", descriptor, request);
    errno = systemCalls().ioctlError;
    return errno != 0 ? -1 : __real_ioctl(descriptor, request, argument);
}

int __wrap_close(int descriptor) {
    Record::note("close", descriptor);
    return __real_close(descriptor);
}

void* __wrap_malloc(std::size_t size) {
    int& countdown = systemCalls().failMallocAt;
    if (countdown > 0 && --countdown == 0)
        return nullptr;
    return __real_malloc(size);
}
}

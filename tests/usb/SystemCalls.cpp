#include "tests/usb/SystemCalls.h"

#include <cerrno>
#include <cstdarg>
#include <cstddef>

namespace zebtest {

SystemCalls& systemCalls() {
    static SystemCalls calls;
    return calls;
}

} // namespace zebtest

using zebtest::systemCalls;

extern "C" {

int __real_socket(int domain, int type, int protocol);
int __real_ioctl(int descriptor, unsigned long request, ...);
void* __real_malloc(std::size_t size);

int __wrap_socket(int domain, int type, int protocol);
int __wrap_ioctl(int descriptor, unsigned long request, ...);
void* __wrap_malloc(std::size_t size);

int __wrap_socket(int domain, int type, int protocol) {
    ++systemCalls().sockets;
    errno = systemCalls().socketError;
    return errno != 0 ? -1 : __real_socket(domain, type, protocol);
}

int __wrap_ioctl(int descriptor, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    errno = systemCalls().ioctlError;
    return errno != 0 ? -1 : __real_ioctl(descriptor, request, argument);
}

void* __wrap_malloc(std::size_t size) {
    int& countdown = systemCalls().failMallocAt;
    if (countdown > 0 && --countdown == 0)
        return nullptr;
    return __real_malloc(size);
}
}

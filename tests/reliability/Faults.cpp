#include "tests/reliability/Faults.h"

#include "tests/reliability/Boundary.h"
#include "tests/reliability/ImportHook.h"

#include <algorithm>
#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <iterator>
#include <libusb.h>
#include <map>
#include <net/if.h>
#include <new>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace zebtest {
namespace {

// Plain data: allocations come before and after everything else.
char gFunction[64] = "";
int gCountdown = 0;
int gCalls = 0;
bool gFired = false;
std::atomic<bool> gArmed{false};
bool gInterfacePresent = true;
std::atomic<long> gLive{0};
thread_local int tInsideCallback = 0;
int gClosedInsideCallback = 0;

// What was called while all functions were watched. All names are literals.
constexpr int kMostFunctions = 64;
const char* gSeen[kMostFunctions];
bool gWatching = false;

void noteCall(const char* function) {
    int slot = 0;
    while (gSeen[slot] && std::strcmp(gSeen[slot], function) != 0)
        ++slot;
    gSeen[slot] = function;
}

/** Is this the call that is to fail? */
bool fails(const char* function) {
    if (!gArmed || !Boundary::isInside())
        return false;
    if (gWatching)
        noteCall(function);
    if (std::strcmp(function, gFunction) != 0)
        return false;
    ++gCalls;
    if (gCountdown == 0 || --gCountdown != 0)
        return false;
    gFired = true;
    return true;
}

/** The same for functions that return -1 and set errno. */
bool failsWith(const char* function, int error) {
    const bool failed = fails(function);
    if (failed)
        errno = error;
    return failed;
}

} // namespace

// Each hook: what is called instead of the import, and where the import is.
#define ZEB_HOOK(result, name, parameters)                                                                   \
    result(*real_##name) parameters = nullptr;                                                               \
    result hook_##name parameters

namespace {
namespace plugin {

ZEB_HOOK(void*, malloc, (std::size_t bytes)) {
    if (fails("malloc"))
        return nullptr;
    ++gLive;
    return real_malloc(bytes);
}
ZEB_HOOK(void, free, (void* memory)) {
    // libusb's list of descriptors is freed here too; libusb counts that one.
    if (memory)
        --gLive;
    real_free(memory);
}
ZEB_HOOK(int, pipe, (int* ends)) { return failsWith("pipe", EMFILE) ? -1 : real_pipe(ends); }
int (*real_fcntl)(int, int, ...) = nullptr;
int hook_fcntl(int fd, int command, ...) {
    std::va_list arguments;
    va_start(arguments, command);
    const int argument = command == F_SETFL ? va_arg(arguments, int) : 0;
    va_end(arguments);
    return failsWith("fcntl", EINVAL) ? -1 : real_fcntl(fd, command, argument);
}
ZEB_HOOK(int, close, (int fd)) {
    const int result = real_close(fd); // gone in any case, as on Linux
    return failsWith("close", EIO) ? -1 : result;
}
ZEB_HOOK(int, socket, (int domain, int type, int protocol)) {
    return failsWith("socket", EMFILE) ? -1 : real_socket(domain, type, protocol);
}
ZEB_HOOK(int, euidaccess, (const char* path, int mode)) {
    return failsWith("euidaccess", EACCES) ? -1 : access(path, mode); // sees the emulated nodes
}
int (*real_ioctl)(int, unsigned long, ...) = nullptr;
int hook_ioctl(int, unsigned long, ifconf* list) {
    if (failsWith("ioctl", EIO))
        return -1;
    ifreq record{};
    auto& address = reinterpret_cast<sockaddr_in&>(record.ifr_addr);
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = inet_addr(gInterfacePresent ? "192.168.42.23" : "127.0.0.1");
    std::memcpy(list->ifc_req, &record, sizeof(record));
    list->ifc_len = sizeof(record);
    return 0;
}

#define ZEB_RESULT_HOOK(name, failure, parameters, ...)                                                      \
    ZEB_HOOK(int, name, parameters) { return fails(#name) ? (failure) : real_##name(__VA_ARGS__); }

ZEB_RESULT_HOOK(pthread_mutex_init, ENOMEM, (pthread_mutex_t * m, const pthread_mutexattr_t* a), m, a)
ZEB_RESULT_HOOK(pthread_mutex_lock, EINVAL, (pthread_mutex_t * m), m)
ZEB_RESULT_HOOK(pthread_mutex_destroy, EBUSY, (pthread_mutex_t * m), m)
ZEB_RESULT_HOOK(pthread_condattr_init, ENOMEM, (pthread_condattr_t * a), a)
ZEB_RESULT_HOOK(pthread_cond_init, ENOMEM, (pthread_cond_t * c, const pthread_condattr_t* a), c, a)
ZEB_RESULT_HOOK(pthread_cond_signal, EINVAL, (pthread_cond_t * c), c)
ZEB_RESULT_HOOK(pthread_cond_wait, EINVAL, (pthread_cond_t * c, pthread_mutex_t* m), c, m)
ZEB_RESULT_HOOK(pthread_create, EAGAIN,
                (pthread_t * t, const pthread_attr_t* a, void* (*body)(void*), void* self), t, a, body, self)
ZEB_RESULT_HOOK(clock_gettime, -1, (clockid_t clock, timespec* time), clock, time)
ZEB_HOOK(int, pthread_mutex_unlock, (pthread_mutex_t * m)) {
    const int result = real_pthread_mutex_unlock(m);
    return fails("pthread_mutex_unlock") ? EPERM : result;
}

ZEB_RESULT_HOOK(libusb_init, LIBUSB_ERROR_NO_MEM, (libusb_context * *context), context)
ZEB_RESULT_HOOK(libusb_open, LIBUSB_ERROR_ACCESS, (libusb_device * device, libusb_device_handle** handle),
                device, handle)
ZEB_RESULT_HOOK(libusb_handle_events_timeout, LIBUSB_ERROR_INTERRUPTED,
                (libusb_context * context, timeval* limit), context, limit)
ZEB_RESULT_HOOK(libusb_cancel_transfer, LIBUSB_ERROR_OTHER, (libusb_transfer * transfer), transfer)
ZEB_HOOK(ssize_t, libusb_get_device_list, (libusb_context * context, libusb_device*** list)) {
    if (fails("libusb_get_device_list"))
        return LIBUSB_ERROR_NO_MEM;
    return real_libusb_get_device_list(context, list);
}
ZEB_HOOK(libusb_transfer*, libusb_alloc_transfer, (int packets)) {
    return fails("libusb_alloc_transfer") ? nullptr : real_libusb_alloc_transfer(packets);
}
ZEB_HOOK(const libusb_pollfd**, libusb_get_pollfds, (libusb_context * context)) {
    return fails("libusb_get_pollfds") ? nullptr : real_libusb_get_pollfds(context);
}
int (*real_libusb_set_option)(libusb_context*, libusb_option, ...) = nullptr;
int hook_libusb_set_option(libusb_context* context, libusb_option option, int value) {
    return fails("libusb_set_option") ? LIBUSB_ERROR_NOT_SUPPORTED
                                      : real_libusb_set_option(context, option, value);
}

// The plug-in has one callback for all transfers; it is called through this one.
libusb_transfer_cb_fn gTransferCallback = nullptr;
void transferCallback(libusb_transfer* transfer) {
    ++tInsideCallback;
    gTransferCallback(transfer);
    --tInsideCallback;
}
ZEB_HOOK(int, libusb_submit_transfer, (libusb_transfer * transfer)) {
    gTransferCallback = transfer->callback;
    transfer->callback = transferCallback;
    transfer->timeout = 0; // unlimited: here no phone is late, but a busy machine may be
    return fails("libusb_submit_transfer") ? LIBUSB_ERROR_IO : real_libusb_submit_transfer(transfer);
}
ZEB_HOOK(void, libusb_close, (libusb_device_handle * handle)) {
    if (tInsideCallback > 0) {
        ++gClosedInsideCallback;
        return;
    }
    real_libusb_close(handle);
}

} // namespace plugin

namespace usb {

ZEB_HOOK(void*, malloc, (std::size_t bytes)) {
    if (fails("libusb: malloc"))
        return nullptr;
    ++gLive;
    return real_malloc(bytes);
}
ZEB_HOOK(void*, calloc, (std::size_t count, std::size_t bytes)) {
    if (fails("libusb: calloc"))
        return nullptr;
    ++gLive;
    return real_calloc(count, bytes);
}
ZEB_HOOK(void*, realloc, (void* memory, std::size_t bytes)) {
    if (fails("libusb: realloc"))
        return nullptr;
    if (!memory)
        ++gLive;
    return real_realloc(memory, bytes);
}
ZEB_HOOK(char*, strdup, (const char* text)) {
    if (fails("libusb: strdup"))
        return nullptr;
    ++gLive;
    return real_strdup(text);
}
// Both of its names: the second is a fortified build's.
[[gnu::format(printf, 2, 0)]] int countedPrint(char** out, const char* format, std::va_list arguments) {
    const int length = fails("libusb: asprintf") ? -1 : vasprintf(out, format, arguments);
    gLive += length >= 0 ? 1 : 0;
    return length;
}
int (*real_asprintf)(char**, const char*, ...) = nullptr;
[[gnu::format(printf, 2, 3)]] int hook_asprintf(char** out, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int length = countedPrint(out, format, arguments);
    va_end(arguments);
    return length;
}
int (*real___asprintf_chk)(char**, int, const char*, ...) = nullptr;
[[gnu::format(printf, 3, 4)]] int hook___asprintf_chk(char** out, int, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int length = countedPrint(out, format, arguments);
    va_end(arguments);
    return length;
}
ZEB_HOOK(void, free, (void* memory)) {
    if (memory)
        --gLive;
    real_free(memory);
}
ZEB_HOOK(int, eventfd, (unsigned value, int flags)) {
    return failsWith("libusb: eventfd", EMFILE) ? -1 : real_eventfd(value, flags);
}
ZEB_HOOK(int, timerfd_create, (int clock, int flags)) {
    return failsWith("libusb: timerfd_create", EMFILE) ? -1 : real_timerfd_create(clock, flags);
}
ZEB_HOOK(int, pthread_create, (pthread_t * t, const pthread_attr_t* a, void* (*body)(void*), void* self)) {
    return fails("libusb: pthread_create") ? EAGAIN : real_pthread_create(t, a, body, self);
}

} // namespace usb

#define ZEB_INSTALL(space, name)                                                                             \
    space::real_##name = reinterpret_cast<decltype(space::real_##name)>(                                     \
        hook.replace(#name, reinterpret_cast<void*>(&space::hook_##name)))

void installInPlugin(const ImportHook& hook) {
    ZEB_INSTALL(plugin, malloc);
    ZEB_INSTALL(plugin, free);
    ZEB_INSTALL(plugin, pipe);
    ZEB_INSTALL(plugin, fcntl);
    if (void* fcntl64 = hook.replace("fcntl64", reinterpret_cast<void*>(&plugin::hook_fcntl)))
        plugin::real_fcntl = reinterpret_cast<decltype(plugin::real_fcntl)>(fcntl64);
    ZEB_INSTALL(plugin, close);
    ZEB_INSTALL(plugin, socket);
    ZEB_INSTALL(plugin, euidaccess);
    ZEB_INSTALL(plugin, ioctl);
    ZEB_INSTALL(plugin, pthread_mutex_init);
    ZEB_INSTALL(plugin, pthread_mutex_lock);
    ZEB_INSTALL(plugin, pthread_mutex_unlock);
    ZEB_INSTALL(plugin, pthread_mutex_destroy);
    ZEB_INSTALL(plugin, pthread_condattr_init);
    ZEB_INSTALL(plugin, pthread_cond_init);
    ZEB_INSTALL(plugin, pthread_cond_signal);
    ZEB_INSTALL(plugin, pthread_cond_wait);
    ZEB_INSTALL(plugin, pthread_create);
    ZEB_INSTALL(plugin, clock_gettime);
    ZEB_INSTALL(plugin, libusb_init);
    ZEB_INSTALL(plugin, libusb_set_option);
    ZEB_INSTALL(plugin, libusb_alloc_transfer);
    ZEB_INSTALL(plugin, libusb_get_device_list);
    ZEB_INSTALL(plugin, libusb_open);
    ZEB_INSTALL(plugin, libusb_get_pollfds);
    ZEB_INSTALL(plugin, libusb_submit_transfer);
    ZEB_INSTALL(plugin, libusb_cancel_transfer);
    ZEB_INSTALL(plugin, libusb_handle_events_timeout);
    ZEB_INSTALL(plugin, libusb_close);
}

void installInLibUsb(const ImportHook& hook) {
    ZEB_INSTALL(usb, malloc);
    ZEB_INSTALL(usb, calloc);
    ZEB_INSTALL(usb, realloc);
    ZEB_INSTALL(usb, strdup);
    ZEB_INSTALL(usb, asprintf);
    ZEB_INSTALL(usb, __asprintf_chk);
    ZEB_INSTALL(usb, free);
    ZEB_INSTALL(usb, eventfd);
    ZEB_INSTALL(usb, timerfd_create);
    ZEB_INSTALL(usb, pthread_create);
}

} // namespace

void Faults::install(const char* plugin) {
    installInPlugin(ImportHook(plugin));
    installInLibUsb(ImportHook("libusb-1.0.so.0"));
}

void Faults::arm(const std::string& function, int n) {
    std::strncpy(gFunction, function.c_str(), sizeof(gFunction) - 1);
    gCountdown = n;
    gCalls = 0;
    gFired = false;
    gArmed = true;
}

void Faults::watch() {
    std::fill(std::begin(gSeen), std::end(gSeen), nullptr);
    arm("", 0);
    gWatching = true;
}

std::vector<std::string> Faults::seen() {
    std::vector<std::string> names;
    for (const char* name : gSeen) {
        if (name)
            names.emplace_back(name);
    }
    return names;
}

void Faults::disarm() {
    gArmed = false;
    gWatching = false;
}

bool Faults::hasFired() { return gFired; }

int Faults::calls() { return gCalls; }

long Faults::liveBlocks() { return gLive; }

int Faults::closedInsideCallback() { return gClosedInsideCallback; }

void Faults::setInterfacePresent(bool present) { gInterfacePresent = present; }

} // namespace zebtest

// The process's operator new: a block knows whether it was asked for inside the plug-in.
namespace {

constexpr std::size_t kHeader = alignof(std::max_align_t);

void* allocate(std::size_t size) noexcept {
    if (zebtest::fails("operator new"))
        return nullptr;
    auto* block = static_cast<unsigned char*>(std::malloc(size + kHeader));
    if (!block)
        return nullptr;
    block[0] = zebtest::Boundary::isInside() ? 1 : 0;
    zebtest::gLive += block[0];
    return block + kHeader;
}

void release(void* memory) noexcept {
    if (!memory)
        return;
    unsigned char* block = static_cast<unsigned char*>(memory) - kHeader;
    zebtest::gLive -= block[0];
    std::free(block);
}

void* allocateOrThrow(std::size_t size) {
    if (void* memory = allocate(size))
        return memory;
    throw std::bad_alloc();
}

} // namespace

void* operator new(std::size_t size) { return allocateOrThrow(size); }
void* operator new[](std::size_t size) { return allocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void operator delete(void* memory) noexcept { release(memory); }
void operator delete[](void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t) noexcept { release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { release(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { release(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { release(memory); }

#include "tests/handshake/LibUsbSpy.h"

#include "tests/support/Record.h"

#include <cstdio>
#include <dlfcn.h>
#include <libusb.h>
#include <utility>

namespace zebtest {
namespace {

/** The function that libusb, which the plug-in has loaded, defines under the name of ours. */
template <class Function>
Function* real(const char* name) {
    void* libusb = dlopen("libusb-1.0.so.0", RTLD_NOW | RTLD_NOLOAD);
    void* const function = dlsym(libusb, name);
    dlclose(libusb); // the plug-in keeps it
    return reinterpret_cast<Function*>(function);
}

// Names the type alone: libusb is not linked with these programs.
#define REAL(function) real<decltype(function)>(#function)

LibUsbSpy& spy() { return LibUsbSpy::instance(); }

void runHook(const char* function) {
    const auto found = spy().on.find(function);
    if (found == spy().on.end() || !found->second)
        return;
    const std::function<void()> hook = found->second; // the hook may replace itself
    hook();
}

template <class... Arguments>
void note(const char* function, const Arguments&... arguments) {
    Record::note(function, arguments...);
    runHook(function);
}

std::string nameOf(libusb_device* device) {
    char name[16];
    std::snprintf(name, sizeof(name), "%03d/%03d", REAL(libusb_get_bus_number)(device),
                  REAL(libusb_get_device_address)(device));
    return name;
}

bool isRootHub(libusb_device* device) { return REAL(libusb_get_device_address)(device) == 1; }

ssize_t emptied(libusb_device** list, ssize_t count) {
    for (ssize_t i = 0; i < count; ++i)
        REAL(libusb_unref_device)(std::exchange(list[i], nullptr));
    return 0;
}

/** As it goes over the wire. */
std::string setupOf(const libusb_transfer& transfer) {
    char text[2 * LIBUSB_CONTROL_SETUP_SIZE + 1];
    for (std::size_t i = 0; i < LIBUSB_CONTROL_SETUP_SIZE; ++i)
        std::snprintf(text + 2 * i, 3, "%02x", transfer.buffer[i]);
    return text;
}

void noteSubmission(const libusb_transfer& transfer) {
    const OwnMemory own;
    Record::note("libusb_submit_transfer", &transfer, transfer.dev_handle, setupOf(transfer),
                 transfer.timeout);
}

/** A submitted control transfer that is to be given up soon. */
bool isHurried(const libusb_transfer& transfer) {
    const LibUsbSpy::Hurry& hurry = spy().hurry;
    const unsigned char* setup = transfer.buffer;
    return setup[1] == hurry.request && setup[4] == hurry.index;
}

constexpr unsigned kShortTimeoutMs = 40;
// Of all others: a busy machine, on which half a second may pass at any place, is not a late phone.
constexpr unsigned kUnlimited = 0;

/** The plug-in's own callbacks of the transfers that are under way. */
std::map<libusb_transfer*, libusb_transfer_cb_fn>& callbacks() {
    static std::map<libusb_transfer*, libusb_transfer_cb_fn> all;
    return all;
}

libusb_transfer_cb_fn takeCallback(libusb_transfer* transfer) {
    return transfer->callback = callbacks().extract(transfer).mapped();
}

void transferFinished(libusb_transfer* transfer) {
    const libusb_transfer_cb_fn callback = takeCallback(transfer);
    if (const auto outcome = std::exchange(spy().nextOutcome, std::nullopt)) {
        transfer->status = static_cast<libusb_transfer_status>(outcome->status);
        transfer->actual_length = outcome->length;
    }
    note("transferFinished", transfer, static_cast<int>(transfer->status), transfer->actual_length);
    callback(transfer);
}

} // namespace

LibUsbSpy& LibUsbSpy::instance() {
    static LibUsbSpy spy;
    return spy;
}

void LibUsbSpy::reset() { instance() = LibUsbSpy(); }

} // namespace zebtest

// The definitions below win over libusb's, for the plug-in too, which is loaded later, and for libusb itself.
using namespace zebtest;

extern "C" {

#define ZEB_SPY __attribute__((visibility("default")))

ZEB_SPY int libusb_init(libusb_context** context) {
    note("libusb_init");
    if (const int result = std::exchange(spy().nextInit, 0))
        return result;
    const int result = REAL(libusb_init)(context);
    spy().context = *context;
    return result;
}

ZEB_SPY void libusb_exit(libusb_context* context) {
    note("libusb_exit", context);
    REAL(libusb_exit)(context);
}

ZEB_SPY ssize_t libusb_get_device_list(libusb_context* context, libusb_device*** list) {
    note("libusb_get_device_list", context);
    if (const int result = std::exchange(spy().nextDeviceList, 0))
        return result;
    const ssize_t count = REAL(libusb_get_device_list)(context, list);
    if (std::exchange(spy().nextListIsEmpty, false))
        return emptied(*list, count);
    const OwnMemory own;
    spy().devices.clear();
    for (ssize_t i = 0; i < count; ++i)
        spy().devices.push_back(nameOf((*list)[i]));
    return count;
}

ZEB_SPY void libusb_free_device_list(libusb_device** list, int unref) {
    note("libusb_free_device_list", unref);
    REAL(libusb_free_device_list)(list, unref);
}

ZEB_SPY std::uint8_t libusb_get_bus_number(libusb_device* device) {
    const std::uint8_t told = isRootHub(device) ? std::uint8_t{0} : spy().told.bus;
    return told ? told : REAL(libusb_get_bus_number)(device);
}

ZEB_SPY std::uint8_t libusb_get_device_address(libusb_device* device) {
    const std::uint8_t told = isRootHub(device) ? std::uint8_t{0} : spy().told.address;
    return told ? told : REAL(libusb_get_device_address)(device);
}

ZEB_SPY int libusb_open(libusb_device* device, libusb_device_handle** handle) {
    note("libusb_open", nameOf(device));
    if (const int result = std::exchange(spy().nextOpen, 0))
        return result;
    const int result = REAL(libusb_open)(device, handle);
    spy().handle = *handle;
    return result;
}

ZEB_SPY void libusb_close(libusb_device_handle* handle) {
    note("libusb_close", handle);
    REAL(libusb_close)(handle);
}

ZEB_SPY int libusb_handle_events_timeout(libusb_context* context, timeval* limit) {
    note("libusb_handle_events_timeout", context, limit->tv_sec, limit->tv_usec);
    if (const int result = std::exchange(spy().nextEvents, 0))
        return result;
    return REAL(libusb_handle_events_timeout)(context, limit);
}

ZEB_SPY libusb_transfer* libusb_alloc_transfer(int packets) {
    note("libusb_alloc_transfer", packets);
    if (std::exchange(spy().nextAllocationFails, false))
        return nullptr;
    return spy().transfer = REAL(libusb_alloc_transfer)(packets);
}

ZEB_SPY void libusb_free_transfer(libusb_transfer* transfer) {
    note("libusb_free_transfer", transfer);
    REAL(libusb_free_transfer)(transfer);
}

ZEB_SPY const libusb_pollfd** libusb_get_pollfds(libusb_context* context) {
    note("libusb_get_pollfds", context);
    const libusb_pollfd** list = REAL(libusb_get_pollfds)(context);
    const OwnMemory own;
    spy().pollFds.clear();
    for (const libusb_pollfd** entry = list; entry && *entry; ++entry)
        spy().pollFds.emplace_back((*entry)->fd, (*entry)->events);
    return list;
}

ZEB_SPY void libusb_set_pollfd_notifiers(libusb_context* context, libusb_pollfd_added_cb added,
                                         libusb_pollfd_removed_cb removed, void* user) {
    note("libusb_set_pollfd_notifiers", context);
    spy().notifiers = {added, removed, user};
    REAL(libusb_set_pollfd_notifiers)(context, added, removed, user);
}

ZEB_SPY int libusb_submit_transfer(libusb_transfer* transfer) {
    noteSubmission(*transfer);
    runHook("libusb_submit_transfer");
    transfer->timeout = isHurried(*transfer) ? kShortTimeoutMs : kUnlimited;
    {
        const OwnMemory own;
        callbacks()[transfer] = std::exchange(transfer->callback, &transferFinished);
    }
    const int result = REAL(libusb_submit_transfer)(transfer);
    if (result != 0)
        takeCallback(transfer);
    return result;
}

ZEB_SPY int libusb_cancel_transfer(libusb_transfer* transfer) {
    note("libusb_cancel_transfer", transfer);
    return REAL(libusb_cancel_transfer)(transfer);
}

// Variadic in libusb. The one option with an argument is the log level, an int, which all our targets
// pass as a named one.
ZEB_SPY int spyOnSetOption(libusb_context* context, libusb_option option,
                           int value) __asm__("libusb_set_option");
ZEB_SPY int spyOnSetOption(libusb_context* context, libusb_option option, int value) {
    note("libusb_set_option", context, static_cast<int>(option), value);
    return REAL(libusb_set_option)(context, option, value);
}

} // extern "C"

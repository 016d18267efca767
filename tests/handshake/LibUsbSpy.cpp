#include "tests/handshake/LibUsbSpy.h"

#include "tests/support/Record.h"

#include <dlfcn.h>
#include <libusb.h>

namespace zebtest {
namespace {

/** The function that libusb, which the plug-in has loaded, defines under the name of ours. */
template <class Function>
Function* real(Function*, const char* name) {
    void* libusb = dlopen("libusb-1.0.so.0", RTLD_NOW | RTLD_NOLOAD);
    void* const function = dlsym(libusb, name);
    dlclose(libusb); // the plug-in keeps it
    return reinterpret_cast<Function*>(function);
}

/** A submitted control transfer that is to be given up soon. */
bool isHurried(const libusb_transfer& transfer) {
    const LibUsbSpy::Hurry& hurry = LibUsbSpy::instance().hurry;
    const unsigned char* setup = transfer.buffer;
    return setup[1] == hurry.request && setup[4] == hurry.index;
}

constexpr unsigned kShortTimeoutMs = 40;
// Of all others: a busy machine, on which half a second may pass at any place, is not a late phone.
constexpr unsigned kUnlimited = 0;

void noteSubmission(const libusb_transfer& transfer) {
    const unsigned char* setup = transfer.buffer;
    const int length = setup[6] | setup[7] << 8;
    Record::note("libusb_submit_transfer", setup[1], setup[4], length, transfer.timeout);
}

} // namespace

LibUsbSpy& LibUsbSpy::instance() {
    static LibUsbSpy spy;
    return spy;
}

void LibUsbSpy::reset() { instance() = LibUsbSpy(); }

} // namespace zebtest

// The definitions below win over libusb's, for the plug-in too, which is loaded later.
using zebtest::LibUsbSpy;
using zebtest::real;
using zebtest::Record;

extern "C" {

#define ZEB_SPY __attribute__((visibility("default")))

ZEB_SPY int libusb_init(libusb_context** context) {
    Record::note("libusb_init");
    if (const int result = std::exchange(LibUsbSpy::instance().nextInit, 0))
        return result;
    return real(&libusb_init, "libusb_init")(context);
}

ZEB_SPY ssize_t libusb_get_device_list(libusb_context* context, libusb_device*** list) {
    Record::note("libusb_get_device_list");
    if (const int result = std::exchange(LibUsbSpy::instance().nextDeviceList, 0))
        return result;
    return real(&libusb_get_device_list, "libusb_get_device_list")(context, list);
}

ZEB_SPY int libusb_open(libusb_device* device, libusb_device_handle** handle) {
    Record::note("libusb_open", device);
    if (const int result = std::exchange(LibUsbSpy::instance().nextOpen, 0))
        return result;
    return real(&libusb_open, "libusb_open")(device, handle);
}

ZEB_SPY int libusb_handle_events_timeout(libusb_context* context, timeval* limit) {
    Record::note("libusb_handle_events_timeout");
    if (const int result = std::exchange(LibUsbSpy::instance().nextEvents, 0))
        return result;
    return real(&libusb_handle_events_timeout, "libusb_handle_events_timeout")(context, limit);
}

ZEB_SPY libusb_transfer* libusb_alloc_transfer(int packets) {
    Record::note("libusb_alloc_transfer", packets);
    if (std::exchange(LibUsbSpy::instance().nextAllocationFails, false))
        return nullptr;
    return real(&libusb_alloc_transfer, "libusb_alloc_transfer")(packets);
}

ZEB_SPY void libusb_set_pollfd_notifiers(libusb_context* context, libusb_pollfd_added_cb added,
                                         libusb_pollfd_removed_cb removed, void* user) {
    Record::note("libusb_set_pollfd_notifiers");
    LibUsbSpy::instance().notifiers = {added, removed, user};
    real(&libusb_set_pollfd_notifiers, "libusb_set_pollfd_notifiers")(context, added, removed, user);
}

ZEB_SPY int libusb_submit_transfer(libusb_transfer* transfer) {
    zebtest::noteSubmission(*transfer);
    LibUsbSpy::instance().timeouts.push_back(transfer->timeout);
    transfer->timeout = zebtest::isHurried(*transfer) ? zebtest::kShortTimeoutMs : zebtest::kUnlimited;
    return real(&libusb_submit_transfer, "libusb_submit_transfer")(transfer);
}

// Variadic in libusb. The one option with an argument is the log level, an int, which all our targets
// pass as a named one.
ZEB_SPY int spyOnSetOption(libusb_context* context, libusb_option option,
                           int value) __asm__("libusb_set_option");
ZEB_SPY int spyOnSetOption(libusb_context* context, libusb_option option, int value) {
    Record::note("libusb_set_option", static_cast<int>(option), value);
    LibUsbSpy::instance().options.emplace_back(option, value);
    return real(&libusb_set_option, "libusb_set_option")(context, option, value);
}

ZEB_SPY void libusb_exit(libusb_context* context) {
    Record::note("libusb_exit");
    real(&libusb_exit, "libusb_exit")(context);
}

ZEB_SPY void libusb_free_device_list(libusb_device** list, int unreference) {
    Record::note("libusb_free_device_list", unreference);
    real(&libusb_free_device_list, "libusb_free_device_list")(list, unreference);
}

ZEB_SPY uint8_t libusb_get_bus_number(libusb_device* device) {
    Record::note("libusb_get_bus_number", device);
    return real(&libusb_get_bus_number, "libusb_get_bus_number")(device);
}

ZEB_SPY uint8_t libusb_get_device_address(libusb_device* device) {
    Record::note("libusb_get_device_address", device);
    return real(&libusb_get_device_address, "libusb_get_device_address")(device);
}

ZEB_SPY void libusb_close(libusb_device_handle* handle) {
    Record::note("libusb_close");
    real(&libusb_close, "libusb_close")(handle);
}

ZEB_SPY int libusb_cancel_transfer(libusb_transfer* transfer) {
    Record::note("libusb_cancel_transfer");
    return real(&libusb_cancel_transfer, "libusb_cancel_transfer")(transfer);
}

ZEB_SPY void libusb_free_transfer(libusb_transfer* transfer) {
    Record::note("libusb_free_transfer");
    real(&libusb_free_transfer, "libusb_free_transfer")(transfer);
}

ZEB_SPY const libusb_pollfd** libusb_get_pollfds(libusb_context* context) {
    Record::note("libusb_get_pollfds");
    return real(&libusb_get_pollfds, "libusb_get_pollfds")(context);
}

} // extern "C"

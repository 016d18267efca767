// libusb's functions as the plug-in uses them, without any USB: there is one device, number 1 of bus 1; what
// is submitted never ends but by being cancelled. They make no system call, and what they allocate they give
// away. A program that links this shows what the plug-in itself costs, beyond what libusb costs.
#include <cstdlib>
#include <libusb.h>
#include <poll.h>
#include <unistd.h>

// Ours, behind libusb's names.
struct libusb_context {
    int firstDescriptor;
    libusb_transfer* pending;
    bool cancelled;
};
struct libusb_device {};
struct libusb_device_handle {
    libusb_context* context;
};

namespace {

constexpr int kMostContexts = 1100;
// No descriptors at all: nobody waits on them. Beyond those of the pipes that as many phones have.
constexpr int kFirstDescriptor = 4'000;
constexpr int kDescriptorsEach = 3;

libusb_context contexts[kMostContexts];
bool isUsed[kMostContexts];
libusb_device_handle handles[kMostContexts];
libusb_transfer transfers[kMostContexts];
libusb_device theDevice;
libusb_device* deviceList[] = {&theDevice, nullptr};
libusb_context* lastContext = nullptr;

size_t indexOf(const libusb_context* context) { return static_cast<size_t>(context - contexts); }

} // namespace

#define ZEB_FAKE __attribute__((visibility("default")))

extern "C" {

ZEB_FAKE int libusb_init(libusb_context** context) {
    for (int i = 0; i < kMostContexts; ++i) {
        if (isUsed[i])
            continue;
        isUsed[i] = true;
        contexts[i] = {kFirstDescriptor + i * kDescriptorsEach, nullptr, false};
        *context = lastContext = &contexts[i];
        return 0;
    }
    return LIBUSB_ERROR_NO_MEM;
}

ZEB_FAKE void libusb_exit(libusb_context* context) { isUsed[indexOf(context)] = false; }

ZEB_FAKE int libusb_set_option(libusb_context*, libusb_option, ...) { return 0; }

ZEB_FAKE ssize_t libusb_get_device_list(libusb_context*, libusb_device*** list) {
    *list = deviceList;
    return 1;
}

ZEB_FAKE void libusb_free_device_list(libusb_device**, int) {}

ZEB_FAKE uint8_t libusb_get_bus_number(libusb_device*) { return 1; }

ZEB_FAKE uint8_t libusb_get_device_address(libusb_device*) { return 1; }

ZEB_FAKE int libusb_open(libusb_device*, libusb_device_handle** handle) {
    *handle = &handles[indexOf(lastContext)];
    (*handle)->context = lastContext;
    return 0;
}

ZEB_FAKE void libusb_close(libusb_device_handle*) {}

ZEB_FAKE libusb_transfer* libusb_alloc_transfer(int) { return &transfers[indexOf(lastContext)]; }

ZEB_FAKE void libusb_free_transfer(libusb_transfer*) {}

ZEB_FAKE int libusb_submit_transfer(libusb_transfer* transfer) {
    transfer->dev_handle->context->pending = transfer;
    return 0;
}

ZEB_FAKE int libusb_cancel_transfer(libusb_transfer* transfer) {
    transfer->dev_handle->context->cancelled = true;
    return 0;
}

ZEB_FAKE int libusb_handle_events_timeout(libusb_context* context, timeval*) {
    libusb_transfer* const ended = context->cancelled ? context->pending : nullptr;
    if (ended) {
        context->pending = nullptr;
        context->cancelled = false;
        ended->status = LIBUSB_TRANSFER_CANCELLED;
        ended->callback(ended);
    }
    return 0;
}

ZEB_FAKE void libusb_set_pollfd_notifiers(libusb_context*, libusb_pollfd_added_cb, libusb_pollfd_removed_cb,
                                          void*) {}

// The caller frees the list, entries and all, with free() of the list alone: they lie behind it.
ZEB_FAKE const libusb_pollfd** libusb_get_pollfds(libusb_context* context) {
    constexpr size_t kPointers = kDescriptorsEach + 1;
    auto** list = static_cast<libusb_pollfd**>(
        std::malloc(kPointers * sizeof(libusb_pollfd*) + kDescriptorsEach * sizeof(libusb_pollfd)));
    auto* entries = reinterpret_cast<libusb_pollfd*>(list + kPointers);
    for (int i = 0; i < kDescriptorsEach; ++i) {
        entries[i] = {context->firstDescriptor + i, static_cast<short>(i == 2 ? POLLOUT : POLLIN)};
        list[i] = &entries[i];
    }
    list[kDescriptorsEach] = nullptr;
    return const_cast<const libusb_pollfd**>(list);
}

// The device's node may be opened.
ZEB_FAKE int euidaccess(const char*, int) noexcept { return 0; }
}

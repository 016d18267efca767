#include "tests/fuzz/FakeUsb.h"

#include <cstdlib>
#include <cstring>
#include <libusb.h>
#include <list>
#include <memory>
#include <poll.h>
#include <vector>

// libusb's own types, which its users only point at.

struct libusb_context {
    std::list<libusb_pollfd> listed;
    libusb_pollfd_added_cb added = nullptr;
    libusb_pollfd_removed_cb removed = nullptr;
    void* user = nullptr;
    /** What the last request was: -1 none, 0 version, 1 to 6 strings, 7 start. */
    int step = -1;
};

struct libusb_device {
    libusb_context* context;
    int bus;
    int address;
};

struct libusb_device_handle {
    libusb_device device;
    int descriptor;
};

namespace zebtest {

namespace {

constexpr int kFirstDescriptor = 100'000; // no real one is as high
constexpr int kErrors[] = {LIBUSB_ERROR_IO, LIBUSB_ERROR_NO_MEM, LIBUSB_ERROR_NO_DEVICE, LIBUSB_ERROR_OTHER};

unsigned word(const unsigned char* at) { return at[0] | static_cast<unsigned>(at[1]) << 8; }

} // namespace

FakeUsb& FakeUsb::instance() {
    static FakeUsb usb;
    return usb;
}

/** True once in n, while things may fail. */
bool FakeUsb::fails(std::uint32_t n) { return mpChoices && !mHealthy && mpChoices->rarely(n); }

void FakeUsb::reset(Choices& choices) {
    expectNothingLeft();
    mpChoices = &choices;
    mHealthy = false;
    mPlugged.clear();
    mSwitched.clear();
    mLastDescriptor = kFirstDescriptor;
}

void FakeUsb::expectNothingLeft() const {
    if (!mContexts.empty() || !mHandles.empty() || !mTransfers.empty())
        fail("%zu contexts, %zu handles, %zu transfers of libusb were never ended", mContexts.size(),
             mHandles.size(), mTransfers.size());
}

const short* FakeUsb::eventsOf(int descriptor) const {
    for (const libusb_context* context : mContexts) {
        for (const libusb_pollfd& entry : context->listed) {
            if (entry.fd == descriptor)
                return &entry.events;
        }
    }
    return nullptr;
}

int FakeUsb::init(libusb_context** out) {
    if (fails(24))
        return mpChoices->of(kErrors);
    auto* context = new libusb_context;
    addDescriptor(*context, POLLIN, false);
    addDescriptor(*context, POLLIN, false);
    mContexts.insert(context);
    *out = context;
    return 0;
}

void FakeUsb::exit(libusb_context* context) {
    if (!mContexts.contains(context) || mHandlingEvents)
        fail("libusb_exit: no such context, or from inside a callback");
    for (const libusb_device_handle* handle : mHandles) {
        if (handle->device.context == context)
            fail("libusb_exit: a device is still open");
    }
    while (!context->listed.empty())
        removeDescriptor(*context, context->listed.back().fd);
    mContexts.erase(context);
    delete context;
}

long FakeUsb::list(libusb_context* context, libusb_device*** out) {
    if (fails(24))
        return mpChoices->of(kErrors);
    auto** devices = new libusb_device*[mPlugged.size() + 1];
    long count = 0;
    for (const auto& [bus, address] : mPlugged)
        devices[count++] = new libusb_device{context, bus, address};
    devices[count] = nullptr;
    *out = devices;
    return count;
}

int FakeUsb::open(libusb_device* device, libusb_device_handle** out) {
    if (fails(24))
        return mpChoices->of(kErrors);
    libusb_context& context = *device->context;
    addDescriptor(context, POLLOUT, true);
    *out = new libusb_device_handle{*device, context.listed.back().fd};
    context.step = -1;
    mHandles.insert(*out);
    return 0;
}

void FakeUsb::close(libusb_device_handle* handle) {
    if (mHandlingEvents)
        fail("libusb_close from inside a transfer's callback, where it never returns");
    if (!mHandles.erase(handle))
        fail("libusb_close: no such handle");
    for (const auto& [transfer, flight] : mTransfers) {
        if (flight.context && transfer->dev_handle == handle)
            fail("libusb_close with a transfer pending");
    }
    removeDescriptor(*handle->device.context, handle->descriptor);
    delete handle;
}

libusb_transfer* FakeUsb::allocate() {
    if (fails(24))
        return nullptr;
    auto* transfer = static_cast<libusb_transfer*>(std::calloc(1, sizeof(libusb_transfer)));
    mTransfers[transfer] = {};
    return transfer;
}

void FakeUsb::free(libusb_transfer* transfer) {
    const auto found = mTransfers.find(transfer);
    if (found == mTransfers.end() || found->second.context)
        fail("libusb_free_transfer: no such transfer, or pending");
    mTransfers.erase(found);
    std::free(transfer);
}

/** The request as the phone would see it must be the next one of a hand-shake. */
void FakeUsb::check(const libusb_transfer& transfer) {
    const unsigned char* setup = transfer.buffer;
    const unsigned request = setup[1];
    const unsigned index = word(setup + 4);
    const unsigned length = word(setup + 6);
    int& last = transfer.dev_handle->device.context->step;
    const int step = request == 51 ? 0 : request == 52 ? 1 + static_cast<int>(index) : 7;
    if (step != last + 1 || word(setup + 2) != 0 || transfer.timeout != 500 || transfer.endpoint != 0 ||
        transfer.length != static_cast<int>(length) + 8)
        fail("request %u/%u after step %d, limit %u ms", request, index, last, transfer.timeout);
    last = step;
    const std::string text = step >= 1 && step <= 6 ? identifier(step - 1) : "";
    const bool isRight = step == 0 ? setup[0] == 0xC0 && length == 2
                                   : setup[0] == 0x40 && length == text.size() &&
                                         std::memcmp(setup + 8, text.data(), text.size()) == 0;
    if (!isRight || (step == 7 && request != 53))
        fail("request %u/%u of type %x with %u bytes is not what was to be sent", request, index, setup[0],
             length);
}

int FakeUsb::submit(libusb_transfer* transfer) {
    Flight& flight = mTransfers.at(transfer);
    if (flight.context || !mHandles.contains(transfer->dev_handle))
        fail("libusb_submit_transfer: pending already, or without a device");
    check(*transfer);
    const libusb_device& device = transfer->dev_handle->device;
    if (fails(32))
        return mpChoices->of(kErrors);
    if (device.context->step == 7)
        mSwitched.emplace(device.bus, device.address);
    flight = {device.context, false};
    return 0;
}

int FakeUsb::cancel(libusb_transfer* transfer) {
    Flight& flight = mTransfers.at(transfer);
    if (!flight.context)
        return LIBUSB_ERROR_NOT_FOUND;
    flight.cancelled = true;
    return 0;
}

/** What a transfer comes back with: mostly whole; else anything, as a phone or a cable would have it. */
void FakeUsb::complete(libusb_transfer& transfer) {
    Flight& flight = mTransfers.at(&transfer);
    const auto wanted = static_cast<std::uint32_t>(transfer.length - 8);
    const bool wasCancelled = flight.cancelled;
    flight = {};
    transfer.status = wasCancelled ? LIBUSB_TRANSFER_CANCELLED : LIBUSB_TRANSFER_COMPLETED;
    transfer.actual_length = wasCancelled ? 0 : static_cast<int>(wanted);
    const bool isOdd = fails(wasCancelled ? 4 : 10);
    if (isOdd) {
        transfer.status = static_cast<libusb_transfer_status>(mpChoices->below(8));
        if (mpChoices->rarely(2))
            transfer.actual_length = static_cast<int>(mpChoices->below(wanted + 1));
    }
    if (transfer.buffer[0] & 0x80) {
        const bool isNoVersion = fails(16);
        transfer.buffer[8] = isNoVersion ? 0 : static_cast<unsigned char>(mpChoices->below(3) + 1);
        transfer.buffer[9] = isNoVersion ? 0 : static_cast<unsigned char>(mpChoices->below(2));
    }
    transfer.callback(&transfer);
}

/** Complete what a choice has; what was cancelled always, because the kernel keeps nothing. */
void FakeUsb::completeSome(libusb_context* context) {
    for (int rounds = 0; rounds < 10; ++rounds) {
        libusb_transfer* next = nullptr;
        for (const auto& [transfer, flight] : mTransfers) {
            if (flight.context == context && (flight.cancelled || mHealthy || !mpChoices->rarely(3)))
                next = transfer;
        }
        if (!next)
            return;
        complete(*next);
    }
}

int FakeUsb::handleEvents(libusb_context* context) {
    if (!mContexts.contains(context))
        fail("libusb_handle_events_timeout: no such context");
    if (mHandlingEvents)
        return 0; // as the real one, which finds its lock taken
    if (fails(16))
        return mpChoices->rarely(2) ? LIBUSB_ERROR_INTERRUPTED : mpChoices->of(kErrors);
    mHandlingEvents = true;
    if (fails(12))
        changeDescriptors(*context);
    completeSome(context);
    mHandlingEvents = false;
    return 0;
}

void FakeUsb::changeDescriptors(libusb_context& context) {
    if (mpChoices->rarely(2) && !context.listed.empty()) {
        auto entry = context.listed.begin();
        std::advance(entry,
                     static_cast<int>(mpChoices->below(static_cast<std::uint32_t>(context.listed.size()))));
        removeDescriptor(context, entry->fd);
        return;
    }
    constexpr short kEvents[] = {POLLIN, POLLOUT, POLLIN | POLLOUT, 0};
    if (context.listed.size() < 40)
        addDescriptor(context, mpChoices->of(kEvents), true);
}

void FakeUsb::addDescriptor(libusb_context& context, short events, bool announce) {
    context.listed.push_back({++mLastDescriptor, events});
    if (announce && context.added)
        context.added(mLastDescriptor, events, context.user);
}

/** One that was removed before is announced to nobody again. */
void FakeUsb::removeDescriptor(libusb_context& context, int descriptor) {
    const auto isIt = [descriptor](const libusb_pollfd& entry) { return entry.fd == descriptor; };
    if (std::erase_if(context.listed, isIt) > 0 && context.removed)
        context.removed(descriptor, context.user);
}

const libusb_pollfd** FakeUsb::descriptors(libusb_context* context) {
    if (fails(24))
        return nullptr;
    const std::size_t count = context->listed.size();
    auto** list = static_cast<const libusb_pollfd**>(std::calloc(count + 1, sizeof(libusb_pollfd*)));
    std::size_t i = 0;
    for (const libusb_pollfd& entry : context->listed)
        list[i++] = &entry;
    return list;
}

} // namespace zebtest

// These win over libusb's own, also for a plug-in that is loaded later.

using zebtest::FakeUsb;

#define ZEB_FAKE __attribute__((visibility("default")))

extern "C" {

ZEB_FAKE int libusb_init(libusb_context** context) { return FakeUsb::instance().init(context); }
ZEB_FAKE void libusb_exit(libusb_context* context) { FakeUsb::instance().exit(context); }

// Variadic in libusb; our targets pass the one argument as a named one.
ZEB_FAKE int fakeSetOption(libusb_context* context, libusb_option option,
                           int value) __asm__("libusb_set_option");
ZEB_FAKE int fakeSetOption(libusb_context* context, libusb_option option, int value) {
    if (!context || option != LIBUSB_OPTION_LOG_LEVEL || value != LIBUSB_LOG_LEVEL_ERROR)
        zebtest::fail("libusb_set_option %d to %d", static_cast<int>(option), value);
    return 0;
}

ZEB_FAKE ssize_t libusb_get_device_list(libusb_context* context, libusb_device*** list) {
    return FakeUsb::instance().list(context, list);
}

ZEB_FAKE void libusb_free_device_list(libusb_device** list, int unref) {
    for (libusb_device** device = list; unref && *device; ++device)
        delete *device;
    delete[] list;
}

ZEB_FAKE uint8_t libusb_get_bus_number(libusb_device* device) { return static_cast<uint8_t>(device->bus); }
ZEB_FAKE uint8_t libusb_get_device_address(libusb_device* device) {
    return static_cast<uint8_t>(device->address);
}
ZEB_FAKE int libusb_open(libusb_device* device, libusb_device_handle** handle) {
    return FakeUsb::instance().open(device, handle);
}
ZEB_FAKE void libusb_close(libusb_device_handle* handle) { FakeUsb::instance().close(handle); }
ZEB_FAKE libusb_transfer* libusb_alloc_transfer(int) { return FakeUsb::instance().allocate(); }
ZEB_FAKE void libusb_free_transfer(libusb_transfer* transfer) { FakeUsb::instance().free(transfer); }
ZEB_FAKE int libusb_submit_transfer(libusb_transfer* transfer) {
    return FakeUsb::instance().submit(transfer);
}
ZEB_FAKE int libusb_cancel_transfer(libusb_transfer* transfer) {
    return FakeUsb::instance().cancel(transfer);
}
ZEB_FAKE int libusb_handle_events_timeout(libusb_context* context, timeval*) {
    return FakeUsb::instance().handleEvents(context);
}
ZEB_FAKE void libusb_set_pollfd_notifiers(libusb_context* context, libusb_pollfd_added_cb added,
                                          libusb_pollfd_removed_cb removed, void* user) {
    context->added = added;
    context->removed = removed;
    context->user = user;
}
ZEB_FAKE const libusb_pollfd** libusb_get_pollfds(libusb_context* context) {
    return FakeUsb::instance().descriptors(context);
}

} // extern "C"

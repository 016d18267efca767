/* The fastest hand-shake a bus allows, as a measure for others: request 51, the six strings by request 52 and
 * request 53, each submitted from the completion callback of the one before, and nothing else waited for.
 *
 *   handshake BUS DEVICE    with that phone
 *   handshake               with one after the other, as lines of "BUS DEVICE" come in
 *
 * prints the microseconds from before the open to the version's arrival, to the last string's completion and
 * to the start request's. Exit status 0 when every request went well.
 */
#define _POSIX_C_SOURCE 200809L

#include <libusb.h>

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

enum { kStrings = 6, kStart = kStrings + 1, kDone = kStart + 1, kLongest = 256, kTimeoutMs = 500 };

static const char* const kIdentifiers[kStrings] = {
    "Example Company",          "AAPTest",      "Example Company AAP Bearer", "0.1",
    "https://www.example.com/", "serial_number"};

struct Handshake {
    libusb_device_handle* device;
    struct libusb_transfer* transfer;
    unsigned char buffer[LIBUSB_CONTROL_SETUP_SIZE + kLongest];
    int step; /* 0: the version; 1 to 6: a string; then kStart, kDone */
    int failed;
    int64_t doneUs[kDone];
};

static int64_t nowUs(void) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (int64_t)now.tv_sec * 1000000 + now.tv_nsec / 1000;
}

static void onFinished(struct libusb_transfer* transfer);

static void fillSetup(struct Handshake* self) {
    if (self->step == 0) {
        libusb_fill_control_setup(self->buffer, 0xc0, 51, 0, 0, 2);
    } else if (self->step == kStart) {
        libusb_fill_control_setup(self->buffer, 0x40, 53, 0, 0, 0);
    } else {
        const char* text = kIdentifiers[self->step - 1];
        const uint16_t length = (uint16_t)strlen(text);
        libusb_fill_control_setup(self->buffer, 0x40, 52, 0, (uint16_t)(self->step - 1), length);
        memcpy(self->buffer + LIBUSB_CONTROL_SETUP_SIZE, text, length);
    }
}

static void submit(struct Handshake* self) {
    fillSetup(self);
    libusb_fill_control_transfer(self->transfer, self->device, self->buffer, onFinished, self, kTimeoutMs);
    self->failed = libusb_submit_transfer(self->transfer) != 0;
}

static void onFinished(struct libusb_transfer* transfer) {
    struct Handshake* self = transfer->user_data;
    const int wanted = libusb_control_transfer_get_setup(transfer)->wLength;
    if (transfer->status != LIBUSB_TRANSFER_COMPLETED || transfer->actual_length != wanted) {
        self->failed = 1;
        return;
    }
    self->doneUs[self->step] = nowUs();
    if (++self->step != kDone)
        submit(self);
}

/* The device at that address, referenced; null when there is none. */
static libusb_device* findDevice(libusb_context* context, int bus, int address) {
    libusb_device** list = NULL;
    libusb_device* found = NULL;
    const ssize_t count = libusb_get_device_list(context, &list);
    for (ssize_t i = 0; i < count && !found; ++i) {
        if (libusb_get_bus_number(list[i]) == bus && libusb_get_device_address(list[i]) == address)
            found = libusb_ref_device(list[i]);
    }
    if (count >= 0)
        libusb_free_device_list(list, 1);
    return found;
}

static int shakeHands(libusb_context* context, libusb_device* device) {
    struct Handshake self = {.transfer = libusb_alloc_transfer(0)};
    const int64_t startUs = nowUs();
    self.failed = !self.transfer || libusb_open(device, &self.device) != 0;
    if (!self.failed)
        submit(&self);
    while (!self.failed && self.step != kDone)
        self.failed = libusb_handle_events(context) != 0;
    if (!self.failed)
        printf("%lld %lld %lld\n", (long long)(self.doneUs[0] - startUs),
               (long long)(self.doneUs[kStrings] - startUs), (long long)(self.doneUs[kStart] - startUs));
    else
        fprintf(stderr, "handshake: failed at step %d\n", self.step);
    fflush(stdout);
    libusb_close(self.device);
    libusb_free_transfer(self.transfer);
    return self.failed;
}

/* With a context of its own: an older one never sees a newer phone where no udevd runs. */
static int run(int bus, int address) {
    libusb_context* context = NULL;
    if (libusb_init(&context) != 0) {
        fprintf(stderr, "handshake: no libusb\n");
        return 1;
    }
    libusb_device* device = findDevice(context, bus, address);
    const int failed = !device || shakeHands(context, device);
    if (!device)
        fprintf(stderr, "handshake: no device %d:%d\n", bus, address);
    libusb_unref_device(device);
    libusb_exit(context);
    return failed;
}

int main(int argc, char** argv) {
    if (argc == 3)
        return run(atoi(argv[1]), atoi(argv[2]));
    if (argc != 1) {
        fprintf(stderr, "usage: handshake [BUS DEVICE]\n");
        return 2;
    }
    int failed = 0;
    int bus = 0;
    int address = 0;
    while (!failed && scanf("%d %d", &bus, &address) == 2) {
        /* Whoever told of the phone comes to rest, so that it costs no time that is measured. */
        nanosleep(&(struct timespec){.tv_nsec = 100000000}, NULL);
        failed = run(bus, address);
    }
    return failed;
}

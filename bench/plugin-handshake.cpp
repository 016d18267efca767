// The plug-in's hand-shake as baseline/handshake.c measures its own: with one phone after the other, as lines
// of "BUS DEVICE" come in. The host is a bare loop around poll that says nothing.
//
// Prints the microseconds from before the plug-in's libusb_open to its next request after the version's
// arrival, and to the moment when it arms its timer because the last string has been taken.
#include "bench/support/BareHost.h"
#include "bench/support/UsbRecord.h"

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <dlfcn.h>
#include <libusb.h>

namespace {

int64_t openedUs = 0;
int64_t answeredUs = 0;
int64_t doneUs = 0;
int submitted = 0;

int64_t nowUs() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1'000'000 + now.tv_nsec / 1000;
}

/** libusb's own function under the name of one of ours; found before anything is measured. */
template <class Function>
Function* real(Function*, const char* name) {
    static void* const libusb = dlopen("libusb-1.0.so.0", RTLD_NOW);
    return reinterpret_cast<Function*>(dlsym(libusb, name));
}
const auto realOpen = real(&libusb_open, "libusb_open");
const auto realSubmit = real(&libusb_submit_transfer, "libusb_submit_transfer");

/** Is the hand-shake of this phone measured? Not when it takes more than two seconds. */
bool shakeHands(zebbench::BareHost& host, int bus, int device) {
    const zebbench::UsbRecord record(1, bus, device, "18d1", "4ee2");
    openedUs = answeredUs = doneUs = 0;
    submitted = 0;
    ZEBDiscovererEntity* const entity = host.offer(record.get());
    for (int turn = 0; entity && doneUs == 0 && turn < 20; ++turn)
        host.dispatch(100);
    if (doneUs != 0)
        std::printf("%lld %lld\n", static_cast<long long>(answeredUs - openedUs),
                    static_cast<long long>(doneUs - openedUs));
    std::fflush(stdout);
    host.entry.removeDevice(host.discoverer, nullptr, &record.get());
    if (entity)
        host.entry.destroyEntity(host.discoverer, entity);
    return doneUs != 0;
}

} // namespace

// The definitions below win over libusb's, for the plug-in too, which is loaded later.
extern "C" {

__attribute__((visibility("default"))) int libusb_open(libusb_device* device, libusb_device_handle** handle) {
    openedUs = nowUs();
    return realOpen(device, handle);
}

__attribute__((visibility("default"))) int libusb_submit_transfer(libusb_transfer* transfer) {
    if (++submitted == 2)
        answeredUs = nowUs();
    return realSubmit(transfer);
}
}

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: plugin-handshake PLUGIN <PHONES\n");
        return 2;
    }
    zebbench::BareHost host(argv[1]);
    host.setUp();
    host.onHandleTimer = [](ZEBDiscovererEventHandle*) { doneUs = nowUs(); };
    bool well = true;
    int bus = 0;
    int device = 0;
    while (well && std::scanf("%d %d", &bus, &device) == 2) {
        // As the baseline: whoever told of the phone comes to rest.
        const timespec rest{0, 100'000'000};
        nanosleep(&rest, nullptr);
        well = shakeHands(host, bus, device);
    }
    host.tearDown();
    return well ? 0 : 1;
}

#include "host/trace/UsbTap.h"

#include <dlfcn.h>
#include <libusb.h>
#include <map>
#include <mutex>

namespace {

ZebUsbTapObserver gObserver = nullptr;
void* gContext = nullptr;

std::mutex gMutex;
/** The callbacks of the transfers that are under way, in whose place stands ours. */
std::map<libusb_transfer*, libusb_transfer_cb_fn> gUnderWay;

/** The function that libusb, which the plug-in has loaded, defines under this name. */
template <class Function>
Function* real(const char* name) {
    void* libusb = dlopen("libusb-1.0.so.0", RTLD_NOW | RTLD_NOLOAD);
    void* function = dlsym(libusb, name);
    dlclose(libusb); // the plug-in keeps it
    return reinterpret_cast<Function*>(function);
}

ZebUsbTapTransfer describe(const libusb_transfer& transfer) {
    libusb_device* device = real<decltype(libusb_get_device)>("libusb_get_device")(transfer.dev_handle);
    ZebUsbTapTransfer told{};
    told.transfer = &transfer;
    told.bus = real<decltype(libusb_get_bus_number)>("libusb_get_bus_number")(device);
    told.address = real<decltype(libusb_get_device_address)>("libusb_get_device_address")(device);
    told.type = transfer.type;
    told.endpoint = transfer.endpoint;
    told.buffer = transfer.buffer;
    told.length = transfer.length;
    return told;
}

void tell(ZebUsbTapPhase phase, const ZebUsbTapTransfer& transfer) {
    if (gObserver != nullptr)
        gObserver(gContext, phase, &transfer);
}

libusb_transfer_cb_fn takeCallback(libusb_transfer* transfer) {
    std::lock_guard lock(gMutex);
    return gUnderWay.extract(transfer).mapped();
}

void LIBUSB_CALL ended(libusb_transfer* transfer) {
    transfer->callback = takeCallback(transfer);
    ZebUsbTapTransfer told = describe(*transfer);
    told.status = transfer->status;
    told.moved = transfer->actual_length;
    tell(ZebUsbTapEnded, told);
    transfer->callback(transfer);
}

} // namespace

#define ZEB_TAP __attribute__((visibility("default")))

extern "C" {

ZEB_TAP void zebUsbTapObserve(ZebUsbTapObserver observer, void* context) {
    gObserver = observer;
    gContext = context;
}

/** Wins over libusb's own for the plug-in, which is loaded later. */
ZEB_TAP int libusb_submit_transfer(libusb_transfer* transfer) {
    ZebUsbTapTransfer told = describe(*transfer);
    tell(ZebUsbTapSubmitting, told);
    {
        std::lock_guard lock(gMutex);
        gUnderWay[transfer] = transfer->callback;
    }
    transfer->callback = ended;
    told.error = real<decltype(libusb_submit_transfer)>("libusb_submit_transfer")(transfer);
    if (told.error != 0) {
        transfer->callback = takeCallback(transfer);
        tell(ZebUsbTapRefused, told);
    }
    return told.error;
}
}

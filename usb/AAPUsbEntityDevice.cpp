// The device side of AAPUsbEntity: opening it, and libusb's descriptors as event handles.

#include "usb/AAPUsbEntity.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <libusb.h>
#include <poll.h>
#include <unistd.h>

namespace zebdiscoverer_usb {

namespace {

constexpr int32_t kError = ZEBDiscoveryLogSeverityError;

} // namespace

/** Make what lasts from start to stop: the context and the transfer. */
bool AAPUsbEntity::prepareLibUsb() {
    if (!mpLibusbCtx) {
        if (const int err = libusb_init(&mpLibusbCtx); err != 0) {
            mDiscoverer.logFormatted(kError, "Failed to initialise libusb with error %d", err);
            return false;
        }
    }
    libusb_set_option(mpLibusbCtx, LIBUSB_OPTION_LOG_LEVEL, LIBUSB_LOG_LEVEL_ERROR);
    if (!mpUsbTransfer)
        mpUsbTransfer = libusb_alloc_transfer(0);
    if (!mpUsbTransfer)
        mDiscoverer.log(kError, "Failed to allocate USB transfer object");
    return mpUsbTransfer != nullptr;
}

/** Open the first listed device with our bus number and address, if its node lets us. */
void AAPUsbEntity::openListedDevice() {
    libusb_device** list = nullptr;
    const ssize_t count = libusb_get_device_list(mpLibusbCtx, &list);
    if (count < 0)
        return;
    for (ssize_t i = 0; i < count; ++i) {
        if (libusb_get_bus_number(list[i]) != mBusNumber ||
            libusb_get_device_address(list[i]) != mDeviceAddress)
            continue;
        if (!isDeviceNodeAccessible())
            break;
        if (const int err = libusb_open(list[i], &mpDeviceHandle); err != 0)
            mDiscoverer.logFormatted(kError, "Failed to open USB device with error %d", err);
        break;
    }
    libusb_free_device_list(list, 1);
}

bool AAPUsbEntity::isDeviceNodeAccessible() const {
    char node[25];
    std::snprintf(node, sizeof(node), "/dev/bus/usb/%03d/%03d", mBusNumber, mDeviceAddress);
    if (euidaccess(node, R_OK | W_OK) == 0)
        return true;
    std::snprintf(node, sizeof(node), "/proc/bus/usb/%03d/%03d", mBusNumber, mDeviceAddress);
    return euidaccess(node, R_OK | W_OK) == 0;
}

/** Register libusb's descriptors and the wake-up event's, and have libusb tell us when its change. */
bool AAPUsbEntity::registerPollFds() {
    libusb_set_pollfd_notifiers(mpLibusbCtx, &pollFdAdded, &pollFdRemoved, this);
    struct Free {
        void operator()(const libusb_pollfd** list) const { std::free(list); }
    };
    const std::unique_ptr<const libusb_pollfd*, Free> list(libusb_get_pollfds(mpLibusbCtx));
    for (const libusb_pollfd** entry = list.get(); entry && *entry; ++entry)
        addPollFd((*entry)->fd, (*entry)->events);
    addEventHandle(&mWakeEvent.readFd(), false);
    return mState != AapStateError;
}

void AAPUsbEntity::addPollFd(int descriptor, short events) {
    ZEBDiscovererEventHandle& handle = mPollFds.try_emplace(descriptor, descriptor).first->second;
    addEventHandle(&handle, (events & POLLOUT) != 0);
}

void AAPUsbEntity::removePollFd(int descriptor) {
    const auto found = mPollFds.find(descriptor);
    if (found == mPollFds.end())
        return;
    removeEventHandle(&found->second);
    mPollFds.erase(found);
}

void AAPUsbEntity::pollFdAdded(int descriptor, short events, void* pEntity) {
    auto& entity = *static_cast<AAPUsbEntity*>(pEntity);
    try {
        entity.addPollFd(descriptor, events);
    } catch (...) {
        entity.logCurrentException("Unable to add libusb event handle");
    }
}

void AAPUsbEntity::pollFdRemoved(int descriptor, void* pEntity) {
    auto& entity = *static_cast<AAPUsbEntity*>(pEntity);
    try {
        entity.removePollFd(descriptor);
    } catch (...) {
        // The text says "add" here too, on purpose.
        entity.logCurrentException("Unable to add libusb event handle");
    }
}

void AAPUsbEntity::removeWakeHandle() noexcept {
    try {
        removeEventHandle(&mWakeEvent.readFd());
    } catch (...) {
        logCurrentException("Unable to remove the wake-up event's handle");
    }
}

/** Log the exception that is being handled. Lets nothing out: below are libusb's own frames. */
void AAPUsbEntity::logCurrentException(const char* what) noexcept {
    try {
        try {
            throw;
        } catch (const std::exception& e) {
            mDiscoverer.logFormatted(kError, "%s: '%s'", what, e.what());
        } catch (...) {
            mDiscoverer.logFormatted(kError, "%s: '%s'", what, "unknown exception");
        }
    } catch (...) { // NOLINT(bugprone-empty-catch): the host's log failed; there is nobody left to tell
    }
}

} // namespace zebdiscoverer_usb

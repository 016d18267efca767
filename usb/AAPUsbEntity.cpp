#include "usb/AAPUsbEntity.h"

#include "common/LibUsbThread.h"
#include "mxcommon/Assert.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <libusb.h>

namespace zebdiscoverer_usb {

namespace {

constexpr int32_t kError = ZEBDiscoveryLogSeverityError;
constexpr int32_t kInfo = ZEBDiscoveryLogSeverityInfo;

constexpr ZEBDiscoverySDKTimeoutMicroseconds kPublishDelay = 1'000'000;
constexpr ZEBDiscoverySDKTimeoutMicroseconds kAccessoryDelay = 1'000'000;
constexpr unsigned kTransferTimeoutMs = 500;

// Type vendor, recipient device.
constexpr uint8_t kVendorIn = 0xC0;
constexpr uint8_t kVendorOut = 0x40;
constexpr uint8_t kGetProtocol = 51;
constexpr uint8_t kSendIdentifier = 52;
constexpr uint8_t kStartAccessory = 53;

/** What phones are told when there was no memory for a configuration. */
const AAPConfiguration kDefaults;

const char* propertyOf(const ZEBDeviceInfo& device, uint32_t index) { return device.properties[index]; }

} // namespace

struct AAPUsbEntity::ControlRequest {
    uint8_t requestType;
    uint8_t request;
    uint16_t index = 0;
    /** What is sent; null for a request that sends nothing. */
    const char* data = nullptr;
    uint16_t length = 0;
};

/** What is sent in which state; the request's wIndex is the row's number. */
struct AAPUsbEntity::Identifier {
    const char* (AAPConfiguration::*getter)() const;
    AapState stateAfterSubmission;
};

const AAPUsbEntity::Identifier AAPUsbEntity::kIdentifiers[] = {
    {&AAPConfiguration::getManufacturer, AapStateSentManufacturer},
    {&AAPConfiguration::getModel, AapStateSentModel},
    {&AAPConfiguration::getDescription, AapStateSentDescription},
    {&AAPConfiguration::getVersion, AapStateSentVersion},
    {&AAPConfiguration::getUri, AapStateSentUri},
    {&AAPConfiguration::getSerial, AapStateSentSerial},
};

AAPUsbEntity::AAPUsbEntity(zebdiscovery::ZEBDiscovererImpl& discoverer, EntityManager& manager,
                           const ZEBDeviceInfo* pDevice, const AAPConfiguration* pConfiguration) :
    UsbEntity(discoverer, manager, pDevice), mpConfiguration(pConfiguration ? pConfiguration : &kDefaults) {
    ZEB_ASSERT(pDevice->propertiesCount > UsbDeviceProviderDevicePropertyProductId);
    const char* pBusnum = propertyOf(*pDevice, UsbDeviceProviderDevicePropertyBusNumber);
    const char* pDevnum = propertyOf(*pDevice, UsbDeviceProviderDevicePropertyDeviceNumber);
    const char* pVid = propertyOf(*pDevice, UsbDeviceProviderDevicePropertyVendorId);
    const char* pPid = propertyOf(*pDevice, UsbDeviceProviderDevicePropertyProductId);
    ZEB_ASSERT(pBusnum);
    ZEB_ASSERT(pDevnum);
    ZEB_ASSERT(pVid);
    ZEB_ASSERT(pPid);
    mAlreadyAap = isAapIds(pVid, pPid);
    if (mAlreadyAap)
        discoverer.log(kInfo, "Device already in AAP mode, assuming it's the correct AAP settings.");
    mBusNumber = std::atoi(pBusnum);
    mDeviceAddress = std::atoi(pDevnum);
    if (!mAlreadyAap)
        clearPublishFlag();
}

AAPUsbEntity::~AAPUsbEntity() {
    // The base stops once more: an entity that goes cancels its timer twice, on purpose.
    try {
        AAPUsbEntity::stop();
    } catch (...) { // NOLINT(bugprone-empty-catch): only the host's timer is left to throw
    }
}

bool AAPUsbEntity::isAapIds(const char* vendor, const char* product) {
    return vendor && product && std::strcmp(vendor, "18d1") == 0 &&
           (std::strcmp(product, "2d00") == 0 || std::strcmp(product, "2d01") == 0);
}

bool AAPUsbEntity::isAapDevice(const ZEBDeviceInfo* pDevice, bool* pAlreadyAap) {
    *pAlreadyAap = false;
    // The bound is 3 although the product is the fourth property, on purpose.
    if (pDevice->propertiesCount < 3)
        return false;
    const char* vendor = propertyOf(*pDevice, UsbDeviceProviderDevicePropertyVendorId);
    const char* product = propertyOf(*pDevice, UsbDeviceProviderDevicePropertyProductId);
    if (!vendor || !product)
        return false;
    *pAlreadyAap = isAapIds(vendor, product);
    return true;
}

UsbEntity::UsbEntityStatus AAPUsbEntity::openPort() {
    if (mState == AapStateError)
        return UsbEntityStatus::TryLater;
    if (mState == AapStateNotSupported)
        return UsbEntityStatus::NotSupported;
    if (mState != AapStateIdle || hasActiveHandles())
        return UsbEntityStatus::Done;
    if (mAlreadyAap) {
        setZebCmd(kPublishDelay);
        return UsbEntityStatus::Done;
    }
    const UsbEntityStatus opened = openDevice();
    if (opened != UsbEntityStatus::Done)
        return opened;
    if (!registerPollFds() || !sendGetProtocol())
        return UsbEntityStatus::TryLater;
    return UsbEntityStatus::Done;
}

UsbEntity::UsbEntityStatus AAPUsbEntity::openDevice() {
    if (!prepareLibUsb())
        return UsbEntityStatus::TryLater;
    if (!mpDeviceHandle)
        openListedDevice();
    return mpDeviceHandle ? UsbEntityStatus::Done : UsbEntityStatus::NotSupported;
}

bool AAPUsbEntity::sendControlRequest(const ControlRequest& request) {
    libusb_fill_control_setup(mTransferBuffer, request.requestType, request.request, 0, request.index,
                              request.length);
    if (request.data)
        std::memcpy(mTransferBuffer + LIBUSB_CONTROL_SETUP_SIZE, request.data, request.length);
    mExpectedLength = request.length;
    libusb_fill_control_transfer(mpUsbTransfer, mpDeviceHandle, mTransferBuffer, &onTransfer, this,
                                 kTransferTimeoutMs);
    const int err =
        mpLibUsbThread ? mpLibUsbThread->submit(mpUsbTransfer) : libusb_submit_transfer(mpUsbTransfer);
    mTransferPending = err == 0;
    if (err != 0) {
        mDiscoverer.logFormatted(kError, "Submission of control transfer failed, error %d", err);
        mState = AapStateError;
    }
    return mTransferPending;
}

bool AAPUsbEntity::sendGetProtocol() {
    if (mState != AapStateIdle)
        return false;
    if (sendControlRequest({.requestType = kVendorIn, .request = kGetProtocol, .length = 2}))
        mState = AapStateGetProtocol;
    return mState == AapStateGetProtocol;
}

void AAPUsbEntity::startSendingNextIdentifier() {
    const Identifier& row = kIdentifiers[mIdentifierIndex];
    const char* identifier = (mpConfiguration->*row.getter)();
    ZEB_ASSERT(strlen(identifier) < AAP_PROTOCOL_STRING_MAX_LENGTH);
    // Without its terminator, on purpose.
    if (sendControlRequest({.requestType = kVendorOut,
                            .request = kSendIdentifier,
                            .index = static_cast<uint16_t>(mIdentifierIndex),
                            .data = identifier,
                            .length = static_cast<uint16_t>(strlen(identifier))}))
        mState = row.stateAfterSubmission;
}

bool AAPUsbEntity::sendStartAccessory() {
    mDiscoverer.log(kInfo, "Asking AAP device to switch to accessory mode");
    if (!sendControlRequest({.requestType = kVendorOut, .request = kStartAccessory})) {
        mDiscoverer.log(kError, "Failed to send AAP request");
        return false;
    }
    mState = AapStateStartSent;
    return true;
}

void AAPUsbEntity::onTransfer(libusb_transfer* pTransfer) {
    static_cast<AAPUsbEntity*>(pTransfer->user_data)->transferFinished(pTransfer);
}

/** A transfer has come back. On the libusb thread only the news is passed on; the work is done on ours. */
void AAPUsbEntity::transferFinished(libusb_transfer* transfer) {
    try {
        ZEB_ASSERT(transfer == mpUsbTransfer || !mpUsbTransfer);
        if (mpLibUsbThread && mpLibUsbThread->isCurrentThread()) {
            ZEB_ASSERT(!mpLibUsbThread->wasSignalled());
            mpLibUsbThread->signal();
            return;
        }
        if (transfer)
            finish(*transfer);
    } catch (...) {
        logCurrentException("Exception occured in transfer cb");
    }
}

void AAPUsbEntity::finish(const libusb_transfer& transfer) {
    mTransferPending = false;
    switch (transfer.status) {
    case LIBUSB_TRANSFER_COMPLETED:
    case LIBUSB_TRANSFER_TIMED_OUT: // too late, but perhaps whole
        finishMoved(transfer.actual_length);
        break;
    case LIBUSB_TRANSFER_STALL:
        if (mState == AapStateGetProtocol) {
            mDiscoverer.log(kInfo, "Device doesn't support AAP protocol");
            mState = AapStateNotSupported;
            break;
        }
        [[fallthrough]];
    case LIBUSB_TRANSFER_ERROR:
    case LIBUSB_TRANSFER_NO_DEVICE:
    case LIBUSB_TRANSFER_OVERFLOW:
        mDiscoverer.logFormatted(kError, "USB transfer failed with status %d",
                                 static_cast<int>(transfer.status));
        mState = AapStateError;
        break;
    default: // cancelled: somebody is stopping us
        break;
    }
}

void AAPUsbEntity::finishMoved(int actualLength) {
    if (actualLength == mExpectedLength)
        return advance();
    mDiscoverer.logFormatted(kError, "USB transfer failed to be transfered completely (%d instead of %d)",
                             actualLength, static_cast<int>(mExpectedLength));
    mState = AapStateNotSupported;
}

/** The request of this state has been answered: take the next step. */
void AAPUsbEntity::advance() {
    switch (mState) {
    case AapStateGetProtocol:
        startWithVersion();
        break;
    case AapStateSentManufacturer:
    case AapStateSentModel:
    case AapStateSentDescription:
    case AapStateSentVersion:
    case AapStateSentUri:
        ++mIdentifierIndex;
        startSendingNextIdentifier();
        break;
    case AapStateSentSerial:
        mState = AapStateTimer;
        mDiscoverer.log(kInfo, "Setting AAP timer.");
        setTimerForHandle(&mWakeEvent.readFd(), kAccessoryDelay);
        break;
    case AapStateStartSent:
        // Inside libusb's event call, where this does nothing but look at the state.
        doHandleEvent(getEventHandle());
        break;
    default:
        break;
    }
}

/** The phone has told its protocol version, little-endian, behind the setup packet. */
void AAPUsbEntity::startWithVersion() {
    const unsigned char* data = mTransferBuffer + LIBUSB_CONTROL_SETUP_SIZE;
    const int version = data[0] | data[1] << 8;
    if (version == 0) {
        mDiscoverer.logFormatted(kError, "Unknown AAP protocol version returned %d", version);
        mState = AapStateNotSupported;
        return;
    }
    mIdentifierIndex = 0;
    startSendingNextIdentifier();
}

UsbEntity::UsbEntityStatus AAPUsbEntity::doHandleTimeout(ZEBDiscovererEventHandle*) {
    if (mState != AapStateTimer || sendStartAccessory())
        return UsbEntityStatus::Done;
    return UsbEntityStatus::TryLater;
}

UsbEntity::UsbEntityStatus AAPUsbEntity::doHandleEvent(ZEBDiscovererEventHandle*) {
    if (mState == AapStateError)
        return UsbEntityStatus::TryLater;
    if (mpLibUsbThread && mpLibUsbThread->wasSignalled()) {
        ZEB_ASSERT(mpUsbTransfer);
        transferFinished(mpUsbTransfer);
    } else if (mpLibusbCtx && !mpLibUsbThread) {
        timeval atOnce{};
        if (libusb_handle_events_timeout(mpLibusbCtx, &atOnce) != 0)
            return UsbEntityStatus::TryLater;
    }
    if (mState == AapStateError)
        return UsbEntityStatus::TryLater;
    return mState == AapStateNotSupported ? UsbEntityStatus::NotSupported : UsbEntityStatus::Done;
}

void AAPUsbEntity::doSetZebCmd() {
    constexpr int32_t kBytes = 56;
    char* command = mDiscoverer.allocString(nullptr, kBytes);
    if (command)
        std::snprintf(command, kBytes, "zebcmd:v=1;t=USBAAP;bus=%d;dev=%d", mBusNumber, mDeviceAddress);
    storeZebCmd(command);
}

void AAPUsbEntity::stop() {
    if (mpUsbTransfer && mpLibUsbThread) {
        // Stops the process: a thread does not go with multiple handles yet.
        ZEB_ASSERT(!usesMultipleHandles());
        doHandleEvent(getEventHandle());
    }
    if (mpUsbTransfer)
        cancelTransfer();
    if (mpDeviceHandle)
        libusb_close(mpDeviceHandle);
    mpDeviceHandle = nullptr;
    if (mpLibusbCtx)
        closeLibUsb();
    mState = AapStateIdle;
    UsbEntity::stop();
}

void AAPUsbEntity::cancelTransfer() {
    // Ends when the kernel gives the transfer back, which it always does; there is no other bound, on
    // purpose.
    while (mTransferPending) {
        mState = AapStateIdle;
        libusb_cancel_transfer(mpUsbTransfer);
        doHandleEvent(getEventHandle());
    }
    libusb_free_transfer(mpUsbTransfer);
    mpUsbTransfer = nullptr;
}

/** End the context; libusb takes its descriptors from our handles as it goes. */
void AAPUsbEntity::closeLibUsb() {
    if (mpLibUsbThread) {
        ZEB_ASSERT(!usesMultipleHandles());
        ZEB_ASSERT(mpLibusbCtx);
        delete mpLibUsbThread;
        mpLibUsbThread = nullptr;
    } else {
        removeWakeHandle();
    }
    libusb_exit(mpLibusbCtx);
    mpLibusbCtx = nullptr;
    // Nothing is left unless a removal has failed.
    dropEventHandles();
    mPollFds.clear();
}

} // namespace zebdiscoverer_usb

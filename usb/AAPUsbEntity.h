#pragma once

#include "common/EventFd.h"
#include "usb/AAPConfiguration.h"
#include "usb/UsbEntity.h"

#include <map>
#include <memory>

struct libusb_context;
struct libusb_device_handle;
struct libusb_transfer;

namespace zebdiscovery {
class LibUsbThread;
}

namespace zebdiscoverer_usb {

/**
 * A phone that is asked to switch to accessory mode, or has been switched.
 *
 * The hand-shake is a chain of USB control requests, one at a time, driven by
 * libusb's descriptors, which are the entity's event handles:
 *
 *   Idle -- start --> GetProtocol -- version > 0 --> SentManufacturer
 *     --> SentModel --> SentDescription --> SentVersion --> SentUri --> SentSerial
 *         (each step: the string before has been taken whole)
 *     -- the last string taken --> Timer -- 1 s --> StartSent
 *
 *   any -- stall of GetProtocol, version 0, a short transfer --> NotSupported
 *   any -- USB error, another stall, no device, overflow, no submission --> Error
 *
 * After StartSent the phone leaves the bus and comes back with the accessory ids: a
 * new device with a new entity, which publishes its command after one second.
 * NotSupported and Error are final until stop(). [host-thread]
 */
class AAPUsbEntity : public UsbEntity {
public:
    /** Room for an identification string with its terminator. */
    static constexpr size_t AAP_PROTOCOL_STRING_MAX_LENGTH = 256;

    /** pConfiguration must outlive the entity; with null the phone is sent the default strings. Throws
     *  DiscoveryException when there is no pipe to be had. */
    AAPUsbEntity(zebdiscovery::ZEBDiscovererImpl& discoverer, EntityManager& manager,
                 const ZEBDeviceInfo* pDevice, const AAPConfiguration* pConfiguration);
    ~AAPUsbEntity() override;

    /** Are these the ids of a phone in accessory mode? Null: no. */
    static bool isAapIds(const char* vendor, const char* product);
    /** Could the device be one? True for every device with both ids. */
    static bool isAapDevice(const ZEBDeviceInfo* pDevice, bool* pAlreadyAap);

    /** Cancels a pending transfer, closes the device and ends libusb. Must not be called from inside a
     *  transfer's callback: libusb can't close a device there. */
    void stop() override;
    bool usesMultipleHandles() const override { return true; }
    UsbEntityStatus doHandleEvent(ZEBDiscovererEventHandle* pHandle) override;
    UsbEntityStatus doHandleTimeout(ZEBDiscovererEventHandle* pHandle) override;
    /** Starts the hand-shake, or publishes the phone that has been switched. */
    UsbEntityStatus openPort() override;

protected:
    void doSetZebCmd() override;

private:
    enum AapState : int32_t {
        AapStateIdle = 0,
        AapStateGetProtocol = 1,
        AapStateSentManufacturer = 2,
        AapStateSentModel = 3,
        AapStateSentDescription = 4,
        AapStateSentVersion = 5,
        AapStateSentUri = 6,
        AapStateSentSerial = 7,
        AapStateTimer = 8,
        AapStateStartSent = 9,
        // 10 is never entered.
        AapStateNotSupported = 11,
        AapStateError = 12
    };

    /** One vendor request to the device's control endpoint. */
    struct ControlRequest;
    struct Identifier;
    static const Identifier kIdentifiers[];

    UsbEntityStatus openDevice();
    bool prepareLibUsb();
    void openListedDevice();
    bool isDeviceNodeAccessible() const;

    bool registerPollFds();
    void addPollFd(int descriptor, short events);
    void removePollFd(int descriptor);
    void removeWakeHandle() noexcept;
    static void pollFdAdded(int descriptor, short events, void* pEntity);
    static void pollFdRemoved(int descriptor, void* pEntity);

    bool sendControlRequest(const ControlRequest& request);
    bool sendGetProtocol();
    void startSendingNextIdentifier();
    bool sendStartAccessory();

    static void onTransfer(libusb_transfer* pTransfer);
    void transferFinished(libusb_transfer* transfer);
    void finish(const libusb_transfer& transfer);
    void finishMoved(int actualLength);
    void advance();
    void startWithVersion();
    void logCurrentException(const char* what) noexcept;

    void cancelTransfer();
    void closeLibUsb();

    const AAPConfiguration* const mpConfiguration;
    bool mAlreadyAap = false;
    int32_t mBusNumber = 0;
    int32_t mDeviceAddress = 0;
    // Owned, all three; ended by stop().
    libusb_context* mpLibusbCtx = nullptr;
    libusb_device_handle* mpDeviceHandle = nullptr;
    /** Used again for every request. */
    libusb_transfer* mpUsbTransfer = nullptr;
    bool mTransferPending = false;
    /** Data bytes that the current request must move. */
    uint16_t mExpectedLength = 0;
    /** Its handle carries the accessory timer. */
    zebdiscovery::EventFd mWakeEvent;
    /** The setup packet, then the data. */
    unsigned char mTransferBuffer[8 + AAP_PROTOCOL_STRING_MAX_LENGTH] = {};
    AapState mState = AapStateIdle;
    uint32_t mIdentifierIndex = 0;
    /** Owned. Handles libusb's events when set; nothing in this system sets it. */
    zebdiscovery::LibUsbThread* mpLibUsbThread = nullptr;
    /** A place of our own for each descriptor that libusb tells us by value: its address is the handle. */
    std::map<int, ZEBDiscovererEventHandle> mPollFds;
};

} // namespace zebdiscoverer_usb

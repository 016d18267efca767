#pragma once

#include "common/LibUsbThread.h"
#include "phones/Catalogue.h"
#include "phones/usbfs/Testbed.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <functional>
#include <libusb.h>
#include <memory>
#include <vector>

/** How the phone treats a request, by the request's index. */
enum Treatment : std::uint16_t { kAnswers, kStalls, kIsSilent, kUnplugs, kRefusesNoDevice, kRefusesNoMemory };

/** A control transfer that counts its own callbacks and checks that each finds it as its owner left it. */
class OwnTransfer {
public:
    using Hook = std::function<void(OwnTransfer&)>;

    OwnTransfer(libusb_device_handle* device, Treatment treatment, Hook hook = {}, unsigned timeoutMs = 0) :
        mpTransfer(libusb_alloc_transfer(0)), mHook(std::move(hook)) {
        constexpr std::uint8_t kToDevice = LIBUSB_REQUEST_TYPE_VENDOR;
        libusb_fill_control_setup(mBuffer.data(), kToDevice, zebphones::kSendString, 0, treatment, 1);
        libusb_fill_control_transfer(mpTransfer, device, mBuffer.data(), &OwnTransfer::finished, this,
                                     timeoutMs);
    }
    ~OwnTransfer() { libusb_free_transfer(mpTransfer); }
    OwnTransfer(const OwnTransfer&) = delete;
    OwnTransfer& operator=(const OwnTransfer&) = delete;

    libusb_transfer* get() const { return mpTransfer; }
    int callbacks() const { return mCallbacks; }
    /** Of the last callback. */
    int status() const { return mStatus; }
    bool isAsItsOwnerLeftIt() const {
        return mpTransfer->callback == &OwnTransfer::finished && mpTransfer->user_data == this;
    }
    /** From inside the hook: the transfer is freed by then, and no longer here. */
    void free() { libusb_free_transfer(std::exchange(mpTransfer, nullptr)); }

private:
    static void finished(libusb_transfer* transfer) {
        auto& self = *static_cast<OwnTransfer*>(transfer->user_data);
        EXPECT_EQ(transfer, self.mpTransfer);
        EXPECT_TRUE(self.isAsItsOwnerLeftIt());
        self.mStatus = transfer->status;
        ++self.mCallbacks;
        if (self.mHook) {
            self.mHook(self);
        }
    }

    libusb_transfer* mpTransfer;
    std::array<unsigned char, LIBUSB_CONTROL_SETUP_SIZE + 1> mBuffer{};
    Hook mHook;
    std::atomic<int> mCallbacks = 0;
    std::atomic<int> mStatus = -1;
};

/** A phone on the emulated usbfs, opened by the real libusb, and an event thread; parameter: signalling. */
class ALibUsbThread : public testing::TestWithParam<bool> {
protected:
    ALibUsbThread() {
        mPhone = mBed.plug(phone());
        EXPECT_EQ(libusb_init(&mpContext), LIBUSB_SUCCESS);
        libusb_set_option(mpContext, LIBUSB_OPTION_LOG_LEVEL, LIBUSB_LOG_LEVEL_NONE);
        mpDevice = libusb_open_device_with_vid_pid(mpContext, phone().normal.vendor, phone().normal.product);
        EXPECT_NE(mpDevice, nullptr);
        mpThread = std::make_unique<zebdiscovery::LibUsbThread>(mpContext, GetParam());
    }

    ~ALibUsbThread() override {
        mpThread.reset();
        libusb_close(mpDevice);
        libusb_exit(mpContext);
    }

    static zebphones::PhoneDescription phone() {
        using zebphones::Reaction;
        zebphones::PhoneDescription description = zebphones::loadPhone("accessory");
        const auto treat = [&](Treatment treatment, Reaction reaction) {
            description.faults.push_back(
                {.request = zebphones::kSendString, .index = treatment, .reaction = reaction});
        };
        treat(kStalls, Reaction::Stall);
        treat(kIsSilent, Reaction::Silent);
        treat(kUnplugs, Reaction::Unplug);
        treat(kRefusesNoDevice, Reaction::RefusedNoDevice);
        treat(kRefusesNoMemory, Reaction::RefusedNoMemory);
        return description;
    }

    std::unique_ptr<OwnTransfer> transfer(Treatment treatment, OwnTransfer::Hook hook = {},
                                          unsigned timeoutMs = 0) {
        return std::make_unique<OwnTransfer>(mpDevice, treatment, std::move(hook), timeoutMs);
    }

    /** Submits a transfer, waits for it, and returns its status. */
    int statusOf(OwnTransfer& transfer) {
        EXPECT_EQ(mpThread->submit(transfer.get()), LIBUSB_SUCCESS);
        mpThread->waitForTransfer(transfer.get());
        return transfer.status();
    }

    zebphones::Testbed mBed;
    std::shared_ptr<zebphones::UsbfsDevice> mPhone;
    libusb_context* mpContext = nullptr;
    libusb_device_handle* mpDevice = nullptr;
    std::unique_ptr<zebdiscovery::LibUsbThread> mpThread;
};

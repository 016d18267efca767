// The bed itself, driven by the real libusb: what a fault of the script becomes there.
#include "phones/Catalogue.h"
#include "phones/usbfs/Testbed.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libusb.h>
#include <unistd.h>

using namespace testing;

namespace zebphones {
namespace {

constexpr int kNeverCalledBack = -100;

// One libusb context with the phone open and one control transfer.
class Client {
public:
    explicit Client(const UsbfsDevice& device) {
        EXPECT_EQ(libusb_init(&mpContext), 0);
        libusb_set_option(mpContext, LIBUSB_OPTION_LOG_LEVEL, LIBUSB_LOG_LEVEL_NONE);
        libusb_device** list = nullptr;
        const ssize_t count = libusb_get_device_list(mpContext, &list);
        for (ssize_t i = 0; i < count; ++i) {
            if (libusb_get_device_address(list[i]) == device.address())
                mOpenResult = libusb_open(list[i], &mpHandle);
        }
        libusb_free_device_list(list, 1);
        mpTransfer = libusb_alloc_transfer(0);
    }
    ~Client() {
        libusb_free_transfer(mpTransfer);
        if (mpHandle)
            libusb_close(mpHandle);
        libusb_exit(mpContext);
    }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    int openResult() const { return mOpenResult; }
    libusb_device_handle* handle() const { return mpHandle; }
    const unsigned char* data() const { return mBuffer + LIBUSB_CONTROL_SETUP_SIZE; }
    int status() const { return mStatus; }
    int length() const { return mpTransfer->actual_length; }

    // Ask for the version; the result of the submission.
    int submit(unsigned timeout) {
        libusb_fill_control_setup(mBuffer, 0xc0, kGetProtocol, 0, 0, 2);
        const auto finished = [](libusb_transfer* transfer) {
            *static_cast<int*>(transfer->user_data) = transfer->status;
        };
        mStatus = kNeverCalledBack;
        libusb_fill_control_transfer(mpTransfer, mpHandle, mBuffer, finished, &mStatus, timeout);
        return libusb_submit_transfer(mpTransfer);
    }
    void cancel() { libusb_cancel_transfer(mpTransfer); }
    // Handle events until the call-back or for two seconds.
    void finish() {
        for (int i = 0; i < 40 && mStatus == kNeverCalledBack; ++i)
            turn(50'000);
    }
    void turn(int microseconds) {
        timeval limit{0, microseconds};
        libusb_handle_events_timeout_completed(mpContext, &limit, nullptr);
    }

private:
    libusb_context* mpContext = nullptr;
    libusb_device_handle* mpHandle = nullptr;
    libusb_transfer* mpTransfer = nullptr;
    int mOpenResult = LIBUSB_ERROR_NOT_FOUND;
    int mStatus = kNeverCalledBack;
    unsigned char mBuffer[LIBUSB_CONTROL_SETUP_SIZE + 2] = {};
};

struct Row {
    const char* name;
    Reaction reaction;
    std::size_t moved;
    int submission;
    int status;
    int length;
};

const Row kRows[] = {
    {"answer", Reaction::Answer, 0, 0, LIBUSB_TRANSFER_COMPLETED, 2},
    {"stall", Reaction::Stall, 0, 0, LIBUSB_TRANSFER_STALL, 0},
    {"short answer", Reaction::Short, 1, 0, LIBUSB_TRANSFER_COMPLETED, 1},
    {"silent", Reaction::Silent, 0, 0, LIBUSB_TRANSFER_TIMED_OUT, 0},
    {"silent after the data", Reaction::SilentAfterData, 0, 0, LIBUSB_TRANSFER_TIMED_OUT, 2},
    {"answer as the host gives up", Reaction::AnswerAsHostGivesUp, 0, 0, LIBUSB_TRANSFER_COMPLETED, 2},
    {"bus error", Reaction::BusError, 0, 0, LIBUSB_TRANSFER_ERROR, 0},
    {"overflow", Reaction::Overflow, 0, 0, LIBUSB_TRANSFER_OVERFLOW, 0},
    {"gone", Reaction::Gone, 0, 0, LIBUSB_TRANSFER_NO_DEVICE, 0},
    {"unplug", Reaction::Unplug, 0, 0, LIBUSB_TRANSFER_NO_DEVICE, 0},
    {"refused, no device", Reaction::RefusedNoDevice, 0, LIBUSB_ERROR_NO_DEVICE, kNeverCalledBack, 0},
    {"refused, no memory", Reaction::RefusedNoMemory, 0, LIBUSB_ERROR_IO, kNeverCalledBack, 0},
};

TEST(AFaultOnTheBed, ReachesLibusbAsItsStatusAndLength) {
    Testbed bed;
    for (const Row& row : kRows) {
        PhoneDescription description = loadPhone("accessory");
        description.faults = {{.request = kGetProtocol, .reaction = row.reaction, .moved = row.moved}};
        const auto phone = bed.plug(description);
        Client client(*phone);

        const int submission = client.submit(100);
        if (submission == 0)
            client.finish();

        EXPECT_EQ(submission, row.submission) << row.name;
        EXPECT_EQ(client.status(), row.status) << row.name;
        EXPECT_EQ(client.length(), row.length) << row.name;
        bed.unplug(1);
    }
}

TEST(APhoneOnTheBed, HandsOverItsVersion) {
    Testbed bed;
    const auto phone = bed.plug(loadPhone("accessory"));
    Client client(*phone);

    client.submit(500);
    client.finish();

    EXPECT_EQ(client.data()[0], 2);
    EXPECT_THAT(phone->received(), SizeIs(1));
}

TEST(APhoneOnTheBed, AnswersHeldRequestsOnlyWhenTold) {
    Testbed bed;
    const auto phone = bed.plug(loadPhone("accessory"));
    Client client(*phone);
    phone->hold(true);

    client.submit(0);
    client.turn(1000);
    EXPECT_EQ(client.status(), kNeverCalledBack);
    EXPECT_EQ(phone->pending(), 1U);
    EXPECT_TRUE(phone->completeNext());
    client.finish();

    EXPECT_EQ(client.status(), LIBUSB_TRANSFER_COMPLETED);
    EXPECT_FALSE(phone->completeNext());
}

TEST(APhoneOnTheBed, LetsTheHostCancelWhatIsPending) {
    Testbed bed;
    const auto phone = bed.plug(loadPhone("accessory"));
    Client client(*phone);
    phone->hold(true);
    client.submit(0);

    client.cancel();
    client.finish();

    EXPECT_EQ(client.status(), LIBUSB_TRANSFER_CANCELLED);
}

TEST(APhoneOnTheBed, TakesItsTimeWhenItIsSlow) {
    Testbed bed;
    PhoneDescription description = loadPhone("accessory");
    description.delay = std::chrono::milliseconds(60);
    const auto phone = bed.plug(description);
    Client client(*phone);
    const auto begin = std::chrono::steady_clock::now();

    client.submit(2000);
    client.finish();

    EXPECT_EQ(client.status(), LIBUSB_TRANSFER_COMPLETED);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, description.delay);
}

TEST(APhoneOnTheBed, AnswersInItsTimeHoweverLateTheBedIs) {
    Testbed bed;
    PhoneDescription description = loadPhone("accessory");
    description.delay = std::chrono::milliseconds(10);
    const auto phone = bed.plug(description);
    phone->hold(true); // the bed does not get to it
    Client client(*phone);

    client.submit(60);
    client.finish();

    EXPECT_EQ(client.status(), LIBUSB_TRANSFER_COMPLETED);
}

TEST(APhoneOnTheBed, ComesBackOnItsPortUnderANewNumberAndId) {
    Testbed bed;
    const int before = bed.plug(loadPhone("accessory"))->address();

    const auto phone = bed.reappearInAccessoryMode(1);
    Client client(*phone);

    EXPECT_EQ(phone->address(), before + 1);
    EXPECT_EQ(client.openResult(), 0);
}

TEST(APhoneOnTheBed, CannotBeOpenedWithoutItsNode) {
    Testbed bed;
    const auto phone = bed.plug(loadPhone("accessory"));
    phone->removeNode();

    Client client(*phone);

    EXPECT_EQ(client.openResult(), LIBUSB_ERROR_NO_DEVICE);
}

TEST(APhoneOnTheBed, HasNoDriverOfTheKernel) {
    Testbed bed;
    const auto phone = bed.plug(loadPhone("accessory"));
    const Client client(*phone);

    EXPECT_EQ(libusb_kernel_driver_active(client.handle(), 0), 0);
}

TEST(ARootHubOnTheBed, IsOpenedAsAnyDeviceAndRefusesWhatItIsAsked) {
    Testbed bed;
    libusb_context* context = nullptr;
    ASSERT_EQ(libusb_init(&context), 0);
    libusb_device_handle* hub = libusb_open_device_with_vid_pid(context, 0x1d6b, 0x0002);
    ASSERT_NE(hub, nullptr);
    unsigned char answer[2];

    EXPECT_EQ(libusb_control_transfer(hub, 0xc0, kGetProtocol, 0, 0, answer, sizeof answer, 500),
              LIBUSB_ERROR_PIPE);

    libusb_close(hub);
    libusb_exit(context);
}

TEST(ANodeOfTheBed, IsSeenByEuidaccess) {
    Testbed bed;
    bed.plug(loadPhone("accessory"));

    EXPECT_EQ(euidaccess("/dev/bus/usb/001/002", R_OK | W_OK), 0);
    EXPECT_EQ(euidaccess("/dev/bus/usb/001/003", R_OK | W_OK), -1);
}

TEST(ABed, HoldsSeveralDevicesAtOnce) {
    Testbed bed;
    const auto first = bed.plug(loadPhone("accessory"), 1);
    const auto second = bed.plug(loadPhone("mouse"), 2);
    Client phone(*first);
    Client stranger(*second);

    phone.submit(500);
    stranger.submit(500);
    phone.finish();
    stranger.finish();

    EXPECT_EQ(phone.status(), LIBUSB_TRANSFER_COMPLETED);
    EXPECT_EQ(stranger.status(), LIBUSB_TRANSFER_STALL);
}

} // namespace
} // namespace zebphones

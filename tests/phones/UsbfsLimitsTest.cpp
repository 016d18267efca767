// How much the bed holds, and that it says so where that ends.
#include "phones/Catalogue.h"
#include "phones/usbfs/Testbed.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libusb.h>
#include <memory>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace testing;

namespace zebphones {
namespace {

constexpr int kDevicesOfABus = 126;
constexpr std::size_t kNodesOfAProgram = 50;

// Read once.
const PhoneDescription& mouse() {
    static const PhoneDescription kMouse = loadPhone("mouse");
    return kMouse;
}

std::vector<libusb_device*> devicesIn(libusb_context* context) {
    libusb_device** list = nullptr;
    const ssize_t count = libusb_get_device_list(context, &list);
    std::vector<libusb_device*> devices(list, list + std::max<ssize_t>(count, 0));
    libusb_free_device_list(list, 0);
    return devices;
}

// All that the real libusb sees, and what it has open of it.
class Everything {
public:
    Everything() {
        EXPECT_EQ(libusb_init(&mpContext), 0);
        libusb_set_option(mpContext, LIBUSB_OPTION_LOG_LEVEL, LIBUSB_LOG_LEVEL_NONE);
        mDevices = devicesIn(mpContext);
    }
    ~Everything() {
        for (libusb_device_handle* handle : mHandles)
            libusb_close(handle);
        for (libusb_device* device : mDevices)
            libusb_unref_device(device);
        libusb_exit(mpContext);
    }
    Everything(const Everything&) = delete;
    Everything& operator=(const Everything&) = delete;

    const std::vector<libusb_device*>& devices() const { return mDevices; }
    std::size_t countOf(int bus) const {
        return static_cast<std::size_t>(std::count_if(mDevices.begin(), mDevices.end(), [bus](auto* device) {
            return libusb_get_bus_number(device) == bus;
        }));
    }
    // libusb's result.
    int open(std::size_t position) {
        libusb_device_handle* handle = nullptr;
        const int result = libusb_open(mDevices.at(position), &handle);
        if (handle)
            mHandles.push_back(handle);
        return result;
    }
    // What the device that was opened last says to a request for its version.
    int ask() {
        unsigned char answer[2];
        return libusb_control_transfer(mHandles.back(), 0xc0, kGetProtocol, 0, 0, answer, sizeof answer, 500);
    }
    void closeLast() {
        libusb_close(mHandles.back());
        mHandles.pop_back();
    }

private:
    libusb_context* mpContext = nullptr;
    std::vector<libusb_device*> mDevices;
    std::vector<libusb_device_handle*> mHandles;
};

// As many descriptors as this process may have.
class AllDescriptors {
public:
    AllDescriptors() {
        getrlimit(RLIMIT_NOFILE, &mBefore);
        const rlimit all{mBefore.rlim_max, mBefore.rlim_max};
        setrlimit(RLIMIT_NOFILE, &all);
    }
    ~AllDescriptors() { setrlimit(RLIMIT_NOFILE, &mBefore); }
    AllDescriptors(const AllDescriptors&) = delete;
    AllDescriptors& operator=(const AllDescriptors&) = delete;

private:
    rlimit mBefore{};
};

// Filled once: 500 devices on four buses, of which the first is full. The first device of each is a phone.
class FiveHundredDevices : public Test {
protected:
    static void SetUpTestSuite() {
        gDescriptors = std::make_unique<AllDescriptors>();
        gBed = std::make_unique<Testbed>();
        for (int i = 0; i < 500; ++i)
            gBed->plug(i % kDevicesOfABus == 0 ? loadPhone("accessory") : mouse(),
                       {i / kDevicesOfABus + 1, i % kDevicesOfABus + 1});
    }
    static void TearDownTestSuite() {
        gBed.reset();
        gDescriptors.reset();
    }

    static std::unique_ptr<AllDescriptors> gDescriptors;
    static std::unique_ptr<Testbed> gBed;
};

std::unique_ptr<AllDescriptors> FiveHundredDevices::gDescriptors;
std::unique_ptr<Testbed> FiveHundredDevices::gBed;

TEST_F(FiveHundredDevices, ArePlayedOnSeveralBuses) {
    Everything all;

    EXPECT_THAT(all.devices(), SizeIs(500 + 4)) << "with the root hubs";
    for (const int bus : {1, 2, 3})
        EXPECT_EQ(all.countOf(bus), 127U) << bus;
    int answers = 0;
    for (std::size_t i = 0; i < all.devices().size(); ++i) {
        if (libusb_get_device_address(all.devices()[i]) != 2)
            continue;
        ASSERT_EQ(all.open(i), 0);
        answers += all.ask();
        all.closeLast();
    }
    EXPECT_EQ(answers, 4 * 2) << "two bytes from each phone";
}

TEST_F(FiveHundredDevices, FillTheFirstBusWhichIsSaid) {
    EXPECT_THAT([] { gBed->plug(mouse(), kDevicesOfABus + 1); },
                ThrowsMessage<std::runtime_error>(
                    "bus 1 is full: it has numbers for 126 devices; plug into another bus"));
    // At the second time it is the last one that is looked at.
    for (int i = 0; i < 2; ++i) {
        gBed->unplug(5);
        EXPECT_EQ(gBed->plug(mouse(), 5)->address(), 6) << "the number that has become free";
    }
}

TEST_F(FiveHundredDevices, AreNotAllOpenedByOneProgramWhichIsSaid) {
    Everything first;
    Everything second;
    for (std::size_t i = 0; i < kNodesOfAProgram; ++i)
        ASSERT_EQ((i < 30 ? first : second).open(i), 0) << i;

    internal::CaptureStderr();
    const int onTop = second.open(kNodesOfAProgram);
    const std::string said = internal::GetCapturedStderr();

    EXPECT_EQ(onTop, LIBUSB_ERROR_IO);
    EXPECT_THAT(said, HasSubstr(" can't be opened: this program has 50 nodes open"));
    first.closeLast();
    EXPECT_EQ(second.open(kNodesOfAProgram), 0) << "there is room again";
}

TEST(ANodeThatIsMissing, TakesNoRoomInTheTableOfNodes) {
    Testbed bed;
    bed.plug(mouse())->removeNode();

    for (std::size_t i = 0; i <= kNodesOfAProgram; ++i) {
        ASSERT_EQ(::open("/dev/bus/usb/001/002", O_RDWR), -1);
        ASSERT_EQ(errno, ENOENT);
    }
}

TEST(ABed, SaysThatThereIsNoSuchBusOrThatAPortIsTaken) {
    Testbed bed;
    bed.plug(mouse(), {64, 7});

    EXPECT_THAT(
        [&] {
            bed.plug(mouse(), {65, 1});
        },
        ThrowsMessage<std::runtime_error>("there is no bus 65: buses are 1 to 64"));
    EXPECT_THAT(
        [&] {
            bed.plug(mouse(), {0, 1});
        },
        ThrowsMessage<std::runtime_error>("there is no bus 0: buses are 1 to 64"));
    EXPECT_THAT([&] { bed.plug(mouse(), {64, 7}); }, ThrowsMessage<std::runtime_error>("port 64-7 is taken"));
}

TEST(ABed, SaysThatDescriptorsHaveRunOut) {
    Testbed bed;
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const int next = ::dup(STDERR_FILENO);
    ::close(next);
    const rlimit none{static_cast<rlim_t>(next), before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);

    EXPECT_THAT([&] { bed.plug(mouse(), 1); },
                ThrowsMessage<std::system_error>(HasSubstr("each emulated device takes three descriptors")));

    setrlimit(RLIMIT_NOFILE, &before);
    bed.plug(mouse(), 1);
}

// Files of 500 devices, in memory where that may be had: a disk that others write to takes long over them.
void keepFilesInMemory() {
    const unsigned user = ::geteuid();
    const unsigned group = ::getegid();
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
        return;
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/uid_map") << user << " " << user << " 1";
    std::ofstream("/proc/self/gid_map") << group << " " << group << " 1";
    ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr);
    ::mount("none", std::filesystem::temp_directory_path().c_str(), "tmpfs", 0, nullptr);
}

} // namespace
} // namespace zebphones

int main(int argc, char** argv) {
    // Before there is a second thread.
    zebphones::keepFilesInMemory();
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}

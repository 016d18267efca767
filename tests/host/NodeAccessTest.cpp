#include "host/NodeAccess.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <unistd.h>

using namespace testing;

namespace zebhost {
namespace {

constexpr uint64_t kShort = 20'000;
// Longer than a test runs its loop.
constexpr uint64_t kLong = 60'000'000;
constexpr uint64_t kRunUs = 10'000'000;

class TheNodesOfDevices : public Test {
protected:
    TheNodesOfDevices() {
        char folder[] = "/tmp/zebhost-nodes-XXXXXX";
        mMachine.root = mkdtemp(folder);
        mMachine.mayOpen = [this](const std::filesystem::path& path) {
            return mHasRights && std::filesystem::exists(path);
        };
        std::filesystem::create_directories(mMachine.root / "dev/bus/usb");
        mDevice.port = "1-1";
        mDevice.bus = 1;
        mDevice.device = 4;
        mDevice.descriptors.vendor = 0x18d1;
    }
    ~TheNodesOfDevices() override { std::filesystem::remove_all(mMachine.root); }

    void makeNode() {
        std::filesystem::create_directories(mMachine.root / "dev/bus/usb/001");
        std::ofstream(mMachine.root / "dev/bus/usb/001/004") << "";
    }
    void changeMode() { std::filesystem::permissions(mMachine.root / "dev/bus/usb/001/004", mMode); }

    NodeAccess waiting(uint64_t patienceUs) {
        return NodeAccess(mLoop, mMachine, patienceUs,
                          {[this](const std::string& port) {
                               mOpened.push_back(port);
                               mLoop.quit();
                           },
                           [this](const UsbDevice&, const std::string& text) {
                               mRefused.push_back(text);
                               mLoop.quit();
                           }});
    }
    /** Until a handler is called, or for so long. */
    void run(uint64_t microseconds = kRunUs) {
        Timer end(mLoop, [this] { mLoop.quit(); });
        end.arm(microseconds);
        mLoop.run([] {});
    }

    Loop mLoop;
    Machine mMachine;
    UsbDevice mDevice;
    bool mHasRights = true;
    std::filesystem::perms mMode = std::filesystem::perms::all;
    std::vector<std::string> mOpened;
    std::vector<std::string> mRefused;
};

TEST_F(TheNodesOfDevices, AreOpenAtOnceAsARule) {
    makeNode();
    NodeAccess access = waiting(kShort);

    EXPECT_TRUE(access.isOpen(mDevice));

    run(2 * kShort);
    EXPECT_THAT(mOpened, IsEmpty());
    EXPECT_THAT(mRefused, IsEmpty());
}

TEST_F(TheNodesOfDevices, AreWaitedForUntilTheyAreMade) {
    NodeAccess access = waiting(kLong);
    EXPECT_FALSE(access.isOpen(mDevice));

    makeNode();
    run();

    EXPECT_THAT(mOpened, ElementsAre("1-1"));
    EXPECT_TRUE(access.isOpen(mDevice));
}

TEST_F(TheNodesOfDevices, AreWaitedForUntilTheyHaveTheirRights) {
    makeNode();
    mHasRights = false;
    NodeAccess access = waiting(kLong);
    EXPECT_FALSE(access.isOpen(mDevice));

    mHasRights = true;
    changeMode();
    run();

    EXPECT_THAT(mOpened, ElementsAre("1-1"));
}

TEST_F(TheNodesOfDevices, AreComplainedOfAndStillWaitedFor) {
    NodeAccess access = waiting(kShort);
    EXPECT_FALSE(access.isOpen(mDevice));
    EXPECT_FALSE(access.isOpen(mDevice));

    run();
    EXPECT_THAT(mRefused, ElementsAre(HasSubstr("/dev/bus/usb/001/004 is missing")));
    makeNode();
    run();

    EXPECT_THAT(mOpened, ElementsAre("1-1"));
}

TEST_F(TheNodesOfDevices, AreLookedAtOnceMoreBeforeComplaining) {
    makeNode();
    mHasRights = false;
    NodeAccess access = waiting(kShort);
    EXPECT_FALSE(access.isOpen(mDevice));

    mHasRights = true;
    run();

    EXPECT_THAT(mOpened, ElementsAre("1-1"));
    EXPECT_THAT(mRefused, IsEmpty());
}

TEST_F(TheNodesOfDevices, AreForgottenWithTheirDevice) {
    NodeAccess access = waiting(kShort);
    EXPECT_FALSE(access.isOpen(mDevice));

    access.forget("1-1");
    makeNode();
    run(3 * kShort);

    EXPECT_THAT(mOpened, IsEmpty());
    EXPECT_THAT(mRefused, IsEmpty());
}

TEST_F(TheNodesOfDevices, AreNamedWithTheirRightsAndTheRuleThatIsMissing) {
    std::string text = nodeAdvice({"/dev/bus/usb/001/004", true, false, "root:root, rw-rw-r--"}, mDevice);

    EXPECT_THAT(text, StartsWith("the node /dev/bus/usb/001/004 can't be opened (root:root, rw-rw-r--)"));
    EXPECT_THAT(text, HasSubstr("ATTR{idVendor}==\"18d1\", MODE=\"0660\", GROUP=\"plugdev\""));
    EXPECT_THAT(text, HasSubstr("/etc/udev/rules.d/"));
    EXPECT_THAT(text, EndsWith("or run zebhost as root"));
}

} // namespace
} // namespace zebhost

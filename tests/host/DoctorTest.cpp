// The machine's health, on machines that are made of files.
#include "host/doctor/Checks.h"

#include <cstdlib>
#include <fstream>
#include <gmock/gmock.h>
#include <sys/stat.h>

using namespace testing;

namespace zebhost {
namespace {

class AMachine : public Test {
protected:
    AMachine() {
        char folder[] = "/tmp/machine.XXXXXX";
        mMachine.root = mkdtemp(folder);
        mMachine.isRoot = false;
        mMachine.mayOpen = [this](const std::filesystem::path& path) { return path != mClosed; };
    }
    ~AMachine() override { std::filesystem::remove_all(mMachine.root); }

    void write(const std::string& path, const std::string& text = "") {
        std::filesystem::create_directories(mMachine.at(path).parent_path());
        std::ofstream(mMachine.at(path)) << text;
    }
    /** Plugged into port PORT of bus 1 as device number. */
    void plug(const std::string& port, const std::string& number, const std::string& deviceClass = "00") {
        const std::string folder = "/sys/bus/usb/devices/" + port + "/";
        write(folder + "busnum", "1\n");
        write(folder + "devnum", number + "\n");
        write(folder + "bDeviceClass", deviceClass + "\n");
        write("/dev/bus/usb/001/00" + number);
    }
    void close(const std::string& node, mode_t mode) {
        mClosed = mMachine.at(node);
        chmod(mClosed.c_str(), mode);
    }

    Machine mMachine;
    std::filesystem::path mClosed;
};

auto finding(Level level, const std::string& text, const std::string& advice = "") {
    return AllOf(Field("level", &Finding::level, level), Field("text", &Finding::text, HasSubstr(text)),
                 Field("advice", &Finding::advice, HasSubstr(advice)));
}

auto silent(Level level, const std::string& text) {
    return AllOf(finding(level, text), Field("advice", &Finding::advice, IsEmpty()));
}

TEST_F(AMachine, WithoutAUsbBusIsAProblem) {
    EXPECT_THAT(checkNodes(mMachine),
                ElementsAre(finding(Level::Problem, "no /dev/bus/usb", "host controller")));
}

TEST_F(AMachine, WithNothingButHubsIsFine) {
    plug("usb1", "1", "09");

    EXPECT_THAT(checkNodes(mMachine),
                ElementsAre(finding(Level::Ok, "nothing is plugged in", "plug a phone")));
}

TEST_F(AMachine, IsFineWhenAllNodesCanBeOpened) {
    plug("1-1", "2");
    plug("1-2", "3");
    write("/sys/bus/usb/devices/1-2:1.0/bInterfaceClass", "08\n");

    EXPECT_THAT(checkNodes(mMachine), ElementsAre(silent(Level::Ok, "can be opened (2)")));
}

TEST_F(AMachine, NamesTheRightsOfANodeThatIsClosed) {
    plug("1-1", "2");
    plug("1-2", "3");
    close("/dev/bus/usb/001/003", 0640);

    EXPECT_THAT(checkNodes(mMachine),
                ElementsAre(finding(Level::Warning, "/dev/bus/usb/001/003", "join the group")));
    EXPECT_THAT(checkNodes(mMachine).front().text, HasSubstr(", rw-r-----)"));
}

TEST_F(AMachine, HasAProblemWhenNoNodeCanBeOpened) {
    plug("1-1", "2");
    close("/dev/bus/usb/001/002", 0600);

    EXPECT_THAT(checkNodes(mMachine), ElementsAre(finding(Level::Problem, "can't be opened")));
}

TEST_F(AMachine, NamesANodeThatIsMissing) {
    plug("1-1", "2");
    std::filesystem::remove(mMachine.at("/dev/bus/usb/001/002"));

    EXPECT_THAT(checkNodes(mMachine),
                ElementsAre(finding(Level::Problem, "the node /dev/bus/usb/001/002 is missing", "devtmpfs")));
}

TEST_F(AMachine, IsAskedForItsUdev) {
    write("/usr/lib/udev/rules.d/50-others.rules");
    EXPECT_THAT(checkUdev(mMachine),
                ElementsAre(finding(Level::Warning, "no udev rules", "udevadm control"),
                            finding(Level::Warning, "udevd does not run", "start udevd")));

    mMachine.isRoot = true;
    EXPECT_THAT(checkUdev(mMachine).front(), silent(Level::Ok, "root needs none"));

    write("/etc/udev/rules.d/70-zebhost.rules");
    write("/run/udev/control");
    EXPECT_THAT(checkUdev(mMachine), ElementsAre(silent(Level::Ok, "/etc/udev/rules.d/70-zebhost.rules"),
                                                 silent(Level::Ok, "udevd runs")));
}

TEST_F(AMachine, HasDriversBuiltInOrLoadedOrAtHandOrNotAtAll) {
    EXPECT_THAT(checkModules(mMachine), Each(finding(Level::Warning, "no driver", "CONFIG_USB_NET_")));

    write("/proc/sys/kernel/osrelease", "6.1.0-test\n");
    write("/lib/modules/6.1.0-test/modules.builtin", "kernel/drivers/net/usb/cdc_ncm.ko\n");
    write("/lib/modules/6.1.0-test/modules.dep",
          "kernel/drivers/net/usb/rndis_host.ko.xz: kernel/drivers/net/usb/cdc_ether.ko.xz\n");
    EXPECT_THAT(checkModules(mMachine),
                ElementsAre(silent(Level::Ok, "rndis_host is there"),
                            finding(Level::Warning, "no driver cdc_ether", "CDCETHER"),
                            silent(Level::Ok, "cdc_ncm is built into")));

    write("/sys/module/rndis_host/refcnt", "0\n");
    EXPECT_THAT(checkModules(mMachine).front(), silent(Level::Ok, "rndis_host is loaded"));
}

TEST_F(AMachine, NamesEachKindOfProgramThatGrabsPhones) {
    write("/proc/1/comm", "systemd\n");
    write("/proc/self/comm", "adb\n");
    EXPECT_THAT(checkDaemons(mMachine), ElementsAre(silent(Level::Ok, "no other program")));

    write("/proc/40/comm", "gvfs-mtp-volume\n");
    write("/proc/41/comm", "ModemManager\n");
    write("/proc/43/comm", "adb\n");
    write("/proc/42/comm", "adb\n");
    EXPECT_THAT(
        checkDaemons(mMachine),
        UnorderedElementsAre(finding(Level::Warning, "gvfs-mtp-volume (process 40) opens phones", "marks"),
                             finding(Level::Warning, "ModemManager (process 41)", "marks"),
                             finding(Level::Warning, "adb (process 42)", "kill-server")));
}

TEST_F(AMachine, IsNotToldToEndWhatServesIt) {
    write("/proc/50/comm", "adbd\n");

    EXPECT_THAT(
        checkDaemons(mMachine),
        ElementsAre(silent(Level::Ok, "no other program that grabs phones"),
                    silent(Level::Ok, "adbd (process 50) serves whoever this machine is plugged into")));
}

TEST_F(AMachine, TellsWhichZebhostsDriveItsDevices) {
    write("/proc/60/comm", "zebhost\n");
    write("/proc/60/cmdline", std::string("zebhost\0doctor\0", 15));
    write("/proc/61/comm", "zebhost\n");
    write("/proc/61/cmdline", std::string("/usr/bin/zebhost\0run\0--json\0", 28));
    write("/proc/62/comm", "zebhost\n");
    write("/proc/62/cmdline", std::string("zebhost\0run\0", 12));
    write("/proc/63/comm", "zebhost\n");

    EXPECT_THAT(
        checkDaemons(mMachine),
        ElementsAre(finding(Level::Warning, "zebhost (process 61) drives the USB devices already", "end it"),
                    finding(Level::Warning, "zebhost (process 62) drives", "end it")));
}

TEST(Libusb, IsAProblemWithoutTimeoutsByDescriptor) {
    EXPECT_THAT(checkLibusb({"", "1.0.26", false}),
                ElementsAre(finding(Level::Problem, "libusb 1.0.26 does not tell time-outs", "timerfd")));
    EXPECT_THAT(checkLibusb({"cannot open shared object file", "", false}),
                ElementsAre(finding(Level::Problem, "libusb can't be used: cannot open", "install libusb")));
    EXPECT_THAT(checkLibusb({"", "1.0.26", true}), ElementsAre(silent(Level::Ok, "libusb 1.0.26")));
}

TEST(Libusb, IsAskedForItsVersion) { EXPECT_THAT(askLibusb().version, MatchesRegex("1\\.0\\.[0-9]+")); }

TEST(ThePlugin, IsLoadedToSeeWhetherItLoads) {
    EXPECT_THAT(checkPlugin(TEST_PLUGIN), ElementsAre(silent(Level::Ok, "-bit ")));
    EXPECT_THAT(checkPlugin(NO_ENTRY_PLUGIN),
                ElementsAre(finding(Level::Problem, "is no discoverer plug-in", "--plugin")));
}

} // namespace
} // namespace zebhost

// Which of the devices that libusb lists is opened, and under which path its node is looked for.
#include "tests/handshake/Sequence.h"

#include <algorithm>

using namespace testing;
using namespace zebphones;

namespace zebtest {
namespace {

/** Two phones of which libusb tells the same bus and number. */
class TwoMatchingDevices : public ASequence {
protected:
    TwoMatchingDevices() : mOther(rig.bed.plug(loadPhone("accessory"), 2)) {
        usb.told.address = static_cast<std::uint8_t>(rig.phone->address());
    }

    std::string first() const {
        const std::string other = nameOf(mOther->bus(), mOther->address());
        const auto found = std::find_if(usb.devices.begin(), usb.devices.end(), [&](const std::string& name) {
            return name == phoneName() || name == other;
        });
        return found == usb.devices.end() ? "none" : *found;
    }

private:
    std::shared_ptr<UsbfsDevice> mOther;
};

TEST_F(TwoMatchingDevices, AreThereToOpenTheFirst) {
    rig.offer();

    EXPECT_EQ(usb.devices.size(), 3U);
    EXPECT_THAT(rig.below("libusb_open"), ElementsAre(opened(first())));
    EXPECT_THAT(rig.below("euidaccess"), SizeIs(1));
}

TEST_F(TwoMatchingDevices, AreBothLeftAloneWhenTheFirstCannotBeOpened) {
    usb.nextOpen = -3;

    rig.offer();

    EXPECT_THAT(rig.below("libusb_open"), ElementsAre(opened(first())));
}

TEST_F(TwoMatchingDevices, AreBothLeftAloneWhenTheFirstMayNotBeUsed) {
    NodeAccess::instance().allow = [](const std::string&) { return false; };

    rig.offer();

    EXPECT_THAT(rig.below("euidaccess"), SizeIs(2)) << "its two nodes";
    EXPECT_THAT(rig.below("libusb_open"), IsEmpty());
}

struct Numbers {
    int bus;
    int address;
    const char* devPath;
    const char* procPath;
};

const Numbers kNumbers[] = {
    {9, 10, "/dev/bus/usb/009/010", "/proc/bus/usb/009/010"},
    {10, 99, "/dev/bus/usb/010/099", "/proc/bus/usb/010/099"},
    {100, 100, "/dev/bus/usb/100/100", "/proc/bus/usb/100/100"},
    {123, 207, "/dev/bus/usb/123/207", "/proc/bus/usb/123/207"},
    {255, 255, "/dev/bus/usb/255/255", "/proc/bus/usb/255/255"},
};

class ADeviceNumber : public ASequence, public WithParamInterface<Numbers> {};

TEST_P(ADeviceNumber, IsWrittenWithItsThreeDigitsIntoBothPaths) {
    const Numbers& numbers = GetParam();
    rig.record = std::make_unique<zebphones::DeviceRecord>(loadPhone("accessory").normal, numbers.bus,
                                                           numbers.address, 3);
    usb.told = {static_cast<std::uint8_t>(numbers.bus), static_cast<std::uint8_t>(numbers.address)};
    NodeAccess::instance().allow = [&](const std::string& path) { return path == numbers.procPath; };

    rig.offer();

    EXPECT_THAT(rig.below("euidaccess"), ElementsAre(asked(numbers.devPath), asked(numbers.procPath)));
    EXPECT_THAT(rig.below("libusb_open"), ElementsAre(opened(phoneName())));
}

INSTANTIATE_TEST_SUITE_P(OfADeviceNode, ADeviceNumber, ValuesIn(kNumbers));

class AListedDevice : public ASequence {};

TEST_F(AListedDevice, IsFoundByItsWholeNumbersAndBothOfThem) {
    const int bus = rig.phone->bus(), address = rig.phone->address();
    const std::pair<int, int> others[] = {{bus + 256, address}, {bus, address + 256}, {bus + 1, address},
                                          {bus, address + 1},   {address, bus},       {-bus, -address}};
    for (const auto& [otherBus, otherAddress] : others) {
        SCOPED_TRACE(nameOf(otherBus, otherAddress));
        const zebphones::DeviceRecord record(loadPhone("accessory").normal, otherBus, otherAddress, 3);
        rig.host.entry.offerDevice(rig.host.discoverer, rig.host.provider, record.get());

        EXPECT_THAT(rig.below("euidaccess"), IsEmpty());
        EXPECT_THAT(rig.below("libusb_open"), IsEmpty());
        rig.host.destroyEntity(rig.host.entities().back());
    }
}

} // namespace
} // namespace zebtest

#include "host/Policy.h"

#include <gmock/gmock.h>

using namespace testing;

namespace zebhost {
namespace {

using Parts = std::vector<std::variant<UsbInterface, UsbAssociation>>;

UsbDevice device(uint16_t vendor, uint16_t product, Parts parts) {
    return {"1-1.2", 1, 4, "Device", 1, {vendor, product, 0, {{1, std::move(parts)}}}};
}

constexpr uint16_t kPhoneMaker = 0x18d1;
constexpr uint16_t kStranger = 0x1209;

UsbDevice phone(Parts parts) { return device(kPhoneMaker, 0x4ee7, std::move(parts)); }
UsbDevice stranger(Parts parts) { return device(kStranger, 0x0001, std::move(parts)); }

const UsbInterface kAdb{255, 66, 1, 1};
const UsbInterface kMtp{255, 255, 0, 0};
const UsbInterface kPtp{6, 1, 1, 0};
const UsbInterface kStorage{8, 6, 80, 2};
const UsbInterface kAudio{1, 1, 0, 0};
const UsbInterface kInput{3, 1, 2, 1};
const UsbInterface kRndisControl{2, 2, 255, 0};
const UsbInterface kData{10, 0, 0, 1};
const UsbInterface kEcm{2, 6, 0, 0};
const UsbInterface kNcm{2, 13, 0, 0};

UsbDevice withoutConfiguration(UsbDevice device) {
    device.activeConfiguration = 0;
    return device;
}

UsbDevice withSecondConfiguration(UsbDevice device, Parts parts) {
    device.descriptors.configurations.push_back({2, std::move(parts)});
    return device;
}

UsbDevice ofClass(uint8_t deviceClass, UsbDevice device) {
    device.descriptors.deviceClass = deviceClass;
    return device;
}

struct Row {
    const char* what;
    UsbDevice device;
    bool isOffered;
    const char* rule;
};

const Row kRows[] = {
    {"RNDIS 224/1/3", phone({UsbInterface{224, 1, 3, 0}, kData}), true, "tether-rndis"},
    {"RNDIS in 2/6/0", phone({UsbAssociation{2, 6, 0, 0, 2}, kRndisControl, kData}), true, "tether-rndis"},
    {"RNDIS in 2/6/255", phone({UsbAssociation{2, 6, 255, 0, 2}, kRndisControl, kData}), true,
     "tether-rndis"},
    {"a direct line 2/1", phone({UsbInterface{2, 1, 0, 0}}), true, "tether-rndis"},
    {"a tether of no known maker", stranger({UsbInterface{224, 1, 3, 0}}), true, "tether-rndis"},
    {"RNDIS control outside of its association",
     stranger({UsbAssociation{2, 6, 0, 1, 2}, kRndisControl, kData}), false, "serial"},
    {"RNDIS control after its association",
     stranger({UsbAssociation{2, 6, 0, 0, 2}, UsbInterface{2, 2, 255, 2}}), false, "serial"},
    {"an association of the better kind elsewhere",
     stranger({UsbAssociation{2, 6, 0, 0, 2}, kRndisControl, kData, UsbAssociation{2, 6, 255, 4, 2}}), false,
     "serial"},
    {"a tether with debugging", phone({UsbInterface{224, 1, 3, 0}, kData, kAdb}), true, "tether-rndis"},

    {"accessory 2d00", device(kPhoneMaker, 0x2d00, {kMtp}), true, "accessory-mode"},
    {"accessory with debugging 2d01", device(kPhoneMaker, 0x2d01, {kMtp, kAdb}), true, "accessory-mode"},
    {"audio 2d02", device(kPhoneMaker, 0x2d02, {kAudio}), true, "accessory-mode"},
    {"audio with debugging 2d03", device(kPhoneMaker, 0x2d03, {kAudio, kAdb}), true, "accessory-mode"},
    {"accessory with audio 2d04", device(kPhoneMaker, 0x2d04, {kMtp, kAudio}), true, "accessory-mode"},
    {"all of it 2d05", device(kPhoneMaker, 0x2d05, {kMtp, kAudio, kAdb}), true, "accessory-mode"},
    {"2cff is none", device(kPhoneMaker, 0x2cff, {kAudio}), false, "audio"},
    {"2d06 is none", device(kPhoneMaker, 0x2d06, {kAudio}), false, "audio"},
    {"another vendor's 2d00", device(kStranger, 0x2d00, {kMtp}), false, "unknown"},

    {"debugging alone", stranger({kAdb}), true, "phone-adb"},
    {"file transfer, debugging and storage", phone({kMtp, kAdb, kStorage}), true, "phone-adb"},
    {"storage and debugging", phone({kStorage, kAdb}), true, "phone-adb"},
    {"file transfer", phone({kMtp}), true, "phone-mtp"},
    {"file transfer and storage", phone({kMtp, kStorage}), true, "phone-mtp"},
    {"picture transfer", phone({kPtp}), true, "phone-mtp"},
    {"a still camera", stranger({kPtp}), false, "imaging"},
    {"the numbers of file transfer on a stranger", stranger({kMtp}), false, "unknown"},
    {"an adapter of a phone maker, in its vendor's configuration",
     withSecondConfiguration(device(0x04e8, 0xa101, {kMtp}), {kEcm, kData}), false, "unknown"},
    {"a printer of a phone maker", device(0x04e8, 0x3301, {UsbInterface{7, 1, 2, 0}, kMtp}), false,
     "printer"},

    {"NCM", device(kPhoneMaker, 0x4eeb, {UsbAssociation{2, 13, 0, 0, 2}, kNcm, kData}), false, "tether-ncm"},
    {"NCM with debugging", device(kPhoneMaker, 0x4eec, {kNcm, kData, kAdb}), false, "tether-ncm"},
    {"NCM with debugging of no known maker", stranger({kNcm, kData, kAdb}), false, "tether-ncm"},
    {"ECM", phone({kEcm, kData}), false, "tether-ecm"},
    {"RNDIS 239/4/1", phone({UsbInterface{239, 4, 1, 0}, kData}), false, "tether-rndis-239"},

    {"a hub", ofClass(9, stranger({UsbInterface{9, 0, 0, 0}})), false, "hub"},
    {"a hub by its interface", stranger({UsbInterface{9, 0, 0, 0}}), false, "hub"},
    {"a hub that is not configured", withoutConfiguration(ofClass(9, stranger({}))), false, "hub"},
    {"a mouse", stranger({kInput}), false, "hid"},
    {"a mouse of a phone maker", phone({kInput}), false, "hid"},
    {"a headset", stranger({kAudio, kInput}), false, "audio"},
    {"a MIDI cable", stranger({kAudio, UsbInterface{1, 3, 0, 1}}), false, "audio"},
    {"a webcam", stranger({UsbInterface{14, 1, 0, 0}, UsbInterface{14, 2, 0, 1}, kAudio}), false, "video"},
    {"an audio and video device", stranger({UsbInterface{16, 1, 0, 0}}), false, "video"},
    {"a storage stick", stranger({kStorage}), false, "storage"},
    {"a phone's storage alone", phone({kStorage}), false, "storage"},
    {"a printer", stranger({UsbInterface{7, 1, 2, 0}}), false, "printer"},
    {"a printer with scanner and card slot",
     stranger({UsbInterface{255, 255, 255, 0}, UsbInterface{7, 1, 2, 1}, kStorage}), false, "printer"},
    {"an ECM adapter", stranger({kEcm, kData}), false, "network-adapter"},
    {"an NCM adapter", stranger({kNcm, kData}), false, "network-adapter"},
    {"an EEM adapter", stranger({UsbInterface{2, 12, 7, 0}}), false, "network-adapter"},
    {"an RNDIS 239/4/1 dongle", stranger({UsbInterface{239, 4, 1, 0}, kData}), false, "network-adapter"},
    {"an MBIM modem", stranger({UsbInterface{2, 14, 0, 0}}), false, "network-adapter"},
    {"a serial adapter", stranger({UsbInterface{2, 2, 1, 0}, kData}), false, "serial"},
    {"a Bluetooth dongle", stranger({UsbInterface{224, 1, 1, 0}}), false, "wireless"},
    {"a card reader", stranger({UsbInterface{11, 0, 0, 0}}), false, "smart-card"},
    {"a vendor's own", stranger({UsbInterface{255, 0, 0, 0}}), false, "unknown"},

    {"a phone without interfaces", phone({}), false, "no-active-interface"},
    {"a phone that is not configured", withoutConfiguration(phone({kMtp})), false, "no-active-interface"},
    {"file transfer in another configuration", withSecondConfiguration(phone({}), {kMtp, kAdb}), false,
     "no-active-interface"},
};

TEST(ThePolicy, LetsPhonesThroughAndNoStranger) {
    for (const Row& row : kRows) {
        Verdict verdict = judge(row.device, {});

        EXPECT_EQ(verdict.isOffered, row.isOffered) << row.what;
        EXPECT_STREQ(verdict.rule, row.rule) << row.what;
        EXPECT_FALSE(verdict.reason.empty()) << row.what;
    }
}

TEST(ThePolicy, SaysThatAPhoneWithoutInterfacesIsLockedOrCharging) {
    EXPECT_EQ(judge(phone({}), {}).reason,
              "no active interface: the phone is locked or set to charging only");
    EXPECT_THAT(judge(withoutConfiguration(phone({kMtp})), {}).reason,
                "no active interface: the phone is locked or set to charging only, or the system has not "
                "configured it yet");
}

TEST(ThePolicy, NamesAllThatAStrangerIsAndWhatToDoNext) {
    EXPECT_EQ(
        judge(stranger({kAudio, kInput}), {}).reason,
        "an audio device and an input device that shows nothing of a phone: if it is a phone, use --allow "
        "1209:0001");
    EXPECT_THAT(judge(phone({kStorage}), {}).reason,
                HasSubstr("unlock it and choose file transfer or tethering"));
    EXPECT_THAT(judge(stranger({UsbInterface{255, 0, 0, 0}}), {}).reason,
                StartsWith("a device of a kind unknown"));
}

TEST(ThePolicy, SaysThatASwitchWouldEndANewerTether) {
    const std::pair<const char*, UsbDevice> rows[] = {{"NCM", phone({kNcm})},
                                                      {"ECM", phone({kEcm})},
                                                      {"RNDIS 239/4/1", phone({UsbInterface{239, 4, 1, 0}})}};
    for (const auto& [name, tether] : rows)
        EXPECT_EQ(
            judge(tether, {}).reason,
            std::string("a phone that shares its network by ") + name +
                ", which the plug-in does not know: switching it to accessory mode would end its network; "
                "--switch-tethers offers it");
}

struct SettingsRow {
    const char* what;
    UsbDevice device;
    PolicySettings settings;
    bool isOffered;
    const char* rule;
};

const UsbDevice kMouse = stranger({kInput});
const UsbDevice kTransfer = phone({kMtp});

const SettingsRow kSettingsRows[] = {
    {"allowed by vendor", kMouse, {.allow = {{0x1209}}}, true, "allowed"},
    {"allowed by both ids", kMouse, {.allow = {{0x1208}, {0x1209, 1}}}, true, "allowed"},
    {"another product allowed", kMouse, {.allow = {{0x1209, 2}}}, false, "hid"},
    {"allowed at its port", kMouse, {.allowPorts = {"1-1", "1-1.2"}}, true, "allowed"},
    {"the hub's port allowed", kMouse, {.allowPorts = {"1-1"}}, false, "hid"},
    {"a phone keeps its rule", kTransfer, {.allow = {{0x18d1}}, .offerAll = true}, true, "phone-mtp"},
    {"denied by vendor", kTransfer, {.deny = {{0x18d1}}}, false, "denied"},
    {"denied by both ids", kTransfer, {.deny = {{0x18d1, 0x4ee7}}}, false, "denied"},
    {"another product denied", kTransfer, {.deny = {{0x18d1, 0x4ee8}}}, true, "phone-mtp"},
    {"deny beats allow", kMouse, {.allow = {{0x1209, 1}}, .deny = {{0x1209}}}, false, "denied"},
    {"deny beats the port", kMouse, {.deny = {{0x1209}}, .allowPorts = {"1-1.2"}}, false, "denied"},
    {"deny beats everything", kMouse, {.deny = {{0x1209}}, .offerAll = true}, false, "denied"},
    {"everything", kMouse, {.offerAll = true}, true, "offer-all"},
    {"everything but a hub", ofClass(9, kMouse), {.allow = {{0x1209}}, .offerAll = true}, false, "hub"},
    {"nothing to offer", phone({}), {.allow = {{0x18d1}}, .offerAll = true}, false, "no-active-interface"},
    {"NCM", phone({kNcm}), {.switchTethers = true}, true, "tether-ncm"},
    {"ECM", phone({kEcm}), {.switchTethers = true}, true, "tether-ecm"},
    {"RNDIS 239", phone({UsbInterface{239, 4, 1, 0}}), {.switchTethers = true}, true, "tether-rndis-239"},
    {"an adapter is no tether", stranger({kNcm}), {.switchTethers = true}, false, "network-adapter"},
    {"an allowed newer tether", phone({kNcm}), {.allow = {{0x18d1}}}, true, "allowed"},
    {"a dry run judges the same", kTransfer, {.dryRun = true}, true, "phone-mtp"},
};

TEST(ThePolicy, DoesWhatTheUserSays) {
    for (const SettingsRow& row : kSettingsRows) {
        Verdict verdict = judge(row.device, row.settings);

        EXPECT_EQ(verdict.isOffered, row.isOffered) << row.what;
        EXPECT_STREQ(verdict.rule, row.rule) << row.what;
    }
}

TEST(APort, IsNamedAsTheKernelNamesIt) {
    for (const char* name : {"1-1", "10-2", "1-1.2.13"})
        EXPECT_TRUE(isPortName(name)) << name;
    for (const char* name :
         {"", "1", "1-", "-1", "1-1.", "1.1", "usb1", "1-1:1.0", "1-0", "01-1", "1-1 ", "foo"})
        EXPECT_FALSE(isPortName(name)) << name;
}

TEST(AnIdPattern, IsOneOrTwoHexadecimalNumbers) {
    EXPECT_EQ(parseIdPattern("18d1"), (IdPattern{0x18d1}));
    EXPECT_EQ(parseIdPattern("18D1:4ee7"), (IdPattern{0x18d1, 0x4ee7}));
    EXPECT_EQ(parseIdPattern("4e8:0"), (IdPattern{0x04e8, 0}));
    for (const char* text :
         {"", ":", "18d1:", ":4ee7", "18d1:4ee7:1", "18d10", "0x18", "phone", "18d1 ", "-1"})
        EXPECT_EQ(parseIdPattern(text), std::nullopt) << text;
}

} // namespace
} // namespace zebhost

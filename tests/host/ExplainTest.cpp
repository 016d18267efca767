// What "list" and "explain" say of devices on an emulated USB bus, and that they ask them nothing.
#include "host/NodeAccess.h"
#include "host/Plugin.h"
#include "host/commands/Commands.h"
#include "host/explain/Explanation.h"
#include "host/explain/InterfaceNames.h"
#include "phones/Catalogue.h"
#include "phones/PhoneLinks.h"
#include "phones/usbfs/Testbed.h"
#include "tests/host/Lines.h"

#include <filesystem>
#include <gmock/gmock.h>

using namespace testing;

namespace zebhost {
namespace {

std::string list(ListOptions options = {}) {
    Lines lines;
    EXPECT_EQ(perform(options, lines.file()), kExitDone);
    std::fflush(lines.file());
    return lines.text();
}

ExplainOptions explainAt(const std::string& device) {
    ExplainOptions options;
    options.device = device;
    options.plugin = PLUGIN;
    return options;
}

std::string explained(const ExplainOptions& options) {
    Lines lines;
    EXPECT_EQ(perform(options, lines.file()), kExitDone);
    std::fflush(lines.file());
    return lines.text();
}

nlohmann::json explainedJson(ExplainOptions options) {
    options.json = true;
    return nlohmann::json::parse(explained(options));
}

/** A network interface of the emulated system: named as one that this process has. */
void giveNetwork(const zebphones::Testbed& bed, const std::string& port, const std::string& name) {
    std::filesystem::create_directories(bed.root() + "/sys/devices/pci0000:00/usb1/" + port + "/" + port +
                                        ":1.0/net/" + name);
}

TEST(List, ShowsEachDeviceWithItsVerdictInAlignedColumns) {
    zebphones::Testbed bed;
    bed.plug(zebphones::loadPhone("accessory"), 1);
    bed.plug(zebphones::loadPhone("mouse"), 2);
    bed.plug(zebphones::loadPhone("hub"), 3);

    EXPECT_EQ(list(),
              "PORT  BUS/DEV  VID:PID    NAME             TO THE PLUG-IN\n"
              "1-1   001/002  18d1:4ee2  Accessory phone  offered: a phone with USB debugging on\n"
              "1-2   001/003  1209:0001  Mouse            not offered: an input device that shows nothing of "
              "a phone: if it is a phone, use --allow 1209:0001\n"
              "1-3   001/004  1209:0002  Hub              not offered: a hub: part of the bus, never "
              "offered\n");
}

TEST(List, SaysWhatToDoWhenNothingIsPlugged) {
    zebphones::Testbed bed;

    EXPECT_EQ(list(), "No USB device is plugged in. If there should be one: zebhost doctor\n");
}

TEST(List, JudgesByTheOptionsThatItIsGiven) {
    zebphones::Testbed bed;
    bed.plug(zebphones::loadPhone("mouse"));
    ListOptions options;
    options.policy.allow = {IdPattern{0x1209}};
    options.json = true;

    nlohmann::json line = nlohmann::json::parse(list(options));

    EXPECT_EQ(line.at("node").at("path"), "/dev/bus/usb/001/002");
    line.erase("node");
    EXPECT_EQ(line, nlohmann::json::parse(R"~({"schema":1,"record":"device","port":"1-1","bus":1,"device":2,
        "vendor":"1209","product":"0001","name":"Mouse (usb 1-1)","offered":true,"rule":"allowed",
        "reason":"allowed by --allow or --allow-port"})~"));
}

TEST(List, SaysWhatARunWouldWaitFor) {
    zebphones::Testbed bed;
    for (const auto& [port, phone] :
         {std::pair(1, "accessory"), std::pair(2, "rndis"), std::pair(3, "mouse")}) {
        bed.plug(zebphones::loadPhone(phone), port);
        bed.at(port).removeNode();
    }

    EXPECT_THAT(
        list(),
        AllOf(HasSubstr("  not offered until /dev/bus/usb/001/002 is there: a phone with USB debugging"),
              HasSubstr("  offered: a phone that shares its network"),
              HasSubstr("  not offered: an input device")));
    EXPECT_THAT(explained(explainAt("1-1")),
                HasSubstr("  policy     not offered until /dev/bus/usb/001/002 is there: "));
    EXPECT_THAT(std::string(explainedJson(explainAt("1-3"))["next"][0]),
                StartsWith("if it is a phone all the same"));
}

TEST(ADevicesStanding, NamesTheRightsOfItsNode) {
    DeviceNode closed{"/dev/bus/usb/001/002", true, false, "root:root, rw-------"};
    DeviceNode open = closed;
    open.canBeOpened = true;

    EXPECT_EQ(standing({true, "phone-adb", "a phone"}, closed),
              "not offered until /dev/bus/usb/001/002 can be opened (root:root, rw-------): a phone");
    EXPECT_EQ(standing({true, "phone-adb", "a phone"}, open), "offered: a phone");
    EXPECT_EQ(standing({true, "tether-rndis", "a phone"}, closed), "offered: a phone");
    EXPECT_EQ(standing({false, "hid", "a mouse"}, closed), "not offered: a mouse");
}

TEST(List, LetsNoDeviceTouchTheTerminal) {
    zebphones::Testbed bed;
    auto phone = zebphones::loadPhone("mouse");
    phone.normal.productName = "\033[2J";
    bed.plug(phone);

    EXPECT_THAT(list(), AllOf(HasSubstr("?[2J"), Not(HasSubstr("\033"))));
}

TEST(Explain, TellsOfAPhoneThatWillBeAsked) {
    zebphones::Testbed bed;
    bed.plug(zebphones::loadPhone("accessory"));

    std::string text = explained(explainAt("1-1"));

    EXPECT_THAT(text, StartsWith("Accessory phone (usb 1-1), 18d1:4ee2, 001/002\n"));
    EXPECT_THAT(text, HasSubstr("  shows      interface 0: file transfer (MTP), an accessory's channel, or"));
    EXPECT_THAT(text, HasSubstr("             interface 1: USB debugging (ADB) (255/66/1)\n"));
    EXPECT_THAT(text, HasSubstr("  node       /dev/bus/usb/001/002 can be opened ("));
    EXPECT_THAT(text, HasSubstr("  policy     offered: a phone with USB debugging on\n"));
    EXPECT_THAT(
        text, HasSubstr("  plug-in    would take it, with interest 30 (10 is strongest, 100 none): perhaps"));
    EXPECT_THAT(text, HasSubstr("  next       nothing is missing: \"zebhost run\" offers it"));
}

TEST(Explain, FindsADeviceByEachOfItsNames) {
    zebphones::Testbed bed;
    bed.plug(zebphones::loadPhone("mouse"), 4);

    for (const char* name : {"1-4", "1:2", "001:002", "1/2", "001/002"})
        EXPECT_THAT(explained(explainAt(name)), StartsWith("Mouse (usb 1-4)")) << name;
}

TEST(Explain, SaysWhatIsPluggedWhenTheDeviceIsNot) {
    zebphones::Testbed bed;
    bed.plug(zebphones::loadPhone("mouse"), 4);

    for (const char* name : {"1-1", "1:3", "1:2x", "001/003", "1/2x", "1/", "mouse"})
        EXPECT_THAT([&] { explained(explainAt(name)); },
                    ThrowsMessage<HostError>(HasSubstr("there is something at 1-4")))
            << name;
}

TEST(Explain, AsksNoDeviceAnything) {
    zebphones::Testbed bed;
    auto phone = bed.plug(zebphones::loadPhone("accessory"), 1);
    auto stick = bed.plug(zebphones::loadPhone("storage-stick"), 2);

    list();
    explained(explainAt("1-1"));
    explained(explainAt("1-2"));

    EXPECT_THAT(phone->received(), IsEmpty());
    EXPECT_THAT(stick->received(), IsEmpty());
}

TEST(Explain, SaysWhatAPhoneWithoutInterfacesNeeds) {
    zebphones::Testbed bed;
    auto locked = zebphones::loadPhone("accessory");
    locked.normal.interfaces.clear();
    bed.plug(locked);

    nlohmann::json told = explainedJson(explainAt("1-1"));

    EXPECT_EQ(told["rule"], "no-active-interface");
    EXPECT_THAT(std::string(told["reason"]), HasSubstr("locked or set to charging only"));
    EXPECT_EQ(told["plugin"]["level"], 100);
    EXPECT_EQ(told["next"],
              nlohmann::json{"unlock the phone, and choose file transfer or USB tethering on it"});
    EXPECT_THAT(explained(explainAt("1-1")), HasSubstr("  shows      no active interface\n"));
}

TEST(Explain, SaysWhenThePluginCantBeLoaded) {
    zebphones::Testbed bed;
    bed.plug(zebphones::loadPhone("accessory"));
    ExplainOptions options = explainAt("1-1");
    options.plugin = "/no/such.so";

    nlohmann::json told = explainedJson(options);

    EXPECT_EQ(told["plugin"]["fault"], "there is no plug-in /no/such.so");
    EXPECT_EQ(told["plugin"]["level"], nullptr);
    EXPECT_THAT(std::string(told["next"][0]), StartsWith("install the plug-in"));
    EXPECT_THAT(explained(options), HasSubstr("plug-in    could not be asked: there is no plug-in"));
}

TEST(Explain, SaysWhatAClosedNodeNeeds) {
    zebphones::Testbed bed;
    bed.plug(zebphones::loadPhone("accessory"));
    UsbDevice device;
    device.port = "1-1";
    device.bus = 1;
    device.device = 2;
    Machine machine;
    machine.mayOpen = [](const auto&) { return false; };

    Explanation closed = explain(device, explainAt(""), machine);
    bed.at(1).removeNode();
    Explanation missing = explain(device, explainAt(""), machine);

    EXPECT_THAT(closed.next.front(), AllOf(StartsWith("the node /dev/bus/usb/001/002 can't be opened"),
                                           HasSubstr("70-zebhost.rules")));
    EXPECT_THAT(missing.next.front(), StartsWith("the node /dev/bus/usb/001/002 is missing: have udevd"));
}

TEST(Explain, SaysHowADeviceThatIsWithheldCanBeOffered) {
    zebphones::Testbed bed;
    bed.plug(zebphones::loadPhone("mouse"), 1);
    bed.plug(zebphones::loadPhone("ncm"), 2);
    ExplainOptions denied = explainAt("1-1");
    denied.policy.deny = {IdPattern{0x1209}};

    auto next = [](const ExplainOptions& options) { return std::string(explainedJson(options)["next"][0]); };

    EXPECT_THAT(next(explainAt("1-1")), EndsWith("zebhost run --allow 1209:0001"));
    EXPECT_THAT(next(explainAt("1-2")), EndsWith("zebhost run --switch-tethers"));
    EXPECT_THAT(next(denied), StartsWith("it is denied: take it out"));
}

TEST(Explain, SaysThatAnAccessoryMayBeStale) {
    zebphones::Testbed bed;
    bed.plug(zebphones::loadPhone("accessory-2d00"));

    nlohmann::json told = explainedJson(explainAt("1-1"));

    EXPECT_EQ(told["plugin"]["level"], 10);
    EXPECT_THAT(std::string(told["next"][0]), HasSubstr("zebhost run --reset-stale"));
}

TEST(Explain, FollowsATetherToItsAddress) {
    zebphones::PhoneLinks links;
    zebphones::Testbed bed;
    bed.plug(zebphones::loadPhone("rndis"));
    auto next = [] { return std::string(explainedJson(explainAt("1-1"))["next"][0]); };

    EXPECT_THAT(next(), StartsWith("no network interface of this phone has appeared"));

    giveNetwork(bed, "1-1", "lo");
    links.remove(1);
    EXPECT_THAT(next(), StartsWith("no IPv4 address has come to lo"));

    links.add(1, "10.176.37.9");
    EXPECT_THAT(next(), AllOf(StartsWith("lo has the address 10.176.37.9, but"), HasSubstr("192.168.42")));
    EXPECT_THAT(explained(explainAt("1-1")), HasSubstr("  network    lo with 10.176.37.9\n"));

    links.add(1, "192.168.42.23");
    EXPECT_THAT(next(), StartsWith("nothing is missing"));
    links.remove(1);
}

TEST(AnInterface, IsNamedByTheNarrowestRowThatFits) {
    const std::pair<UsbInterface, const char*> rows[] = {
        {{255, 66, 1, 0}, "USB debugging (ADB)"},
        {{255, 66, 2, 0}, "something of the maker's own"},
        {{224, 1, 3, 0}, "network sharing (RNDIS)"},
        {{2, 2, 255, 0}, "network sharing (RNDIS)"},
        {{2, 2, 1, 0}, "modem or serial line"},
        {{2, 13, 0, 0}, "network sharing or adapter (NCM)"},
        {{3, 1, 2, 0}, "mouse"},
        {{3, 0, 0, 0}, "input device"},
        {{1, 3, 0, 0}, "MIDI"},
        {{99, 0, 0, 0}, "unknown"},
    };
    for (const auto& [interface, words] : rows)
        EXPECT_EQ(interfaceInWords(interface), words);
}

} // namespace
} // namespace zebhost

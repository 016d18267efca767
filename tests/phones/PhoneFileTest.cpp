#include "phones/Catalogue.h"

#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>
#include <stdexcept>

using namespace testing;

namespace zebphones {
namespace {

constexpr char kWhole[] = R"(about = "everything that can be said"
[usb]
vendor = 0x18d1
product = 0x4ee2
class = 239
manufacturer = "Maker"
name = "Phone"
serial = "S1"
associations = [{ first = 1, count = 2, class = 2, subclass = 6, protocol = 255 }]
interfaces = [
    { class = 255, subclass = 66, protocol = 1, endpoints = 2 },
    { class = 2, subclass = 2, protocol = 255 },
    { class = 10, subclass = 0, protocol = 0 },
    { number = 7, class = 10, subclass = 0, protocol = 0 },
]
[protocol]
version = 2
stalls-empty-strings = true
answer-ms = 400
start-ms = 20
away-ms = 150
reverts-ms = 2000
[switched]
product = 0x2d01
interfaces = [{ class = 255, subclass = 255, protocol = 0 }]
[switched-with-audio]
product = 0x2d05
[[fault]]
request = 52
string = 3
does = "short"
moved = 4
after-ms = 20
[host]
aapserial = "S2"
aapmodel = ""
[link]
address = "10.1.2.3"
[expect]
rule = "phone-adb"
offered = true
interest = 30
reason = "105"
outcome = "entity lost"
gadget-lacks = "something"
)";

// The least that is a phone, for lines to be added to each of its parts.
std::string least(const std::string& top = "", const std::string& usb = "", const std::string& expect = "") {
    return "about = \"a\"\n" + top + "[usb]\nvendor = 1\nproduct = 2\nmanufacturer = \"M\"\nname = \"N\"\n" +
           "serial = \"S\"\n" + usb + "[expect]\nrule = \"hid\"\noffered = false\ninterest = 100\n" +
           "outcome = \"never offered\"\n" + expect;
}

TEST(APhoneFile, SaysEverythingOfAPhone) {
    const PhoneFile file = parsePhoneFile(kWhole, "models/test-phone.toml");

    EXPECT_EQ(file.name, "test-phone");
    EXPECT_EQ(file.about, "everything that can be said");
    EXPECT_EQ(file.linkAddress, "10.1.2.3");
    EXPECT_THAT(file.properties, ElementsAre(Pair("aapmodel", ""), Pair("aapserial", "S2")));
    EXPECT_EQ(file.phone.name, "test-phone");
    EXPECT_EQ(file.phone.protocolVersion, 2);
    EXPECT_TRUE(file.phone.stallsEmptyStrings);
    EXPECT_EQ(file.phone.delay.count(), 400);
    EXPECT_EQ(file.phone.startTold.count(), 20);
    EXPECT_EQ(file.phone.away.count(), 150);
    EXPECT_EQ(file.phone.reverts->count(), 2000);
    EXPECT_EQ(file.expect.rule, "phone-adb");
    EXPECT_TRUE(file.expect.offered);
    EXPECT_EQ(file.expect.interest, 30);
    EXPECT_EQ(file.expect.reason, "105");
    EXPECT_EQ(file.expect.outcome, "entity lost");
    EXPECT_EQ(file.expect.gadgetLacks, "something");
}

TEST(APhoneFile, SaysWhatThePhoneShows) {
    const UsbFace face = parsePhoneFile(kWhole, "x.toml").phone.normal;

    EXPECT_EQ(hexId(face.vendor) + ":" + hexId(face.product), "18d1:4ee2");
    EXPECT_EQ(face.deviceClass, 239);
    EXPECT_EQ(face.manufacturer + "/" + face.productName + "/" + face.serial, "Maker/Phone/S1");
    ASSERT_THAT(face.associations, SizeIs(1));
    EXPECT_EQ(face.associations[0].firstInterface, 1);
    EXPECT_EQ(face.associations[0].interfaceCount, 2);
    EXPECT_EQ(face.associations[0].subclass, 6);
    EXPECT_EQ(face.associations[0].protocol, 255);
    ASSERT_THAT(face.interfaces, SizeIs(4));
    EXPECT_EQ(face.interfaces[0].number, 0);
    EXPECT_EQ(face.interfaces[0].subclass, 66);
    EXPECT_EQ(face.interfaces[0].endpoints, 2);
    EXPECT_EQ(face.interfaces[3].number, 7);
    EXPECT_EQ(face.interfaces[3].classCode, 10);
}

TEST(APhoneFile, TakesWhatTheSwitchedFaceLeavesOutFromTheOther) {
    const UsbFace face = parsePhoneFile(kWhole, "x.toml").phone.accessory;

    EXPECT_EQ(hexId(face.vendor) + ":" + hexId(face.product), "18d1:2d01");
    EXPECT_EQ(face.deviceClass, 0);
    EXPECT_EQ(face.productName + "/" + face.serial, "Phone/S1");
    EXPECT_THAT(face.interfaces, SizeIs(1));
}

TEST(APhoneFile, MaySayWhatThePhoneComesBackAsWithAudio) {
    const auto face = parsePhoneFile(kWhole, "x.toml").phone.accessoryWithAudio;

    ASSERT_TRUE(face);
    EXPECT_EQ(hexId(face->vendor) + ":" + hexId(face->product), "18d1:2d05");
}

TEST(APhoneFile, SaysHowARequestGoesWrong) {
    const PhoneDescription phone = parsePhoneFile(kWhole, "x.toml").phone;

    ASSERT_THAT(phone.faults, SizeIs(1));
    EXPECT_EQ(phone.faults[0].request, 52);
    EXPECT_EQ(phone.faults[0].index, 3);
    EXPECT_EQ(phone.faults[0].reaction, Reaction::Short);
    EXPECT_EQ(phone.faults[0].moved, 4U);
    EXPECT_EQ(phone.faults[0].delay.count(), 20);
}

TEST(APhoneFile, MayLeaveOutWhatIsUsual) {
    const PhoneFile file = parsePhoneFile(least(), "x.toml");

    EXPECT_EQ(file.phone.protocolVersion, std::nullopt);
    EXPECT_EQ(file.phone.reverts, std::nullopt);
    EXPECT_EQ(file.phone.startTold.count(), 15);
    EXPECT_EQ(file.phone.away.count(), 500);
    EXPECT_FALSE(file.phone.accessoryWithAudio);
    EXPECT_EQ(file.linkAddress, "");
    EXPECT_THAT(file.phone.normal.interfaces, IsEmpty());
}

TEST(APhoneFile, NamesEveryReactionByItsOwnWord) {
    for (int i = 0; i <= static_cast<int>(Reaction::RefusedNoMemory); ++i) {
        const auto reaction = static_cast<Reaction>(i);
        const std::string text =
            least("", "[[fault]]\nrequest = 51\ndoes = \"" + std::string(nameOf(reaction)) + "\"\n");

        EXPECT_EQ(parsePhoneFile(text, "x.toml").phone.faults.at(0).reaction, reaction) << nameOf(reaction);
    }
}

struct Mistake {
    std::string text;
    const char* complaint;
};

const Mistake kMistakes[] = {
    {"about =", "x.toml:1:8: "},
    {"", "x.toml:1:1: \"about\" is missing at the top"},
    {"about = 7", "x.toml:1:9: \"about\" must be a text in quotes"},
    {"about = \"a\"", "x.toml:1:1: \"usb\" is missing at the top"},
    {least("colour = 1\n"), "x.toml:2:1: unknown key \"colour\" at the top; allowed: about, usb, protocol, "
                            "switched, switched-with-audio, fault, host, link, expect"},
    {least("usb = 3\n").substr(0, 20), "x.toml:2:7: \"usb\" must be a table, [usb]"},
    {least("", "prodct = 1\n"),
     "x.toml:8:1: unknown key \"prodct\" in [usb]; allowed: vendor, product, class, "
     "manufacturer, name, serial, associations, interfaces"},
    {least("", "class = 256\n"), "x.toml:8:9: \"class\" must be a whole number from 0 to 255"},
    {least("", "class = \"hub\"\n"), "x.toml:8:9: \"class\" must be a whole number from 0 to 255"},
    {least("", "class = -1\n"), "x.toml:8:9: \"class\" must be a whole number from 0 to 255"},
    {least("", "interfaces = 5\n"), "x.toml:8:14: \"interfaces\" must be an array of tables"},
    {least("", "interfaces = [5]\n"), "x.toml:8:15: \"interfaces\" must be an array of tables"},
    {least("", "interfaces = [{ class = 3, subclass = 1 }]\n"),
     "x.toml:8:15: \"protocol\" is missing in [usb.interfaces]"},
    {least("", "interfaces = [{ class = 3, subclass = 1, protocol = 0, endpoints = 15 },\n"
               "{ class = 3, subclass = 1, protocol = 0, endpoints = 1 }]\n"),
     "x.toml:8:14: \"interfaces\" are more than a configuration has room for: at most 32 interfaces with 15 "
     "endpoints together"},
    {least("", "associations = [{ first = 0, count = 2, class = 2, subclass = 6, protocol = 0 }]\n"
               "interfaces = [{ class = 2, subclass = 2, protocol = 255 }]\n"),
     "x.toml:8:16: \"associations\" name interface 1, which is none of \"interfaces\""},
    {least("", "associations = [{ first = 0, count = 0, class = 2, subclass = 6, protocol = 0 }]\n"),
     "x.toml:8:38: \"count\" must be a whole number from 1 to 255"},
    {least("", "[[fault]]\nrequest = 52\nstring = 6\ndoes = \"stall\"\n"),
     "x.toml:10:10: \"string\" must be a whole number from 0 to 5"},
    {least("", "[[fault]]\nrequest = 51\nstring = 1\ndoes = \"stall\"\n"),
     "x.toml:10:10: \"string\" belongs to request 52 alone"},
    {least("", "[protocol]\nversion = 65536\n"),
     "x.toml:9:11: \"version\" must be a whole number from 0 to 65535"},
    {least("", "[protocol]\nversion = 2\nstalls-empty-strings = \"yes\"\n"),
     "x.toml:10:24: \"stalls-empty-strings\" must be true or false"},
    {least("", "[protocol]\nversion = 2\nanswer-ms = 60001\n"),
     "x.toml:10:13: \"answer-ms\" must be a whole number from 0 to 60000"},
    {least("", "[[fault]]\nrequest = 54\n"),
     "x.toml:9:11: \"request\" must be one of the protocol's: 51, 52, 53 or 58"},
    {least("", "[[fault]]\nrequest = 51\ndoes = \"explode\"\n"),
     "x.toml:10:8: \"does\" must be one of: answer, stall, short, silent, silent-after-data, "
     "answer-as-host-gives-up, bus-error, overflow, gone, unplug, refused-no-device, refused-no-memory"},
    {least("", "[link]\naddress = \"192.168.42\"\n"),
     "x.toml:9:11: \"address\" is no IPv4 address, such as \"192.168.42.23\""},
    {least("", "", "offered = false\n"), "x.toml:13:11: "},
    {least("", "[host]\naapseriel = \"\"\n"),
     "x.toml:9:1: unknown key \"aapseriel\" in [host]; allowed: aapmanufacturer, aapmodel, aapdescription, "
     "aapversion, aapuri, aapserial"},
    {least("", "", "verdict = \"no\"\n"), "x.toml:13:1: unknown key \"verdict\" in [expect]; allowed: rule, "
                                          "offered, interest, reason, outcome, gadget-lacks"},
};

TEST(APhoneFile, IsRefusedWithThePlaceAndWhatIsAllowed) {
    for (const Mistake& mistake : kMistakes) {
        EXPECT_THAT([&] { parsePhoneFile(mistake.text, "x.toml"); },
                    ThrowsMessage<std::runtime_error>(StartsWith(mistake.complaint)))
            << mistake.text;
    }
}

TEST(APhoneFile, RefusesAnOutcomeThatItCanNotHave) {
    std::string text = least();
    text.replace(text.find("never offered"), 13, "glory");

    EXPECT_THAT([&] { parsePhoneFile(text, "x.toml"); },
                ThrowsMessage<std::runtime_error>(
                    AllOf(HasSubstr("\"outcome\" must be one of: never offered"), HasSubstr("entity lost"))));
}

// What a host's documents say of its rules is what a file may expect.
TEST(APhoneFile, ExpectsOneOfTheRulesThatThePolicyHas) {
    std::ifstream file(Catalogue().folder() / "../../docs/policy.md");
    std::set<std::string> documented;
    for (std::string line; std::getline(file, line) && !line.starts_with("## ");) {
        for (size_t begin = line.starts_with("| `") ? 2 : std::string::npos; begin < line.find(" |", 2);) {
            const size_t end = line.find('`', begin + 1);
            documented.insert(line.substr(begin + 1, end - begin - 1));
            begin = line.find('`', end + 1);
        }
    }

    EXPECT_THAT(rules(), UnorderedElementsAreArray(documented));
}

TEST(APhoneFile, RefusesAMisspeltRule) {
    std::string text = least();
    text.replace(text.find("hid"), 3, "hdi");

    EXPECT_THAT([&] { parsePhoneFile(text, "x.toml"); },
                ThrowsMessage<std::runtime_error>(
                    StartsWith("x.toml:9:8: \"rule\" must be one of: hub, denied, no-active-interface, ")));
}

TEST(APhoneFile, RefusesTextsThatNoDeviceCanSend) {
    for (const std::string& name : {std::string(127, 'n'), std::string("two\\nlines")}) {
        std::string text = least();
        text.replace(text.find("\"N\""), 3, "\"" + name + "\"");

        EXPECT_THAT([&] { parsePhoneFile(text, "x.toml"); },
                    ThrowsMessage<std::runtime_error>(HasSubstr("\"name\" is no text of a USB device")));
    }
}

// The catalogue

TEST(TheCatalogue, KnowsItsPhonesByTheNamesOfTheirFiles) {
    const Catalogue catalogue;

    EXPECT_THAT(catalogue.names(),
                IsSupersetOf({"charging-only", "mouse", "mtp-adb", "ncm", "rndis-android8"}));
    EXPECT_THAT(catalogue.names(), SizeIs(Ge(22U)));
    EXPECT_EQ(catalogue.load("mouse").phone.normal.productName, "Mouse");
}

TEST(TheCatalogue, OpensEachFileWithWhatThePhoneStandsFor) {
    const Catalogue catalogue;
    for (const std::string& name : catalogue.names()) {
        std::ifstream file(catalogue.folder() / (name + ".toml"));
        std::string line;
        std::getline(file, line);

        EXPECT_THAT(line, AllOf(StartsWith("# "), Not(HasSubstr("TODO")))) << name;
        EXPECT_THAT(catalogue.load(name).about, Not(IsEmpty())) << name;
    }
}

TEST(TheCatalogue, SaysWhichPhonesThereAreWhenAskedForAnother) {
    EXPECT_THAT(
        [] { Catalogue().load("toaster"); },
        ThrowsMessage<std::runtime_error>(AllOf(StartsWith("no phone toaster in "), HasSubstr("mtp-adb, "))));
}

TEST(TheCatalogue, IsWhereItIsToldToBe) {
    const std::filesystem::path folder = Catalogue::defaultFolder();

    EXPECT_EQ(Catalogue(folder).folder(), folder);
    EXPECT_THAT([] { Catalogue("/no/such/folder"); },
                ThrowsMessage<std::runtime_error>("/no/such/folder: no such folder of phones"));
}

} // namespace
} // namespace zebphones

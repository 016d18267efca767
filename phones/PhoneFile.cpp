#include "phones/PhoneFile.h"

#include "phones/TomlTable.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <filesystem>

namespace zebphones {
namespace {

constexpr std::array<std::string_view, 7> kOutcomes = {
    "never offered", "published USBAND",   "published USBAAP",       "published USBAAP, then lost",
    "entity lost",   "waits for its link", "asked to switch, stays",
};

// The plug-in's properties, in the order in which a phone is sent them.
constexpr std::array<const char*, kStringCount> kProperties = {
    "aapmanufacturer", "aapmodel", "aapdescription", "aapversion", "aapuri", "aapserial"};

// Those of a host's policy, which docs/policy.md explains.
constexpr std::array<std::string_view, 23> kRules = {
    "hub",
    "denied",
    "no-active-interface",
    "tether-rndis",
    "accessory-mode",
    "tether-ncm",
    "tether-ecm",
    "tether-rndis-239",
    "phone-adb",
    "phone-mtp",
    "printer",
    "video",
    "audio",
    "network-adapter",
    "serial",
    "wireless",
    "storage",
    "smart-card",
    "imaging",
    "hid",
    "unknown",
    "allowed",
    "offer-all",
};

// In the order of the enumeration.
constexpr std::array<std::string_view, 12> kReactions = {
    "answer",    "stall",    "short", "silent", "silent-after-data", "answer-as-host-gives-up",
    "bus-error", "overflow", "gone",  "unplug", "refused-no-device", "refused-no-memory",
};
static_assert(kReactions[static_cast<std::size_t>(Reaction::RefusedNoMemory)] == "refused-no-memory");

constexpr std::array<std::uint8_t, 4> kRequests = {kGetProtocol, kSendString, kStartAccessory, kSetAudioMode};

constexpr std::int64_t kHighestByte = 0xff;
constexpr std::int64_t kHighestWord = 0xffff;
// A minute: nobody waits longer for a simulated phone.
constexpr std::int64_t kLongestMs = 60'000;
// A descriptor of a string has room for this many characters.
constexpr std::size_t kLongestText = 126;
// Endpoints are numbered through the configuration, which has 15 numbers.
constexpr int kMostEndpoints = 15;
constexpr std::size_t kMostInterfaces = 32;

std::uint8_t byte(TomlTable& table, const char* key, std::optional<std::int64_t> absent = {}) {
    return static_cast<std::uint8_t>(table.number(key, {0, kHighestByte}, absent));
}

std::uint16_t word(TomlTable& table, const char* key, std::optional<std::int64_t> absent = {}) {
    return static_cast<std::uint16_t>(table.number(key, {0, kHighestWord}, absent));
}

std::chrono::milliseconds milliseconds(TomlTable& table, const char* key, std::int64_t absent) {
    return std::chrono::milliseconds(table.number(key, {0, kLongestMs}, absent));
}

// A text that a device sends of itself.
std::string deviceText(TomlTable& table, const char* key, std::optional<std::string> absent) {
    std::string text = table.text(key, std::move(absent));
    const auto isControl = [](unsigned char c) { return c < 0x20; };
    if (text.size() > kLongestText || std::any_of(text.begin(), text.end(), isControl))
        table.refuse(key, "is no text of a USB device: at most 126 characters, no control characters");
    return text;
}

UsbInterface readInterface(TomlTable table, std::size_t position) {
    UsbInterface interface;
    interface.number = byte(table, "number", static_cast<std::int64_t>(position));
    interface.classCode = byte(table, "class");
    interface.subclass = byte(table, "subclass");
    interface.protocol = byte(table, "protocol");
    interface.endpoints = static_cast<std::uint8_t>(table.number("endpoints", {0, kMostEndpoints}, 0));
    table.finish();
    return interface;
}

UsbAssociation readAssociation(TomlTable table, std::size_t) {
    UsbAssociation association;
    association.firstInterface = byte(table, "first");
    association.interfaceCount =
        static_cast<std::uint8_t>(table.number("count", {1, kHighestByte}, std::nullopt));
    association.classCode = byte(table, "class");
    association.subclass = byte(table, "subclass");
    association.protocol = byte(table, "protocol");
    table.finish();
    return association;
}

void checkInterfaces(const TomlTable& table, const std::vector<UsbInterface>& interfaces) {
    int endpoints = 0;
    for (const UsbInterface& interface : interfaces)
        endpoints += interface.endpoints;
    if (interfaces.size() > kMostInterfaces || endpoints > kMostEndpoints)
        table.refuse("interfaces", "are more than a configuration has room for: at most 32 interfaces with "
                                   "15 endpoints together");
}

// Each of its interfaces has to be there.
void checkAssociation(const TomlTable& table, const UsbAssociation& association,
                      const std::vector<UsbInterface>& interfaces) {
    for (int i = 0; i < association.interfaceCount; ++i) {
        const auto isNamed = [number = association.firstInterface + i](const UsbInterface& interface) {
            return interface.number == number;
        };
        if (std::none_of(interfaces.begin(), interfaces.end(), isNamed)) {
            table.refuse("associations", "name interface " + std::to_string(association.firstInterface + i) +
                                             ", which is none of \"interfaces\"");
        }
    }
}

// What is not said is as in the other face of the phone.
UsbFace readFace(TomlTable table, const UsbFace* like) {
    const auto absent = [like](std::string UsbFace::*text) {
        return like ? std::optional(like->*text) : std::nullopt;
    };
    UsbFace face;
    face.vendor = word(table, "vendor", like ? std::optional<std::int64_t>(like->vendor) : std::nullopt);
    face.product = word(table, "product");
    face.deviceClass = byte(table, "class", 0);
    face.manufacturer = deviceText(table, "manufacturer", absent(&UsbFace::manufacturer));
    face.productName = deviceText(table, "name", absent(&UsbFace::productName));
    face.serial = deviceText(table, "serial", absent(&UsbFace::serial));
    table.forEach("associations", [&face](TomlTable row, std::size_t position) {
        face.associations.push_back(readAssociation(std::move(row), position));
    });
    table.forEach("interfaces", [&face](TomlTable row, std::size_t position) {
        face.interfaces.push_back(readInterface(std::move(row), position));
    });
    checkInterfaces(table, face.interfaces);
    for (const UsbAssociation& association : face.associations)
        checkAssociation(table, association, face.interfaces);
    table.finish();
    return face;
}

void readProtocol(TomlTable table, PhoneDescription& phone) {
    phone.protocolVersion = word(table, "version");
    phone.stallsEmptyStrings = table.flag("stalls-empty-strings", false);
    phone.delay = milliseconds(table, "answer-ms", 0);
    phone.startTold = milliseconds(table, "start-ms", phone.startTold.count());
    phone.away = milliseconds(table, "away-ms", phone.away.count());
    if (table.has("reverts-ms"))
        phone.reverts = milliseconds(table, "reverts-ms", 0);
    table.finish();
}

Fault readFault(TomlTable table) {
    Fault fault;
    fault.request = byte(table, "request");
    if (std::find(kRequests.begin(), kRequests.end(), fault.request) == kRequests.end())
        table.refuse("request", "must be one of the protocol's: 51, 52, 53 or 58");
    if (table.has("string") && fault.request != kSendString)
        table.refuse("string", "belongs to request 52 alone");
    if (table.has("string"))
        fault.index = static_cast<std::uint16_t>(table.number("string", {0, kStringCount - 1}, std::nullopt));
    fault.reaction = static_cast<Reaction>(table.oneOf("does", kReactions));
    fault.moved = word(table, "moved", 0);
    fault.delay = milliseconds(table, "after-ms", 0);
    table.finish();
    return fault;
}

std::string readLink(TomlTable table) {
    std::string address = table.text("address", std::nullopt);
    in_addr parsed{};
    if (::inet_pton(AF_INET, address.c_str(), &parsed) != 1)
        table.refuse("address", "is no IPv4 address, such as \"192.168.42.23\"");
    table.finish();
    return address;
}

std::vector<std::pair<std::string, std::string>> readHost(TomlTable table) {
    std::vector<std::pair<std::string, std::string>> properties;
    for (const char* key : kProperties) {
        if (table.has(key))
            properties.emplace_back(key, table.text(key, std::nullopt));
    }
    table.finish();
    return properties;
}

Expectation readExpectation(TomlTable table) {
    Expectation expect;
    expect.rule = kRules.at(table.oneOf("rule", kRules));
    expect.offered = table.flag("offered", std::nullopt);
    expect.interest = static_cast<int>(table.number("interest", {0, 100}, std::nullopt));
    expect.reason = table.text("reason", "");
    expect.outcome = kOutcomes.at(table.oneOf("outcome", kOutcomes));
    expect.gadgetLacks = table.text("gadget-lacks", "");
    table.finish();
    return expect;
}

PhoneFile readPhone(TomlTable table, const std::string& name) {
    PhoneFile file{.name = name, .about = table.text("about", std::nullopt)};
    file.phone.name = name;
    file.phone.normal = readFace(table.table("usb"), nullptr);
    if (table.has("protocol"))
        readProtocol(table.table("protocol"), file.phone);
    if (table.has("switched"))
        file.phone.accessory = readFace(table.table("switched"), &file.phone.normal);
    if (table.has("switched-with-audio"))
        file.phone.accessoryWithAudio = readFace(table.table("switched-with-audio"), &file.phone.normal);
    table.forEach("fault", [&file](TomlTable row, std::size_t) {
        file.phone.faults.push_back(readFault(std::move(row)));
    });
    if (table.has("host"))
        file.properties = readHost(table.table("host"));
    if (table.has("link"))
        file.linkAddress = readLink(table.table("link"));
    file.expect = readExpectation(table.table("expect"));
    table.finish();
    return file;
}

} // namespace

std::span<const std::string_view> rules() { return kRules; }

std::span<const std::string_view> outcomes() { return kOutcomes; }

std::string_view nameOf(Reaction reaction) { return kReactions.at(static_cast<std::size_t>(reaction)); }

PhoneFile parsePhoneFile(std::string_view text, const std::string& file) {
    const TomlDocument document(text, file);
    return readPhone(document.root(), std::filesystem::path(file).stem());
}

} // namespace zebphones

#include "host/Policy.h"

#include "host/InterfaceQueries.h"

#include <algorithm>
#include <charconv>

namespace zebhost {
namespace {

constexpr uint8_t kHubClass = 9;
constexpr uint16_t kAccessoryVendor = 0x18d1;
constexpr uint16_t kFirstAccessoryProduct = 0x2d00;
constexpr uint16_t kLastAccessoryProduct = 0x2d05;

// Vendor ids of makers of phones, as in the public rules for debugging Android. Some that make more of other
// things than of phones are left out: their phones are still known by their debugging interface.
constexpr uint16_t kPhoneVendors[] = {
    0x0421, 0x04dd, 0x04e8, 0x0bb4, 0x0e8d, 0x0fce, 0x1004, 0x109b, 0x12d1, 0x1782,
    0x18d1, 0x1949, 0x19d2, 0x1bbb, 0x1d91, 0x1ebf, 0x201e, 0x22b8, 0x22d9, 0x2717,
    0x29a9, 0x2a45, 0x2a47, 0x2a70, 0x2ae5, 0x2b4c, 0x2d95, 0x2e04, 0x2e17, 0x339b,
};

struct Kind {
    Triple triple;
    const char* rule;
    const char* name;
};

// The ways to share a network that are newer than the plug-in.
constexpr Kind kNewerTethers[] = {
    {{2, 13}, "tether-ncm", "NCM"},
    {{2, 6}, "tether-ecm", "ECM"},
    {{239, 4, 1}, "tether-rndis-239", "RNDIS 239/4/1"},
};

// What a stranger is: the first that fits names the rule, all of them the device.
constexpr Kind kStrangers[] = {
    {{kHubClass}, "hub", "a hub"},
    {{7}, "printer", "a printer"},
    {{14}, "video", "a camera or video device"},
    {{16}, "video", "an audio and video device"},
    {{1}, "audio", "an audio device"},
    {{2, 6}, "network-adapter", "a network adapter (ECM)"},
    {{2, 13}, "network-adapter", "a network adapter (NCM)"},
    {{2, 12}, "network-adapter", "a network adapter (EEM)"},
    {{239, 4, 1}, "network-adapter", "a network adapter (RNDIS 239/4/1)"},
    {{2, 14}, "network-adapter", "a modem (MBIM)"},
    {{2, 2}, "serial", "a modem or serial adapter"},
    {{224}, "wireless", "a wireless adapter"},
    {{8}, "storage", "a storage device"},
    {{11}, "smart-card", "a smart card reader"},
    {{6}, "imaging", "a still camera or scanner"},
    {{3}, "hid", "an input device"},
};

Verdict offered(const char* rule, std::string reason) { return {true, rule, std::move(reason)}; }

Verdict withheld(const char* rule, std::string reason) { return {false, rule, std::move(reason)}; }

bool matchesAny(const std::vector<IdPattern>& patterns, const UsbDevice& device) {
    return std::any_of(patterns.begin(), patterns.end(),
                       [&device](const IdPattern& pattern) { return pattern.matches(device); });
}

bool isAccessory(const UsbDescriptors& ids) {
    return ids.vendor == kAccessoryVendor && ids.product >= kFirstAccessoryProduct &&
           ids.product <= kLastAccessoryProduct;
}

bool isHub(const UsbDevice& device) {
    return device.descriptors.deviceClass == kHubClass || hasAnywhere(device, {kHubClass});
}

bool hasDebugging(const UsbDevice& device) { return hasActive(device, {255, 66, 1}); }

// Devices of such kinds, also of makers of phones, use MTP's triples for something of their own. Network
// adapters show what they are in another configuration.
constexpr Triple kNeverFileTransfer[] = {{2, 6}, {2, 13}, {3}, {7}, {14}};

bool hasFileTransfer(const UsbDevice& device) {
    bool isOther = std::any_of(std::begin(kNeverFileTransfer), std::end(kNeverFileTransfer),
                               [&device](const Triple& triple) { return hasAnywhere(device, triple); });
    return isPhoneVendor(device.descriptors.vendor) && !isOther &&
           (hasActive(device, {255, 255, 0}) || hasActive(device, {6, 1, 1}));
}

const Kind* newerTether(const UsbDevice& device) {
    if (!hasDebugging(device) && !isPhoneVendor(device.descriptors.vendor))
        return nullptr;
    auto found = std::find_if(std::begin(kNewerTethers), std::end(kNewerTethers),
                              [&device](const Kind& kind) { return hasActive(device, kind.triple); });
    return found == std::end(kNewerTethers) ? nullptr : found;
}

Verdict judgeNewerTether(const Kind& kind, bool isSwitched) {
    std::string what =
        std::string("a phone that shares its network by ") + kind.name + ", which the plug-in does not know";
    if (isSwitched)
        return offered(kind.rule, what + ": offered as --switch-tethers asks, and the switch to accessory "
                                         "mode ends its network");
    return withheld(kind.rule, what + ": switching it to accessory mode would end its network; "
                                      "--switch-tethers offers it");
}

Verdict judgeStranger(const UsbDevice& device) {
    const char* rule = nullptr;
    std::string names;
    for (const Kind& kind : kStrangers) {
        if (!hasActive(device, kind.triple))
            continue;
        rule = rule == nullptr ? kind.rule : rule;
        names += (names.empty() ? "" : " and ") + std::string(kind.name);
    }
    std::string what = rule == nullptr ? "a device of a kind unknown here" : names;
    std::string next =
        isPhoneVendor(device.descriptors.vendor)
            ? "if it is a phone, unlock it and choose file transfer or tethering, or use --allow "
            : "if it is a phone, use --allow ";
    return withheld(rule == nullptr ? "unknown" : rule, what + " that shows nothing of a phone: " + next +
                                                            device.vendorId() + ":" + device.productId());
}

Verdict judgeByDefault(const UsbDevice& device, bool switchTethers) {
    if (hasPluginTether(device))
        return offered("tether-rndis", "a phone that shares its network by RNDIS or a direct line");
    if (isAccessory(device.descriptors))
        return offered("accessory-mode", "a phone in accessory mode");
    if (const Kind* tether = newerTether(device))
        return judgeNewerTether(*tether, switchTethers);
    if (hasDebugging(device))
        return offered("phone-adb", "a phone with USB debugging on");
    if (hasFileTransfer(device))
        return offered("phone-mtp", "a phone that shows file transfer");
    return judgeStranger(device);
}

bool isAllowed(const UsbDevice& device, const PolicySettings& settings) {
    const auto& ports = settings.allowPorts;
    return matchesAny(settings.allow, device) ||
           std::find(ports.begin(), ports.end(), device.port) != ports.end();
}

std::optional<uint16_t> hexNumber(std::string_view text) {
    uint16_t number = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, 16);
    bool isWhole =
        !text.empty() && text.size() <= 4 && error == std::errc() && end == text.data() + text.size();
    return isWhole ? std::optional(number) : std::nullopt;
}

} // namespace

bool IdPattern::matches(const UsbDevice& device) const {
    return vendor == device.descriptors.vendor && (!product || *product == device.descriptors.product);
}

std::optional<IdPattern> parseIdPattern(const std::string& text) {
    size_t colon = text.find(':');
    std::optional<uint16_t> vendor = hexNumber(std::string_view(text).substr(0, colon));
    if (!vendor || colon == std::string::npos)
        return vendor ? std::optional(IdPattern{*vendor}) : std::nullopt;
    std::optional<uint16_t> product = hexNumber(std::string_view(text).substr(colon + 1));
    return product ? std::optional(IdPattern{*vendor, product}) : std::nullopt;
}

// BUS-PORT, and behind each hub .PORT: every number is counted from 1.
bool isPortName(const std::string& text) {
    const auto afterNumber = [&](size_t begin) {
        const size_t end = std::min(text.find_first_not_of("0123456789", begin), text.size());
        return end > begin && text[begin] != '0' ? end : std::string::npos;
    };
    size_t end = afterNumber(0);
    for (char before = '-'; end < text.size() && text[end] == before; before = '.')
        end = afterNumber(end + 1);
    return end == text.size() && text.find('-') != std::string::npos;
}

bool isPhoneVendor(uint16_t vendor) {
    return std::find(std::begin(kPhoneVendors), std::end(kPhoneVendors), vendor) != std::end(kPhoneVendors);
}

Verdict judge(const UsbDevice& device, const PolicySettings& settings) {
    if (isHub(device))
        return withheld("hub", "a hub: part of the bus, never offered");
    if (matchesAny(settings.deny, device))
        return withheld("denied", "denied by --deny");
    if (activeInterfaces(device).empty())
        return withheld(
            "no-active-interface",
            device.activeConfiguration == 0
                ? "no active interface: the phone is locked or set to charging only, or the system "
                  "has not configured it yet"
                : "no active interface: the phone is locked or set to charging only");
    Verdict usual = judgeByDefault(device, settings.switchTethers);
    if (usual.isOffered)
        return usual;
    if (isAllowed(device, settings))
        return offered("allowed", "allowed by --allow or --allow-port");
    if (settings.offerAll)
        return offered("offer-all", "offered as --offer-all asks, although it shows nothing of a phone");
    return usual;
}

} // namespace zebhost

#pragma once

#include "host/UsbDevice.h"

#include <optional>
#include <string>
#include <vector>

namespace zebhost {

/** "18d1" or "18d1:4ee7": devices of one vendor, or of one kind. */
struct IdPattern {
    uint16_t vendor;
    std::optional<uint16_t> product{};

    bool matches(const UsbDevice& device) const;
    bool operator==(const IdPattern&) const = default;
};

/** VID or VID:PID, each of one to four hexadecimal digits; none when it is neither. */
std::optional<IdPattern> parseIdPattern(const std::string& text);

/** Does it name a port as the kernel does, "1-1.2"? */
bool isPortName(const std::string& text);

/** What the user wants of the policy. */
struct PolicySettings {
    std::vector<IdPattern> allow{};
    /** Beats everything that allows. */
    std::vector<IdPattern> deny{};
    /** The kernel's names of ports, "1-1.2". What is behind a hub on such a port has a port of its own. */
    std::vector<std::string> allowPorts{};
    /** Everything but hubs and what is denied. */
    bool offerAll = false;
    /** Phones that tether in a way that the plug-in takes for none. */
    bool switchTethers = false;
    /** How often within a minute a phone may be offered to be switched, at one port; 0: any number. */
    unsigned maxSwitches = 3;
    /** Reset the port of a phone that is in accessory mode at the start. */
    bool resetStale = false;
    /** Judge and ask the plug-in for its interest, but offer nothing. */
    bool dryRun = false;
};

struct Verdict {
    bool isOffered;
    /** A name for programs; docs/policy.md lists them. */
    const char* rule;
    /** A sentence for people, without a full stop. */
    std::string reason;
};

/**
 * May this device be offered to the plug-in?
 *
 * The plug-in asks almost every device whether it is a phone, and one unexpected request upsets
 * some that are none. So by default only those are offered that show what a phone shows, in
 * their active configuration. Asks the device nothing.
 */
Verdict judge(const UsbDevice& device, const PolicySettings& settings);

/** A maker of phones? MTP's interface alone is no proof: others use its numbers as well. */
bool isPhoneVendor(uint16_t vendor);

} // namespace zebhost

// A phone as a file: one TOML text a phone, which says what it shows of itself, how it
// answers the accessory protocol, and what is to be expected of it. phones/README.md
// has the table of keys.
#pragma once

#include "phones/PhoneModel.h"

#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zebphones {

// What a host that runs with its default policy is to make of the phone. Tested for
// every file of the catalogue.
struct Expectation {
    // The policy's rule, by its name.
    std::string rule{};
    bool offered = false;
    // The plug-in's interest in the phone as it is plugged, and its code for why.
    int interest = 100;
    std::string reason{};
    // One of outcomes().
    std::string outcome{};
    // What a gadget of the kernel can't show of the phone; empty: it shows everything.
    std::string gadgetLacks{};
};

struct PhoneFile {
    // The file's own, without its ending.
    std::string name{};
    // A line for a list of phones.
    std::string about{};
    PhoneDescription phone{};
    // The IPv4 address that the host's end of the phone's link gets; empty: there is no link.
    std::string linkAddress{};
    // What the host tells the phone of itself, by the plug-in's properties; the plug-in's own texts for what
    // is not here. The phone is expected to come out as it does for such a host.
    std::vector<std::pair<std::string, std::string>> properties{};
    Expectation expect{};
};

// What a host's policy can say of a phone.
std::span<const std::string_view> rules();

// What can become of a phone.
std::span<const std::string_view> outcomes();

// How a reaction is written in a file.
std::string_view nameOf(Reaction reaction);

// The phone that the text describes. A pure function; file is only what the text is
// called, in the phone's name and in errors. Throws std::runtime_error, whose text is
// "FILE:LINE:COLUMN: what is wrong, and what is allowed", for a text that is no phone.
PhoneFile parsePhoneFile(std::string_view text, const std::string& file);

} // namespace zebphones

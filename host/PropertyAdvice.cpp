#include "host/PropertyAdvice.h"

#include <algorithm>
#include <map>

namespace zebhost {
namespace {

constexpr const char* kStrings[] = {"aapmanufacturer", "aapmodel", "aapdescription",
                                    "aapversion",      "aapuri",   "aapserial"};

// A phone keeps no more of a string than this, and the plug-in sends none that is longer.
constexpr size_t kLongestString = 255;

std::string sentenceOn(const std::string& property) {
    const char* what = isNeededToSwitch(property)
                           ? "no phone switches for a host that tells it no manufacturer or no model: it "
                             "acknowledges the request and stays as it is"
                           : "most phones take that, but newer phones, whose accessory code runs in user "
                             "space, refuse an empty string and do not switch";
    return "the property " + property + " is empty: " + what +
           "; give it a text, or leave it out for the plug-in's own";
}

} // namespace

std::vector<std::string> emptyStrings(const Properties& properties) {
    // The last value counts.
    std::map<std::string, std::string> values;
    for (const auto& [key, value] : properties)
        values[key] = value;

    std::vector<std::string> empty;
    for (const char* key : kStrings) {
        if (auto found = values.find(key); found != values.end() && found->second.empty())
            empty.push_back(found->first);
    }
    return empty;
}

bool isNeededToSwitch(const std::string& property) {
    return property == kStrings[0] || property == kStrings[1];
}

std::vector<std::string> propertyAdvice(const Properties& properties) {
    std::vector<std::string> sentences;
    for (const std::string& property : emptyStrings(properties))
        sentences.push_back(sentenceOn(property));
    return sentences;
}

std::optional<std::string> propertyFault(const std::string& key, const std::string& value) {
    if (value.size() <= kLongestString ||
        std::find(std::begin(kStrings), std::end(kStrings), key) == std::end(kStrings))
        return std::nullopt;
    return "\"" + key + "\" has " + std::to_string(value.size()) + " bytes: a phone can be sent at most " +
           std::to_string(kLongestString);
}

} // namespace zebhost

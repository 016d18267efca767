#include "host/PropertyAdvice.h"

#include <algorithm>
#include <map>

namespace zebhost {
namespace {

constexpr const char* kStrings[] = {"aapmanufacturer", "aapmodel", "aapdescription",
                                    "aapversion",      "aapuri",   "aapserial"};
// A phone keeps no more of a string than this, and the plug-in sends none that is longer.
constexpr size_t kLongestString = 255;

} // namespace

std::vector<std::string> propertyAdvice(const std::vector<std::pair<std::string, std::string>>& properties) {
    // The last value counts.
    std::map<std::string, std::string> values;
    for (const auto& [key, value] : properties)
        values[key] = value;

    std::vector<std::string> sentences;
    for (const char* key : kStrings) {
        if (auto found = values.find(key); found != values.end() && found->second.empty())
            sentences.push_back(
                "the property " + found->first +
                " is empty: newer phones refuse an empty string and do not switch; give it a text, "
                "or leave it out for the plug-in's own");
    }
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

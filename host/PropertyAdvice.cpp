#include "host/PropertyAdvice.h"

#include <map>

namespace zebhost {

std::vector<std::string> propertyAdvice(const std::vector<std::pair<std::string, std::string>>& properties) {
    // The last value counts.
    std::map<std::string, std::string> values;
    for (const auto& [key, value] : properties)
        values[key] = value;

    std::vector<std::string> sentences;
    for (const char* key :
         {"aapmanufacturer", "aapmodel", "aapdescription", "aapversion", "aapuri", "aapserial"}) {
        if (auto found = values.find(key); found != values.end() && found->second.empty())
            sentences.push_back(
                "the property " + found->first +
                " is empty: newer phones refuse an empty string and do not switch; give it a text, "
                "or leave it out for the plug-in's own");
    }
    return sentences;
}

} // namespace zebhost

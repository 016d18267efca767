#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace zebhost {

using Properties = std::vector<std::pair<std::string, std::string>>;

/** Of the six strings that the plug-in tells a phone, those that it would send empty: their properties, in
 * the order in which a phone hears them. One that is not set is not empty: the plug-in has a text of its own
 * for it. */
std::vector<std::string> emptyStrings(const Properties& properties);

/** Is it one of the two strings without which no phone switches? */
bool isNeededToSwitch(const std::string& property);

/** A sentence for each of them. */
std::vector<std::string> propertyAdvice(const Properties& properties);

/** What is wrong with a property that a phone can't be sent, without a full stop. */
std::optional<std::string> propertyFault(const std::string& key, const std::string& value);

} // namespace zebhost

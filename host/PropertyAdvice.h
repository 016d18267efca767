#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace zebhost {

/** A sentence for each string that the plug-in would send to a phone empty. One that is not set is not
 *  empty: the plug-in has a text of its own for it. */
std::vector<std::string> propertyAdvice(const std::vector<std::pair<std::string, std::string>>& properties);

/** What is wrong with a property that a phone can't be sent, without a full stop. */
std::optional<std::string> propertyFault(const std::string& key, const std::string& value);

} // namespace zebhost

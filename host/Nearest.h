#pragma once

#include <optional>
#include <string>
#include <vector>

namespace zebhost {

/** Of these names the one that was probably meant: the least number of letters to insert, remove,
 *  replace or swap with the next, and no more than a third of the word's. None when none is that close. */
std::optional<std::string> nearest(const std::string& word, const std::vector<std::string>& names);

} // namespace zebhost

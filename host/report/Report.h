#pragma once

#include <string>

namespace zebhost {

/** The page that shows the trace of this path: HTML with all it needs in it, and no script. Throws
 *  HostError when the file is no trace. */
std::string reportPage(const std::string& tracePath);

/** Write that page: whole, in the place of the file that is there, or else not at all. What is no regular
 * file is written to as it is. Throws HostError when it can't be written. */
void writeReport(const std::string& tracePath, const std::string& path);

} // namespace zebhost

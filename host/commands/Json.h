#pragma once

#include "host/doctor/Checks.h"
#include "host/explain/Explanation.h"

#include <string>

namespace zebhost {

/** Of all that --json prints; docs/json.md says when it changes. */
constexpr int kJsonSchema = 1;

// One JSON object each, without a line feed. Bytes that are not UTF-8 become U+FFFD.

std::string jsonOf(const UsbDevice& device, const Verdict& verdict);
std::string jsonOf(const Explanation& explanation);
std::string jsonOf(const Finding& finding);

const char* nameOf(Level level);

} // namespace zebhost

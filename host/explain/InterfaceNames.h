#pragma once

#include "host/Descriptors.h"

#include <string>

namespace zebhost {

/** What an interface is for, in words that a user of phones knows. */
std::string interfaceInWords(const UsbInterface& interface);

} // namespace zebhost

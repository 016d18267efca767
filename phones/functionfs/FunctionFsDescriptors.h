// What FunctionFS wants to be told of a face before it can be bound: its
// descriptors in the kernel's own framing.
#pragma once

#include "phones/UsbFace.h"

#include <cstdint>
#include <vector>

namespace zebphones {

// The first write to ep0. Full and high speed differ only in the packet size of the
// bulk endpoints; every control request of the device comes to ep0.
std::vector<std::uint8_t> functionFsDescriptors(const UsbFace& face);

// The second write: the function has no strings of its own.
std::vector<std::uint8_t> functionFsStrings();

} // namespace zebphones

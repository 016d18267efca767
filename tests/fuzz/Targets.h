#pragma once

#include "zebdiscovery/zebdiscovery.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace zebtest {

/** The plug-in's one symbol, for the targets that need one. */
extern ZEBDiscovererInitializeFunction gpInitialize;

/** Something that must come through any bytes. What it does not come through ends the process. */
struct Target {
    std::string_view name;
    void (*run)(const std::uint8_t* bytes, std::size_t size);
};

std::span<const Target> targets();

} // namespace zebtest

#pragma once

#include "host/Policy.h"
#include "zebdiscovery/types.h"

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace zebhost {

/** What both the configuration file and the command line can say. */
struct Settings {
    /** Empty: the default plug-in. */
    std::string plugin;
    /** Of the plug-in, in the order in which they are set. */
    std::vector<std::pair<std::string, std::string>> properties;
    int32_t logLevel = ZEBDiscoveryLogSeverityInfo;
    PolicySettings policy;
};

/** The levels of the log by their names. */
const std::map<std::string, int32_t>& logLevels();

} // namespace zebhost

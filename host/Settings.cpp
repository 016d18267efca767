#include "host/Settings.h"

namespace zebhost {

const std::map<std::string, int32_t>& logLevels() {
    static const std::map<std::string, int32_t> levels = {{"fatal", ZEBDiscoveryLogSeverityFatal},
                                                          {"error", ZEBDiscoveryLogSeverityError},
                                                          {"info", ZEBDiscoveryLogSeverityInfo},
                                                          {"debug", ZEBDiscoveryLogSeverityDebug}};
    return levels;
}

} // namespace zebhost

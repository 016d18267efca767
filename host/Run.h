#pragma once

#include "host/Host.h"
#include "host/Output.h"

#include <optional>
#include <string>

namespace zebhost {

/** What "zebhost run" was asked to do. */
struct RunOptions {
    /** Empty: the default plug-in. */
    std::string plugin;
    bool json = false;
    /** End after so many seconds; none: when a signal comes. */
    std::optional<double> seconds;
    Host::Properties properties;
    int32_t logLevel = ZEBDiscoveryLogSeverityInfo;
};

/** What the program exits with. */
enum ExitStatus {
    /** Ended as asked, and the plug-in kept the contract. */
    kExitDone = 0,
    /** The run could not be made, or ended by itself. */
    kExitFailed = 1,
    /** The command line is wrong. */
    kExitUsage = 2,
    /** The plug-in broke the contract: there is at least one violation in the output. */
    kExitViolation = 3
};

/**
 * Drive a plug-in until a signal, the end of the time or the plug-in itself ends it, with events
 * going to out. The ending signals must be blocked on every thread of the process. Throws HostError or
 * std::system_error when the run can't be made.
 */
ExitStatus run(const RunOptions& options, std::FILE* out);

} // namespace zebhost

#pragma once

#include "host/ExitStatus.h"
#include "host/Settings.h"

#include <cstdio>
#include <optional>
#include <string>

namespace zebhost {

/** What "zebhost run" was asked to do. */
struct RunOptions : Settings {
    bool json = false;
    /** End after so many seconds; none: when a signal comes. */
    std::optional<double> seconds;
    /** Where a trace of the run goes; empty: nowhere. */
    std::string trace;
    /** Where a page about the run goes at its end; empty: nowhere. run() itself writes none. */
    std::string report;
    /** The tap that a trace uses; empty: the one beside this program. */
    std::string usbTap;
};

/**
 * Drive a plug-in until a signal, the end of the time or the plug-in itself ends it, with events
 * going to out. The ending signals must be blocked on every thread of the process. Throws HostError or
 * std::system_error when the run can't be made.
 */
ExitStatus run(const RunOptions& options, std::FILE* out);

} // namespace zebhost

#pragma once

namespace zebhost {

/** What the program exits with. */
enum ExitStatus {
    /** Ended as asked, and the plug-in kept the contract. */
    kExitDone = 0,
    /** What was asked for could not be done, or a run ended by itself. */
    kExitFailed = 1,
    /** The command line or the configuration file is wrong. */
    kExitUsage = 2,
    /** The plug-in broke the contract: there is at least one violation in the output. */
    kExitViolation = 3
};

} // namespace zebhost

#pragma once

#include "host/commands/Commands.h"

#include <variant>

namespace zebhost {

/** The program has said all it had to (help, version, or what is wrong) and exits with this. */
struct ExitNow {
    ExitStatus status;
};

using Request = std::variant<ExitNow, RunOptions, ListOptions, ExplainOptions, DoctorOptions, PhonesOptions,
                             DemoOptions, VersionOptions, ReportOptions>;

Request parseCommandLine(int argc, char** argv);

} // namespace zebhost

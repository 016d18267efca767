#pragma once

#include "host/Run.h"

#include <variant>

namespace zebhost {

/** The program has said all it had to (help, version, or what is wrong) and exits with this. */
struct ExitNow {
    int status;
};

std::variant<RunOptions, ExitNow> parseCommandLine(int argc, char** argv);

} // namespace zebhost

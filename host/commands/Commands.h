#pragma once

#include "host/ExitStatus.h"
#include "host/Run.h"

#include <cstdio>

namespace zebhost {

// What each command was asked to do, and its doing. All but run end by themselves. They write to out,
// and throw HostError with a sentence when they can't do what was asked.

ExitStatus perform(const RunOptions& options, std::FILE* out);

} // namespace zebhost

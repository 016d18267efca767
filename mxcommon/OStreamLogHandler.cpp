#include "mxcommon/OStreamLogHandler.h"

#include "mxcommon/StringUtils.h"

#include <algorithm>
#include <ostream>

namespace mxcommon {

OStreamLogHandler::OStreamLogHandler(std::ostream* stream) : mStart(Clock::now()), mpStream(stream) {}

void OStreamLogHandler::log(int level, const char* category, const char* text) {
    // A clock that stepped back must not print a sign in the middle of the number.
    const long long elapsed = std::max<Clock::rep>((Clock::now() - mStart).count(), 0);
    MutexLock lock(mMutex);
    *mpStream << formatString("[%lld.%03lld] [%s] [%d] %s", elapsed / 1000, elapsed % 1000, category, level,
                              text)
              << std::endl;
}

} // namespace mxcommon

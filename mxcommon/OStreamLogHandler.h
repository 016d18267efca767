#pragma once

#include "mxcommon/Clock.h"
#include "mxcommon/LogHandler.h"
#include "mxcommon/Mutex.h"

#include <iosfwd>

namespace mxcommon {

/** Writes whole lines, "[seconds since it was made] [category] [level] text", to a stream. */
class OStreamLogHandler : public LogHandler {
public:
    /** The stream is not owned. */
    explicit OStreamLogHandler(std::ostream* stream);

    void log(int level, const char* category, const char* text) override;

private:
    const Clock::time_point mStart;
    std::ostream* const mpStream;
    Mutex mMutex;
};

} // namespace mxcommon

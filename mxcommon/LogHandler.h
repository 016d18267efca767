#pragma once

#include "mxcommon/VirtualBase.h"

namespace mxcommon {

/** Where log lines go, one finished line at a time. */
class LogRaw : public VirtualBase {
public:
    /** Any thread, several at once. A smaller level is more severe; the texts stay the caller's. */
    virtual void log(int level, const char* category, const char* text) = 0;
};

/** The sink that logs and threads are given; it must outlive them. */
class LogHandler : public LogRaw {};

} // namespace mxcommon

#include "mxcommon/LogStream.h"

#include "mxcommon/Log.h"
#include "mxcommon/LogHandler.h"

#include <utility>

namespace mxcommon {

LogStream::LogStream(LogHandler* handler, const std::string& category, int level) :
    mpHandler(handler), mCategory(category), mActive(true), mLevel(level) {}

LogStream::LogStream(const Log& log) : LogStream(log.handler(), log.category(), kLogDebug) {}

LogStream::LogStream(LogStream&& source) :
    mpHandler(source.mpHandler),
    mCategory(source.mCategory),
    mActive(true),
    mLevel(source.mLevel),
    mStream(std::move(source.mStream)) {
    source.mActive = false;
}

LogStream& LogStream::operator<<(std::ostream& (*manipulator)(std::ostream&)) {
    mStream << manipulator;
    return *this;
}

LogStream::~LogStream() {
    if (!mActive) {
        return;
    }
    try {
        mpHandler->log(mLevel, mCategory.c_str(), mStream.str().c_str());
    } catch (...) {
        // The line is lost: a destructor has nobody to tell.
    }
}

} // namespace mxcommon

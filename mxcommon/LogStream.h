#pragma once

#include <sstream>
#include <string>

namespace mxcommon {

class Log;
class LogHandler;

/** Collects one line and hands it to the handler when it dies. Belongs to one thread. */
class LogStream {
public:
    /** The handler is not owned and must not be null. */
    LogStream(LogHandler* handler, const std::string& category, int level);
    /** A line of the debug level under the log's category. */
    explicit LogStream(const Log& log);
    /** Takes over the line and what it holds so far; the source owes none any more. */
    LogStream(LogStream&& source);
    ~LogStream();
    LogStream(const LogStream&) = delete;
    LogStream& operator=(const LogStream&) = delete;

    template <class T>
    LogStream& operator<<(const T& value) {
        mStream << value;
        return *this;
    }

private:
    LogHandler* mpHandler;
    std::string mCategory;
    bool mActive;
    int mLevel;
    std::ostringstream mStream;
};

} // namespace mxcommon

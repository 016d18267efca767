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
    /**
     * Takes over what the source's line holds so far, and owes a line from now on, whether
     * the source still did or not; the source owes none any more but keeps its category.
     */
    LogStream(LogStream&& source);
    ~LogStream();
    LogStream(const LogStream&) = delete;
    LogStream& operator=(const LogStream&) = delete;

    template <class T>
    LogStream& operator<<(const T& value) {
        mStream << value;
        return *this;
    }
    /** For std::endl and its kin, which are templates and name no type of their own. */
    LogStream& operator<<(std::ostream& (*manipulator)(std::ostream&));

private:
    LogHandler* mpHandler;
    std::string mCategory;
    bool mActive;
    int mLevel;
    std::ostringstream mStream;
};

} // namespace mxcommon

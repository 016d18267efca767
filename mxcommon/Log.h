#pragma once

#include <cstdarg>
#include <string>

namespace mxcommon {

class LogHandler;

/** The levels of lines; a smaller one is more severe. */
enum LogLevel { kLogError = 10, kLogWarning = 20, kLogInfo = 30, kLogDebug = 100 };

/** Formats lines, as printf does, for a handler under one category. Holds no lock of its own. */
class Log {
public:
    /** The handler is not owned and must not be null. */
    Log(LogHandler* handler, const std::string& category);
    /** The same handler under the category "parent::name". */
    Log(const Log& parent, const std::string& name);

    [[gnu::format(printf, 2, 3)]] void error(const char* format, ...) const;
    [[gnu::format(printf, 2, 3)]] void warning(const char* format, ...) const;
    [[gnu::format(printf, 2, 3)]] void info(const char* format, ...) const;
    [[gnu::format(printf, 2, 3)]] void debug(const char* format, ...) const;

    LogHandler* handler() const { return mpHandler; }
    const std::string& category() const { return mCategory; }

private:
    [[gnu::format(printf, 3, 0)]] void log(int level, const char* format, std::va_list arguments) const;

    LogHandler* mpHandler;
    std::string mCategory;
};

} // namespace mxcommon

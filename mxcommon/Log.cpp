#include "mxcommon/Log.h"

#include "mxcommon/LogHandler.h"
#include "mxcommon/StringUtils.h"

namespace mxcommon {

Log::Log(LogHandler* handler, const std::string& category) : mpHandler(handler), mCategory(category) {}

Log::Log(const Log& parent, const std::string& name) :
    mpHandler(parent.mpHandler), mCategory(parent.mCategory + "::" + name) {}

void Log::error(const char* format, ...) const {
    std::va_list arguments;
    va_start(arguments, format);
    log(kLogError, format, arguments);
    va_end(arguments);
}

void Log::warning(const char* format, ...) const {
    std::va_list arguments;
    va_start(arguments, format);
    log(kLogWarning, format, arguments);
    va_end(arguments);
}

void Log::info(const char* format, ...) const {
    std::va_list arguments;
    va_start(arguments, format);
    log(kLogInfo, format, arguments);
    va_end(arguments);
}

void Log::debug(const char* format, ...) const {
    std::va_list arguments;
    va_start(arguments, format);
    log(kLogDebug, format, arguments);
    va_end(arguments);
}

void Log::log(int level, const char* format, std::va_list arguments) const {
    mpHandler->log(level, mCategory.c_str(), formatStringV(format, arguments).c_str());
}

} // namespace mxcommon

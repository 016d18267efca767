#include "mxcommon/StandardError.h"

#include <cstddef>
#include <cstdio>
#include <memory>
#include <new>
#include <unistd.h>

namespace mxcommon {
namespace {

constexpr std::size_t kOrdinaryLineSize = 1024;

/** As snprintf: the length of the whole line, of which as much is written as there is room for. */
int formatLine(char* buffer, std::size_t size, const char* category, const char* text) {
    return std::snprintf(buffer, size, "[%s] [%d] %s\n", category, 0, text);
}

void writeAll(const char* bytes, std::size_t length) {
    while (length > 0) {
        const ssize_t written = ::write(STDERR_FILENO, bytes, length);
        if (written < 1) {
            return;
        }
        bytes += written;
        length -= static_cast<std::size_t>(written);
    }
}

} // namespace

void logToStandardError(const char* category, const char* text) noexcept {
    char line[kOrdinaryLineSize];
    const int result = formatLine(line, sizeof line, category, text);
    if (result < 0) {
        return;
    }
    const auto length = static_cast<std::size_t>(result);
    if (length < sizeof line) {
        writeAll(line, length);
        return;
    }
    const std::unique_ptr<char[]> longLine(new (std::nothrow) char[length + 1]);
    if (longLine) {
        formatLine(longLine.get(), length + 1, category, text);
        writeAll(longLine.get(), length);
    } else {
        line[sizeof line - 1] = '\n';
        writeAll(line, sizeof line);
    }
}

} // namespace mxcommon

#include "mxcommon/StringUtils.h"

#include "mxcommon/Assert.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace mxcommon {
namespace {

constexpr std::size_t kFirstBufferSize = 256;
constexpr int kAttempts = 12;

[[gnu::format(printf, 2, 0)]] bool formatsInto(std::vector<char>& buffer, const char* format,
                                               std::va_list arguments) {
    std::va_list copy;
    va_copy(copy, arguments);
    const int length = std::vsnprintf(buffer.data(), buffer.size(), format, copy);
    va_end(copy);
    buffer.back() = '\0';
    return length >= 0 && static_cast<std::size_t>(length) < buffer.size();
}

bool isAscii(char byte) { return (byte & 0x80) == 0; }
bool isContinuation(char byte) { return (byte & 0xC0) == 0x80; }

/** Take the last character out of a full buffer unless that is ASCII: it may not be whole. */
void cutLastCharacter(std::vector<char>& buffer) {
    std::size_t last = buffer.size() - 2;
    if (isAscii(buffer[last])) {
        return;
    }
    while (isContinuation(buffer[last]) && last > 0) {
        --last;
    }
    buffer[last] = '\0';
}

template <class Number>
std::optional<Number> parse(Number (*convert)(const char*, char**, int), const std::string& text, int base) {
    char* pEnd = nullptr;
    errno = 0;
    const Number number = convert(text.c_str(), &pEnd, base);
    const bool consumed = !text.empty() && pEnd == text.c_str() + text.size();
    if (!consumed || errno == ERANGE) {
        return std::nullopt;
    }
    return number;
}

bool hasHexPrefix(const std::string& text) { return text.size() > 2 && toLower(text.substr(0, 2)) == "0x"; }

bool isSpace(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

std::string mapped(std::string text, char first, char last, int distance) {
    for (char& c : text) {
        if (c >= first && c <= last) {
            c = static_cast<char>(c + distance);
        }
    }
    return text;
}

} // namespace

std::string formatString(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::string text = formatStringV(format, arguments);
    va_end(arguments);
    return text;
}

std::string formatStringV(const char* format, std::va_list arguments) {
    if (!format) {
        return {};
    }
    std::vector<char> buffer(kFirstBufferSize);
    for (int attempt = 1; !formatsInto(buffer, format, arguments); ++attempt) {
        if (attempt == kAttempts) {
            cutLastCharacter(buffer);
            break;
        }
        buffer.assign(buffer.size() * 2, '\0');
    }
    return buffer.data();
}

std::vector<std::string> splitString(const std::string& text, char delimiter,
                                     std::optional<unsigned> maxElemToSplit) {
    if (text.empty()) {
        return {};
    }
    if (maxElemToSplit == 0u) {
        throw std::runtime_error("Invalid value 0 for maxElemToSplit");
    }
    std::vector<std::string> pieces;
    std::size_t begin = 0;
    while (!maxElemToSplit || pieces.size() + 1 < *maxElemToSplit) {
        const std::size_t end = text.find(delimiter, begin);
        if (end == std::string::npos) {
            break;
        }
        pieces.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    pieces.push_back(text.substr(begin));
    return pieces;
}

std::vector<std::string> splitEvery(const std::string& text, std::size_t chunkLength) {
    ZEB_ASSERT(chunkLength != 0);
    std::vector<std::string> pieces;
    for (std::size_t begin = 0; begin < text.size(); begin += pieces.back().size()) {
        pieces.push_back(text.substr(begin, chunkLength));
    }
    return pieces;
}

std::vector<std::string> findAllBetween(const std::string& text, const std::string& open,
                                        const std::string& close) {
    const std::size_t marks = open.size() + close.size();
    if (marks > text.size() || marks == 0) {
        return {};
    }
    std::vector<std::string> found;
    std::size_t position = 0;
    while ((position = text.find(open, position)) != std::string::npos) {
        const std::size_t begin = position + open.size();
        const std::size_t end = text.find(close, begin);
        if (end == std::string::npos) {
            break;
        }
        found.push_back(text.substr(begin, end - begin));
        position = end + close.size();
    }
    return found;
}

std::string trim(const std::string& text) {
    const auto begin = std::find_if_not(text.begin(), text.end(), isSpace);
    const auto end = std::find_if_not(text.rbegin(), std::make_reverse_iterator(begin), isSpace).base();
    return {begin, end};
}

std::string toLower(const std::string& text) { return mapped(text, 'A', 'Z', 'a' - 'A'); }

std::string toUpper(const std::string& text) { return mapped(text, 'a', 'z', 'A' - 'a'); }

std::string toHexString(std::span<const std::uint8_t> bytes) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const std::uint8_t byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0xF];
    }
    return text;
}

std::optional<long> parseLong(const std::string& text, int base) { return parse(std::strtol, text, base); }

std::optional<unsigned long> parseUnsignedLong(const std::string& text, int base) {
    return parse(std::strtoul, text, base);
}

std::optional<long long> parseLongLong(const std::string& text, int base) {
    return parse(std::strtoll, text, base);
}

std::optional<long> parseHexLong(const std::string& text) {
    return hasHexPrefix(text) ? parseLong(text, 16) : std::nullopt;
}

std::optional<unsigned long> parseHexUnsignedLong(const std::string& text) {
    return hasHexPrefix(text) ? parseUnsignedLong(text, 16) : std::nullopt;
}

std::optional<std::uint8_t> hexDigitValue(char digit) {
    if (digit >= '0' && digit <= '9') {
        return static_cast<std::uint8_t>(digit - '0');
    }
    const char lower = mapped(std::string(1, digit), 'A', 'F', 'a' - 'A')[0];
    if (lower >= 'a' && lower <= 'f') {
        return static_cast<std::uint8_t>(lower - 'a' + 10);
    }
    return std::nullopt;
}

std::optional<std::string> optionalString(const char* text) {
    return text ? std::optional<std::string>(text) : std::nullopt;
}

} // namespace mxcommon

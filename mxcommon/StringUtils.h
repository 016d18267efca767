#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace mxcommon {

/**
 * Format as printf does. The text ends at its first NUL; one of 524,288 bytes or more
 * is cut to fit, never in the middle of a UTF-8 character. A null format gives an
 * empty string.
 */
[[gnu::format(printf, 1, 2)]] std::string formatString(const char* format, ...);
[[gnu::format(printf, 1, 0)]] std::string formatStringV(const char* format, std::va_list arguments);

/**
 * Cut a text at every delimiter and keep empty pieces; an empty text has none. With a
 * maximum the last element is the uncut rest; a maximum of 0 is a std::runtime_error.
 */
std::vector<std::string> splitString(const std::string& text, char delimiter,
                                     std::optional<unsigned> maxElemToSplit = std::nullopt);

/** Cut a text into pieces of chunkLength (not 0) characters, the last one shorter. */
std::vector<std::string> splitEvery(const std::string& text, std::size_t chunkLength);

/** The texts between each open and the next close; nothing lies between two empty marks. */
std::vector<std::string> findAllBetween(const std::string& text, const std::string& open,
                                        const std::string& close);

/** Without the white space (isspace) at both ends. */
std::string trim(const std::string& text);

/** Only ASCII letters change. */
std::string toLower(const std::string& text);
std::string toUpper(const std::string& text);

/** Two uppercase digits for each byte, nothing between them. */
std::string toHexString(std::span<const std::uint8_t> bytes);

/** As strtol and its kin; no value unless the whole text, which must not be empty, is a number in range. */
std::optional<long> parseLong(const std::string& text, int base);
std::optional<unsigned long> parseUnsignedLong(const std::string& text, int base);
std::optional<long long> parseLongLong(const std::string& text, int base);

/** The same in base 16, for texts that begin with 0x or 0X. */
std::optional<long> parseHexLong(const std::string& text);
std::optional<unsigned long> parseHexUnsignedLong(const std::string& text);

/** The value of one hexadecimal digit of either case. */
std::optional<std::uint8_t> hexDigitValue(char digit);

/** The text as a string; no value for a null pointer. */
std::optional<std::string> optionalString(const char* text);

} // namespace mxcommon

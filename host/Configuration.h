#pragma once

#include "host/Settings.h"

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>

namespace zebhost {

/** What is wrong with a configuration, and where; lines and columns count from 1. */
struct ConfigurationFault {
    unsigned line;
    unsigned column;
    /** A sentence that says what is allowed, without a full stop. */
    std::string text;
};

/** The settings that a TOML text makes, starting from the defaults. Any text is safe to give. */
std::variant<Settings, ConfigurationFault> parseConfiguration(std::string_view text);

/** The text is "FILE:LINE:COLUMN: SENTENCE", or says why the file can't be read. */
class ConfigurationError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

extern const char kStandardConfiguration[];

/** The settings of the file that was asked for, else of the standard one if there is one, else the
 *  defaults. Throws ConfigurationError. */
Settings readSettings(const std::optional<std::string>& asked,
                      const std::string& standard = kStandardConfiguration);

} // namespace zebhost

#include "host/commands/OptionChecks.h"

#include "host/Nearest.h"
#include "host/Settings.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <filesystem>

namespace zebhost {
namespace {

constexpr double kLongestSeconds = 1e9;

std::string quoted(const std::string& text) { return "\"" + text + "\""; }

// They have no description: --help names the type.
CLI::Validator check(std::function<std::string(std::string&)> complaint) {
    return {std::move(complaint), ""};
}

std::string noLevel(const std::string& text) {
    std::vector<std::string> names;
    for (const auto& [name, level] : logLevels())
        names.push_back(name);
    std::optional<std::string> close = nearest(text, names);
    return quoted(text) + " is no level" + (close ? " (did you mean \"" + *close + "\"?)" : "") +
           "; there are: fatal, error, info, debug";
}

} // namespace

CLI::Validator notEmpty(const char* what) {
    return check([what](const std::string& text) {
        return text.empty() ? quoted(text) + " is no " + what : std::string();
    });
}

CLI::Validator seconds() {
    return check([](const std::string& text) -> std::string {
        char* end = nullptr;
        double number = std::strtod(text.c_str(), &end);
        // No number (nan) is not between any two.
        bool isRight = !text.empty() && *end == '\0' && number >= 0 && number <= kLongestSeconds;
        return isRight ? "" : quoted(text) + " is no number of seconds from 0 to 1000000000";
    });
}

CLI::Validator wholeNumber(unsigned highest) {
    return check([highest](const std::string& text) {
        unsigned number = 0;
        auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        bool isRight = error == std::errc() && end == text.data() + text.size() && number <= highest;
        return isRight ? "" : quoted(text) + " is no whole number from 0 to " + std::to_string(highest);
    });
}

CLI::Validator logLevel() {
    return check([](std::string& text) -> std::string {
        std::string lower = CLI::detail::to_lower(text);
        auto level = logLevels().find(lower);
        if (level == logLevels().end())
            return noLevel(text);
        text = std::to_string(level->second);
        return "";
    });
}

CLI::Validator existingFolder() {
    return check([](const std::string& text) {
        std::error_code none;
        return std::filesystem::is_directory(text, none) ? "" : "there is no folder " + quoted(text);
    });
}

} // namespace zebhost

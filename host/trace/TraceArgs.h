#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zebhost {

/** The members of a JSON object, as they are added. */
class TraceArgs {
public:
    TraceArgs& add(std::string_view name, int64_t number) { return addJson(name, std::to_string(number)); }
    /** Bytes that are not UTF-8 become U+FFFD; a long text is cut. */
    TraceArgs& add(std::string_view name, std::string_view text);
    /** json is a whole JSON value. */
    TraceArgs& addJson(std::string_view name, std::string_view json);

    std::string json() const { return "{" + mMembers + "}"; }

private:
    std::string mMembers;
};

/** As a JSON string. */
std::string inQuotes(std::string_view text);

} // namespace zebhost

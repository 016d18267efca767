#include "host/trace/TraceArgs.h"

#include <nlohmann/json.hpp>

namespace zebhost {
namespace {

// More than any text of the boundary is long; the lines of the run, which are, come as whole JSON.
constexpr size_t kMostCharacters = 400;

} // namespace

TraceArgs& TraceArgs::add(std::string_view name, std::string_view text) {
    return addJson(name, inQuotes(text.substr(0, kMostCharacters)));
}

TraceArgs& TraceArgs::addJson(std::string_view name, std::string_view json) {
    if (!mMembers.empty())
        mMembers += ',';
    mMembers.append("\"").append(name).append("\":").append(json);
    return *this;
}

std::string inQuotes(std::string_view text) {
    return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

} // namespace zebhost

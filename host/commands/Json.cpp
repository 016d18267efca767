#include "host/commands/Json.h"

#include <nlohmann/json.hpp>

namespace zebhost {
namespace {

// Ordered: a reader sees first what kind of record it is.
using Json = nlohmann::ordered_json;

Json record(const char* kind) { return {{"schema", kJsonSchema}, {"record", kind}}; }

std::string lineOf(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

Json textOrNull(const std::string& text) { return text.empty() ? Json(nullptr) : Json(text); }

} // namespace

std::string jsonOf(const Finding& finding) {
    Json line = record("finding");
    line["check"] = finding.check;
    line["level"] = nameOf(finding.level);
    line["text"] = finding.text;
    line["advice"] = textOrNull(finding.advice);
    return lineOf(line);
}

const char* nameOf(Level level) {
    switch (level) {
    case Level::Ok:
        return "ok";
    case Level::Warning:
        return "warning";
    case Level::Problem:
        break;
    }
    return "problem";
}

} // namespace zebhost

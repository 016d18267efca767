#include "host/Output.h"

#include <nlohmann/json.hpp>

namespace zebhost {
namespace {

// Ordered: a reader sees the time and the kind of event first.
using Json = nlohmann::ordered_json;

void put(Json& line, const UsbAddress& address) {
    line["bus"] = address.bus;
    line["device"] = address.device;
    line["port"] = address.port;
}

void put(Json& line, const RunEvent& e) {
    line["event"] = "run";
    line["schema"] = e.schema;
    line["zebhost"] = e.version;
}

void put(Json& line, const DeviceEvent& e) {
    line["event"] = "device";
    line["action"] = e.action;
    put(line, e.address);
    line["vendor"] = e.vendor;
    line["product"] = e.product;
    line["name"] = e.name;
}

void put(Json& line, const VerdictEvent& e) {
    line["event"] = "verdict";
    put(line, e.address);
    line["offered"] = e.offered;
    line["dry_run"] = e.dryRun;
    line["rule"] = e.rule;
    line["reason"] = e.reason;
}

void put(Json& line, const AdviceEvent& e) {
    line["event"] = "advice";
    line["topic"] = e.topic;
    put(line, e.address);
    line["text"] = e.text;
}

void put(Json& line, const InterestEvent& e) {
    line["event"] = "interest";
    put(line, e.address);
    line["level"] = e.level;
    line["description"] = e.description;
}

void put(Json& line, const OfferEvent& e) {
    line["event"] = "offer";
    put(line, e.address);
}

void put(Json& line, const StoryEvent& e) {
    line["event"] = "story";
    put(line, e.address);
    line["kind"] = e.kind;
    Json& stages = line["stages_us"] = Json::object();
    for (const StoryEvent::Stage& stage : e.stages)
        stages[stage.name] = stage.afterUs;
}

void put(Json& line, const EntityEvent& e) {
    line["event"] = "entity";
    line["action"] = e.action;
    line["id"] = e.id;
    put(line, e.address);
}

void put(Json& line, const ValueEvent& e) {
    line["event"] = "value";
    line["id"] = e.id;
    line["key"] = e.key;
    line["error"] = e.error;
    line["value"] = e.value ? Json(*e.value) : Json(nullptr);
}

void put(Json& line, const LogEvent& e) {
    line["event"] = "log";
    line["severity"] = e.severity;
    line["text"] = e.text;
}

void put(Json& line, const StartedEvent& e) {
    line["event"] = "started";
    line["error"] = e.error;
}

void put(Json& line, const StoppedEvent& e) {
    line["event"] = "stopped";
    line["error"] = e.error;
}

void put(Json& line, const ViolationEvent& e) {
    line["event"] = "violation";
    line["text"] = e.text;
}

} // namespace

std::string jsonLine(uint64_t timeUs, const Event& event) {
    Json line = {{"time_us", timeUs}};
    std::visit([&line](const auto& e) { put(line, e); }, event);
    return line.dump(-1, ' ', false, Json::error_handler_t::replace);
}

} // namespace zebhost

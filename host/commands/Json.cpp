#include "host/commands/Json.h"

#include "host/Output.h"

#include <nlohmann/json.hpp>

namespace zebhost {
namespace {

// Ordered: a reader sees first what kind of record it is.
using Json = nlohmann::ordered_json;

Json record(const char* kind) { return {{"schema", kJsonSchema}, {"record", kind}}; }

std::string lineOf(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

Json textOrNull(const std::string& text) { return text.empty() ? Json(nullptr) : Json(text); }

/** With the names that the lines of a run have. */
void put(Json& line, const UsbDevice& device, const Verdict& verdict) {
    line["port"] = device.port;
    line["bus"] = device.bus;
    line["device"] = device.device;
    line["vendor"] = device.vendorId();
    line["product"] = device.productId();
    line["name"] = device.name();
    line["offered"] = verdict.isOffered;
    line["rule"] = verdict.rule;
    line["reason"] = verdict.reason;
}

Json json(const ExplainedInterface& i) {
    return {{"number", i.interface.number},
            {"class", i.interface.interfaceClass},
            {"subclass", i.interface.subclass},
            {"protocol", i.interface.protocol},
            {"words", i.words},
            {"driver", textOrNull(i.driver)}};
}

Json json(const DeviceNode& node) {
    return {{"path", node.path},
            {"exists", node.exists},
            {"can_be_opened", node.canBeOpened},
            {"rights", textOrNull(node.rights)}};
}

Json json(const Opinion& opinion) {
    return {{"fault", textOrNull(opinion.fault)},
            {"level", opinion.fault.empty() ? Json(opinion.level) : Json(nullptr)},
            {"description", opinion.description}};
}

Json json(const Network& network) { return {{"name", network.name}, {"addresses", network.addresses}}; }

template <class T>
Json list(const std::vector<T>& elements) {
    Json all = Json::array();
    for (const T& element : elements)
        all.push_back(json(element));
    return all;
}

} // namespace

std::string jsonOf(const UsbDevice& device, const Verdict& verdict, const DeviceNode& node) {
    Json line = record("device");
    put(line, device, verdict);
    line["node"] = json(node);
    return lineOf(line);
}

std::string jsonOf(const Explanation& e) {
    Json line = record("explanation");
    put(line, e.device, e.verdict);
    line["interfaces"] = list(e.interfaces);
    line["node"] = json(e.node);
    line["plugin"] = json(e.opinion);
    line["networks"] = list(e.networks);
    line["next"] = e.next;
    return lineOf(line);
}

std::string jsonOf(const Finding& finding) {
    Json line = record("finding");
    line["check"] = finding.check;
    line["level"] = nameOf(finding.level);
    line["text"] = finding.text;
    line["advice"] = textOrNull(finding.advice);
    return lineOf(line);
}

std::string jsonOf(const zebphones::PhoneFile& phone) {
    Json line = record("phone");
    line["name"] = phone.name;
    line["about"] = phone.about;
    line["vendor"] = zebphones::hexId(phone.phone.normal.vendor);
    line["product"] = zebphones::hexId(phone.phone.normal.product);
    line["offered"] = phone.expect.offered;
    line["rule"] = phone.expect.rule;
    line["level"] = phone.expect.interest;
    line["outcome"] = phone.expect.outcome;
    return lineOf(line);
}

std::string jsonOf(const Versions& versions) {
    Json line = record("version");
    line["zebhost"] = versions.zebhost;
    line["system"] = versions.system;
    line["build"] = versions.build;
    line["plugin"] = {{"path", versions.plugin.path}, {"fault", textOrNull(versions.plugin.fault)}};
    line["libusb"] = {{"version", textOrNull(versions.libusb.version)},
                      {"tells_timeouts", versions.libusb.tellsTimeouts},
                      {"fault", textOrNull(versions.libusb.fault)}};
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

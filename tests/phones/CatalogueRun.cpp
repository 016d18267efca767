#include "tests/phones/CatalogueRun.h"

#include "phones/PhoneLinks.h"
#include "tests/support/PluginUnderTest.h"

#include <algorithm>

namespace zebtest {

using namespace zebphones;
using nlohmann::json;

namespace {

using namespace std::chrono_literals;

constexpr char kStays[] = "asked to switch, stays";
constexpr char kWaits[] = "waits for its link";
constexpr auto kLook = 10ms;
// Off the bus when they switch. Phones take half a second; nobody waits for that here.
constexpr auto kAway = 100ms;
// Uevents that the host has not told of yet. A listener of the bed has room for ten.
constexpr std::size_t kMostUnseen = 5;
// The slowest phone needs a bit over five seconds; a busy machine may need many times that.
constexpr auto kPatience = 200s;

std::string nameOfPort(int port) { return "1-" + std::to_string(port); }

bool contains(const std::vector<std::string>& events, std::string_view event) {
    return std::find(events.begin(), events.end(), event) != events.end();
}

// Without bus and device, which differ from run to run.
std::string command(const std::string& value) { return value.substr(0, value.find(";bus=")); }

zebhost::RunOptions withPlugin(const std::vector<std::pair<std::string, std::string>>& properties) {
    zebhost::RunOptions options;
    options.properties = properties;
    options.plugin = PluginUnderTest::path();
    options.logLevel = ZEBDiscoveryLogSeverityDebug;
    return options;
}

// It has acknowledged the request and does not obey it, which only its own record tells.
bool hasStayed(const LivePhones& phones, int port) {
    const auto device = phones.deviceAt(port);
    if (!device)
        return false;
    bool stayed = false;
    device->withModel([&stayed](const PhoneModel& model) {
        const auto& received = model.received();
        const bool isAsked = std::any_of(received.begin(), received.end(), [](const Exchange& exchange) {
            return exchange.setup.request == kStartAccessory && exchange.reaction == Reaction::Answer;
        });
        stayed = isAsked && !model.switchRequested() && !model.inAccessoryMode();
    });
    return stayed;
}

} // namespace

std::string Story::outcome() const {
    if (contains(entities, "zebcmd:v=1;t=USBAND"))
        return "published USBAND";
    const auto accessory = std::find(entities.begin(), entities.end(), "zebcmd:v=1;t=USBAAP");
    if (accessory != entities.end()) {
        const bool isLost = std::find(accessory, entities.end(), "lost") != entities.end();
        return isLost ? "published USBAAP, then lost" : "published USBAAP";
    }
    if (contains(entities, "lost"))
        return "entity lost";
    if (contains(entities, "published"))
        return kWaits;
    const bool isOffered = std::any_of(verdicts.begin(), verdicts.end(), [](auto& v) { return v.offered; });
    return verdicts.empty() || isOffered ? "" : "never offered";
}

void Stories::read(const json& line) {
    const std::string event = line["event"];
    if (event == "device")
        ++mChanges;
    else if (event == "verdict")
        mStories[line["port"]].verdicts.push_back({line["rule"], line["offered"]});
    else if (event == "interest")
        mStories[line["port"]].interests.push_back({line["level"], line["description"]});
    else if (event == "entity")
        readEntity(line);
    else if (event == "value" && line["key"] == "zebcmd" && line["value"].is_string())
        mStories[mEntities.at(line["id"])].entities.push_back(command(line["value"]));
    else if (event == "log" && line["text"] == "Can't open the port, waiting for interval")
        ++mVainLooks;
}

void Stories::readEntity(const json& line) {
    mEntities[line["id"]] = line["port"];
    mStories[line["port"]].entities.push_back(line["action"]);
}

const CatalogueRun& CatalogueRun::instance() {
    static const CatalogueRun run;
    return run;
}

CatalogueRun::CatalogueRun() {
    const Catalogue catalogue;
    // By what the host tells them. What waits for a link must not see another phone's: it goes first.
    std::map<Properties, std::vector<Files>> hosts;
    int port = 0;
    for (const std::string& name : catalogue.names()) {
        PhoneFile file = catalogue.load(name);
        file.phone.away = kAway;
        std::vector<Files>& turns = hosts[file.properties];
        turns.resize(2);
        turns[file.expect.outcome == kWaits ? 0 : 1].emplace(++port, std::move(file));
    }
    Testbed bed;
    for (const auto& [properties, turns] : hosts)
        run(bed, properties, turns);
}

void CatalogueRun::run(Testbed& bed, const Properties& properties, const std::vector<Files>& turns) {
    mRead = 0;
    mStories = Stories();
    zebhost::LiveRun host(withPlugin(properties));
    host.waitFor({{"event", "started"}});
    LivePhones phones(bed);
    for (const Files& files : turns)
        play(host, phones, files);
    mStatus = std::max(mStatus, host.end());
    for (const std::string& violation : host.of("violation", "text"))
        mViolations.push_back(violation);
}

void CatalogueRun::play(zebhost::LiveRun& run, LivePhones& phones, const Files& files) {
    PhoneLinks links;
    // Several phones have the same address, which one interface can have.
    std::map<std::string, int> addresses;
    for (const auto& [port, file] : files) {
        if (!file.linkAddress.empty() && addresses.emplace(file.linkAddress, port).second)
            links.add(port, file.linkAddress);
        phones.plug(file.phone, port);
    }
    stepUntil(run, phones, [&] { return isAsExpected(phones, files); });
    for (const auto& [port, file] : files) {
        mResults[file.name] = {mStories.of(nameOfPort(port)), outcomeAt(phones, port), phones.calls(port),
                               phones.received(port)};
        phones.unplug(port);
    }
    for (const auto& [address, port] : addresses)
        links.remove(port);
    stepUntil(run, phones, [&phones] { return !phones.step(); });
}

void CatalogueRun::stepUntil(zebhost::LiveRun& run, LivePhones& phones, const std::function<bool()>& done) {
    const auto end = LivePhones::Clock::now() + kPatience;
    while (LivePhones::Clock::now() < end) {
        lookAt(run);
        // Unless the host has much to catch up with.
        if (phones.changes() < mStories.changes() + kMostUnseen) {
            if (done())
                break;
            phones.step();
        }
    }
}

void CatalogueRun::lookAt(zebhost::LiveRun& run) {
    run.readFor(kLook);
    for (; mRead < run.lines().size(); ++mRead)
        mStories.read(run.lines()[mRead]);
}

std::string CatalogueRun::outcomeAt(const LivePhones& phones, int port) {
    const std::string told = mStories.of(nameOfPort(port)).outcome();
    return told.empty() && hasStayed(phones, port) ? kStays : told;
}

bool CatalogueRun::isAsExpected(const LivePhones& phones, const Files& files) {
    std::size_t waiting = 0;
    for (const auto& [port, file] : files) {
        if (outcomeAt(phones, port) != file.expect.outcome)
            return false;
        waiting += file.expect.outcome == kWaits ? 1 : 0;
    }
    return mStories.vainLooks() >= waiting;
}

} // namespace zebtest

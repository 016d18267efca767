#include "phones/demo/Scene.h"

#include <algorithm>
#include <iostream>
#include <stdexcept>

namespace zebphones {
namespace {

using namespace std::chrono_literals;

// The slowest phone of the catalogue needs a bit over five seconds; a busy machine several times that.
constexpr auto kPatience = 60s;
// So much silence that zebhost has said what it had to say, and a reader's pause.
constexpr auto kPause = 400ms;

void showHostLine(const std::string& line) { std::cout << "    zebhost | " << line << std::endl; }

std::vector<std::string> command(const DemoFiles& files, const Scene::Properties& properties,
                                 const std::vector<std::string>& more) {
    std::vector<std::string> all = {files.zebhost, "run"};
    for (const auto& [key, value] : properties)
        all.insert(all.end(), {"--property", key + "=" + value});
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

} // namespace

Scene::Scene(const DemoFiles& files, const std::vector<std::string>& hostArguments,
             const Properties& properties) :
    mAsked(hostArguments), mHost(command(files, properties, hostArguments), files.preload, showHostLine) {
    mHost.whileWaiting([this] { mPhones.step(); });
}

void Scene::tell(const std::string& text) {
    if (mStep > 0)
        pause(kPause);
    std::cout << "\n" << ++mStep << ". " << text << std::endl;
}

void Scene::note(const std::string& who, const std::string& text) {
    std::cout << std::string(11 - std::min<std::size_t>(who.size(), 11), ' ') << who << " | " << text
              << std::endl;
}

void Scene::plug(const PhoneFile& file, int port) { mPhones.plug(file.phone, port); }

void Scene::bringLinkUp(const PhoneFile& file, int port) {
    // The system knows whose interface it is before it has its address.
    mBed.giveNetwork(port, mLinks.make(port));
    mLinks.add(port, file.linkAddress);
}

void Scene::unplug(int port) {
    mLinks.remove(port);
    mPhones.unplug(port);
}

bool Scene::hears(const std::vector<std::string>& texts) { return mHost.awaitLine(texts, kPatience); }

void Scene::expect(const std::string& text, const std::string& meaning) {
    if (!hears({text}))
        throw std::runtime_error("zebhost should have printed: " + text + " (" + meaning + ")");
}

std::string Scene::hearsOutcome(const PhoneFile& file) {
    // In its plain form and in JSON.
    const auto formsOf = [](const std::string& rule) {
        return std::vector<std::string>{" (" + rule + "): ", "\"rule\":\"" + rule + "\""};
    };
    const std::vector<std::string> rules = mAsked.rulesFor(file);
    std::vector<std::string> all;
    for (const std::string& rule : rules)
        for (const std::string& form : formsOf(rule))
            all.push_back(form);
    const std::optional<std::size_t> which = mHost.awaitOneOf(all, kPatience);
    if (!which)
        throw std::runtime_error("zebhost should have judged it by the rule " + file.expect.rule);
    return mAsked.outcomeOf(file, rules.at(*which / 2));
}

void Scene::pause(std::chrono::milliseconds time) { mHost.showFor(time); }

void Scene::start() {
    tell("zebhost starts on a machine with an empty USB bus and loads the plug-in.");
    expect("started", "the plug-in runs");
}

void Scene::stop() {
    tell("zebhost is told to end (SIGTERM). It reports whatever the plug-in did wrong.");
    const auto status = mHost.stop(kPatience);
    if (!status)
        throw std::runtime_error("zebhost should have ended by itself");
    if (*status != 0)
        throw std::runtime_error("zebhost should have ended with exit status 0, not " +
                                 std::to_string(*status));
}

} // namespace zebphones

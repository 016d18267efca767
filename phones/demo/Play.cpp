#include "phones/demo/Play.h"

#include <stdexcept>

namespace zebphones {
namespace {

constexpr int kMousePort = 1;
constexpr int kTetherPort = 2;
constexpr int kAccessoryPort = 3;

std::string ids(const PhoneFile& file) {
    return hexId(file.phone.normal.vendor) + ":" + hexId(file.phone.normal.product);
}

void mouseComes(Scene& scene, const PhoneFile& mouse) {
    scene.tell("A mouse is plugged in. By itself the plug-in would ask it whether it is a phone, which has\n"
               "   stopped such devices; zebhost sees that it shows nothing of a phone.");
    scene.plug(mouse, kMousePort);
    if (!scene.hearsRule(mouse.expect.rule))
        throw std::runtime_error("zebhost should have said why it leaves the mouse alone");
}

void tetheringPhoneComes(Scene& scene, const PhoneFile& phone) {
    scene.tell("A phone with USB tethering switched on is plugged in. The plug-in knows it by its\n"
               "   interfaces and waits for the network interface it brings.");
    scene.plug(phone, kTetherPort);
    scene.expect("\"103\"", "a tethering phone is recognised");

    scene.tell("The system gives the phone's link the address " + phone.linkAddress +
               ". The phone can be reached.");
    scene.bringLinkUp(phone, kTetherPort);
    scene.expect("zebcmd:v=1;t=USBAND", "the command to connect over the phone's network");
}

void accessoryPhoneComes(Scene& scene, const PhoneFile& phone) {
    scene.tell(
        "A second phone is plugged in (" + ids(phone) +
        "). The plug-in asks whether it can become an\n   accessory's phone, introduces itself, and one "
        "second later tells it to switch. The phone leaves\n   the bus and comes back in accessory mode, "
        "under a new number.");
    scene.plug(phone, kAccessoryPort);
    scene.expect("\"105\"", "a phone that may be switched is recognised");
    scene.expect("\"106\"", "a phone in accessory mode is recognised");
    scene.expect("zebcmd:v=1;t=USBAAP;bus=1;dev=", "the command to connect as an accessory");
    scene.expect("story", "how long each stage took");
}

void tellWhatWasSent(Scene& scene, int port) {
    const std::vector<Exchange> received = scene.phones().received(port);
    if (received.empty())
        scene.note("device", "was asked nothing");
    for (const Exchange& exchange : received) {
        std::string text = "was told to switch";
        if (exchange.setup.request == kGetProtocol)
            text = "was asked for its protocol version";
        else if (exchange.setup.request == kSendString)
            text = "was sent string " + std::to_string(exchange.setup.index) + ": " +
                   std::string(exchange.data.begin(), exchange.data.end());
        if (exchange.reaction != Reaction::Answer)
            text += " -> " + std::string(nameOf(exchange.reaction));
        scene.note("device", text);
    }
}

void expectAll(Scene& scene, const std::vector<std::string>& texts) {
    for (const std::string& text : texts)
        scene.expect(text, "as the phone's file says");
}

void awaitOutcome(Scene& scene, const PhoneFile& file) {
    const std::string& outcome = file.expect.outcome;
    const std::string command = "zebcmd:v=1;t=";
    if (outcome == "published USBAND")
        expectAll(scene, {command + "USBAND", "story"});
    else if (outcome == "published USBAAP")
        expectAll(scene, {command + "USBAAP", "story"});
    else if (outcome == "published USBAAP, then lost")
        expectAll(scene, {command + "USBAAP", "story", "lost"});
    else if (outcome == "entity lost")
        expectAll(scene, {"lost"});
    else
        scene.pause(std::chrono::seconds(2)); // what should not happen has time to
}

} // namespace

void playAll(Scene& scene, const Catalogue& catalogue) {
    scene.start();
    mouseComes(scene, catalogue.load("mouse"));
    tetheringPhoneComes(scene, catalogue.load("rndis"));
    accessoryPhoneComes(scene, catalogue.load("mtp-adb"));
    scene.tell("What the phone and the mouse were sent, by their own record:");
    tellWhatWasSent(scene, kAccessoryPort);
    scene.note("mouse", scene.phones().calls(kMousePort) == 0 ? "was not even opened" : "was opened!");
    scene.tell("Both phones are unplugged.");
    for (const int port : {kTetherPort, kAccessoryPort}) {
        scene.unplug(port);
        expectAll(scene, {"lost", "destroyed"});
    }
    scene.stop();
}

void playOne(Scene& scene, const PhoneFile& file) {
    constexpr int kPort = 1;
    scene.start();
    scene.tell("Plugged in: " + ids(file) + ", " + file.about + ".");
    scene.plug(file, kPort);
    // A hub is part of the bus: nothing is said of it.
    if (file.expect.rule != "hub" && !scene.hearsRule(file.expect.rule))
        throw std::runtime_error("zebhost should have judged it by the rule " + file.expect.rule);
    if (!file.linkAddress.empty()) {
        scene.tell("Its network interface gets the address " + file.linkAddress + ".");
        scene.bringLinkUp(file, kPort);
    }
    awaitOutcome(scene, file);
    scene.tell("What it was sent, by its own record:");
    tellWhatWasSent(scene, kPort);
    scene.tell("It is unplugged.");
    scene.unplug(kPort);
    scene.stop();
}

} // namespace zebphones

#include "phones/demo/Play.h"

#include <stdexcept>
#include <utility>

namespace zebphones {
namespace {

constexpr int kMousePort = 1;
constexpr int kTetherPort = 2;
constexpr int kAccessoryPort = 3;

std::string ids(const PhoneFile& file) {
    return hexId(file.phone.normal.vendor) + ":" + hexId(file.phone.normal.product);
}

constexpr char kNeverOffered[] = "never offered";

// What should not happen has time to.
void staysAlone(Scene& scene, int port) {
    scene.pause(std::chrono::seconds(2));
    if (scene.phones().calls(port) != 0)
        throw std::runtime_error("zebhost should have left it alone, and it was opened");
    scene.note("device", "was not even opened, as was asked");
}

void tellWhatIsUnforetold(Scene& scene) {
    scene.note("demo", "what was asked of zebhost changes what becomes of this one: here is what happens");
    scene.pause(std::chrono::seconds(3));
}

// Whether it goes on as its file says; if not, as was asked, that is told.
bool goesOn(Scene& scene, const PhoneFile& phone, int port) {
    const std::string outcome = scene.hearsOutcome(phone);
    if (outcome == phone.expect.outcome)
        return true;
    if (outcome == kNeverOffered)
        staysAlone(scene, port);
    else
        tellWhatIsUnforetold(scene);
    return false;
}

void mouseComes(Scene& scene, const PhoneFile& mouse) {
    scene.tell("A mouse is plugged in. By itself the plug-in would ask it whether it is a phone, which has\n"
               "   stopped such devices; zebhost sees that it shows nothing of a phone.");
    scene.plug(mouse, kMousePort);
    if (scene.hearsOutcome(mouse) != mouse.expect.outcome)
        tellWhatIsUnforetold(scene);
}

// False: it was kept from the plug-in, as was asked.
bool tetheringPhoneComes(Scene& scene, const PhoneFile& phone) {
    scene.tell("A phone with USB tethering switched on is plugged in. The plug-in knows it by its\n"
               "   interfaces and waits for the network interface it brings.");
    scene.plug(phone, kTetherPort);
    if (!goesOn(scene, phone, kTetherPort))
        return false;
    scene.expect("\"103\"", "a tethering phone is recognised");

    scene.tell("The system gives the phone's link the address " + phone.linkAddress +
               ". The phone can be reached.");
    scene.bringLinkUp(phone, kTetherPort);
    scene.expect("zebcmd:v=1;t=USBAND", "the command to connect over the phone's network");
    return true;
}

bool accessoryPhoneComes(Scene& scene, const PhoneFile& phone) {
    scene.tell(
        "A second phone is plugged in (" + ids(phone) +
        "). The plug-in asks whether it can become an\n   accessory's phone, introduces itself, and one "
        "second later tells it to switch. The phone leaves\n   the bus and comes back in accessory mode, "
        "under a new number.");
    scene.plug(phone, kAccessoryPort);
    if (!goesOn(scene, phone, kAccessoryPort))
        return false;
    scene.expect("\"105\"", "a phone that may be switched is recognised");
    scene.expect("\"106\"", "a phone in accessory mode is recognised");
    scene.expect("zebcmd:v=1;t=USBAAP;bus=1;dev=", "the command to connect as an accessory");
    scene.expect("story", "how long each stage took");
    return true;
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

void awaitOutcome(Scene& scene, const std::string& outcome) {
    const std::string command = "zebcmd:v=1;t=";
    if (outcome == "published USBAND")
        expectAll(scene, {command + "USBAND", "story"});
    else if (outcome == "published USBAAP")
        expectAll(scene, {command + "USBAAP", "story"});
    else if (outcome == "published USBAAP, then lost")
        expectAll(scene, {command + "USBAAP", "story", "lost"});
    else if (outcome == "entity lost")
        expectAll(scene, {"lost"});
    else if (outcome == "asked to switch, stays")
        expectAll(scene, {"stayed as it is"});
    else if (outcome == "waits for its link")
        expectAll(scene, {"the plug-in looks for one that begins with 192.168.42"});
    else
        scene.pause(std::chrono::seconds(2)); // what should not happen has time to
}

} // namespace

std::string playAll(Scene& scene, const Catalogue& catalogue) {
    scene.start();
    mouseComes(scene, catalogue.load("mouse"));
    const bool hasTether = tetheringPhoneComes(scene, catalogue.load("rndis"));
    const bool hasAccessory = accessoryPhoneComes(scene, catalogue.load("mtp-adb"));
    scene.tell("What the phone and the mouse were sent, by their own record:");
    tellWhatWasSent(scene, kAccessoryPort);
    scene.note("mouse", scene.phones().calls(kMousePort) == 0 ? "was not even opened" : "was opened!");
    scene.tell("Both phones are unplugged.");
    for (const auto& [port, isFound] : {std::pair(kTetherPort, hasTether), {kAccessoryPort, hasAccessory}}) {
        scene.unplug(port);
        if (isFound)
            expectAll(scene, {"lost", "destroyed"});
    }
    scene.stop();
    return hasTether && hasAccessory
               ? "Both phones were found, switched and withdrawn as they should, the mouse left alone"
               : "As zebhost was asked, not every phone was offered";
}

std::string playOne(Scene& scene, const PhoneFile& file) {
    constexpr int kPort = 1;
    scene.start();
    scene.tell("Plugged in: " + ids(file) + ", " + file.about + ".");
    scene.plug(file, kPort);
    const std::string outcome = scene.hearsOutcome(file);
    const bool isDenied = outcome == kNeverOffered && outcome != file.expect.outcome;
    if (!file.linkAddress.empty()) {
        scene.tell("Its network interface gets the address " + file.linkAddress + ".");
        scene.bringLinkUp(file, kPort);
    }
    if (outcome.empty())
        tellWhatIsUnforetold(scene);
    else if (isDenied)
        staysAlone(scene, kPort);
    else
        awaitOutcome(scene, outcome);
    scene.tell("What it was sent, by its own record:");
    tellWhatWasSent(scene, kPort);
    scene.tell("It is unplugged.");
    scene.unplug(kPort);
    scene.stop();
    return outcome == file.expect.outcome
               ? "As its file says: " + outcome
               : "As zebhost was asked: " + (outcome.empty() ? "see above" : outcome);
}

} // namespace zebphones

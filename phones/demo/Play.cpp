#include "phones/demo/Play.h"

#include "phones/Catalogue.h"

#include <chrono>
#include <iostream>
#include <stdexcept>

namespace zebphones {
namespace {

using namespace std::chrono_literals;

constexpr int kTetherPort = 1;
constexpr int kAccessoryPort = 2;
constexpr char kLinkAddress[] = "192.168.42.23";
// No thing that zebhost is waited for takes more than two seconds.
constexpr auto kPatience = 5s;
// So much silence that zebhost has said what it had to say, and a reader's pause.
constexpr auto kPause = 400ms;
// How long a phone is off the bus while it changes its mode.
constexpr auto kAway = 300ms;

void showHostLine(const std::string& line) { std::cout << "    zebhost | " << line << std::endl; }

std::vector<std::string> command(const DemoFiles& files, const std::vector<std::string>& more) {
    std::vector<std::string> all = {files.zebhost, "run"};
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

std::string ids(const UsbFace& face) { return hexId(face.vendor) + ":" + hexId(face.product); }

} // namespace

Play::Play(const DemoFiles& files, const std::vector<std::string>& hostArguments) :
    mHost(command(files, hostArguments), files.preload, showHostLine) {}

void Play::run() {
    start();
    tetheringPhoneComes();
    accessoryPhoneComes();
    accessoryPhoneSwitches();
    bothGo();
    stop();
}

void Play::tell(const std::string& text) {
    if (mStep > 0)
        mHost.showFor(kPause);
    std::cout << "\n" << ++mStep << ". " << text << std::endl;
}

void Play::expect(const std::string& line, const std::string& meaning) {
    if (!mHost.awaitLine(line, kPatience))
        throw std::runtime_error("zebhost should have printed: " + line + " (" + meaning + ")");
}

void Play::start() {
    tell("zebhost starts on a machine with an empty USB bus and loads the plug-in.");
    expect("started", "the plug-in runs");
}

void Play::tetheringPhoneComes() {
    tell("A phone with USB tethering switched on is plugged in. The plug-in knows it by its\n"
         "   interfaces and waits for the network interface it brings.");
    mBed.plug(loadPhone("rndis"), kTetherPort);
    expect("\"103\"", "a tethering phone is recognised");

    tell(std::string("The system gives the phone's link the address ") + kLinkAddress +
         ". The phone can be reached.");
    mLinks.add(kTetherPort, kLinkAddress);
    expect("zebcmd:v=1;t=USBAND", "the command to connect over the phone's network");
}

void Play::accessoryPhoneComes() {
    const PhoneDescription phone = loadPhone("accessory");
    tell("A second phone is plugged in (" + ids(phone.normal) +
         "). The plug-in asks whether it can become an\n   accessory's phone, introduces itself, and one "
         "second later tells it to switch.");
    const auto device = mBed.plug(phone, kAccessoryPort);
    expect("\"105\"", "a phone that may be switched is recognised");
    if (!mHost.awaitCondition([&device] { return device->switchRequested(); }, kPatience))
        throw std::runtime_error("the phone should have been told to switch");
    mHost.showFor(kPause);
    tellWhatThePhoneWasSent();
}

void Play::tellWhatThePhoneWasSent() {
    mBed.at(kAccessoryPort).withModel([](PhoneModel& phone) {
        for (std::size_t i = 0; i < kStringCount; ++i) {
            std::cout << "      phone | was sent string " << i << ": "
                      << phone.string(i).value_or("(nothing)") << "\n";
        }
        std::cout << "      phone | was told to switch" << std::endl;
    });
}

void Play::accessoryPhoneSwitches() {
    tell("That phone leaves the bus and comes back in accessory mode, under a new number.");
    auto model = mBed.takeAway(kAccessoryPort);
    mHost.showFor(kAway);
    model->reappearInAccessoryMode();
    const auto device = mBed.bringBack(std::move(model), kAccessoryPort);
    expect("\"106\"", "a phone in accessory mode is recognised");
    expect("zebcmd:v=1;t=USBAAP;bus=" + std::to_string(device->bus()) +
               ";dev=" + std::to_string(device->address()),
           "the command to connect as an accessory");
}

void Play::bothGo() {
    tell("Both phones are unplugged.");
    mLinks.remove(kTetherPort);
    for (const int port : {kTetherPort, kAccessoryPort}) {
        mBed.unplug(port);
        expect("lost", "the entity of an unplugged phone is lost");
        expect("destroyed", "and given up");
    }
}

void Play::stop() {
    tell("zebhost is told to end (SIGTERM). It reports whatever the plug-in did wrong.");
    const auto status = mHost.stop(kPatience);
    if (!status)
        throw std::runtime_error("zebhost should have ended by itself");
    if (*status != 0)
        throw std::runtime_error("zebhost should have ended with exit status 0, not " +
                                 std::to_string(*status));
}

} // namespace zebphones

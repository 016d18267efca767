// Runs a host that knows nothing of it on an emulated USB bus, with two phones, and says whether it prints
// the command of each: one that shares its network, plugged before the host starts, and one that is switched,
// plugged later.
//
// usage: on-bed PRELOAD HOST [ARGUMENT...]     PRELOAD: the libraries through which a program sees the bed
#include "phones/Catalogue.h"
#include "phones/PhoneLinks.h"
#include "phones/demo/HostProcess.h"
#include "phones/demo/NetworkSpace.h"
#include "phones/usbfs/Testbed.h"

#include <cstdio>
#include <iostream>
#include <stdexcept>

namespace {

using namespace std::chrono_literals;
using namespace zebphones;

constexpr int kTetherPort = 1;
constexpr int kAccessoryPort = 2;
constexpr auto kPatience = 100s;

void expect(bool happened, const std::string& what) {
    if (!happened)
        throw std::runtime_error("it did not happen: " + what);
}

void play(Testbed& bed, HostProcess& host) {
    const std::string tether = "zebcmd:v=1;t=USBAND";
    expect(host.awaitLine(tether, kPatience), tether);

    const auto device = bed.plug(loadPhone("accessory"), kAccessoryPort);
    expect(host.awaitCondition([&device] { return device->switchRequested(); }, kPatience), "the switch");
    const auto switched = bed.reappearInAccessoryMode(kAccessoryPort);
    const std::string accessory = "zebcmd:v=1;t=USBAAP;bus=" + std::to_string(switched->bus()) +
                                  ";dev=" + std::to_string(switched->address());
    expect(host.awaitLine(accessory, kPatience), accessory);

    bed.unplug(kAccessoryPort);
    bed.unplug(kTetherPort);
    host.showFor(200ms);
    expect(host.stop(kPatience) == 0, "an end with exit status 0");
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::cerr << "usage: on-bed PRELOAD HOST [ARGUMENT...]\n";
        return 2;
    }
    try {
        const NetworkSpace network;
        PhoneLinks().add(kTetherPort, "192.168.42.23");
        Testbed bed;
        bed.plug(loadPhone("rndis"), kTetherPort);
        HostProcess host({argv + 2, argv + argc}, argv[1],
                         [](const auto& line) { std::cout << line << std::endl; });
        play(bed, host);
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "on-bed: " << error.what() << "\n";
        return 1;
    }
}

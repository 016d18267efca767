#include "host/TetherAdvice.h"

#include <algorithm>
#include <string_view>

namespace zebhost {
namespace {

constexpr char kTopic[] = "tether-address";
constexpr std::string_view kPrefix = "192.168.42";

bool isLookedFor(const std::string& address) { return address.starts_with(kPrefix); }

/** Does it have an address, but none that the plug-in looks for? */
bool isElsewhere(const Network& network) {
    const auto& all = network.addresses;
    return !all.empty() && std::none_of(all.begin(), all.end(), isLookedFor);
}

std::string namesOf(const std::vector<Network>& networks) {
    std::string names;
    for (const Network& network : networks)
        names += (names.empty() ? "" : " and ") + network.name;
    return names;
}

} // namespace

bool isFoundByTether(const std::vector<Network>& networks) {
    return std::any_of(networks.begin(), networks.end(), [](const Network& network) {
        return std::any_of(network.addresses.begin(), network.addresses.end(), isLookedFor);
    });
}

std::string tetherFault(const std::vector<Network>& networks) {
    if (networks.empty())
        return "no network interface of this phone has appeared: is its driver there (modprobe rndis_host), "
               "and "
               "is tethering still on?";
    auto elsewhere = std::find_if(networks.begin(), networks.end(), isElsewhere);
    if (elsewhere != networks.end())
        return elsewhere->name + " has the address " + elsewhere->addresses.front() +
               ", but the plug-in looks for one that begins with 192.168.42: only Android up to 10 always "
               "uses "
               "that, later ones choose for themselves. With tethering off and file transfer on, the phone "
               "can "
               "be switched to accessory mode instead";
    bool isAddressed = std::any_of(networks.begin(), networks.end(),
                                   [](const Network& network) { return !network.addresses.empty(); });
    if (!isAddressed)
        return "no IPv4 address has come to " + namesOf(networks) + ": run a DHCP client there";
    return "the address of " + namesOf(networks) + " came too late: plug the phone in again";
}

void TetherAdvice::take(const Event& event) {
    std::visit([this](const auto& e) { on(e); }, event);
}

void TetherAdvice::on(const DeviceEvent& event) { forget(event.address.port); }

void TetherAdvice::on(const VerdictEvent& event) {
    if (event.offered && !event.dryRun && std::string_view(event.rule) == "tether-rndis")
        mTethers.insert_or_assign(event.address.port, Tether{event.address});
}

void TetherAdvice::on(const EntityEvent& event) {
    auto tether = mTethers.find(event.address.port);
    std::string_view action = event.action;
    if (tether == mTethers.end())
        return;
    if (action == "destroyed")
        return forget(event.address.port);
    if (action != "lost") {
        tether->second.entity = event.id;
        if (!mWatch)
            mWatch = std::make_unique<AddressWatch>(mLoop, [this] { look(); });
        return look();
    }
    mWorld.report(AdviceEvent{kTopic, event.address,
                              "the plug-in has looked for this phone's network 21 times and given it up: " +
                                  tetherFault(mWorld.networks(event.address.port))});
    forget(event.address.port);
}

void TetherAdvice::on(const ValueEvent& event) {
    auto tether = std::find_if(mTethers.begin(), mTethers.end(),
                               [&event](const auto& one) { return one.second.entity == event.id; });
    if (event.key == "zebcmd" && event.value && tether != mTethers.end())
        forget(tether->first);
}

/** Names an address that does not fit as soon as it is there, and each only once. */
void TetherAdvice::look() {
    for (auto& [port, tether] : mTethers) {
        std::vector<Network> networks = mWorld.networks(port);
        if (std::none_of(networks.begin(), networks.end(), isElsewhere))
            continue;
        std::string fault = tetherFault(networks);
        if (fault != tether.said)
            mWorld.report(AdviceEvent{kTopic, tether.address, fault});
        tether.said = fault;
    }
}

void TetherAdvice::forget(const std::string& port) {
    mTethers.erase(std::string(port));
    if (mTethers.empty())
        mWatch.reset();
}

} // namespace zebhost
